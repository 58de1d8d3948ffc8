#!/usr/bin/env bash
# The unmodified programs on a simulated blade: what they do besides the merge, which the oracle decides.
# usage: upgrade_test.sh BIN SAMPLES
. "$(dirname "$0")/../support/shell_support.sh"
reference=$state/nand0/default_bridge_config.cfg
create=(vxcfg store create --defaults "$old")
size=(vxcfg set config.bridge.BridgeLogSize)

show() { blade vxcfg show "$@"; }
same() { cmp "$1" "$2" 2>&1; }
stored() { (cd "$state" && sha256sum $1); } # of a pattern
# count FILE WORDS: the number of its lines that match; said WORDS: that of standard error's.
count() { grep -c -e "$2" "$1"; }
said() { count "$work/err" "$1"; }
exists() { [ -e "$1" ] && echo yes || echo no; }
sequence_number() { od -An -tu8 -j20 -N8 "$state/nand1/brapp_seqno.cfg"; }

# --- An upgrade carries changed defaults over and leaves the user's value alone.
new_store
blade "${size[@]}" 9999
planned=$(vxcfg plan --volumes "$state" "$new" |
  sed -nE 's/^(CHANGE|FORCE ) [^ ]*\.([^ .]*) .*/Compare Diff: field=\2, update=1/p')
run_upgrade
check "exit status, fields that move" "0 51" "$status $(wc -l <<<"$planned")"
check "fields that move, as planned" "$planned" "$(grep '^Compare' "$work/out")"
check "what the mount command prints is in its place" 1 "$(sed -n 2p "$work/out" | grep -c ' on /mnt/nand1 ')"
if grep -q mtd "$state/proc-devices"; then
  check "no device error on a stream or in the system log" "" \
    "$(grep -hi -e fail -e mismatch -e error -e 'not available' "$work/out" "$work/err"; cat "$state/syslog")"
else
  echo "SKIPPED: $name: no device error on a stream: device nodes cannot have a number here"
fi
check "devices are reached" "mtd0 info = 0,mtd0 open = 0,mtd0 regions = 0,vxgpdev open = 0" \
  "$(grep -v 'mtd0 read' "$state/trace" | sort | paste -sd,)"
check "live settings: the user's own, a new default" 'Size = "9999" Level = "3"' \
  "$(show | sed -n 's/^config\.bridge\.BridgeLog//p' | paste -sd' ')"
check "docs/settings.md is what vxcfg settings prints" "" "$(vxcfg settings | same - "$samples/../docs/settings.md")"

# --- A second run finds equal versions: nothing to merge, nothing to copy.
before=$(stored 'nand?/*')
rm "$state"/nand1/brapp_{cache,cluster,event,ext,logical,migration_param,phys,registered}*
run_upgrade
check "second run: status, merge, standard error" "0" "$status$(grep '^Compare' "$work/out")$(cat "$work/err")"
check "second run makes what is missing and changes nothing else" "$(grep -v seqno <<<"$before")" \
  "$(stored 'nand?/*' | grep -v seqno)"

# --- What becomes of the tool's output changes nothing in what it does, and lands nowhere else.
wanted= # of the first row
while read -r streams; do
  new_store
  locked=$(in_firmware sh -c "vxpvh $streams; wc -c </var/lock/i2cLock" 2>/dev/null)
  did=$(stored 'nand[12]/* nand0/*.cfg.?')
  wanted=${wanted:-$did}
  check "vxpvh $streams: what the lock file and drivers get, what it does" "0 0 $wanted" \
    "$locked $(count "$state/trace" write) $did"
done <<'STREAMS'
>/dev/null 2>&1
>/dev/full
2>/dev/full >/dev/null
>&-
2>&- >/dev/null
<&- 2>&- >/dev/null
<&- >&- 2>&-
| true
STREAMS
in_firmware sh -c 'printf "properties.file.version = \"6\"\n" >default_bridge_config.cfg; vxpvh' >"$work/both" 2>&1
check "lines in one file are in their order" 1 \
  "$(grep -B1 'Updating CLI' "$work/both" | count - '^Compare Diff: field=BridgeCli')"
