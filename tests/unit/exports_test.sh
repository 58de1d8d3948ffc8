#!/usr/bin/env bash
# The names that the public headers declare are those that the shared libraries export, and the
# requests among them those of the table. What programs are built against is in abi.expected:
# declarations, sizes of records, sonames and versions. A difference there is one to every program:
# what is new is accepted (ACCEPT=1 writes the file), what changes or goes takes a new VXBLADE_ABI.
# usage: exports_test.sh SOURCE LIBRARY...
set -u
source=$1
shift
declarations() { cat "$@" | sed 's://.*::' | grep -v '^ *#' | tr -s '\n ' ' ' | grep -oE 'VXBLADE_API [^;{]*'; }
names() { declarations "$@" | sed -E 's/[[(].*//; s/ *$//; s/.*[ *~]//' | sort -u; }
declared=$(names "$source"/include/vxblade/*.h)
requests=$(names "$source"/include/vxblade/brapp_requests.h)
rows=$(sed -nE 's/^ *(PASS|PUT|REQUIRE|OWN)\( *(\w+),.*/XBMGT_\2/p' "$source"/src/brapp/request_table.h | sort -u)
# The class stands for the mangled names of its members and tables.
exported=$(nm -D --defined-only "$@" | sed -nE 's/^\w+ [^A] (.*)@@VXBLADE_[0-9]+$/\1/p' |
  sed -E 's/^_Z(T[VIS]|NK?)10VXNetIoctl.*/VXNetIoctl/' | sort -u)
# Another library's crc32 must never be taken for ours.
stray=$(nm -D --defined-only "$@" | grep -vE ' A |@@VXBLADE_[0-9]+$|^$|:$'; nm -D --undefined-only "$@" | grep -w crc32)

records=$(sed -nE 's/^} (\w+);$/\1/p; s/^PSST_(OPAQUE_)?ENTRY\((\w+),.*/\2/p' "$source"/include/vxblade/*.h | grep -v '^VXLIST$')
abi() {
  readelf -d "$@" | sed -nE 's/.*Library soname: \[(.*)\]/\1/p'
  nm -D --defined-only "$@" | sed -n 's/.* A //p' | sort -u
  declarations "$source"/include/vxblade/*.h | sed -E 's/^VXBLADE_API //; s/ *$//' | sort
  (echo '#include <stdio.h>'
    printf '#include "%s"\n' "$source"/include/vxblade/*.h
    echo 'int main(void) {'
    printf 'printf("%%s %%d bytes\\n", "%s", (int)sizeof(%s));\n' $(sed 's/.*/& &/' <<<"$records")
    echo '}') | "${CC:-cc}" -I "$source/include" -o "$work/sizes" -x c - && "$work/sizes" | sort
}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C
abi "$@" >"$work/abi"
[ -z "${ACCEPT:-}" ] || cp "$work/abi" "$source/tests/unit/abi.expected"

wrong=$(diff <(echo "$declared") <(echo "$exported"); diff <(echo "$requests") <(echo "$rows"); echo -n "$stray"
  diff "$source/tests/unit/abi.expected" "$work/abi")
echo "$(wc -l <<<"$declared") declared, $(wc -l <<<"$requests") of them requests; ${wrong:-all exported}"
[ -z "$wrong" ] && [ "$(wc -l <<<"$declared")" -gt 300 ] && [ "$(wc -l <<<"$requests")" -eq 129 ]
