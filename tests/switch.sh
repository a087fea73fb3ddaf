# Sourced by the tests of programs: a folder of their own with a virtual switch in it, from the build named first.
set -eu
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export ZELSIM_HOME="$work"
zelsim=$build/bin/zelsim
fail() { echo "$*"; exit 1; }
on_switch() { "$zelsim" run --fast -- "$@"; }