mkdir "$work/fake" && printf 'readlink /proc/$$/fd/[02] >%s\n' "$work/streams" | install -m 755 /dev/stdin "$work/fake/cp"
in_firmware --unmounted nand1 sh -c 'PATH=$1:$PATH; vxpvh <&- >&- 2>&-' sh "$work/fake"
check "closed streams are on /dev/null" "/dev/null,/dev/null" "$(paste -sd, "$work/streams")"
check "--help and --version take no lock" 2 "$(blade sh -c 'rm -f /var/lock/vxpvh.lock
  vxpvh --help; vxpvh --version; [ ! -e /var/lock/vxpvh.lock ] || echo vxpvh locks' | count - '^\(usage: \)\?vxpvh')"

# --- Defaults that are no regular file are neither waited for nor copied.
for kind in "mkfifo" "mkdir" "ln -s /dev/zero"; do
  new_store
  rm "$firmware"
  $kind "$firmware"
  run_upgrade
  check "$kind: the new file" "0 1" "$status $(count "$work/out" \
    '^PropertyParser: Failed to open file for reading default_bridge_config.cfg$')$(same "$old" "$reference.0")"
  rm -r "$firmware" "$reference.0"
  cp "$new" "$firmware"
  $kind "$reference.0"
  run_upgrade
  check "$kind: the reference" "0 1" "$status $(said 'cfg.0 is no regular file: not copied$')"
done

# --- A whole upgrade, which makes the largest files too, stays below 4 MiB of resident memory.
# Sanitized builds need several times that; the release build's run of this test is the check.
if [ "${SANITIZED:-OFF}" != ON ]; then
  new_store
  rm "$state"/nand1/brapp_{phys_lun_stripe_table,logical_lun,registered_clients}.bin
  peak=$(in_firmware peak_memory "$bin/vxpvh" 2>&1 >"$work/out" | sed -n 's/^peak_memory: //p')
  check "the measured run merged; its peak of resident memory, $peak KiB" "52 0" \
    "$(count "$work/out" '^Compare') $((${peak:-9999} / 4096))"
fi

# --- A volume that is not mounted: nothing is made below it, and the old defaults stay for later.
new_store
before=$(stored 'nand[12]/*')
for file in "$new" "$new" "$old" "$old"; do # versions differ, and are equal thanks to the copies
  cp "$file" "$firmware"
  check "nothing is made below an unmounted volume" "" \
    "$(in_firmware --unmounted nand1 sh -c 'vxpvh >/dev/null 2>&1; ls -A /mnt/nand1')"
  check "the copies are made, the store is kept" "$before" "$(same "$file" "$reference.1")$(stored 'nand[12]/*')"
done
check "the oldest defaults stay" "" "$(same "$old" "$reference.unmerged")"

# --- A section that cannot be written does not stop the next.
new_store
check "no room for any write" 1 "$(in_firmware sh -c 'trap "" XFSZ; ulimit -f 0; vxpvh 2>/dev/null' |
  count - field=BridgeCliTimeout)"

# --- A factory store holds what its file says, but for what is never loaded or not shown.
new_store
check "defaults that are not live" "$(printf 'config.port.is.%d.PortState = "1"\n' 0 1 2 3
  echo 'config.port.pcie.0.PortNumber = "0"')" \
  "$(grep -E '^config\.(bridge\.Bridge|cli|mgmt|port|hostgroup)' "$old" | sort | comm -23 - <(show | sort))"

# --- Stores: refused when valid, made over when not, --force, --full, unmounted volumes.
# refuses WORDS [BLADESIM OPTION]... COMMAND...: ends with status 2 and prints the words.
refuses() {
  check "refuses: $1" "2 1" "$(blade "${@:2}" >"$work/out" 2>&1; echo $?) $(count "$work/out" "$1")"
}
echo 'bad line' >"$work/bad.cfg"
refuses '--force replaces it' "${create[@]}"
refuses '^vxcfg: no such setting: config.bridge.Nonsense ' vxcfg set config.bridge.Nonsense 1
refuses 'the setting cannot hold "300"' vxcfg set config.bridge.BridgeMode 300
refuses 'no equals sign after the key' vxcfg store create --force --defaults "$work/bad.cfg"
for volume in nand0 nand1 nand2; do
  refuses "^vxcfg: /mnt/$volume is not mounted" --unmounted $volume --unmounted nand2 "${create[@]}"
