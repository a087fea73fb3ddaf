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

undefined=$(nm -D --undefined-only "$library" | awk '{ sub(/@.*/, "", $2); print $2 }')
for name in open ioctl lseek read write close usleep system time localtime printf puts putchar; do
  echo "$undefined" | grep -qx "$name" || fail "$name is not called by its plain name"
done
echo "$undefined" | grep -E '_chk$|64$|^_Z|^__isoc|^pthread' && fail "calls variants of plain libc functions, or locks"
exit $status
