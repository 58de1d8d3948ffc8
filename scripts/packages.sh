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
build_packages=(cmake ninja-build g++ pkgconf libcli11-dev libfuse3-dev libgtest-dev libbenchmark-dev)
fuzz_packages=(cmake ninja-build clang libclang-rt-14-dev)
board_packages=(cmake ninja-build g++ libcli11-dev libgtest-dev g++-arm-linux-gnueabihf qemu-system-arm
  device-tree-compiler cpio xz-utils libubootenv-tool)
