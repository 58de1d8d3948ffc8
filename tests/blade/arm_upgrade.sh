#!/usr/bin/env bash
# The blade's own binary, run by an emulator on the simulated blade, must leave the same store and
# print the same merge as this machine's binary.
# usage: arm_upgrade.sh BIN ARM_BIN SAMPLES [EMULATOR...]
set -u
arm=$(realpath "$2")
emulator=("${@:4}")
[ $# -gt 3 ] || emulator=(qemu-arm -L /usr/arm-linux-gnueabihf)
. "$(dirname "$0")/../support/shell_support.sh" "$(realpath "$1")" "$(realpath "$3")"

# upgrade_with TOOL...: a factory store, a user's value, an upgrade; the streams and the store.
upgrade_with() {
  new_store
  blade vxcfg set config.bridge.BridgeLogSize 9999
  rm "$state/nand1/brapp_registered_clients.bin"
  in_firmware "$@" 2>/dev/null | grep '^Compare'
  echo "status ${PIPESTATUS[0]}"
  sed -i '/^time/d' "$state/nand0/upgrade.report"
  (cd "$state" && sha256sum nand?/*)
}
host=$(upgrade_with vxpvh)
check "merge on this machine" 51 "$(echo "$host" | grep -c '^Compare')"
check "merge and store of the ARM tool" "$host" \
  "$(upgrade_with "$(command -v "${emulator[0]}")" "${emulator[@]:1}" "$arm/vxpvh")"
finish
