#!/bin/sh
# reuse_object.sh COMPILER ARGUMENT...: compiles the first source of each target. For the other
# sources, copies the object from the build in $REUSED_BUILD if that build has it.

set -eu

object= dependencies= previous=
for argument in "$@"; do
  case $previous in
    -o) object=$argument ;;
    -MF) dependencies=$argument ;;
  esac
  previous=$argument
done

target=${object%.dir/*}
made=$REUSED_BUILD/${object#sdm/}
if [ ! -f "$made" ] || mkdir "$target.compiled" 2>/dev/null; then exec "$@"; fi
cp "$made" "$object"
: > "$dependencies"
