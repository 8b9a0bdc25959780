#!/bin/sh
# needs_nothing_of.sh NM UPPER LOWER...: fails if a LOWER library needs a symbol that the library
# UPPER defines.

set -u
nm=$1
upper=$2
shift 2
for lower in "$@"; do
  needed=$("$nm" --dynamic --undefined-only "$lower" | awk '{print $2}')
  defined=$("$nm" --dynamic --defined-only "$upper" | awk '{print $3}')
  common=$(printf '%s\n' "$needed" "$defined" | sort | uniq -d)
  [ -z "$common" ] || { echo "$lower needs of $upper: $common"; status=1; }
done
exit "${status:-0}"
