#!/usr/bin/env bash
# No input may crash or hang the tool, or make it lose a setting: its status is 0 whatever it
# finds, and a sanitizer's report would make it another.
# usage: bad_input_test.sh BIN SAMPLES
. "$(dirname "$0")/../support/shell_support.sh"
old=$samples/personality-5.2.1.cfg
new=$samples/personality-5.3.0.cfg
firmware=$work/firmware/default_bridge_config.cfg
saved=$state/nand0/default_bridge_config.cfg.0

# survives WHAT: runs the tool, within a bound on time that no machine needs.
survives() {
  (cd "$work/firmware" && bladesim --state "$state" timeout 120 vxpvh >"$work/out" 2>"$work/err")
  status=$?
  check "$1: exit status" 0 "$status"
  [ "$status" -eq 0 ] || tail -5 "$work/err"
}

# spoil KIND PATH: what is there instead of a good file.
spoil() {
  [ "$1" = unreadable ] || rm -rf "$2"
  case $1 in
  unreadable) chmod 0 "$2" ;;
  folder) mkdir "$2" ;;
  binary) for i in $(seq 0 255); do printf "\\x$(printf %02x $(((i * 7) % 256)))"; done >"$2" ;;
  gigantic) truncate -s 5G "$2" ;;
  long-line) printf '%s = "%s"\n' "$(head -c 100000 /dev/zero | tr '\0' k)" "$(head -c 100000 /dev/zero | tr '\0' v)" >"$2" ;;
  esac
}

# --- The new and the saved personality file, and each record file, in turn.
new_store "$old"
cp -r "$state" "$work/good"
for place in "$firmware" "$saved" "$state"/nand1/*; do
  kinds='missing folder unreadable'
  [[ $place = "$state"/nand1/* ]] || kinds+=' binary gigantic long-line'
  good=$work/good/nand1/$(basename "$place")
  for kind in $kinds; do
    rm -rf "$state/nand0" "$place"
    cp -r "$work/good/nand0" "$state"
    cp "$work"/good/nand1/brapp_{config.bin,seqno.cfg} "$state/nand1"
    cp "$new" "$firmware"
    [ -e "$place" ] || cp "$good" "$place"
    spoil "$kind" "$place"
    survives "$kind $(basename "$place")"
  done
  rm -rf "$place"
  [ ! -e "$good" ] || cp "$good" "$place"
done

# --- Full volumes: the store keeps what it has.
new_store "$old"
cp "$new" "$firmware"
bladesim --state "$state" sh -c '
  mount -t tmpfs -o size=26m tmpfs /mnt/nand1 2>/dev/null || exit 9
  cp "$1"/nand1/* /mnt/nand1 && rm /mnt/nand1/brapp_event_notify.bin /mnt/nand1/brapp_phys_lun_stripe_table.bin
  head -c 30000000 /dev/zero >/mnt/nand1/filler 2>/dev/null
  cd "$2" && vxpvh >/dev/null 2>&1 || exit 1
  [ ! -e /mnt/nand1/brapp_event_notify.bin ] || exit 2
  vxcfg show config.bridge.BridgeLogLevel' sh "$work/good" "$work/firmware" >"$work/out" 2>"$work/err"
status=$?
if [ "$status" -eq 9 ]; then
  echo "SKIPPED: $name: full volume: cannot mount a tmpfs"
else
  check "full volume: status" 0 "$status"
  check "full volume: settings" 'config.bridge.BridgeLogLevel = "2"' "$(cat "$work/out")"
fi
finish
