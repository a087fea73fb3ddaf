#!/bin/sh
# Runs WORK/script as root in a copy of this machine that is thrown away after it, and looks at what it leaves behind:
# unshare --mount throw_away_root.sh SOURCES BUILD WORK. Only the package system's own records and WORK may have changed.
set -eu
sources=$1 build=$2 work=$3
scratch=$work/scratch
skip() { echo "$*"; exit 77; }

mkdir "$scratch"
mount -t tmpfs tmpfs "$scratch" || skip "nothing can be mounted here"
all=$scratch/all
# Sources and build that are on another file system are not in the copy yet: they are laid over it in the same way.
for folder in / "$sources" "$build"; do
  [ -e "$all$folder/CMakeLists.txt" ] || [ -e "$all$folder/CMakeCache.txt" ] && continue
  layer=$scratch/$(echo "$folder" | tr / _)
  mkdir -p "$layer/changed" "$layer/work" "$all$folder"
  mount -t overlay -o "lowerdir=$folder,upperdir=$layer/changed,workdir=$layer/work" overlay "$all$folder" ||
    skip "no overlay can be mounted here"
done
mkdir -p "$all$work" "$all/tmp"
mount --bind "$work" "$all$work"
mount --rbind /dev "$all/dev"
mount -t proc proc "$all/proc"

# These take long and are not ours: an index of all manuals, and the lists of Debian's packages. All packages are there.
rm -rf "$all/var/lib/man-db/auto-update" "$all/var/lib/apt/lists"

chroot "$all" /bin/sh -c 'cd "$1" && exec bash "$2"' sh "$sources" "$work/script"

cd "$scratch/_/changed"
left=$(find . -mindepth 1 \( -path ".$sources" -o -path ".$build" -o -path ".$work" -o -path ./var/lib/dpkg -o \
  -path ./var/lib/apt -o -path ./var/lib/man-db -o -path ./var/cache -o -path ./var/log -o -path ./etc/ld.so.cache \) -prune -o -print |
  while read -r path; do [ -d "$path" ] && [ -d "/$path" ] || echo "$path"; done)
[ -z "$left" ] || { echo "left behind or changed:"; echo "$left"; exit 1; }
