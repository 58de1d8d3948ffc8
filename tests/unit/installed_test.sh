#!/usr/bin/env bash
# What knows nothing but the installed headers and libraries: every header as C, C++ programs, and a
# C one on a simulated blade with a network of its own.
# usage: installed_test.sh BIN SAMPLES BUILD
. "$(dirname "$0")/../support/shell_support.sh"
prefix=$work/prefix
cmake --install "$3" --prefix "$prefix" >"$work/log" || { cat "$work/log"; exit 1; }
libraries=$(dirname "$(find "$prefix" -name libvxblade.so)")
build=(-Wall -Wextra -Wconversion -Wpedantic -Werror -I "$prefix/include" -o "$work/program" -L "$libraries" "-Wl,-rpath,$libraries")
libraries=(-lvxblade -lvxbootenv -lvxplatform)

for header in "$prefix"/include/vxblade/*.h; do
  "${CC:-cc}" -std=c11 "${build[@]}" -fsyntax-only -x c "$header"
  check "C reads $(basename "$header")" 0 $?
done
for flags in -frtti -fno-rtti; do
  "${CXX:-c++}" -std=c++20 $flags "${build[@]}" -include vxblade/net.h -x c++ - "${libraries[@]}" \
    <<<'struct Derived : VXNetIoctl { ~Derived() override { VXNetIoctlDestroyHnd(VXNetIoctlGetHnd()); } };
      int main() { VXNetIoctlDestroyHnd(new Derived); }'
  check "a program that derives from a class, $flags" "StartedOpened socked StartedOpened socked " "$("$work/program" | tr -d 0-9)"
done
"${CC:-cc}" -std=c11 "${build[@]}" "$(dirname "$0")/installed.c" "${libraries[@]}"

network='ip link add eth0 type veth peer name peer0 && ip address add 192.168.1.2/24 dev eth0 && ip link set eth0 up && ip link set peer0 up &&
  ip route add default via 192.168.1.1'
if ! why=$(unshare -n sh -c "$network" 2>&1); then
  echo "SKIPPED: $name: no network of its own: $why"
  finish && exit 77
  exit 1
fi
check "what it prints" "bridge 0, gateway c0a80101" \
  "$(bladesim --state "$state" unshare -n sh -c "$network; exec \"\$1\"" sh "$work/program")"
check "what the driver saw" "vxbrapp open = 0
vxbrapp b1 844 = 0" "$(cat "$state/trace")"
finish
