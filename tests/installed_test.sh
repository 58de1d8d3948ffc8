#!/usr/bin/env bash
# A C program that knows nothing but the installed headers and libraries, on a simulated blade with
# a network of its own.
# usage: installed_test.sh BIN SAMPLES BUILD
. "$(dirname "$0")/shell_support.sh"
prefix=$work/prefix
cmake --install "$3" --prefix "$prefix" >"$work/log" || { cat "$work/log"; exit 1; }
libraries=$(dirname "$(find "$prefix" -name libvxblade.so)")
"${CC:-cc}" -std=c11 -Wall -Wextra -Wpedantic -Werror -I "$prefix/include" "$(dirname "$0")/installed.c" \
  -o "$work/installed" -L "$libraries" -lvxblade -lvxplatform -Wl,-rpath,"$libraries"
check "a program compiles against what is installed" 0 $?

network='ip link add eth0 type veth peer name peer0 && ip address add 192.168.1.2/24 dev eth0 && ip link set eth0 up && ip link set peer0 up &&
  ip route add default via 192.168.1.1'
if ! why=$(unshare -n sh -c "$network" 2>&1); then
  echo "SKIPPED: $name: no network of its own: $why"
  exit 77
fi
check "what it prints" "bridge 0, gateway 192.168.1.1" \
  "$(bladesim --state "$state" unshare -n sh -c "$network; exec \"\$1\"" sh "$work/installed")"
check "what the driver saw" "vxbrapp open = 0
vxbrapp b1 844 = 0" "$(cat "$state/trace")"
finish
