# The emulated board: its kernel, device tree and root file system, made of Debian's packages, and
# the starting of it. Sourced by run.sh, which sets $cache (packages and what is made of
# them), $build (programs for ARM) and $work (a run's own files).

cross=/usr/arm-linux-gnueabihf/lib # libraries of the cross compiler's packages

# fetch_packages: the board's kernel and shell.
fetch_packages() { fetch_armhf "$cache/root" linux-image-armmp busybox-static; }

# be32 NUMBER...: 32-bit numbers, high byte first.
be32() { printf "$(printf '%08x' "$@" | sed 's/../\\x&/g')"; }

# make_kernel: the kernel without its self-extraction, which takes an emulator seconds, in the
# wrapper that says where in memory it goes.
make_kernel() {
  local packed=("$cache"/root/boot/vmlinuz-*) address=0x80208000 offset
  for offset in $(LC_ALL=C grep -abo -P '\xfd7zXZ\x00' "${packed[0]}" | cut -d: -f1); do
    tail -c +$((offset + 1)) "${packed[0]}" | xz -dcq --single-stream >"$cache/image" 2>/dev/null
    [ "$(stat -c %s "$cache/image")" -gt 10000000 ] && break
  done
  { # magic, CRC, time, size, load address, entry, CRC; Linux, ARM, kernel, uncompressed; name
    be32 0x27051956 0 0 "$(stat -c %s "$cache/image")" $address $address 0 0x05020200 0 0 0 0 0 0 0 0
    cat "$cache/image"
  } >"$cache/kernel" && rm "$cache/image"
}

make_device_tree() {
  local stock=("$cache"/root/usr/lib/linux-image-*/aspeed-ast2600-evb.dtb)
  dtc -q -@ -I dts -O dtb -o "$cache/board.dtbo" sim/board/board.dtso &&
    fdtoverlay -i "${stock[0]}" -o "$cache/board.dtb" "$cache/board.dtbo"
}

# make_initramfs: shell, kernel modules, the tool, the layer's libraries and what these need.
make_initramfs() {
  local root=$work/root library
  mkdir -p "$root"/{bin,lib,modules,dev,proc,sys,tmp,etc,var/lock,mnt/nand0,mnt/nand1,mnt/nand2}
  cp "$cache/root/bin/busybox" "$root/bin/" && ln -s busybox "$root/bin/sh"
  cp sim/board/modules "$root/modules/list"
  while read -r _ module _; do
    find "$cache/root/lib/modules" -name "$module.ko" -exec cp {} "$root/modules/" \;
  done <sim/board/modules
  for program in vxpvh vxcfg layer driver finish peak_memory; do
    arm-linux-gnueabihf-strip -o "$root/bin/$program" "$build/bin/$program" || return 1
  done
  for library in "$build"/lib/lib{vxblade,vxbootenv,vxplatform}.so.0 \
    "$cross"/{ld-linux-armhf.so.3,libc.so.6,libm.so.6,libgcc_s.so.1,libstdc++.so.6}; do
    arm-linux-gnueabihf-strip -o "$root/lib/${library##*/}" "$library" || return 1
  done
  cp sim/board/init sim/board/scenarios/* samples/*.cfg "$root/" || return 1
  (cd "$root" && find . | cpio --quiet -o -H newc -R 0:0) >"$work/initramfs"
}

# make_machine: all that boots, into $cache and $work.
make_machine() {
  [ "$cache/kernel" -nt "$cache/root/fetched" ] || make_kernel || return 1
  make_device_tree && make_initramfs
}

# make_volumes IMAGE: empty UBIFS volumes in the partitions of the second flash. UBI keeps four erase
# blocks of each for itself.
make_volumes() {
  local n=0 first blocks
  mkdir -p "$work/empty"
  while read -r first blocks; do
    mkfs.ubifs -r "$work/empty" -m 8 -e 65408 -c $((blocks - 4)) -o "$1.fs" &&
      printf '%s\n' '[volume]' mode=ubi "image=$1.fs" vol_id=0 vol_type=dynamic "vol_name=nand$n" \
        vol_flags=autoresize >"$1.volume" &&
      ubinize -m 1 -p 64KiB -o "$1.ubi" "$1.volume" &&
      dd if="$1.ubi" of="$1" bs=64K seek="$first" conv=notrunc status=none || return 1
    n=$((n + 1))
  done <<'PARTITIONS'
0   32
32  128
160 96
PARTITIONS
}

# environment_config NAME: where the standard tool finds a boot's environment.
environment_config() { printf "$work/$1.nor %s 0x4000\n" 0x7e0000 0x7f0000 >"$work/$1.config"; }

# make_images NAME: NOR flash with a boot environment of the standard tool, the flash of volumes
# that outlive the board, a blank EEPROM, and a memory module whose page of registers shows at every
# address. NAME begins with the kind of volumes.
make_images() {
  local images=$work/$1
  truncate -s 8M "$images.nor" && truncate -s 16M "$images.store" && truncate -s 8K "$images.eeprom"
  for image in nor store eeprom; do
    tr '\0' '\377' <"$images.$image" >"$images.blank" && mv "$images.blank" "$images.$image"
  done
  environment_config "$1"
  echo standard=kept >"$images.texts"
  fw_setenv -c "$images.config" -f "$images.texts" bootdelay 3 2>/dev/null
  { # year 21, week 5, serial number 123456; part number
    head -c 120 /dev/zero && printf '\x21\x05\0\x01\xe2\x40' && head -c 2 /dev/zero
    printf '%-128s' VX-NVDIMM-8G-00001
  } >"$images.page"
  for _ in {1..256}; do
    cat "$images.page"
  done >"$images.module"
  case $1 in ubifs.*) make_volumes "$images.store" ;; esac
}

# end_still PID NOTE: ends an emulator that did nothing at all for half a minute, and notes that. It
# lost its own timer: whatever runs or hangs on a board, its kernel's timers wake the emulator.
end_still() {
  local before='' now
  while sleep 30 && now=$(grep -h ctxt /proc/"$1"/task/*/status 2>/dev/null); do
    [ "$now" = "$before" ] && echo still >>"$2" && kill -KILL "$1" && return
    before=$now
  done
}

