#!/usr/bin/env bash
# The Debian packages of the last commit: what lintian says, whether a second build gives the same
# bytes, their life in a bare Debian, and the programs for other machines by an emulator.
# usage: packages_test.sh ARCH...   of these, amd64 being this machine's. With RELIABILITY=long every
# package is built twice, and the unit tests run for each architecture.
set -u
cd "$(dirname "$0")/../.." || exit 1
. scripts/packages.sh
work=$(mktemp -d)
trap 'rm -rf "$work" "$package_log"' EXIT
built=$PWD/build-packages native=amd64 options=() checks=0 failures=0 skipped=0
[ "${RELIABILITY:-}" != long ] || options=(--check)
need_packages "${root_tools[@]}" lintian

# check WHAT EXPECTED ACTUAL
check() {
  checks=$((checks + 1))
  [ "$2" = "$3" ] && return
  failures=$((failures + 1))
  printf 'FAILED: packages: %s\n--- expected\n%s\n--- actual\n%s\n' "$1" "$2" "$3"
}

skip() { skipped=$((skipped + 1)) && echo "SKIPPED: packages: $1"; }

quality() {
  command -v lintian >/dev/null || { skip "lintian is not installed"; return; }
  check "$1: lintian" "" "$(lintian --allow-root "$built/$1"/*.changes 2>&1)"
}

# Another folder, time, time zone, language and file mode.
sums() { (cd "$1" && sha256sum -- *.deb); }
repeated() {
  local profile=pkg.vxblade.notools leftOut=' vxblade-tools'
  [ "${RELIABILITY:-}" != long ] || profile= leftOut='^$'
  (umask 027 && TZ=Asia/Kathmandu LC_ALL=C.UTF-8 DEB_BUILD_PROFILES=$profile scripts/package --to "$work/another/folder" "$native") >"$work/log"
  check "status of a second build" 0 $?
  [ -z "$profile" ] || echo "packages: a second build of vxblade-tools is compared where RELIABILITY=long"
  check "bytes of a second build" "$(sums "$built/$native" | grep -v "$leftOut")" "$(sums "$work/another/folder/$native")"
}

# --- In a bare Debian.

# What the packages depend on, and what a program for the layer is compiled with.
root_packages() {
  printf '%s\n' systemd gcc libc6-dev make pkgconf
  for package in "$built/$native"/*.deb; do dpkg-deb -f "$package" Depends; done | tr , '\n' |
    sed 's/ *(.*//; s/ //g' | grep -v -e vxblade -e vxpvh
}

root=$work/root
bare() { in_root "$root" "$@"; }
files() { (cd "$root" && find . -xdev \( -path ./var/log -o -path ./var/lib/dpkg -o -path ./tmp -o -path ./run/systemd \) -prune -o -print | sort); }

# installed VERSION: what is there after an installation or an upgrade.
installed() {
  check "versions after $1" "vxpvh ${1%%-*}
vxcfg ${1%%-*}" "$(bare sh -c 'vxpvh --version; vxcfg --version')"
  check "state after $1" "$(printf "ii %s $1\n" libvxblade-dev libvxblade0 vxblade-tools vxpvh)" \
    "$(bare dpkg-query -W -f '${db:Status-Abbrev}${Package} ${Version}\n' '*vxblade*' vxpvh | sort)"
  check "the service after $1" "enabled, 0600 root" "$(bare systemctl is-enabled vxpvh.service), $(
    bare stat -L -c '0%a %U' /var/lock/vxpvh.lock)"
}

# What a newcomer looks for: each program's manual and completion, and the examples, which compile.
newcomer() {
  bare bash -c '
    for program in $(dpkg -L vxpvh vxblade-tools | sed -n "s,.*bin/,,p" | sort); do
      zgrep -o "^.TH \"$program\" \".\"" /usr/share/man/man?/$program.?.gz
    done
    for program in bladesim vxcfg; do
      . /usr/share/bash-completion/completions/$program && complete -p $program
    done
    mkdir /tmp/compiled && make -s -C /usr/share/doc/libvxblade-dev/examples OUT=/tmp/compiled && ls /tmp/compiled' 2>&1
}

