#!/usr/bin/env bash
# Every name that a public header declares is exported by the shared libraries and used by a test,
# and nothing of the product's inside is exported.
# usage: exports_test.sh SOURCE LIBRARY...
set -u
source=$1
shift
# A class stands for all the mangled names of its members and tables.
classes=$(grep -hoE '^class VXBLADE_API \w+' "$source"/include/vxblade/*.h | awk '{print $3}')
members=
for class in $classes; do
  members+="s/^_Z(T[VIS]|NK?)${#class}$class.*/$class/;"
done
declared=$({ echo "$classes"; grep -hv '^#\|^class ' "$source"/include/vxblade/*.h | tr '\n' ' ' |
  grep -oE 'VXBLADE_API [^;]*;' | sed -E 's/\(.*//; s/\[.*//; s/ *;.*//; s/.*[ *]//'; } | sort -u)
exported=$(nm -D --defined-only "$@" | awk 'NF == 3 {print $3}' | sed -E "$members" | sort -u)
used=$(grep -hoE '[A-Za-z_][A-Za-z0-9_]*' "$source"/tests/*.cpp "$source"/tests/*.c | sort -u)
missing=$(comm -23 <(echo "$declared") <(echo "$exported"))
extra=$(comm -13 <(echo "$declared") <(echo "$exported") | grep -v '^_ZSt\|^_ZNSt\|^_init$\|^_fini$')
unused=$(comm -23 <(echo "$declared") <(echo "$used"))
echo "declared: $(echo "$declared" | wc -l)" "missing: ${missing:-none}" "undeclared: ${extra:-none}" \
  "not used by a test: ${unused:-none}"
[ "$(echo "$declared" | wc -l)" -gt 150 ] && [ -z "$missing$extra$unused" ]
