#!/bin/sh
# internal_names.sh NM LIBRARY...: prints C++ that defines each internal name of the libraries, with
# and without its namespace, as a function that aborts. A program with such names must not change
# the behaviour of the libraries.

set -eu
export LC_ALL=C
nm=$1
shift

names=$(for library in "$@"; do "$nm" --defined-only "$library"; done | awk '
  # _ZN12sdm_internal12ShortestTextEd is _Z12ShortestTextd without the namespace; the name of a
  # class member loses only the namespace.
  function without_namespace(name, prefix, rest, length_of, first, after, tag) {
    match(name, /^_Z(T[VIS])?NK?12sdm_internal/)
    prefix = substr(name, 1, RLENGTH - length("12sdm_internal"))
    rest = substr(name, RLENGTH + 1)
    length_of = rest + 0
    first = length(length_of "") + length_of  # the length of the first name with its number
    after = substr(rest, first + 1)
    tag = ""
    if (match(after, /^B5cxx11/)) { tag = "B5cxx11"; after = substr(after, RLENGTH + 1) }
    if (substr(after, 1, 1) != "E") return prefix rest
    sub(/NK?$/, "", prefix)
    return prefix substr(rest, 1, first) tag substr(after, 2)
  }
  $3 ~ /^_Z(T[VIS])?NK?12sdm_internal[0-9]/ && $3 !~ /[.@]/ { print $3; print without_namespace($3) }
' | sort -u)
for expected in _ZN12sdm_internal12ShortestText _Z12ShortestText _ZN11RegularFile; do
  echo "$names" | grep -q "^$expected" || { echo "no name begins with $expected" >&2; exit 1; }
done

echo '#include <cstdlib>'
echo "$names" | awk '{
  printf "extern \"C\" void internal%d() __asm__(\"%s\");\nvoid internal%d() { std::abort(); }\n", NR, $1, NR
}'
