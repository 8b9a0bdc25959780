#!/bin/sh
# Compares what each library exports with its list in tests/abi/exported/.
#
#   exported_symbols.sh NM LIBRARY...           prints the differences and fails if there are any
#   UPDATE=1 exported_symbols.sh NM LIBRARY...  writes the lists; needs libraries of a Clang build
#
# A list holds the strong symbols as Clang makes them, demangled. GCC makes virtual tables and type
# information weak, and each compiler adds weak copies of inline functions. So a weak symbol counts
# only if it is on the list. No internal symbol of a library may be exported.

set -u
export LC_ALL=C
lists=$(dirname "$0")/exported
nm=$1
shift
status=0

# The exported symbols of $1, as "KIND NAME".
symbols() {
  "$nm" --dynamic --demangle --defined-only "$1" | sed 's/^[0-9a-f]* //' |
    grep -v '^. typeinfo name for '
}

for library in "$@"; do
  name=$(basename "${library%%.so*}")
  list=$lists/$name.txt
  [ -z "${UPDATE:-}" ] || symbols "$library" | sed -n 's/^[A-TX-Z] //p' | sort -u > "$list"

  symbols "$library" | awk -v list="$list" '
    BEGIN { while ((getline line < list) > 0) listed[line] = 1 }
    { kind = $1; sub(/^. /, "") }
    kind !~ /[UVWuvw]/ || ($0 in listed)' | sort -u |
    diff -u --label "$name.txt" "$list" --label "$library" - || status=1

  if symbols "$library" | grep -v '^[^(]*std::' | grep sdm_internal; then
    echo "$library exports the internal symbols above" >&2
    status=1
  fi
done
exit "$status"
