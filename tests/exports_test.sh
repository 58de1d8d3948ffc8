#!/usr/bin/env bash
# Every name that a public header declares is exported by the shared libraries, and nothing of the
# product's inside is.
# usage: exports_test.sh INCLUDE LIBRARY...
set -u
include=$1
shift
declared=$(grep -hv '^#' "$include"/vxblade/*.h | tr '\n' ' ' | grep -oE 'VXBLADE_API [^;]*;' |
  sed -E 's/\(.*//; s/\[.*//; s/ *;.*//; s/.*[ *]//' | sort -u)
exported=$(nm -D --defined-only "$@" | awk 'NF == 3 {print $3}' | sort -u)
missing=$(comm -23 <(echo "$declared") <(echo "$exported"))
extra=$(comm -13 <(echo "$declared") <(echo "$exported") | grep -v '^_ZSt\|^_ZNSt\|^_init$\|^_fini$')
echo "declared: $(echo "$declared" | wc -l), missing: ${missing:-none}, undeclared: ${extra:-none}"
[ "$(echo "$declared" | wc -l)" -gt 150 ] && [ -z "$missing" ] && [ -z "$extra" ]
