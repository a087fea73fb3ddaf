#!/bin/sh
# Compares the library's types and names with those in abi/: abi_test.sh BUILD. After a wanted change run abi_test.sh --renew,
# and think of programs that are out: additions raise the minor version, everything else takes a new major one.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
kept=$root/tests/abi/libzelboard-x86_64.abi
[ "$(uname -m)" = x86_64 ] || { echo "kept for x86_64 only"; exit 77; }
case $1 in --renew) work=$root/build-abi ;; *) work=$1/abi ;; esac

# The types are read from the debug information, which the shipped library does without. The build stays for the next time.
mkdir -p "$work"
{
  cmake -S "$root" -B "$work" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZELBOARD_TOOLS=OFF -DZELBOARD_TESTS=OFF \
    -DZELBOARD_EXAMPLES=OFF -DZELBOARD_PYTHON_PACKAGE=OFF && cmake --build "$work" --target zelboard
} >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }

# What was compared with the same result before need not be compared again.
digest() { cat "$work/lib/libzelboard.so" "$root"/include/zelboard/*.h "$kept" "$0" | sha256sum; }
[ "$1" != --renew ] && [ "$(cat "$work/compared" 2>/dev/null)" = "$(digest)" ] && exit
abidw --headers-dir "$root/include" --drop-private-types --exported-interfaces-only --drop-undefined-syms --no-show-locs --no-comp-dir-path --no-corpus-path \
  --no-parameter-names --no-elf-needed --type-id-style hash "$work/lib/libzelboard.so" | sed "s| path='$root/| path='|" >"$work/abi"
[ "$1" = --renew ] && cp "$work/abi" "$kept" && exit
abidiff --no-show-locs "$kept" "$work/abi" || {
  echo "The ABI is no longer that of tests/abi/. If that is wanted: tests/abi_test.sh --renew"
  exit 1
}
digest >"$work/compared"
