#!/usr/bin/env bash
# The unmodified programs on a simulated blade: a whole upgrade, and the five outcomes of a run.
# usage: upgrade_test.sh BIN SAMPLES
. "$(dirname "$0")/shell_support.sh"
old=$samples/personality-5.2.1.cfg
new=$samples/personality-5.3.0.cfg
firmware=$work/firmware/default_bridge_config.cfg

show() { bladesim --state "$state" vxcfg show "$@"; }

# --- An upgrade carries changed defaults over and leaves the user's value alone.
new_store "$old"
bladesim --state "$state" vxcfg set config.bridge.BridgeLogSize 9999
cp "$new" "$firmware"
before=$(sequence_number)
run_upgrade
check "exit status" 0 "$status"
check "lines of the merge" \
  "Compare Diff: field=BridgeLogLevel, update=1
Compare Diff: field=BridgeRemoteCommandTimeout, update=1
Compare Diff: field=BridgeUserDaemonFeatures, update=1
Compare Diff: field=BridgeDataMigrationMode, update=1
Compare Diff: field=BridgeTargetMode, update=1
Compare Diff: field=BridgeIscsiBaseName, update=1
Compare Diff: field=BridgeCliTimeout, update=1
Compare Diff: field=BridgeCliPrompt, update=1" "$(grep '^Compare' "$work/out")"
check "first lines of standard output, in order" \
  "compareDefaultConfiguration: Verify that /mnt/nand1 is mounted
 on /mnt/nand1 
cmdstr: mount | grep /mnt/nand1
status 0x0
PropertyParser: read $(stat -c %s "$new") bytes from default_bridge_config.cfg
PropertyParser: read $(stat -c %s "$old") bytes from /mnt/nand0/default_bridge_config.cfg.0" \
  "$(head -6 "$work/out" | sed 's,^.*\( on /mnt/nand1 \).*$,\1,')"
check "standard error" \
  "vxpvh:compareDefaultConfiguration!1524 Personality File version difference detected old=5.2.1.40 new=5.3.0.12
vxpvh:compareDefaultBridgeConfigInfo!244 Updating Bridge Info
vxpvh:compareDefaultCliConfigInfo!327 Updating CLI Info
vxpvh:main!1634 Copying new personality file into /mnt/nand0" \
  "$(grep -v '^vhnor_api: vhnor_init [0-9]*: map_driver() Failed mtd /dev/mtd0$' "$work/err")"
check "live settings" \
  'config.bridge.BridgeMode = "1"
config.bridge.BridgeLogSize = "9999"
config.bridge.BridgeLogLevel = "3"
config.bridge.BridgeRemoteCommandTimeout = "60"
config.bridge.BridgeSmisFlags = "1"
config.bridge.BridgeUserDaemonFeatures = "7"
config.bridge.BridgeSmisListenerPersistenceType = "2"
config.bridge.BridgeDataMigrationMode = "2"
config.bridge.BridgeIqnGenFlags = "1"
config.bridge.BridgeTargetMode = "2"
config.bridge.BridgeLunMapping = "1"
config.bridge.BridgeIscsiBaseName = "iqn.2026-01.example.vxblade:vx2410."
config.cli.BridgeCliTimeout = "900"
config.cli.BridgeCliPrompt = "vx2410 #>"' \
  "$(show | grep -v -e ProductName -e SerialNumber -e VersionNumber -e SymbolicName)"
check "one number for each write" $((before + 2)) "$(sequence_number)"
for file in "$state"/nand1/*; do
  check "mirror of $file" "" "$(cmp "$file" "$state/nand2/$(basename "$file")" 2>&1)"
done
for copy in 0 1; do
  check "saved copy $copy" "" "$(cmp "$new" "$state/nand0/default_bridge_config.cfg.$copy" 2>&1)"
done

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
check "not mounted is said" 1 "$(grep -c '^compareDefaultConfiguration: /mnt/nand1 not mounted$' "$work/out")"
outcome "equal, mounted" "$new" no no
outcome "equal, not mounted" "$new" yes no --unmounted nand1
check "nothing but the copies is reported" "vxpvh:main!1634 Copying new personality file into /mnt/nand0" \
  "$(cat "$work/err")"
# The way back: live values already are what the file brings, so the write changes no byte.
outcome "differ, mounted" "$old" yes no
printf 'x' | dd of="$state/nand1/brapp_config.bin" bs=1 seek=4 conv=notrunc 2>/dev/null
outcome "differ, store unusable" "$new" yes no
sed 's/^properties.file.product.*/properties.file.product = "another"/' "$new" >"$work/product.cfg"
outcome "product differs" "$work/product.cfg" yes no
check "product differs: equal versions are printed" 1 "$(grep -c 'old=5.3.0.12 new=5.3.0.12' "$work/err")"

# --- Without a saved file every old default reads as zero: user values and forced fields.
new_store "$old"
rm "$state"/nand0/default_bridge_config.cfg.?
cp "$new" "$firmware"
run_upgrade
check "no saved file: forced fields only" \
  "BridgeIqnGenFlags
BridgeTargetMode
BridgeLunMapping
BridgeIscsiBaseName" "$(sed -n 's/^Compare Diff: field=\(Bridge[A-Za-z]*\), update=1$/\1/p' "$work/out")"

# --- Stores: refused when valid, made over when not, --force, --full, unmounted volumes.
check "a valid store is refused" 1 "$(bladesim --state "$state" vxcfg store create --defaults "$old" 2>&1 | grep -c -- '--force replaces it')"
bladesim --state "$state" vxcfg store create --defaults "$old" --force --full >/dev/null
check "--force" '2048' "$(show config.bridge.BridgeLogSize | cut -d'"' -f2)"
check "--full" 39 "$(ls "$state"/nand1 | wc -l)"
check "an unmounted volume" "vxcfg: /mnt/nand2 is not mounted (run this on a blade, or under bladesim)" \
  "$(bladesim --state "$state" --unmounted nand2 vxcfg store create --defaults "$old" 2>&1)"
check "an unknown setting" "vxcfg: no such setting: config.bridge.Nonsense (\"vxcfg show\" lists them)" \
  "$(bladesim --state "$state" vxcfg set config.bridge.Nonsense 1 2>&1)"
check "a value that does not fit" 'vxcfg: the setting cannot hold "300"' \
  "$(bladesim --state "$state" vxcfg set config.bridge.BridgeMode 300 2>&1)"

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

# --- bladesim itself.
check "working directory, arguments, status" "/tmp a b 7" \
  "$(cd /tmp && bladesim --state "$state" -- sh -c 'echo "$PWD $1 $2 $(exit 7; )7"; exit 7' sh a b)"
bladesim --state "$state" -- sh -c 'exit 7'
check "the command's status" 7 $?
bladesim --state "$state" ./no-such-command 2>/dev/null
check "a missing command" 127 $?
bladesim --state "$state" --unmounted nand7 true 2>/dev/null
check "an unknown volume" 125 $?
check "the machine's own folders stay" "no" "$([ -e /dev/vxgpdev ] && echo yes || echo no)"
finish
