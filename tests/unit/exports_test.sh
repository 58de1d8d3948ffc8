#!/usr/bin/env bash
# Every name that a public header declares is exported by the shared libraries, every
# request to the drivers is such a name, and nothing of the product's inside is exported.
# usage: exports_test.sh SOURCE LIBRARY...
set -u
source=$1
shift
headers=("$source"/include/vxblade/*.h)
# A class stands for all the mangled names of its members and tables.
classes=$(grep -hoE '^class VXBLADE_API \w+' "${headers[@]}" | awk '{print $3}')
members=
for class in $classes; do
  members+="s/^_Z(T[VIS]|NK?)${#class}$class.*/$class/;"
done
# Declarations come out of macros too, so they are looked for behind the preprocessor.
declared=$({ echo "$classes"; printf '#include <vxblade/%s>\n' "${headers[@]##*/}" |
  "${CC:-cc}" -I "$source/include" -x c -E -P - | tr '\n' ' ' |
  grep -oE '__attribute__\(\(visibility\("default"\)\)\) [^;]*;' | sed 's/^[^ ]* //' |
  sed -E 's/\(.*//; s/\[.*//; s/[ ;]*$//; s/.*[ *]//'; } | sort -u)
requests=$(sed -nE 's/^ *(PASS|TYPED|PUT|REQUIRE|OWN)\( *(\w+),.*/XBMGT_\2/p' \
  "$source/include/vxblade/brapp_requests.h" | sort -u)
exported=$(nm -D --defined-only "$@" | awk 'NF == 3 {print $3}' |
  sed -E "$members" | sort -u)
missing=$(comm -23 <(echo "$declared") <(echo "$exported"))
extra=$(comm -13 <(echo "$declared") <(echo "$exported") | grep -v '^_ZSt\|^_ZNSt\|^_init$\|^_fini$')
lost=$(comm -23 <(echo "$requests") <(echo "$declared"))
echo "declared: $(echo "$declared" | wc -l)" "missing: ${missing:-none}" "undeclared: ${extra:-none}" \
  "requests: $(echo "$requests" | wc -l)" "lost: ${lost:-none}"
[ "$(echo "$declared" | wc -l)" -gt 300 ] && [ "$(echo "$requests" | wc -l)" -eq 129 ] &&
  [ -z "$missing$extra$lost" ]
