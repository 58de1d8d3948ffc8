#!/usr/bin/env bash
# The blade's own binary, run by an emulator on the simulated blade, must leave the same store and
# print the same merge as this machine's binary.
# usage: arm_upgrade.sh BIN ARM_BIN SAMPLES
set -u
bin=$(realpath "$1")
arm=$(realpath "$2")
. "$(dirname "$0")/shell_support.sh" "$bin" "$(realpath "$3")"
