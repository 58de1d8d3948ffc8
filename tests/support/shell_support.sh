# Common to the shell tests: $bin with the programs, $samples with the personality files, a work
# folder that is removed at the end, and counted checks.
set -u
bin=$1
samples=$2
export PATH="$bin:$PATH"
name=$(basename "$0" .sh)
work=$(mktemp -d -p /dev/shm 2>/dev/null || mktemp -d) # in memory, where a sync costs nothing
trap 'rm -rf "$work"' EXIT
state=$work/state
old=$samples/personality-5.2.1.cfg
new=$samples/personality-5.3.0.cfg
firmware=$work/firmware/default_bridge_config.cfg
checks=0
failures=0

# blade [BLADESIM OPTION]... COMMAND: a command on the blade; in_firmware: in the firmware's folder.
blade() { bladesim --state "$state" "$@"; }
in_firmware() { (cd "$work/firmware" && blade "$@"); }

if ! why=$(blade true 2>&1); then
  echo "SKIPPED: $name: $why"
  exit 77
fi

# check WHAT EXPECTED ACTUAL
check() {
  checks=$((checks + 1))
  if [ "$2" != "$3" ]; then
    failures=$((failures + 1))
    printf 'FAILED: %s: %s\n--- expected\n%s\n--- actual\n%s\n' "$name" "$1" "$2" "$3"
  fi
}

finish() {
  echo "$name: $((checks - failures)) passed, $failures failed"
  [ "$failures" -eq 0 ]
  exit
}

# new_store: a fresh factory store of the old defaults, and firmware that brings the new ones.
new_store() {
  rm -rf "$state" "$work/firmware"
  mkdir "$work/firmware"
  cp "$new" "$firmware"
  blade vxcfg store create --defaults "$old" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
}

# run_upgrade [BLADESIM OPTION]...: runs the tool; its streams are in $work/out and $work/err, its
# status in $status.
run_upgrade() {
  in_firmware "$@" vxpvh >"$work/out" 2>"$work/err"
  status=$?
}

# spoil PATH: a byte of a record file's header is another.
spoil() { printf x | dd of="$1" bs=1 seek=4 conv=notrunc status=none; }
