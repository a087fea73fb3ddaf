#!/bin/sh
# Every header stands alone in C11 and C++20 with all warnings.
set -eu
root=$(dirname "$0")/..
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for header in "$root"/include/zelboard/*.h; do
  printf '#include "zelboard/%s"\nint main(void) { return 0; }\n' "$(basename "$header")" >"$work/alone.c"
  cp "$work/alone.c" "$work/alone.cpp"
  cc -std=c11 -Wall -Wextra -Wpedantic -Werror -I "$root/include" -fsyntax-only "$work/alone.c"
  c++ -std=c++20 -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -I "$root/include" -fsyntax-only "$work/alone.cpp"
done

# What takes any arguments takes them from C, too.
echo 'int main(void) { return (int)(FW_GetPoEInfo() & FW_SetPoEReg(1, "two", 3.0)); }' |
  cc -std=c11 -Wall -Wextra -Wpedantic -Werror -I "$root/include" -include zelboard/zelboard.h -fsyntax-only -xc -
