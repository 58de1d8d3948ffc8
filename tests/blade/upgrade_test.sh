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
blade "${size[@]}" 9999 >/dev/null
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

# --- Live settings: what is shown, changed, refused, and exported.
new_store
cp -r "$state" "$work/before"
changed() { for i in 1 2; do cmp -l {"$work/before","$state"}/nand$i/brapp_config.bin; done | wc -l; }
key=config.bridge.BridgeLogSize
check "set tells the old value" "$key: \"2048\" -> \"9999\"" "$(blade "${size[@]}" 0x270f)"
check "set changes two bytes of a file and its mirror" 4 "$(changed)"
before=$(stored 'nand?/*')
check "an equal value" "$key: unchanged, \"9999\"" "$(blade "${size[@]}" 9999)"
check "an equal value is not written" "$before" "$(stored 'nand?/*')"
cp "$work/before/nand2/brapp_config.bin" "$state/nand2"
check "the value alone, and its mirror's" "9999 2048" \
  "$(vxcfg get --volumes "$state" $key) $(vxcfg get --volumes "$state" --mirror $key)"
while IFS='|' read -r key value says; do
  check "set $key $value" "$says" "$(blade vxcfg set "config.$key" "$value" 2>&1)"
done <<'VALUES'
port.is.0.MacAddr|0x0200000000ab|config.port.is.0.MacAddr: "020000010000" -> "0200000000AB"
port.fc.0.PortName|20|vxcfg: config.port.fc.0.PortName takes world-wide name of 16 hexadecimal digits, not "20"
bridge.BridgeMode|300|vxcfg: config.bridge.BridgeMode takes 0 to 255, not "300"
bridge.BridgeMode|0x1ff|vxcfg: config.bridge.BridgeMode takes 0 to 255, not "511"
cli.BridgeCliPrompt|a"b|vxcfg: a value holds no quote, as defaults files have none in theirs; config.cli.BridgeCliPrompt takes up to 63 characters
bridge.BridgeLogSiz|1|vxcfg: no such setting: config.bridge.BridgeLogSiz; did you mean config.bridge.BridgeLogSize?
VALUES
check "nothing else was changed" 4 "$(cp "$work/before/nand2/brapp_config.bin" "$state/nand2"; changed)"
spoil "$state/nand1/brapp_hostgroup.bin"
vxcfg show --volumes "$state" >"$work/out" 2>"$work/err"
check "a file that cannot be read is named, the rest shown" \
  "1 618 vxcfg: $state/nand1/brapp_hostgroup.bin is not valid: not shown: config.hostgroup." \
  "$? $(wc -l <"$work/out") $(cat "$work/err")"
vxcfg show --volumes "$state" config.nothing 2>"$work/err"
check "no such prefix" "1 1" "$? $(said 'no key of a live setting begins with config.nothing')"

# An export has what the store holds, not what its reference says, and makes the same store.
rm -rf "$state"
sed 's/"public"/"own"/; s/\(TrapVersion\|CacheMode\|TotalSpareDrives\) = ".*"/\1 = "2"/; s/\(FlushTime\|Passwd\|PortNumber\) = ".*"/\1 = "77"/' \
  "$old" | grep -v crc32 >"$work/own.cfg"
blade vxcfg store create --defaults "$work/own.cfg" >/dev/null 2>&1
cp "$old" "$reference.0"
vxcfg export --volumes "$state" "$work/export" >"$work/out"
check "an export is good, and its owner's" "0 600 646 good" \
  "$? $(stat -c %a "$work/export") $(sed 's/.*: \(.*\) settings.*/\1/' "$work/out") $(vxcfg check "$work/export" | cut -d' ' -f2 | tr -d :)"
records() { stored 'nand1/*' | grep -v seqno; }
before=$(records)
rm -rf "$state"
blade vxcfg store create --defaults "$work/export" >/dev/null 2>&1
check "an export makes the same store" "$before" "$(records)"

# --- Hardware and boot environment, read without a lock, a write or a wait.
bytes() { printf "$2" | dd of="$state/$1" bs=1 seek=$(($3)) conv=notrunc status=none; }
zeros() { printf '\\0%.0s' $(seq "$1"); }
bytes i2c-0-50.bin '\x34\x12' 0x1e04
bytes i2c-0-50.bin '\x7c\x49\3\4'"$(zeros 4)"'\1\0\4'"$(zeros 46)"'\1\0\0\0\0\x53\x25' 0x1e18
check "hardware" "$(printf '%-29s%s\n' slot 2 'serial number' 'unavailable: the boot environment has no SERIAL' \
  'hardware version' 0x1234 'self test' 'mode 1, 1 runs' 'front temperature' '31.5 C' 'VPD files' 'are the same')" \
  "$(blade vxcfg hw | grep -e '^s' -e '^h' -e '^f' -e 'VPD files')"
