# need_packages PACKAGE...: installs the Debian packages that are missing. Where that fails (no
# root, no network) it names what is missing, and the caller goes on with what is there.
need_packages() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' ||
      missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  echo "Installing: ${missing[*]}"
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    as_root=(sudo -n)
  fi
  if ! { "${as_root[@]}" apt-get update -qq && DEBIAN_FRONTEND=noninteractive \
    "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"; } >"$package_log" 2>&1; then
    tail -3 "$package_log"
    echo "Missing packages that could not be installed: ${missing[*]}"
    return 1
  fi
}
package_log=$(mktemp)

# need_module NAME: installs an npm module below build-npm if it is missing there.
need_module() {
  [ -e "build-npm/node_modules/$1" ] && return 0
  command -v npm >/dev/null || need_packages npm
  npm install --silent --prefix build-npm "$1" >/dev/null 2>&1
  [ -e "build-npm/node_modules/$1" ]
}

build_packages=(cmake ninja-build g++ pkgconf libcli11-dev libfuse3-dev libgtest-dev nlohmann-json3-dev
  libarchive-dev nettle-dev)
test_packages=(libubootenv-tool iproute2 python3 python3-jsonschema groff-base mandoc
  clang make binutils parallel)
manual_packages=(scdoc groff-base mandoc doxygen python3)
page_packages=(chromium chromium-driver python3-selenium)
fuzz_packages=(cmake ninja-build clang libclang-rt-14-dev pkgconf libfuse3-dev)
board_packages=(cmake ninja-build g++ libcli11-dev libgtest-dev nlohmann-json3-dev g++-arm-linux-gnueabihf qemu-system-arm
  device-tree-compiler cpio xz-utils libubootenv-tool mtd-utils)
figures_packages=(zlib1g libinih1 git diffutils hyperfine valgrind strace qemu-user g++-arm-linux-gnueabihf)

package_packages=(cmake ninja-build g++ scdoc debhelper dpkg-dev pkgconf libarchive-dev libcli11-dev libfuse3-dev libgtest-dev nettle-dev
  nlohmann-json3-dev)
# The compilers for the architectures of packages, and what their packages are linked with.
declare -A compiler_packages=([amd64]=g++-x86-64-linux-gnu [arm64]=g++-aarch64-linux-gnu
  [armel]=g++-arm-linux-gnueabi [armhf]=g++-arm-linux-gnueabihf)
linked_packages=(libarchive-dev libfuse3-dev libstdc++6 nettle-dev)

# Packages of another architecture come from where this machine has its own. apt works on a state of
# its own, so that the machine learns of no other architecture.
# other_apt ARCH STATE COMMAND...
other_apt() {
  "${@:3}" -q -o APT::Architecture="$1" -o APT::Architectures="$1" -o APT::Sandbox::User=root \
    -o Dir::State="$2" -o Dir::State::status=/dev/null -o Dir::Cache="$2" \
    -o Dir::Etc::SourceList="$2/sources.list" -o Dir::Etc::SourceParts=/dev/null
}

package_sources() {
  apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) main' \
    'Created-By: Packages' 'Component: main' "$@" | sort -u
}

# new_state ARCH STATE
new_state() {
  rm -rf "$2" && mkdir -p "$2/lists/partial" "$2/archives/partial" || return 1
  package_sources 'Origin: Debian' >"$2/sources.list"
  # Who made an archive is not known before its first update; others' archives do no harm.
  [ -s "$2/sources.list" ] || package_sources --no-release-info >"$2/sources.list"
  other_apt "$1" "$2" apt-get update || true # what else is out of reach does not matter
}

