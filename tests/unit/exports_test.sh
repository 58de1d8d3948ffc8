#!/usr/bin/env bash
# The names that the public headers declare are those that the shared libraries export, and the
# requests among them those of the table.
# usage: exports_test.sh SOURCE LIBRARY...
set -u
source=$1
shift
names() {
  cat "$@" | grep -v '^#' | tr '\n' ' ' | grep -oE 'VXBLADE_API [^;([{]*' | sed 's/ *$//; s/.*[ *~]//' | sort -u
}
declared=$(names "$source"/include/vxblade/*.h)
requests=$(names "$source"/include/vxblade/brapp_requests.h)
rows=$(sed -nE 's/^ *(PASS|PUT|REQUIRE|OWN)\( *(\w+),.*/XBMGT_\2/p' "$source"/src/brapp/request_table.h | sort -u)
# The class stands for the mangled names of its members and tables.
exported=$(nm -D --defined-only "$@" | awk 'NF == 3 {print $3}' |
  sed -E '/^_Z(NK?)?St|^_(init|fini)$/d; s/^_Z(T[VIS]|NK?)10VXNetIoctl.*/VXNetIoctl/' | sort -u)
wrong=$(diff <(echo "$declared") <(echo "$exported"); diff <(echo "$requests") <(echo "$rows"))
echo "$(wc -l <<<"$declared") declared, $(wc -l <<<"$requests") of them requests; ${wrong:-all exported}"
[ -z "$wrong" ] && [ "$(wc -l <<<"$declared")" -gt 300 ] && [ "$(wc -l <<<"$requests")" -eq 129 ]
