#!/usr/bin/env bash
# The ARM build on an emulated board with a stock kernel and real drivers: upgrades on JFFS2 and UBIFS
# volumes, the devices through the layer, power cuts. Installs what is missing, builds, boots,
# compares.
# usage: run.sh [--accept]     (what is seen becomes what sim/board/expected/ wants: read the diff)
# RELIABILITY=long makes ten times as many cuts. BOARD_SEED repeats a run's instants.
set -u
cd "$(dirname "$0")/../.." || exit 1
. scripts/packages.sh
need_packages "${board_packages[@]}"
accept=${1:-}
build=build-board
cache=$PWD/$build/machine # packages, and what is made of them
work=$(mktemp -d)
trap 'rm -rf "$work" "$package_log"' EXIT
. sim/board/machine.sh

# skip WHY: the test's name and the reason; where nothing may be skipped it is a failure.
skip() {
  echo "SKIPPED: board: $1"
  [ "${CI:-}" = true ] && exit 1
  exit 77
}
for command in qemu-system-arm arm-linux-gnueabihf-g++ cmake ninja dtc cpio xz fw_printenv \
  mkfs.ubifs ubinize; do
  command -v $command >/dev/null || skip "$command is not installed"
done
fetch_packages >"$work/fetch" 2>&1 || { tail -n 3 "$work/fetch"; skip "no kernel package of armhf"; }
if ! { cmake --preset board && cmake --build --preset board -j "$(nproc)"; } >"$work/build" 2>&1; then
  tail -n 20 "$work/build"
  exit 1
fi
grep -h '^stripped:' "$work/build"
make_machine || exit 1

# What is booted: the boot's name, which begins with the kind of its volumes; the boot whose flash it
# continues with, - for a blank one; its scenario; the emulator's exit status (64: success, 137:
# killed); the console's sections that are compared with sim/board/expected/SECTION; and the console's
# text at which the emulator is killed.
boots() {
  grep "^$1\." <<'TABLE'
nand.upgrade   -               upgrade  64  create,upgrade,completed,second,equal,unmounted
nand.devices   nand.upgrade    devices  64  write,read
jffs2.create   -               create   64  -
jffs2.whole    jffs2.create    start    64  completed
jffs2.cut      jffs2.create    start   137  -                Updating FC Port 2
jffs2.cutagain jffs2.cut       start   137  found            Updating GE Port 0
jffs2.complete jffs2.cutagain  start    64  found,completed
ubifs.create   -               create   64  -
ubifs.whole    ubifs.create    start    64  completed
TABLE
}

# judge WHAT EXPECTED ACTUAL: two files that must not differ.
passed=0 failed=0
judge() {
  [ "$accept" = --accept ] && case $2 in sim/board/expected/*) cp "$3" "$2" ;; esac
  if diff -u --label wanted --label seen "$2" "$3"; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1)) && echo "FAILED: $1"
  fi
}

# console NAME: what a boot showed. section NAME SECTION: what it showed in one section.
console() { tr -d '\r' <"$work/$1.log"; }
section() { console "$1" | awk -v name="$2" '/^== / {on = $2 == name; next} on'; }

# duration NAME: of a start's upgrade, in milliseconds of the board's own time; nothing where the
# upgrade did not end.
duration() {
  console "$1" | awk '/^== upgrading/ {began = $3}
    /^== completed [0-9]+[.][0-9][0-9]$/ {printf "%d\n", ($3 - began) * 1000}'
}

# boot_all KIND: one boot after the other.
boot_all() {
  while read -r name after scenario _ _ text; do
    boot "$name" "$after" "$scenario" "$text"
  done < <(boots "$1")
}

# ended NAME: how a start ended, and what it left.
ended() { cat "$work/$1.status" && section "$1" completed; }

# cut_upgrade KIND DURATION: kills the emulator at a random instant of an upgrade, or up to a quarter
# of its duration later, since no two boots take the same time. Sets instant; both in milliseconds.
cut_upgrade() {
  instant=$((RANDOM * $2 / 26214))
  boot "$1.killed" "$1.create" start '^== upgrading' \
    "$((instant / 1000)).$(printf %03d $((instant % 1000)))"
}

# mended KIND: starts the board again. Whether that ends as an upgrade without a cut.
mended() {
  boot "$1.again" "$1.killed" start
  diff <(echo 137 && ended "$1.whole") \
    <(cat "$work/$1.killed.status" && ended "$1.again") >"$work/$1.diff"
}

# describe KIND NUMBER: a cut that was not mended, and what is known to repeat it.
describe() {
  local kept=$build/cuts/$1.$2
  mkdir -p "$kept" && cp "$work/$1".{killed.store,killed.log,again.log} "$kept"
  echo "cut $2, $instant ms after the mark; its flash and both consoles are in $kept"
  echo "the board's last line: $(console "$1.killed" | tail -n 1)"
  cat "$work/$1.diff"
}

# cut_upgrades KIND: as many cuts as are wanted. One that comes after the upgrade's end does not
# count; it tells how long an upgrade takes by now.
cut_upgrades() {
  local kind=$1 made=0 late=0 right=0 took=$(duration "$1.whole") instant after
  RANDOM=$seed
  while [ $made -lt "$cuts" ] && [ $late -lt $((cuts * 2)) ]; do
    cut_upgrade "$kind" "$took"
    after=$(duration "$kind.killed")
    if [ -n "$after" ]; then
      took=$after late=$((late + 1))
    else
      made=$((made + 1))
      mended "$kind" && right=$((right + 1)) || describe "$kind" $made
    fi
  done >"$work/$kind.ends"
  echo $made >"$work/$kind.made"
  echo "$kind: $right of $made cuts inside an upgrade were mended; $late came after its end" \
    >"$work/$kind.counts"
}

case ${RELIABILITY:-} in long) cuts=50 ;; *) cuts=5 ;; esac
seed=${BOARD_SEED:-$RANDOM}
rm -rf $build/cuts
SECONDS=0
{ boot_all jffs2 && cut_upgrades jffs2; } &
{ boot_all nand && boot_all ubifs && cut_upgrades ubifs; } &
wait
took=$SECONDS

while read -r name _ _ status sections _; do
  echo "$status" >"$work/wanted"
  judge "$name: exit status" "$work/wanted" "$work/$name.status"
  for section in ${sections//[,-]/ }; do
    section "$name" "$section" >"$work/seen"
    judge "$name: $section" "sim/board/expected/$section" "$work/seen"
  done
done < <(boots nand && boots jffs2 && boots ubifs)
for kind in jffs2 ubifs; do
  echo $cuts >"$work/wanted"
  judge "$kind: number of cuts inside an upgrade" "$work/wanted" "$work/$kind.made"
  judge "$kind: cuts that the next start did not mend" /dev/null "$work/$kind.ends"
done
environment_config nand.devices
fw_printenv -c "$work/nand.devices.config" | sort >"$work/seen"
judge "boot environment, read by the standard tool" sim/board/expected/environment "$work/seen"
od -A x -t x1 "$work/nand.devices.eeprom" >"$work/seen"
judge "every byte of the EEPROM" sim/board/expected/eeprom "$work/seen"

echo "seed of the cuts: $seed"
cat "$work"/*.counts
echo "peak resident memory of vxpvh in an upgrade: $(section nand.upgrade memory) KiB"
echo "board: $passed passed, $failed failed; boots took $took s"
[ "$failed" -eq 0 ]
