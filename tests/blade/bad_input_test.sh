#!/usr/bin/env bash
# No input may crash or hang the tool, or make it lose a setting: its status is 0 whatever it
# finds, and a sanitizer's report would make it another.
# usage: bad_input_test.sh BIN SAMPLES
. "$(dirname "$0")/../support/shell_support.sh"

# put KIND PATH: what is there instead of a good file.
put() {
  [ "$1" = unreadable ] || rm -rf "$2"
  case $1 in
  unreadable) chmod 0 "$2" ;;
  folder) mkdir "$2" ;;
  binary) for i in $(seq 0 255); do printf "\\x$(printf %02x $(((i * 7) % 256)))"; done >"$2" ;;
  gigantic) truncate -s 5G "$2" ;;
  long-line) printf '%0100000d = "%0100000d"\n' 0 0 >"$2" ;;
  esac
}

# --- The new and the saved personality file, and each record file, in turn.
new_store
cp -r "$state" "$work/good"
for place in "$firmware" "$state/nand0/default_bridge_config.cfg.0" "$state"/nand1/*; do
  kinds='missing folder unreadable'
  [[ $place = "$state"/nand1/* ]] || kinds+=' binary gigantic long-line'
  for kind in $kinds; do
    rm -rf "$state/nand0" "$place"
    cp -r "$work/good/nand0" "$state"
    cp "$work"/good/nand1/brapp_{config.bin,seqno.cfg} "$state/nand1"
    cp "$new" "$firmware"
    [ -e "$place" ] || cp "$work/good/nand1/$(basename "$place")" "$place"
    put "$kind" "$place"
    run_upgrade timeout 120 # a bound that no machine needs
    check "$kind $(basename "$place"): exit status, $(tail -5 "$work/err")" 0 "$status"
    for command in {show,get\ config.mgmt.IpAddr,export,hw,last,"plan $firmware"}" --volumes $state" "env --image $place"; do
      timeout 120 vxcfg $command >"$work/out" 2>&1
      status=$?
      [ $status -le 2 ] || check "$kind $(basename "$place"): vxcfg $command: $(tail -5 "$work/out")" 'at most 2' $status
    done
  done
  rm -rf "$place"
  cp "$work/good/nand1/$(basename "$place")" "$place" 2>/dev/null
done

# --- Full volumes: the store keeps what it has.
new_store
blade sh -c '
  mount -t tmpfs -o size=26m tmpfs /mnt/nand1 2>/dev/null || exit 9
  cp "$1"/nand1/* /mnt/nand1 && rm /mnt/nand1/brapp_event_notify.bin /mnt/nand1/brapp_phys_lun_stripe_table.bin
  head -c 30000000 /dev/zero >/mnt/nand1/filler 2>/dev/null
  cd "$2" && vxpvh >/dev/null 2>&1 || exit 1
  [ ! -e /mnt/nand1/brapp_event_notify.bin ] || exit 2
  vxcfg show config.bridge.BridgeLogLevel' sh "$work/good" "$work/firmware" >"$work/out" 2>&1
status=$?
if [ "$status" -eq 9 ]; then
  echo "SKIPPED: $name: full volume: cannot mount a tmpfs"
else
  check "full volume" '0 config.bridge.BridgeLogLevel = "2"' "$status $(cat "$work/out")"
fi
finish
