#!/bin/sh
# The packages for the switch's processor, installed by dpkg into a root of their own that holds what they depend on and
# nothing else: packages_arm_test.sh FOLDER. Tool, virtual switch and a program run there under the emulator. The packages
# without the tools are identical if they are made in another folder with the same SOURCE_DATE_EPOCH.
set -eu
sources=$(cd "$(dirname "$0")/.." && pwd)
packages=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export ZELSIM_HOME="$work/boards"
root=$work/root
fail() { echo "$*"; exit 1; }

mkdir -p "$root/lib" "$root/var/lib/dpkg"
for library in ld-linux-armhf.so.3 libc.so.6 libm.so.6 libstdc++.so.6 libgcc_s.so.1; do
  cp -L "/usr/arm-linux-gnueabihf/lib/$library" "$root/lib"
done
touch "$root/var/lib/dpkg/status" "$root/var/lib/dpkg/available"
dpkg_there() { fakeroot dpkg --root="$root" --force-architecture,depends,script-chrootless --log=/dev/null "$@"; }
dpkg_there -i "$packages"/*_armhf.deb >"$work/log" 2>&1 || fail "$(cat "$work/log")"
for part in libzelboard1 libzelboard-dev zelboard-tools; do
  dpkg_there -s $part | grep -q '^Status: install ok installed' || fail "$part is not installed"
  dpkg_there -s $part | grep -E '^Depends:.*(cross|:armhf)' && fail "$part depends on the compiler's libraries"
done

# A shell cannot start a program of another processor. A script in its place hands it to the emulator.
debug_command=$root/usr/lib/zelboard/debugCmd
mv "$debug_command" "$debug_command.arm"
printf '#!/bin/sh\nexec qemu-arm -L %s "$0.arm" "$@"\n' "$root" >"$debug_command"
chmod +x "$debug_command"

there() { qemu-arm -L "$root" "$root/usr/bin/zelsim" run --fast -- qemu-arm -L "$root" "$@" 2>"$work/errors"; }
there "$root/usr/bin/zelctl" led set system on || fail "zelctl does not run: $(cat "$work/errors")"
cat >"$work/program.c" <<'END'
#include <zelboard/zelboard.h>
int main(void) {
  uint8_t led = 0;
  return FW_GetSystemLed(&led) != 0 || led != 1;
}
END
arm-linux-gnueabihf-gcc -I "$root/usr/include" "$work/program.c" -L "$root/usr/lib/arm-linux-gnueabihf" -lzelboard \
  -o "$work/program"
there "$work/program" || fail "a program does not see the LED that zelctl has set: $(cat "$work/errors")"
[ "$(qemu-arm -L "$root" "$root/usr/bin/zelsim" get panel.system)" = 1 ] || fail "zelsim does not show the LED"

# The tools are not built twice, as they take minutes to compile: their files must not name the folder of the sources.
for file in $(find "$root/usr/bin" "$root/usr/lib/zelboard" -type f); do
  ! grep -aqF "$sources" "$file" || fail "$file: the folder of the sources stands in it"
done
copy=$work/another/folder
mkdir -p "$copy"
(cd "$sources" && tar c --exclude='./build*' --exclude=./.git .) | tar x -C "$copy"
cmake -S "$copy" -B "$copy/build/package-armhf" -G Ninja -DZELBOARD_TOOLS=OFF \
  -DCMAKE_TOOLCHAIN_FILE="$copy/cmake/arm-linux-gnueabihf.cmake" >"$work/log"
(umask 077 && "$copy/scripts/package" --arch armhf) >"$work/log" 2>&1 || fail "$(cat "$work/log")"
for package in "$copy"/build/packages-armhf/*.deb; do
  cmp "$package" "$packages/$(basename "$package")" || fail "built twice, the packages differ"
done
