#!/bin/sh
# on_blade.sh BLADESIM COMMAND...: runs a command on a simulated blade whose files are in memory.
state=$(mktemp -d)
trap 'rm -rf "$state"' EXIT
"$1" --state "$state" true || { echo "SKIPPED: $(basename "$2"): no simulated blade here" && exit 77; }
"$1" --state "$state" sh -c '
  for folder in /mnt/nand0 /mnt/nand1 /mnt/nand2 /etc; do mount -t tmpfs tmpfs $folder || exit; done
  shift && exec "$@"' sh "$@"
