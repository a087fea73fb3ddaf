# Sourced by the tests of programs: makes a folder of their own for virtual switches. $1 is the build.
set -eu
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export ZELSIM_HOME="$work"
zelsim=$build/bin/zelsim
fail() { echo "$*"; exit 1; }
on_switch() { "$zelsim" run --fast -- "$@"; }