done
blade "${size[@]}" 9999
blade "${create[@]}" --force --full >/dev/null 2>&1
check "--force and --full" '2048 39' \
  "$(show config.bridge.BridgeLogSize | cut -d'"' -f2) $(ls "$state"/nand1 | grep -vc brapp_psst_data.cfg)"

sequence=$(sequence_number)
spoil "$state/nand1/brapp_config.bin"
spoil "$state/nand1/brapp_passwd.bin"
blade "${create[@]}" >/dev/null 2>&1 && blade vxcfg set config.bridge.BridgeLogLevel 1
check "a damaged store is made over and works, its sequence number goes on" "0 1" \
  "$? $(($(sequence_number) > sequence))"

# --- A store that cannot be finished does not count as made.
rm -rf "$state"
blade sh -c '
  mount -t tmpfs -o size=1m tmpfs /mnt/nand2 2>/dev/null || exit 9
  vxcfg store create --defaults "$1" >/dev/null 2>&1 && exit 1
  [ ! -e /mnt/nand1/brapp_config.bin ] && [ -z "$(ls /mnt/nand2 | grep new)" ]' sh "$old"
status=$?
if [ "$status" -eq 9 ]; then
  echo "SKIPPED: $name: full mirror volume: cannot mount a tmpfs"
else
  check "a full mirror volume, the next try" "0 0" "$status $(blade "${create[@]}" >/dev/null 2>&1; echo $?)"
fi
rm -rf "$state"
check "a flash that cannot be erased" 1 "$(blade sh -c 'echo "fail mtd0 erase EIO" >/dev/blade/devices/control
  "$@" 2>&1' sh "${create[@]}" | count - '^vxcfg: the chassis name could not be saved in the boot environment$')"

# --- bladesim itself.
# A device server that is killed takes its blade's devices with it, and nothing else.
check "a killed device server" "5, then 0" "$(blade sh -c '
  for process in $(cat /proc/$PPID/task/$PPID/children); do [ "$process" = $$ ] || kill -9 "$process"; done
  for try in $(seq 600); do cat /dev/mtd0 >/dev/null 2>&1 || exit 5; sleep 0.1; done
  '; printf '%s, then ' $?; timeout 600 bladesim --state "$state" true; echo $?)"
# Each waits for all others, reads its own flash, and finds it under the driver's number.
for i in {01..20}; do
  bladesim --state "$work/many/$i" sh -c '
    printf $1 | dd of=/dev/blade/nor.bin conv=notrunc status=none; touch "$2/$1.up"
    for try in $(seq 600); do [ $(ls "$2" | grep -c up) -lt 20 ] || break; sleep 0.1; done
    [ $try = 600 ] || echo "$(head -c 2 /dev/mtd0) $(stat -c %d /dev/mtd0)"' sh "$i" "$work/many" &
done >"$work/flashes"
wait
number=$(grep -q mtd "$work/many/01/proc-devices" && echo $((7 << 8)) || echo '[0-9]*')
check "twenty blades at once, each with devices of its own" 20 \
  "$(sort -u "$work/flashes" | count - "^[0-2][0-9] $number$")"
# A second one of the same state waits, and says so: what it says ends the first, which is up by then.
mkfifo "$work/told"
check "a wait" "bladesim: waiting for the blade that uses $state to end" \
  "$(blade sh -c 'echo up; read -r said <"$1"' sh "$work/told" |
    { read -r up && timeout 600 bladesim --state "$state" true 2>&1 | tee "$work/told"; })"
check "the machine's own folders stay" no "$(exists /dev/vxgpdev)"
finish
