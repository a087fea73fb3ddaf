#!/bin/sh
# An installed tree serves programs through CMake, can be moved, and is uninstalled without a rest. Its manual pages know
# every command and every function.
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

# commands TOOL [COMMAND ...]: every command that the help lists, each behind the commands that it belongs to.
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
  # The words stand in this order in the head of one entry.
  awk -v page=$page 'NR == FNR { if (/^\.It Cm /) heads = heads $0 " \n"; next }
    { pattern = $0; gsub(/^ +/, "", pattern); gsub(/ /, "( [^\n]*)? ", pattern) }
    heads !~ "(^|\n)\\.It Cm " pattern " " { print page, $0 }' "$work/page" "$work/commands" >"$work/without"
  [ -s "$work/without" ] && fail "not in its manual page: $(cat "$work/without")"
done
gzip -dc "$prefix/share/man/man3/zelboard.3.gz" | grep -oE '\w+' | sort -u >"$work/named"
sort "$here/exports.txt" | comm -23 - "$work/named" >"$work/without"
[ -s "$work/without" ] && fail "not in zelboard(3): $(cat "$work/without")"
# Each function has a page of its own.
cp -r "$prefix/share/man/man3" "$work/pages"
gzip -dr "$work/pages"
nm -D --defined-only "$prefix/lib/libzelboard.so" | sed -n 's/.* T \([^@]*\).*/\1/p' | sort >"$work/exported"
(cd "$work/pages" && grep -oE '^\.Fn \w+ ' *.3) | sed -n 's/^\(.*\)\.3:\.Fn \1 $/\1/p' | sort -u |
  comm -23 "$work/exported" - >"$work/without"
[ -s "$work/without" ] && fail "without a manual page: $(cat "$work/without")"

for name in "a b" a:b; do
  mv "$prefix" "$work/$name"
  prefix=$work/$name
  "$prefix/bin/zelsim" run -- true 2>&1 | grep -q 'a folder with a blank or a colon: ' || fail "a program is run from '$name'"
done
mv "$prefix" "$work/first"
cmake -DMANIFEST="$work/manifest" -DFOLDERS="$work/folders" -P "$here/../cmake/uninstall.cmake"
left=$(cd "$work/first" && find . | sort | xargs)
[ "$left" = ". ./share ./share/kept" ] || fail "uninstalling leaves: $left"
exit $status
