#!/usr/bin/env bash
# Programs that know nothing but the installed headers and libraries: C++ ones, and a C one on a
# simulated blade with a network of its own.
# usage: installed_test.sh BIN SAMPLES BUILD
. "$(dirname "$0")/../support/shell_support.sh"
prefix=$work/prefix
cmake --install "$3" --prefix "$prefix" >"$work/log" || { cat "$work/log"; exit 1; }
libraries=$(dirname "$(find "$prefix" -name libvxblade.so)")
"${CC:-cc}" -std=c11 -Wall -Wextra -Wpedantic -Werror -I "$prefix/include" "$(dirname "$0")/installed.c" \
  -o "$work/installed" -L "$libraries" -lvxblade -lvxbootenv -lvxplatform -Wl,-rpath,"$libraries"
check "a program compiles against what is installed" 0 $?

for flags in -frtti -fno-rtti; do
  "${CXX:-c++}" -std=c++20 $flags -Wall -Wextra -Wpedantic -Werror -I "$prefix/include" -include vxblade/net.h -x c++ - \
    -o "$work/derived" -L "$libraries" -lvxblade -lvxbootenv -lvxplatform -Wl,-rpath,"$libraries" \
    <<<'struct Derived : VXNetIoctl { ~Derived() override { VXNetIoctlDestroyHnd(VXNetIoctlGetHnd()); } };
      int main() { VXNetIoctlDestroyHnd(new Derived); }'
  check "a program that derives from a class, $flags" "StartedOpened socked StartedOpened socked " "$("$work/derived" | tr -d 0-9)"
done

network='ip link add eth0 type veth peer name peer0 && ip address add 192.168.1.2/24 dev eth0 && ip link set eth0 up && ip link set peer0 up &&
  ip route add default via 192.168.1.1'
if ! why=$(unshare -n sh -c "$network" 2>&1); then
  echo "SKIPPED: $name: no network of its own: $why"
  finish && exit 77
  exit 1
fi
check "what it prints" "bridge 0, gateway 192.168.1.1" \
  "$(bladesim --state "$state" unshare -n sh -c "$network; exec \"\$1\"" sh "$work/installed")"
check "what the driver saw" "vxbrapp open = 0
vxbrapp b1 844 = 0" "$(cat "$state/trace")"
finish
