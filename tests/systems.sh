#!/usr/bin/env bash
# The last commit in a bare Debian 12 and a bare Debian 13: built and tested by the release stage of
# scripts/test there, with g++ and clang++ of each.
# usage: systems.sh [SUITE...]
set -u
cd "$(dirname "$0")/.." || exit 1
. scripts/packages.sh
trap 'rm -rf "$package_log"' EXIT
need_packages "${root_tools[@]}"
need_module @duckdb/node-api
why=$(no_root) && { echo "SKIPPED: systems: $why"; exit 77; }

[ $# -gt 0 ] || set -- bookworm trixie
passed=0 failed=0 skipped=0
for suite in "$@"; do
  # The last is a virtual package's, which debootstrap does not choose itself.
  root=$(bare_root "$PWD/build-systems" "$suite" "${build_packages[@]}" "${test_packages[@]}" nodejs libselinux1-dev) || {
    echo "SKIPPED: systems: $suite: $root" && skipped=$((skipped + 1))
    continue
  }
  for compiler in gcc/g++ clang/clang++; do
    name=$suite-${compiler#*/} tree=$root/vxblade
    rm -rf "$tree" && mkdir "$tree" && git archive HEAD | tar -x -C "$tree" &&
      { [ ! -d build-npm ] || cp -a build-npm "$tree"; } &&
      in_root "$root" env CC="${compiler%/*}" CXX="${compiler#*/}" /vxblade/scripts/test release \
        >"build-systems/$name.log" 2>&1 </dev/null
    if [ $? -eq 0 ]; then
      passed=$((passed + 1))
    else
      failed=$((failed + 1)) && echo "FAILED: systems: $name: build-systems/$name.log"
      grep -E -A 5 ' error: |\*\*\*Failed' "build-systems/$name.log" | head -n 20
    fi
    # What the stage skipped there was not tested.
    while read -r line; do
      skipped=$((skipped + 1)) && echo "SKIPPED: systems: $name: $line"
    done < <(sed -nE 's/^SKIPPED +(release: SKIPPED: )?//p' "build-systems/$name.log")
    rm -rf "$tree"
  done
done
echo "systems: $passed passed, $failed failed, $skipped skipped"
[ $failed -eq 0 ] || exit 1
[ $skipped -eq 0 ] || exit 77
