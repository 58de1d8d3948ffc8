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
checks=0
failures=0

if ! why=$(bladesim --state "$state" true 2>&1); then
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

# new_store FILE: a fresh factory store; the firmware's folder is $work/firmware.
new_store() {
  rm -rf "$state" "$work/firmware"
  mkdir -p "$work/firmware"
  bladesim --state "$state" vxcfg store create --defaults "$1" >"$work/create.log" 2>&1 ||
    { cat "$work/create.log"; exit 1; }
}

# run_upgrade [BLADESIM OPTION]...: runs the tool in the firmware's folder; its streams are in
# $work/out and $work/err, its status in $status.
run_upgrade() {
  (cd "$work/firmware" && bladesim --state "$state" "$@" vxpvh >"$work/out" 2>"$work/err")
  status=$?
}

sequence_number() {
  od -An -tu8 -j20 -N8 "$state/nand1/brapp_seqno.cfg" | tr -d ' '
}
