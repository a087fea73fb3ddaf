#!/bin/sh
# An installed tree serves programs through CMake, moves as a whole, goes without a rest; its manual pages know every
# command and every function.
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
zelsim=$prefix/bin/zelsim

# The pages' tests link by pkg-config and with the shared library; here is the other way.
cat >"$work/program.c" <<'END'
#include <zelboard/zelboard.h>
int main(void) {
  uint8_t led = 9;
  return FW_SetSystemLed(1) != 0 || FW_GetSystemLed(&led) != 0 || led != 1;
}
END
cat >"$work/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.20)
project(user LANGUAGES C)
find_package(zelboard 1.0 REQUIRED)
add_executable(program program.c)
target_link_libraries(program PRIVATE zelboard::zelboard_static)
END
cmake -S "$work" -B "$work" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work" >/dev/null
"$zelsim" run -- "$work/program" || fail "a program with the static library does not run"
readelf -d "$work/program" | grep -q libzelboard && fail "the static library is not used"
readelf -V "$prefix/bin/zelctl" | grep -q ZELBOARD_1 || fail "programs do not ask for the version node"
readelf -d "$prefix/bin/zelctl" | grep PATH | grep -v "\[\$ORIGIN/" && fail "zelctl looks for its library elsewhere"
"$prefix/bin/zelctl" --sim led get system | grep -q on || fail "the installed zelctl does not run"

# commands TOOL [COMMAND ...]: every command that the help lists, with those around it.
commands() (
  tool=$1
  shift
  for command in $("$prefix/bin/$tool" "$@" --help | sed -n '/^Subcommands:/,/^$/s/^  \([^ ,][^ ,]*\)[ ,].*/\1/p'); do
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
nm -D --defined-only "$prefix/lib/libzelboard.so" | sed -n 's/.* T \([^@]*\).*/\1/p' | while read -r name; do
  gzip -dc "$prefix/share/man/man3/$name.3.gz" 2>/dev/null | grep -q "^\.Fn $name " || echo "$name"
done >"$work/without"
[ -s "$work/without" ] && fail "without a manual page: $(cat "$work/without")"

mv "$prefix" "$work/first"
cmake -DMANIFEST="$work/manifest" -DFOLDERS="$work/folders" -P "$here/../cmake/uninstall.cmake"
left=$(cd "$work/first" && find . | sort | xargs)
[ "$left" = ". ./share ./share/kept" ] || fail "uninstalling leaves: $left"
exit $status
