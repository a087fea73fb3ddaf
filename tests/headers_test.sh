#!/bin/sh
# Every header stands alone in C11, C23 and C++20 with all warnings.
set -eu
root=$(dirname "$0")/..
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for header in "$root"/include/zelboard/*.h; do
  printf '#include "zelboard/%s"\nint main(void) { return 0; }\n' "$(basename "$header")" >"$work/alone.c"
  cp "$work/alone.c" "$work/alone.cpp"
  for standard in c11 c2x; do
    cc -std=$standard -Wall -Wextra -Wpedantic -Wstrict-prototypes -Werror -I "$root/include" -fsyntax-only "$work/alone.c"
  done
  c++ -std=c++20 -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -I "$root/include" -fsyntax-only "$work/alone.cpp"
done

# Functions that take any arguments take them from C, too.
for standard in c11 c2x; do
  echo 'int main(void) { return (int)(FW_GetPoEInfo() & FW_SetPoEReg(1, "two", 3.0)); }' |
    cc -std=$standard -Wall -Wextra -Wpedantic -Werror -I "$root/include" -include zelboard/zelboard.h -fsyntax-only -xc -
done
