#!/usr/bin/env bash
# The unmodified programs on a simulated blade: a whole upgrade, and the five outcomes of a run.
# usage: upgrade_test.sh BIN SAMPLES
. "$(dirname "$0")/../support/shell_support.sh"
old=$samples/personality-5.2.1.cfg
new=$samples/personality-5.3.0.cfg
firmware=$work/firmware/default_bridge_config.cfg

show() { bladesim --state "$state" vxcfg show "$@"; }

# --- An upgrade carries changed defaults over and leaves the user's value alone.
new_store "$old"
bladesim --state "$state" vxcfg set config.bridge.BridgeLogSize 9999
cp "$new" "$firmware"
planned=$(vxcfg plan --volumes "$state" "$new" | sed -nE 's/^(CHANGE|FORCE ) [^ ]*\.([^ .]*) .*/Compare Diff: field=\2, update=1/p')
run_upgrade
check "exit status" 0 "$status"
check "fields that move" 51 "$(echo "$planned" | wc -l)"
check "fields that move, as planned" "$planned" "$(grep '^Compare' "$work/out")"
check "first lines of standard output, in order" \
  "compareDefaultConfiguration: Verify that /mnt/nand1 is mounted
 on /mnt/nand1 
cmdstr: mount | grep /mnt/nand1
status 0x0
PropertyParser: read $(stat -c %s "$new") bytes from default_bridge_config.cfg
PropertyParser: read $(stat -c %s "$old") bytes from /mnt/nand0/default_bridge_config.cfg.0" \
  "$(head -6 "$work/out" | sed 's,^.*\( on /mnt/nand1 \).*$,\1,')"
# What is reported besides the flash's geometry; where device nodes have no number, that is reported.
reported() { grep -v -e '^vhnor_api: vhnor_init [0-9]*: \(---*\|nor_num_regions: 64 .*\)$' \
  -e '^vhnor_api: vhnor_init [0-9]*: map_driver() Failed mtd /dev/mtd0$' "$work/err"; }
check "remote-access files that were missing" 3 "$(grep -c "VerifyTelnetandSshConfigFiles: [a-zA-Z]*Config File doesn't exist $" "$work/err")"
check "first and last lines of standard error" \
  'vxpvh:compareDefaultConfiguration!1524 Personality File version difference detected old=5.2.1.40 new=5.3.0.12
vxpvh:main!1634 Copying new personality file into /mnt/nand0' "$(reported | sed -n '1p;$p')"
if grep -q mtd "$state/proc-devices"; then
  check "no device error on either stream" "" \
    "$(grep -i -e fail -e mismatch -e error -e 'not available' "$work/out" "$work/err")"
  check "nothing in the system log" "" "$(cat "$state/syslog")"
else
  echo "SKIPPED: $name: no device error on either stream: device nodes cannot have a number here"
fi
check "devices are reached" "mtd0 info = 0,mtd0 open = 0,mtd0 regions = 0,vxgpdev open = 0" \
  "$(grep -v 'mtd0 read' "$state/trace" | sort | paste -sd,)"
check "live settings: the user's own, a new default" '9999 3' \
  "$(show | sed -n 's/^config\.bridge\.BridgeLog\(Size\|Level\) = "\(.*\)"/\2/p' | paste -sd' ')"
for copy in 0 1; do
  check "saved copy $copy" "" "$(cmp "$new" "$state/nand0/default_bridge_config.cfg.$copy" 2>&1)"
done

check "docs/settings.md is what vxcfg settings prints" "" "$(vxcfg settings | cmp - "$samples/../docs/settings.md" 2>&1)"