# boot NAME AFTER SCENARIO [TEXT [SECONDS]]: runs a scenario on a copy of the flash that the boot
# AFTER left, - for a blank one. The console goes to NAME.log. SECONDS after TEXT appears there, and
# when time is up, the emulator is killed. Its status goes to NAME.status, or 1 when TEXT never
# appeared. An emulator that stood still says nothing of the board: it is started again, twice at most.
boot() {
  local image log=$work/$1.log raw=format=raw,file=$work/$1 still=$work/$1.still pid watch status before
  before=$(cat "$still" 2>/dev/null)
  if [ "$2" = - ]; then
    make_images "$1" >"$work/$1.images" 2>&1
  else
    for image in nor store eeprom module; do
      cp "$work/$2.$image" "$work/$1.$image"
    done
  fi
  : >"$log"
  qemu-system-arm -M ast2600-evb,fmc-model=m25p64,spi-model=s25sl12801 -m 512 -no-reboot \
    -display none -nic none -serial "file:$log" -monitor stdio -S \
    -semihosting-config enable=on,userspace=on,target=native \
    -kernel "$cache/kernel" -dtb "$cache/board.dtb" -initrd "$work/initramfs" \
    -append "console=ttyS4,115200 rdinit=/init panic=1 quiet scenario=$3 volumes=${1%%.*}" \
    -drive "if=mtd,$raw.nor" -drive "if=mtd,$raw.store" \
    -drive "if=none,id=eeprom,$raw.eeprom" -drive "if=none,id=module,$raw.module" \
    -device at24c-eeprom,bus=aspeed.i2c.bus.0,address=0x50,rom-size=8192,drive=eeprom \
    -device at24c-eeprom,bus=aspeed.i2c.bus.0,address=0x56,rom-size=65536,drive=module \
    -device ds1338,bus=aspeed.i2c.bus.0,address=0x58 \
    -device tmp105,bus=aspeed.i2c.bus.0,address=0x1e,id=memory \
    -device tmp421,bus=aspeed.i2c.bus.1,address=0x4c,id=air \
    -device tmp105,bus=aspeed.i2c.bus.2,address=0x48,id=board \
    >"$log.monitor" 2>&1 <<'MONITOR' &
qom-set /machine/peripheral/memory temperature 31500
qom-set /machine/peripheral/air temperature0 42000
qom-set /machine/peripheral/air temperature1 38500
qom-set /machine/peripheral/board temperature 27000
cont
MONITOR
  pid=$!
  end_still $pid "$still" >/dev/null 2>&1 &
  watch=$!
  grep -q -m1 -e "${4:-a text that never appears}" \
    < <(timeout 900 tail -s 0.1 -f --pid=$pid "$log" 2>/dev/null) && sleep "${5:-0}"
  kill -KILL $pid 2>/dev/null
  wait $pid 2>/dev/null
  status=$?
  kill $watch 2>/dev/null
  wait $watch 2>/dev/null
  if [ "$(cat "$still" 2>/dev/null)" != "$before" ]; then
    echo "board: the emulator stood still in $1" >&2
    [ "$(wc -l <"$still")" -gt 2 ] || { boot "$@" && return; }
  fi
  grep -q -e "${4:-}" "$log" || status=1
  echo $status >"$work/$1.status"
}