# fetch_armhf FOLDER PACKAGE...: unpacks packages for the blade's processor below FOLDER, once; of a
# kernel's package, the kernel itself.
fetch_armhf() {
  local folder=$1 state=$1.apt package names=()
  [ -e "$folder/fetched" ] && return 0
  rm -rf "$folder" && mkdir -p "$folder" && new_state armhf "$state" || return 1
  for package in "${@:2}"; do
    case $package in
    linux-image-*) names+=("$(other_apt armhf "$state" apt-cache depends "$package" | sed -n 's/.*Depends: //p')") ;;
    *) names+=("$package") ;;
    esac
  done
  (cd "$state" && other_apt armhf "$state" apt-get download "${names[@]}") || return 1
  for package in "$state"/*.deb; do
    dpkg-deb -x "$package" "$folder" || return 1
  done
  rm -r "$state" && touch "$folder/fetched"
}

# fetch_sysroot ARCH FOLDER PACKAGE...: unpacks packages of another architecture, with all that they
# depend on, below FOLDER, once, with what dpkg-shlibdeps wants to know of their libraries. The C
# library's own headers are left to the cross compiler.
fetch_sysroot() {
  local arch=$1 folder=$2 state=$2.apt package link
  [ "$(cat "$folder/fetched" 2>/dev/null)" = "${*:3}" ] && return 0
  rm -rf "$folder" && mkdir -p "$folder/DEBIAN" && new_state "$arch" "$state" &&
    other_apt "$arch" "$state" apt-get install -y --download-only --no-install-recommends "${@:3}" || return 1
  for package in "$state"/archives/*.deb; do
    case ${package##*/} in libc6-dev_* | linux-libc-dev_*) continue ;; esac
    dpkg-deb -x "$package" "$folder" || return 1
    dpkg-deb -I "$package" symbols >>"$folder/DEBIAN/symbols" 2>/dev/null
    dpkg-deb -I "$package" shlibs >>"$folder/DEBIAN/shlibs" 2>/dev/null
  done
  # A link from the root is one from the folder.
  find "$folder" -type l -lname '/*' | while read -r link; do
    ln -sfn "$folder$(readlink "$link")" "$link"
  done
  rm -r "$state" && echo "${@:3}" >"$folder/fetched"
}

# version_of TREE: as CMake takes it.
version_of() {
  local build=$1.version
  cmake -S "$1" -B "$build" -G Ninja -DVXBLADE_COMPANIONS=OFF >/dev/null &&
    sed -n 's/^CMAKE_PROJECT_VERSION:.*=//p' "$build/CMakeCache.txt"
  rm -rf "$build"
}

# --- A bare Debian.

root_tools=(debootstrap debian-archive-keyring)

# bare_root FOLDER SUITE PACKAGE...: the path of a bare system with these packages, below FOLDER, or
# why there is none. It is kept there. Work on a copy, or leave it as it was.
bare_root() {
  local folder=$1 suite=$2 wanted mirror root log
  wanted=$(printf '%s\n' "${@:3}" | sort -u | paste -sd ,)
  root=$folder/root-$suite-$(sha256sum <<<"$wanted" | head -c 8) log=$(mktemp)
  if [ ! -e "$root" ]; then
    # A suite is where this machine's is.
    mirror=$(package_sources --no-release-info | awk '$3 == "bookworm" { print $2; exit }')
    rm -rf "$root.part" && mkdir -p "$folder" &&
      debootstrap --variant=minbase --include="$wanted" "$suite" "$root.part" "$mirror" >"$log" 2>&1 &&
      rm -f "$root.part"/var/cache/apt/archives/*.deb && mv "$root.part" "$root"
  fi
  [ -e "$root" ] && echo "$root" || tail -n 1 "$log"
  rm "$log"
  [ -e "$root" ]
}

# in_root ROOT COMMAND...: as root of a bare system, with its devices and processes, until the command
# ends. The root is a mount, as a system's is.
in_root() {
  unshare --mount sh -c 'mount --bind "$0" "$0" && mount -t proc proc "$0/proc" && mount --rbind /dev "$0/dev" && exec chroot "$0" env -i \
    PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 "$@"' "$@"
}

# no_root: whether this machine can have none, and why.
no_root() {
  [ "$(id -u)" -eq 0 ] && unshare --mount true 2>/dev/null || { echo "a bare Debian needs root"; return; }
  ! command -v debootstrap >/dev/null && echo "debootstrap is not installed"
}
