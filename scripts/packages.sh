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
build_packages=(cmake ninja-build g++ pkgconf libcli11-dev libfuse3-dev libgtest-dev nlohmann-json3-dev
  libarchive-dev nettle-dev)
test_packages=(libubootenv-tool iproute2 python3 python3-jsonschema parallel)
fuzz_packages=(cmake ninja-build clang libclang-rt-14-dev pkgconf libfuse3-dev)
board_packages=(cmake ninja-build g++ libcli11-dev libgtest-dev nlohmann-json3-dev g++-arm-linux-gnueabihf qemu-system-arm
  device-tree-compiler cpio xz-utils libubootenv-tool mtd-utils)
figures_packages=(zlib1g libinih1 git diffutils hyperfine valgrind strace qemu-user g++-arm-linux-gnueabihf)

# fetch_armhf FOLDER PACKAGE...: unpacks packages for the blade's processor below FOLDER, once; of a
# kernel's package, the kernel itself. They come from where this machine has its packages. apt works
# on a state of its own, so that the machine learns of no other architecture.
fetch_armhf() {
  local folder=$1 state=$1.apt package names=()
  [ -e "$folder/fetched" ] && return 0
  rm -rf "$folder" "$state" && mkdir -p "$state/lists/partial" "$state/archives/partial" "$folder" || return 1
  sources() {
    apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) main' \
      'Created-By: Packages' 'Component: main' "$@" | sort -u
  }
  sources 'Origin: Debian' >"$state/sources.list"
  # Who made an archive is not known before its first update; others' archives do no harm.
  [ -s "$state/sources.list" ] || sources --no-release-info >"$state/sources.list"
  apt_armhf() {
    "$@" -q -o APT::Architecture=armhf -o APT::Architectures=armhf -o APT::Sandbox::User=root \
      -o Dir::State="$state" -o Dir::State::status=/dev/null -o Dir::Cache="$state" \
      -o Dir::Etc::SourceList="$state/sources.list" -o Dir::Etc::SourceParts=/dev/null
  }
  apt_armhf apt-get update # what else is out of reach does not matter
  for package in "${@:2}"; do
    case $package in
    linux-image-*) names+=("$(apt_armhf apt-cache depends "$package" | sed -n 's/.*Depends: //p')") ;;
    *) names+=("$package") ;;
    esac
  done
  (cd "$state" && apt_armhf apt-get download "${names[@]}") || return 1
  for package in "$state"/*.deb; do
    dpkg-deb -x "$package" "$folder" || return 1
  done
  rm -r "$state" && touch "$folder/fetched"
}
