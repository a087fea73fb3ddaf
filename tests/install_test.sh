#!/bin/sh
# An installed tree serves C programs through pkg-config and CMake, moves as a whole, goes without a rest; its manual
# pages know every command and every function.
set -eu
build=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export ZELSIM_HOME="$work/boards"
status=0
fail() { echo "$*"; status=1; }

mkdir -p "$work/first/share/kept"
cmake --install "$build" --prefix "$work/first" >/dev/null
cp "$build/install_manifest.txt" "$work/manifest"
mv "$build/install_folders.txt" "$work/folders"
prefix=$work/moved
mv "$work/first" "$prefix"
library=$(dirname "$(find "$prefix" -name libzelboard.so)")
zelsim=$prefix/bin/zelsim

cat >"$work/program.c" <<'END'
#include <stdio.h>
#include <zelboard/zelboard.h>

int main(void) {
  uint8_t led = 9;
  if (FW_SetSystemLed(1) != 0 || FW_GetSystemLed(&led) != 0) return 1;
  printf("%d %x\n", led, FW_crc32((const uint8_t *)"123456789", 9));
  return 0;
}
END
cat >"$work/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.20)
project(user LANGUAGES C)
find_package(zelboard 1.0 REQUIRED)
foreach(kind zelboard zelboard_static)
  add_executable(with_${kind} program.c)
  target_link_libraries(with_${kind} PRIVATE zelboard::${kind})
endforeach()
END
export PKG_CONFIG_PATH="$library/pkgconfig"
# shellcheck disable=SC2046  # one word an option
cc "$work/program.c" -o "$work/with_pkg_config" $(pkg-config --cflags --libs zelboard) -Wl,-rpath,"$library"
cmake -S "$work" -B "$work" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work" >/dev/null
for kind in with_pkg_config with_zelboard with_zelboard_static; do
  found=$("$zelsim" run -- "$work/$kind") || true
  [ "$found" = "1 cbf43926" ] || fail "$kind printed: $found"
done
readelf -d "$work/with_zelboard_static" | grep -q libzelboard && fail "the static library is not used"
readelf -V "$work/with_pkg_config" | grep -q ZELBOARD_1 || fail "programs do not ask for the version node"
readelf -d "$prefix/bin/zelctl" | grep PATH | grep -v "\[\$ORIGIN/" && fail "zelctl looks for its library elsewhere"
"$prefix/bin/zelctl" --sim led get system | grep -q on || fail "the installed zelctl does not run"

# commands TOOL [COMMAND ...]: every command that the help lists, with those around it.
commands() (
  tool=$1
  shift
  for command in $("$prefix/bin/$tool" "$@" --help | sed -n '/^Subcommands:/,/^$/s/^  \([^ ][^ ]*\) .*/\1/p'); do
    echo "$* $command"
    commands "$tool" "$@" "$command"
  done
)
for page in zelctl zelsim; do
  gzip -dc "$prefix/share/man/man1/$page.1.gz" >"$work/page"
  commands $page >"$work/commands"
  [ -s "$work/commands" ] || fail "$page lists no commands"
  while read -r words; do
    # The words stand in this order in the head of one entry.
    grep -qE "^\.It Cm $(echo "$words" | sed 's/ /( .*)? /g')( |$)" "$work/page" ||
      fail "$page $words: not in its manual page"
  done <"$work/commands"
done
gzip -dc "$prefix/share/man/man3/zelboard.3.gz" >"$work/page"
while read -r name; do grep -qw "$name" "$work/page" || fail "$name: not in zelboard(3)"; done <"$here/exports.txt"

mv "$prefix" "$work/first"
cmake -DMANIFEST="$work/manifest" -DFOLDERS="$work/folders" -P "$here/../cmake/uninstall.cmake"
left=$(cd "$work/first" && find . | sort | xargs)
[ "$left" = ". ./share ./share/kept" ] || fail "uninstalling leaves: $left"
exit $status