bytes nand1/brapp_vpd.cfg x 100
check "what cannot be read" "1,VPD files,hardware version,slot" "$(blade sh -c 'echo "fail i2c-0 write EIO 999
fail vxgpdev h27 EIO" >/dev/blade/devices/control; vxcfg hw; echo $?' | sed -nE 's/^(1)$/\1/p; s/^(slot|hardware version) *unavail.*|^(VPD files) *differ in 1 b.*/\1\2/p' | sort | paste -sd,)"
timeout 100 vxcfg hw >"$work/out" # a bound that no machine needs
check "on another machine nothing is waited for" "1 1" "$? $(count "$work/out" '^slot *unavailable: /dev/vxgpdev: No such file or directory')"
printf "$state/nor.bin 0x3e0000 0x4000\n$state/nor.bin 0x3f0000 0x4000\n" >"$work/env.config"
image=(--image "$state/nor.bin" --config "$work/env.config")
agree() { # the variables as the standard tool reads them, where it is
  command -v fw_printenv >/dev/null || { echo "SKIPPED: $name: environment, $1: libubootenv-tool is not installed" >&3; return; }
  check "environment, $1" "$(fw_printenv -c "$work/env.config" | sort)" "$(vxcfg env "${image[@]}" | tail -n +3 | sort)"
}
exec 3>&1
for value in 1 2; do
  check "env set" "$((value - 1 ? 1 : 0))-$value" "$(blade vxcfg env set NUMBER $value | sed 's/.*: "\(.*\)" -> "\(.*\)"/\1-\2/; s/^-/0-/')"
  agree "saved $value times"
done
check "env set: unchanged, refused, removed" 'NUMBER: unchanged, "2",vxcfg: "a=b" cannot name a variable,NUMBER: "2" -> removed' \
  "$(blade sh -c 'vxcfg env set NUMBER 2; vxcfg env set a=b 1; vxcfg env set NUMBER ""' 2>&1 | paste -sd,)"
check "env neither writes nor locks" "0 0 vx2410-chassis" "$(blade sh -c 'rm -f /var/lock/*; vxcfg env >/dev/null
  vxcfg env get ChassisName; ls /var/lock' >"$work/out"; echo "$? $(count "$state/trace" 'program\|erase') $(cat "$work/out")")"
bytes nor.bin x $((vxcfg_active=$(vxcfg env "${image[@]}" | sed -n 's/.*at \(0x[^,]*\).*counts$/\1/p') + 3000))
agree "with a copy that is damaged"
vxcfg env "${image[@]}" >"$work/out"
check "a damaged copy is told" "1 1" "$? $(count "$work/out" ': damaged, CRC')"

# --- Stores: refused when valid, made over when not, --force, --full, unmounted volumes.
# refuses WORDS [BLADESIM OPTION]... COMMAND...: ends with status 2 and prints the words.
refuses() {
  check "refuses: $1" "2 1" "$(blade "${@:2}" >"$work/out" 2>&1; echo $?) $(count "$work/out" "$1")"
}
echo 'bad line' >"$work/bad.cfg"
refuses '--force replaces it' "${create[@]}"
refuses '^vxcfg: no such setting: config.bridge.Nonsense ' vxcfg set config.bridge.Nonsense 1
refuses '^vxcfg: /mnt/nand1 is not mounted$' --unmounted nand1 vxcfg show
refuses '^vxcfg: /mnt/nand1 is not mounted$' --unmounted nand1 "${size[@]}" 1
refuses '^vxcfg: permission denied: /mnt/nand1/brapp_config.bin ' sh -c 'chmod 444 /mnt/nand1/brapp_config.bin
  setpriv --bounding-set -all --inh-caps -all "$@"; status=$?; chmod 755 /mnt/nand1/brapp_config.bin; exit $status' sh "${size[@]}" 1
refuses 'no equals sign after the key' vxcfg store create --force --defaults "$work/bad.cfg"
for volume in nand0 nand1 nand2; do
  refuses "^vxcfg: /mnt/$volume is not mounted" --unmounted $volume --unmounted nand2 "${create[@]}"
done
blade "${size[@]}" 9999 >/dev/null
blade "${create[@]}" --force --full >/dev/null 2>&1
check "--force and --full" '2048 39' \
  "$(show config.bridge.BridgeLogSize | cut -d'"' -f2) $(ls "$state"/nand1 | grep -vc brapp_psst_data.cfg)"

sequence=$(sequence_number)
spoil "$state/nand1/brapp_config.bin"
spoil "$state/nand1/brapp_passwd.bin"
blade "${create[@]}" >/dev/null 2>&1 && blade vxcfg set config.bridge.BridgeLogLevel 1 >/dev/null
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
