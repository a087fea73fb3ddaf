#!/bin/sh
# Every header stands alone in C11 and C++20 with all warnings; a C program links and runs on the virtual switch.
set -eu
build=$1
root=$(dirname "$0")/..
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for header in "$root"/include/zelboard/*.h; do
  printf '#include "zelboard/%s"\nint main(void) { return 0; }\n' "$(basename "$header")" >"$work/alone.c"
  cp "$work/alone.c" "$work/alone.cpp"
  cc -std=c11 -Wall -Wextra -Wpedantic -Werror -I "$root/include" -fsyntax-only "$work/alone.c"
  c++ -std=c++20 -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -I "$root/include" -fsyntax-only "$work/alone.cpp"
done

cat >"$work/program.c" <<'END'
#include <stdio.h>
#include "zelboard/zelboard.h"
int main(void) {
  uint8_t led = 9;
  uint32_t set = FW_SetSystemLed(2), get = FW_GetSystemLed(&led);
  uint32_t stubs = FW_GetPoEInfo() & FW_SetPoEReg(1, "two", 3.0) & FW_GetSyncE_RegData(&led);
  printf("%u %u %u %x\n", set, get, led, stubs);
  return 0;
}
END
cc -std=c11 -Wall -Wextra -Wpedantic -Werror -I "$root/include" "$work/program.c" -o "$work/program" \
  -L "$build/lib" -lzelboard -Wl,-rpath,"$build/lib"
export ZELSIM_HOME="$work"
found=$("$build/bin/zelsim" run -- "$work/program")
[ "$found" = "0 0 2 ffff" ] || { echo "a C program printed: $found"; exit 1; }
