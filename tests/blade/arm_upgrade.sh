#!/usr/bin/env bash
# The blade's own binary, run by an emulator on the simulated blade, must leave the same store and
# print the same merge as this machine's binary.
# usage: arm_upgrade.sh BIN ARM_BIN SAMPLES
set -u
bin=$(realpath "$1")
arm=$(realpath "$2")
. "$(dirname "$0")/../support/shell_support.sh" "$bin" "$(realpath "$3")"
old=$samples/personality-5.2.1.cfg
new=$samples/personality-5.3.0.cfg

# upgrade_with TOOL...: a factory store, a user's value, an upgrade; the streams and the store.
upgrade_with() {
  new_store "$old"
  bladesim --state "$state" vxcfg set config.bridge.BridgeLogSize 9999
  rm "$state/nand1/brapp_registered_clients.bin"
  cp "$new" "$work/firmware/default_bridge_config.cfg"
  (cd "$work/firmware" && bladesim --state "$state" "$@") >"$work/out" 2>"$work/err"
  echo "status $?"
  grep '^Compare' "$work/out"
  (cd "$state" && sha256sum nand?/*)
}
host=$(upgrade_with vxpvh)
check "merge on this machine" 51 "$(echo "$host" | grep -c '^Compare')"
check "merge and store of the ARM tool" "$host" \
  "$(upgrade_with "$(command -v qemu-arm)" -L /usr/arm-linux-gnueabihf "$arm/vxpvh")"
finish
