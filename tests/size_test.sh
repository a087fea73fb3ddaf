#!/bin/sh
# The library's size on the switch's processor stays below its budget: size_test.sh BUILD, a build for 32-bit ARM.
set -eu
library=$1/lib/libzelboard.so
budget=$(dirname "$0")/size_budget.txt
tables=$(arm-linux-gnueabihf-nm -D -S "$library" |
  awk '{ sub(/@.*/, "", $4) } $4 == "env_data" || $4 == "crc_table" { print "0x" $2 }')
arm-linux-gnueabihf-size "$library" | {
  read -r _
  read -r text data bss _
  data=$((data + bss))
  for table in $tables; do data=$((data - table)); done
  status=0
  for part in text data; do
    used=$(eval "echo \$$part")
    limit=$(awk -v part=$part '$1 == part { print $2 }' "$budget")
    echo "$part: $used of $limit bytes"
    [ "$used" -lt "$limit" ] || status=1
  done
  exit $status
}