# The installed samples are planned and merged, as the service would run the tool. A compiled example
# sets the user's value, another reads it.
upgraded_blade() {
  bare sh -c '
    samples=/usr/share/doc/vxblade-tools/examples unit=/lib/systemd/system/vxpvh.service
    value() { sed -n "s/^$1=//p" "$unit"; }
    blade() { bladesim --state /tmp/blade "$@"; }
    systemd-analyze verify --man=no "$unit"
    blade vxcfg store create --defaults $samples/personality-5.2.1.cfg >/dev/null
    blade /tmp/compiled/change_setting 9999
    blade vxcfg plan $samples/personality-5.3.0.cfg >/tmp/plan
    mkdir "$(value WorkingDirectory)" && cp $samples/personality-5.3.0.cfg "$(value ConditionPathExists)"
    (cd "$(value WorkingDirectory)" && blade $(value ExecStart) 2>/dev/null | grep -c "^Compare")
    blade vxcfg last >/tmp/last && grep -c "^KEEP.*BridgeLogSize" /tmp/last
    diff /tmp/plan /tmp/last | grep "^[<>] [A-Z]"
    blade /tmp/compiled/read_setting | head -n 1
    rm -r "$(value WorkingDirectory)" /tmp/*' 2>&1
}

life() {
  local why before version later
  why=$(no_root) && { skip "$why"; return; }
  why=$(bare_root "$built" bookworm $(root_packages)) || { skip "no bare Debian: $why"; return; }
  cp -a --reflink=auto "$why" "$root" && before=$(files)
  mkdir "$root/tmp/packages" "$root/tmp/later"
  for package in "$built/$native"/*.deb; do
    case $package in *-dbgsym_*) continue ;; esac
    cp "$package" "$root/tmp/packages"
    dpkg-deb -R "$package" "$work/repacked" && sed -i -E 's/^(Version: .*)/\1+later/; s/(= [0-9.]+-1)\)/\1+later)/' "$work/repacked/DEBIAN/control" &&
      dpkg-deb --root-owner-group -b "$work/repacked" "$root/tmp/later" >/dev/null && rm -r "$work/repacked"
  done
  version=$(dpkg-deb -f "$root"/tmp/packages/vxpvh_*.deb Version) later=$version+later
  for step in packages later; do
    check "installation of $step" 0 "$(bare dpkg -i -R /tmp/$step >"$work/log" 2>&1 || tail -n 5 "$work/log"; echo $?)"
    [ $step = packages ] && installed "$version" || installed "$later"
  done
  check "manuals, completion and examples" '.TH "bladesim" "1"
.TH "vxcfg" "1"
.TH "vxpvh" "8"
complete -F _bladesim bladesim
complete -F _vxcfg vxcfg
change_setting
eeprom_identity
interfaces
read_setting' "$(newcomer)"
  why=$(bare bladesim --state /tmp/probe true 2>&1)
  if [ $? -eq 125 ]; then
    skip "no blade in a bare Debian: $why"
  else
    check "upgrade of a blade" "51
1
BridgeLogSize 9999" "$(upgraded_blade)"
  fi
  check "removal" 0 "$(bare dpkg -r vxblade-tools libvxblade-dev libvxblade0 vxpvh >"$work/log" 2>&1; echo $?)"
  check "what is left of programs and data" "" "$(comm -13 <(echo "$before") <(files) | grep -v -e systemd)"
  check "purge" 0 "$(bare dpkg -P vxblade-tools libvxblade-dev libvxblade0 vxpvh >"$work/log" 2>&1; echo $?)"
  check "what is left" "" "$(diff <(echo "$before") <(files))"
}

# --- The programs of another architecture.

unpacked() {
  for package in "$built/$1"/*.deb; do
    dpkg-deb -x "$package" "$work/$1" || return 1
  done
}

emulated() {
  local arch=$1 machine=$1 emulator
  [ "$arch" = arm64 ] && machine=aarch64 || machine=arm
  emulator=(qemu-$machine -L "$built/sysroot-$arch")
  command -v "${emulator[0]}" >/dev/null || { skip "$arch: qemu-user is not installed"; return; }
  unpacked "$arch" && unpacked "$native"
  check "$arch: vxcfg on a sample with mistakes" "$("$work/$native/usr/bin/vxcfg" check samples/with-mistakes.cfg 2>&1)" \
    "$("${emulator[@]}" "$work/$arch/usr/bin/vxcfg" check samples/with-mistakes.cfg 2>&1)"
  PATH=$work/$native/usr/sbin:$PATH tests/blade/arm_upgrade.sh "$work/$native/usr/bin" "$work/$arch/usr/sbin" samples "${emulator[@]}"
  case $? in
  0) checks=$((checks + 2)) ;;
  77) skip "$arch: no simulated blade" ;;
  *) check "$arch: upgrade" 0 1 ;;
  esac
}

scripts/package "${options[@]}" "$@"
status=$?
[ $status -eq 0 ] || [ $status -eq 77 ] && [ -d "$built/$native" ] || { echo "packages: not built"; exit 1; }
[ $status -eq 0 ] || skipped=$((skipped + 1))
repeated
life
for arch in "$@"; do
  [ -d "$built/$arch" ] || continue
  quality "$arch"
  [ "$arch" = "$native" ] || emulated "$arch"
done
echo "packages: $((checks - failures)) passed, $failures failed, $skipped skipped"
[ $failures -eq 0 ] || exit 1
[ $skipped -eq 0 ] || exit 77
