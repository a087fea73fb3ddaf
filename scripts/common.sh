# Sourced by the scripts: where things are, and how to get what they need from Debian.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

arm_toolchain=-DCMAKE_TOOLCHAIN_FILE=$root/cmake/arm-linux-gnueabihf.cmake

# Shows the newest line of long work, on a terminal, always in the same place.
progress() {
  if [ ! -t 1 ]; then cat >/dev/null; return; fi
  local line
  while IFS= read -r line; do printf '\r\033[K%.*s' "$(($(tput cols 2>/dev/null || echo 80) - 1))" "$line"; done
  printf '\r\033[K'
}

# Installs those of the named packages that are missing: directly as root, otherwise through sudo.
need() {
  local missing=() package installed
  installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "$@" 2>/dev/null) || true  # fails if one is missing
  for package in "$@"; do
    [[ $'\n'$installed$'\n' == *$'\n'"installed $package"$'\n'* ]] || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local as=()
  [ "$(id -u)" -eq 0 ] || as=(sudo)
  echo "Installing ${missing[*]}"
  "${as[@]}" apt-get update -q | progress
  "${as[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}" | progress
}

# Installs what every build needs, and the packages named. INSTALL_ONLY=1 in the environment ends the script after that.
need_build() {
  need g++ cmake ninja-build libcli11-dev nlohmann-json3-dev zlib1g-dev pkg-config libcpp-httplib-dev "$@"
  [ -z "${INSTALL_ONLY:-}" ] || exit 0
}

# Installs clang and the runtime of its sanitizers.
need_clang() {
  need clang "$@"
  need "libclang-rt-$(clang -dumpversion | cut -d . -f 1)-dev"
}

# Unpacks Debian's static zlib for the switch's processor into a folder, so that this machine needs no second
# architecture. Sets arm_zlib, the options with which CMake finds it.
need_arm_zlib() {
  local folder=$root/build/zlib-armhf
  local apt=(apt-get -q -o APT::Architecture=armhf -o APT::Architectures=armhf -o APT::Sandbox::User=root
    -o "Dir::State::Lists=$folder/lists" -o "Dir::Cache=$folder/cache")
  if [ ! -e "$folder/usr/include/zlib.h" ]; then
    echo "Fetching zlib1g-dev for armhf"
    mkdir -p "$folder/lists/partial" "$folder/cache/archives/partial"
    "${apt[@]}" update | progress || true  # if it fails, the download below fails and says why
    (cd "$folder" && "${apt[@]}" download zlib1g-dev:armhf | progress)
    dpkg-deb --extract "$folder"/zlib1g-dev_*_armhf.deb "$folder"
  fi
  arm_zlib=("-DZLIB_INCLUDE_DIR=$folder/usr/include" "-DZLIB_LIBRARY=$folder/usr/lib/arm-linux-gnueabihf/libz.a")
}

# Configures and builds quietly; a failure shows everything. build FOLDER [CMAKE OPTION ...] [-- TARGET ...]
# Several sources are compiled together, as most of the time is spent on what they include. -DCMAKE_UNITY_BUILD=OFF compiles
# each alone.
build() {
  local folder=$1 log options=(-DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=12) targets=()
  shift
  while [ $# -gt 0 ] && [ "$1" != -- ]; do options+=("$1"); shift; done
  if [ $# -gt 0 ]; then
    shift
    targets=("$@")
  fi
  log=$(mktemp)
  if ! { cmake -S "$root" -B "$folder" -G Ninja "${options[@]}" && cmake --build "$folder" --target "${targets[@]:-all}"; } \
      2>&1 | tee "$log" | progress; then
    cat "$log"
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}

# Keeps the tests' temporary folders, some 300 MB, in memory if there is room and programs may run from there. A script that
# calls this calls forget_test_files in its trap.
keep_test_files_in_memory() {
  local memory=/dev/shm
  [ -z "${TMPDIR:-}" ] && [ -w "$memory" ] || return 0
  [ "$(df --output=avail -B1M "$memory" | tail -n 1)" -ge 2000 ] || return 0
  ! findmnt -n -o OPTIONS --target "$memory" | grep -qw noexec || return 0
  test_files=$(mktemp -d "$memory/zelboard-test-XXXXXX")
  export TMPDIR=$test_files
}
forget_test_files() {
  [ -z "${test_files:-}" ] || rm -rf "$test_files"
}

# The build that is tested: by clang, with warnings as errors, under ASan and UBSan. g++, which compiles what is shipped,
# would take twice the time for it. Sets folder. build_for_tests [TARGET ...]
build_for_tests() {
  folder=${BUILD_DIR:-$root/build-test}
  build "$folder" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug \
    -DZELBOARD_WERROR=ON -DZELBOARD_TESTS=ON -DZELBOARD_SANITIZE=ON -- "$@"
}
