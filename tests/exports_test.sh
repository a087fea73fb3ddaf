#!/bin/sh
# The shared object exports the documented names only, needs libc alone, calls it by its plain names, and locks nothing.
set -eu
library=$1/lib/libzelboard.so
here=$(dirname "$0")
status=0
fail() { echo "$*"; status=1; }

nm -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | sort | diff "$here/exports.txt" - ||
  fail "exported names differ from exports.txt"
needed=$(readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | tr '\n' ' ')
[ "$needed" = "libc.so.6 " ] || fail "needs $needed"
readelf -d "$library" | grep -q 'SONAME.*\[libzelboard\.so\.1\]' || fail "no versioned SONAME"

# docs/porting.md has the same list. Weak names are the linker's and the C runtime's own.
called="__errno_location calloc close fclose fopen fread free fseek fstat ftell ioctl localtime lseek malloc memchr memcmp
open printf putchar puts read snprintf stat strlen strncmp strnlen system time usleep vsnprintf write"
# A compiler calls the first three for copies and fills. Its division for a processor without one calls the other two.
besides="memcpy memmove memset abort raise"
undefined=$(nm -D --undefined-only "$library" | awk '$1 == "U" { sub(/@.*/, "", $2); print $2 }')
for name in $called; do
  echo "$undefined" | grep -qx "$name" || fail "$name is not called by its plain name"
done
for name in $undefined; do
  echo $called $besides | grep -qw -- "$name" || fail "calls $name"
done
exit $status
