#!/bin/sh
# A project that builds zelboard as a part of itself gets the library and keeps what is its own: build type, folders for
# output, tests and installation. The build stays for the next time.
. "$(dirname "$0")/switch.sh"
root=$(cd "$(dirname "$0")/.." && pwd)
folder=$build/subproject

cmake -S "$root/examples/subproject" -B "$folder" -G Ninja >"$work/log" 2>&1 || fail "$(cat "$work/log")"
cmake --build "$folder" >"$work/log" 2>&1 || fail "$(cat "$work/log")"
[ "$(on_switch "$folder/lamp")" = "system LED on" ] || fail "the program does not work"

grep -q '^CMAKE_BUILD_TYPE:STRING=$' "$folder/CMakeCache.txt" || fail "the build type is no longer the project's own"
outside=$(find "$folder" -maxdepth 2 -name '*zelboard*.[as]*' -not -path '*/_deps/*')
[ -z "$outside" ] || fail "built outside of its own folder: $outside"
targets=$(cmake --build "$folder" --target help)
for target in uninstall library_tests zelsim zelctl zelboard_python indicators; do
  echo "$targets" | grep -q "^$target:" && fail "there is a target $target"
done
ctest --test-dir "$folder" -N 2>&1 | grep -qE 'Total Tests: 0|No tests were found' || fail "there are tests"
python3 - "$folder" <<'END' || fail "the project's own files get zelboard's options"
import subprocess, sys
text = subprocess.run(("ninja", "-C", sys.argv[1], "-t", "commands", "lamp"), stdout=subprocess.PIPE, text=True).stdout
own = [line for line in text.splitlines() if "lamp.c.o -c" in line]
sys.exit(len(own) != 1 or "-W" in own[0])
END
DESTDIR=$work/root cmake --install "$folder" >/dev/null
[ "$(find "$work/root" -type f -printf '%f\n')" = lamp ] || fail "more than the project's own program is installed"
