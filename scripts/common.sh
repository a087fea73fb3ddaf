# Sourced by the scripts: where things are, and how to get what they need from Debian.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Installs the packages named that are not there yet. As root it works as it is, otherwise through sudo.
need() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local as=()
  [ "$(id -u)" -eq 0 ] || as=(sudo)
  echo "Installing ${missing[*]}"
  "${as[@]}" apt-get update -qq
  "${as[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# What every build needs.
need_build() { need g++ cmake ninja-build libcli11-dev nlohmann-json3-dev pkg-config libcpp-httplib-dev; }

# Configures and builds quietly; a failure shows everything. build FOLDER [CMAKE OPTION ...] [-- TARGET ...]
build() {
  local folder=$1 log options=() targets=()
  shift
  while [ $# -gt 0 ] && [ "$1" != -- ]; do options+=("$1"); shift; done
  [ $# -gt 0 ] && shift && targets=("$@")
  log=$(mktemp)
  if ! { cmake -S "$root" -B "$folder" -G Ninja "${options[@]}" && cmake --build "$folder" --target "${targets[@]:-all}"; } \
      >"$log" 2>&1; then
    cat "$log"
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}