# --- A second run finds equal versions: nothing to merge, nothing to copy.
before=$(cd "$state" && sha256sum nand?/*)
rm "$state/nand1/brapp_cluster_metadata.bin"
run_upgrade
check "second run, exit status" 0 "$status"
check "second run, merge" "" "$(grep '^Compare' "$work/out")"
check "second run, standard error" "" "$(cat "$work/err")"
check "second run makes what is missing" 192 "$(stat -c %s "$state/nand1/brapp_cluster_metadata.bin")"
check "second run changes nothing else" "" \
  "$(diff <(echo "$before" | grep -v seqno) <(cd "$state" && sha256sum nand?/* | grep -v seqno))"

# --- What becomes of the tool's output changes nothing in what it does, and lands nowhere else.
done_by() { (cd "$1" && sha256sum nand[12]/* nand0/*.cfg.?); }
wanted= # of the first row
while read -r streams; do
  new_store "$old"
  bladesim --state "$state" vxcfg set config.bridge.BridgeLogSize 9999
  cp "$new" "$firmware"
  check "vxpvh $streams: what lands in the lock file" 0 "$(cd "$work/firmware" &&
    bladesim --state "$state" sh -c "vxpvh $streams; wc -c </var/lock/i2cLock" 2>/dev/null)"
  wanted=${wanted:-$(done_by "$state")}
  check "vxpvh $streams: what it does" "$wanted" "$(done_by "$state")"
  check "vxpvh $streams: what drivers get" 0 "$(grep -c write "$state/trace")"
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
(cd "$work/firmware" && bladesim --state "$state" sh -c 'printf "properties.file.version = \"6\"\n" >default_bridge_config.cfg
  vxpvh' >"$work/both" 2>&1)
check "lines in one file are in their order" "Compare Diff: field=BridgeCliTimeout, update=1,vxpvh:compareDefaultCliConfigInfo!327 Updating CLI Info" \
  "$(grep -B1 'Updating CLI' "$work/both" | sed 's/field=BridgeCliPrompt/field=BridgeCliTimeout/' | paste -sd,)"
mkdir "$work/fake" && printf 'readlink /proc/$$/fd/[02] >%s\n' "$work/streams" | install -m 755 /dev/stdin "$work/fake/cp"
(cd "$work/firmware" && bladesim --state "$state" --unmounted nand1 sh -c 'PATH=$1:$PATH; vxpvh <&- >&- 2>&-' sh "$work/fake")
check "closed streams are on /dev/null" "/dev/null,/dev/null" "$(paste -sd, "$work/streams")"
for argument in --help --version; do
  check "$argument" "1 and no lock" "$(cd "$work" && bladesim --state "$state" sh -c \
    'rm -f /var/lock/vxpvh.lock; vxpvh $1 | grep -c "^\(usage: \)\?vxpvh"; [ -e /var/lock/vxpvh.lock ] || echo and no lock' sh $argument | paste -sd' ')"
done

# --- Defaults that are no regular file are neither waited for nor copied.
reference=$state/nand0/default_bridge_config.cfg.0
for kind in "mkfifo" "mkdir" "ln -s /dev/zero"; do
  new_store "$old"
  $kind "$firmware"
  run_upgrade
  check "$kind: the new file" "0 $(sha256sum <"$old") 1" "$status $(sha256sum <"$reference") $(grep -c \
    '^PropertyParser: Failed to open file for reading default_bridge_config.cfg$' "$work/out")"
  rm -r "$firmware" "$reference"
  cp "$new" "$firmware"
  $kind "$reference"
  run_upgrade
  check "$kind: the reference" "0 1" "$status $(grep -c 'cfg.0 is no regular file: not copied$' "$work/err")"
done

# --- A whole upgrade, which makes the largest files too, stays below 4 MiB of resident memory.
# Sanitized builds need several times that; the release build's run of this test is the check.
if [ "${SANITIZED:-OFF}" != ON ]; then
  new_store "$old"
  rm "$state"/nand1/brapp_{phys_lun_stripe_table,logical_lun,registered_clients}.bin
  cp "$new" "$firmware"
  peak=$(cd "$work/firmware" && bladesim --state "$state" peak_memory "$bin/vxpvh" 2>&1 >"$work/out" |
    sed -n 's/^peak_memory: //p')
  check "the measured run merged" 52 "$(grep -c '^Compare' "$work/out")"
  check "peak of resident memory, $peak KiB" yes "$([ "${peak:-9999}" -lt 4096 ] && echo yes || echo no)"
fi

# --- The rest of the five outcomes: versions, mounted, store usable -> copies made, record changed.
# outcome WHAT NEWFILE COPIED BRIDGE [BLADESIM OPTION]...
outcome() {
  local what=$1 file=$2 copied=$3 changed=$4
  shift 4
  cp "$file" "$firmware"
  rm -f "$state"/nand0/default_bridge_config.cfg.1
  local before after
  before=$(sha256sum <"$state/nand1/brapp_config.bin")
  run_upgrade "$@"
  after=$(sha256sum <"$state/nand1/brapp_config.bin")
  check "$what: exit status" 0 "$status"
  check "$what: copied" "$copied" "$([ -e "$state/nand0/default_bridge_config.cfg.1" ] && echo yes || echo no)"
  check "$what: configuration changed" "$changed" "$([ "$before" = "$after" ] && echo no || echo yes)"
}
new_store "$old"
outcome "differ, not mounted" "$new" yes no --unmounted nand1
check "the old defaults are kept" "" "$(cmp "$old" "$state/nand0/default_bridge_config.cfg.unmerged" 2>&1)"
check "that is said" 1 "$(grep -c 'Not merged; the old defaults are kept as /mnt/nand0/default_bridge_config.cfg.unmerged$' "$work/err")"
check "not mounted is said" 1 "$(grep -c '^compareDefaultConfiguration: /mnt/nand1 not mounted$' "$work/out")"
outcome "equal, mounted" "$new" no no
outcome "equal, not mounted" "$new" yes no --unmounted nand1
check "nothing but the copies is reported" "vxpvh:main!1634 Copying new personality file into /mnt/nand0" \
  "$(cat "$work/err")"
for file in "$new" "$old"; do # versions that differ and, thanks to the copies, versions that are equal
  for run in 1 2; do
    cp "$file" "$firmware"
    check "nothing is made below an unmounted volume" "" "$(cd "$work/firmware" &&
      bladesim --state "$state" --unmounted nand1 sh -c 'vxpvh >/dev/null 2>&1; ls -A /mnt/nand1')"
  done
done
printf 'x' | dd of="$state/nand1/brapp_config.bin" bs=1 seek=4 conv=notrunc 2>/dev/null
outcome "differ, store unusable" "$new" yes no
check "the oldest defaults stay" "" "$(cmp "$old" "$state/nand0/default_bridge_config.cfg.unmerged" 2>&1)"
check "an unusable store is said" 1 "$(grep -c '!1532 The store could not be opened: -1$' "$work/err")"

# --- A section that cannot be written does not stop the next.
new_store "$old"
cp "$new" "$firmware"
check "no room for any write" 1 "$(cd "$work/firmware" && bladesim --state "$state" \
  sh -c 'trap "" XFSZ; ulimit -f 0; vxpvh 2>/dev/null' | grep -c field=BridgeCliTimeout)"

# --- A factory store holds what its file says, but for what is never loaded or not shown.
new_store "$old"
check "defaults that are not live" \
  "$(for port in 0 1 2 3; do echo "config.port.is.$port.PortState = \"1\""; done; echo 'config.port.pcie.0.PortNumber = "0"')" \
  "$(grep -E '^config\.(bridge\.Bridge|cli|mgmt|port|hostgroup)' "$old" | sort | comm -23 - <(show | sort))"

# --- Stores: refused when valid, made over when not, --force, --full, unmounted volumes.
check "a valid store is refused" 1 "$(bladesim --state "$state" vxcfg store create --defaults "$old" 2>&1 | grep -c -- '--force replaces it')"
bladesim --state "$state" vxcfg store create --defaults "$old" --force --full >/dev/null 2>&1
check "--force" '2048' "$(show config.bridge.BridgeLogSize | cut -d'"' -f2)"
check "--full" 39 "$(ls "$state"/nand1 | grep -vc brapp_psst_data.cfg)"
check "an unmounted volume" "vxcfg: /mnt/nand2 is not mounted (run this on a blade, or under bladesim)" \
  "$(bladesim --state "$state" --unmounted nand2 vxcfg store create --defaults "$old" 2>&1)"
check "an unknown setting" "vxcfg: no such setting: config.bridge.Nonsense (\"vxcfg show\" lists them)" \
  "$(bladesim --state "$state" vxcfg set config.bridge.Nonsense 1 2>&1)"
check "a value that does not fit" 'vxcfg: the setting cannot hold "300"' \
  "$(bladesim --state "$state" vxcfg set config.bridge.BridgeMode 300 2>&1)"

sequence=$(sequence_number)
for file in brapp_config.bin brapp_passwd.bin; do
  printf 'x' | dd of="$state/nand1/$file" bs=1 seek=4 conv=notrunc 2>/dev/null
done
bladesim --state "$state" vxcfg store create --defaults "$old" >/dev/null 2>&1
check "a damaged store is made over" 0 $?
bladesim --state "$state" vxcfg set config.bridge.BridgeLogLevel 1
check "a store that was made over works" 0 $?
check "its sequence number goes on" yes "$([ "$(sequence_number)" -gt "$sequence" ] && echo yes || echo no)"
for volume in nand0 nand1; do
  check "unmounted $volume" 1 "$(bladesim --state "$state" --unmounted $volume --unmounted nand2 \
    vxcfg store create --defaults "$old" 2>&1 | grep -c "/mnt/$volume is not mounted")"
done
echo 'bad line' >"$work/bad.cfg"
vxcfg check "$work/bad.cfg" >/dev/null
check "check of a bad file" 1 $?
check "bad defaults are refused" 1 "$(bladesim --state "$state" vxcfg store create --force \
  --defaults "$work/bad.cfg" 2>&1 | grep -c 'not a property')"

# --- A store that cannot be finished does not count as made.
rm -rf "$state"
bladesim --state "$state" sh -c '
  mount -t tmpfs -o size=1m tmpfs /mnt/nand2 2>/dev/null || exit 9
  vxcfg store create --defaults "$1" >/dev/null 2>&1 && exit 1
  [ ! -e /mnt/nand1/brapp_config.bin ] && [ -z "$(ls /mnt/nand2 | grep new)" ]' sh "$old"
status=$?
if [ "$status" -eq 9 ]; then
  echo "SKIPPED: $name: full mirror volume: cannot mount a tmpfs"
else
  check "a full mirror volume" 0 "$status"
  bladesim --state "$state" vxcfg store create --defaults "$old" >/dev/null 2>&1
  check "the next try" 0 $?
fi

rm -rf "$state"
check "a flash that cannot be erased" 1 "$(bladesim --state "$state" sh -c '
  echo "fail mtd0 erase EIO" >/dev/blade/devices/control; vxcfg store create --defaults "$1" 2>&1' sh "$old" |
  grep -c '^vxcfg: the chassis name could not be saved in the boot environment$')"

# --- bladesim itself.
# A device server that is killed takes its blade's devices with it, and nothing else.
check "a killed device server" "5, then 0" "$(bladesim --state "$state" sh -c '
  for process in $(cat /proc/$PPID/task/$PPID/children); do [ "$process" = $$ ] || kill -9 "$process"; done
  for try in $(seq 600); do cat /dev/mtd0 >/dev/null 2>&1 || exit 5; sleep 0.1; done'; printf '%s, then ' $?; timeout 600 bladesim --state "$state" true; echo $?)"
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
  "$(sort -u "$work/flashes" | grep -c "^[0-2][0-9] $number$")"
# A second one of the same state waits, and says so: what it says ends the first, which is up by then.
mkfifo "$work/told"
check "a wait" "bladesim: waiting for the blade that uses $state to end" \
  "$(bladesim --state "$state" sh -c 'echo up; read -r said <"$1"' sh "$work/told" |
    { read -r up && timeout 600 bladesim --state "$state" true 2>&1 | tee "$work/told"; })"
check "the machine's own folders stay" "no" "$([ -e /dev/vxgpdev ] && echo yes || echo no)"
finish
