#!/usr/bin/env bash
# What knows nothing but what is installed: every header in every language, how what ships is
# hardened, C and C++ programs, and the examples on a simulated blade with a network of its own.
# usage: installed_test.sh BIN SAMPLES BUILD
. "$(dirname "$0")/../support/shell_support.sh"
here=$(cd "$(dirname "$0")" && pwd)
prefix=$work/prefix
cmake --install "$3" --prefix "$prefix" >"$work/log" || { cat "$work/log"; exit 1; }
libraries=$(dirname "$(find "$prefix" -name libvxblade.so)")
export PKG_CONFIG_PATH=$libraries/pkgconfig

# Each of the headers alone, in all of a compiler's languages.
strict=(-Wall -Wextra -Wpedantic -Werror -I "$prefix/include" -fsyntax-only)
for compiler in "${CC:-cc}" clang; do
  command -v "$compiler" >/dev/null || { echo "SKIPPED: $name: no $compiler to read the headers"; continue; }
  for language in c99 c11 c17 c++11 c++17 c++20; do
    check "$compiler reads the headers as $language" "" \
      "$("$compiler" -x "${language%%[0-9]*}" -std=$language "${strict[@]}" "$prefix"/include/vxblade/*.h 2>&1 || echo failed)"
  done
done

# hardened FILE: what it lacks of position independence, a read-only table of resolved addresses, a
# stack without code, and checks of stack and buffers.
hardened() {
  local headers dynamic
  headers=$(readelf -hlW "$1") dynamic=$(readelf -dW "$1"; nm -D "$1")
  grep -q 'Type: *DYN' <<<"$headers" || echo "$1: no PIE"
  grep -q GNU_RELRO <<<"$headers" && grep -q 'Flags:.* NOW' <<<"$dynamic" || echo "$1: no full RELRO"
  grep -q 'GNU_STACK.* RW ' <<<"$headers" || echo "$1: an executable stack"
  grep -q __stack_chk_fail <<<"$dynamic" || echo "$1: no stack protector"
  grep -qE '__[a-z]+_chk@' <<<"$dynamic" || echo "$1: no checks of buffers"
}
for file in "$prefix"/bin/vxpvh "$libraries"/*.so; do
  check "hardening" "" "$(hardened "$file")"
done

# To clang, libraries are no input that a language could be of.
build=(-Wall -Wextra -Wconversion -Wpedantic -Werror -Wno-unused-command-line-argument -o "$work/program" "-Wl,-rpath,$libraries")
read -ra flags < <(pkg-config --cflags --libs vxblade)
for rtti in -frtti -fno-rtti; do
  "${CXX:-c++}" -std=c++20 $rtti "${build[@]}" -include vxblade/net.h -x c++ - -x none "${flags[@]}" \
    <<<'struct Derived : VXNetIoctl { ~Derived() override { VXNetIoctlDestroyHnd(VXNetIoctlGetHnd()); } };
      int main() { VXNetIoctlDestroyHnd(new Derived); }'
  check "a program that derives from a class, $rtti" "StartedOpened socked StartedOpened socked " "$("$work/program" | tr -d 0-9)"
done

# The layer's checksum is its own, whatever function of that name a program has.
for link in -Wl,-Bdynamic -Wl,-Bstatic; do
  "${CC:-cc}" -std=c99 "${build[@]}" "$here/own_crc32.c" $link "${flags[@]}" -Wl,-Bdynamic
  check "a program with a crc32 of its own, $link" "the layer's is right, the program's 7" \
    "$("$work/program" "$old" | tail -1)"
done

# The layer's calls of what a blade brings itself go to whoever brings it.
"${CC:-cc}" -shared -fPIC -o "$work/other.so" -include stdio.h -x c - \
  <<<'int vxpmgr_create_mirror_paths(unsigned a) { return printf("another library, %u", a); }'
"${CC:-cc}" -std=c99 "${build[@]}" -include vxblade/pmgr.h -x c - -x none "${flags[@]}" \
  <<<'int main(void) { return vxpmgr_Sync(5, 0, 0, 0); }'
check "another platform library" "another library, 5" "$(blade env LD_PRELOAD="$work/other.so" "$work/program")"

"${CC:-cc}" -std=c11 "${build[@]}" "$here/installed.c" "${flags[@]}"
make -s -C "$here/../../examples" OUT="$work" LDFLAGS="-Wl,-rpath,$libraries" CFLAGS="-std=c99 ${strict[*]:0:4}"
cmake -S "$here/../../examples" -B "$work/examples" -DCMAKE_PREFIX_PATH="$prefix" >"$work/log" &&
  cmake --build "$work/examples" >>"$work/log" || cat "$work/log"

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

# A chroot to a plain folder has no mount at "/".
mkdir -p "$work/root/blade" "$work/root/mnt" "$work/root/tmp"
check "the simulated blade in a chroot" "nand0 nand1 nand2" "$(unshare -m sh -c 'cd "$1" && for folder in /usr /bin /lib* /etc /proc /dev /sys /var /run; do
    if [ -h $folder ]; then cp -d $folder .; else mkdir .$folder && mount --rbind $folder .$folder; fi; done
  mount --bind "$2" blade && chroot . /blade/bladesim --state /tmp/state ls /mnt' sh "$work/root" "$bin" 2>&1 | xargs)"

new_store
show='cd "$1" && ./change_setting 4711 && ./read_setting$2 && ./eeprom_identity && ./interfaces | grep eth0'
for examples in "$work " "$work/examples _static"; do
  check "the examples in $examples" "BridgeLogSize 4711
iSCSI port 0 192.168.1.10
libvxblade $(pkg-config --modversion vxblade)
hardware version 65535
memory module 20FF-00000001
eth0: gateway c0a80101" "$(blade unshare -n sh -c "$network; $show" sh ${examples% *} ${examples#* })"
done
finish
