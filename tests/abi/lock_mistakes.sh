#!/bin/sh
# lock_mistakes.sh CLANG FLAG...: fails if lock_mistakes.cpp does not compile with MISTAKE 0, or if
# the analysis does not report the expected error for each other mistake.

set -u
source="$(dirname "$0")/lock_mistakes.cpp"

# compiles MISTAKE CLANG FLAG...
compiles() {
  mistake=$1
  shift
  "$@" -std=c++20 -Werror -fsyntax-only "-DMISTAKE=$mistake" "$source" 2>&1
}

compiles 0 "$@" || { echo "does not compile without a mistake"; exit 1; }
mistake=0
while read -r expected; do
  mistake=$((mistake + 1))
  if said=$(compiles "$mistake" "$@"); then
    echo "mistake $mistake compiles"
    status=1
  elif ! printf '%s' "$said" | grep -qF -- "$expected"; then
    printf '%s\n' "mistake $mistake: expected \"$expected\" in:" "$said"
    status=1
  fi
done <<'MESSAGES'
reading variable 'items' requires holding mutex 'leafMutex'
calling function 'Find' requires holding mutex 'data_->lock'
mutex 'lock' must be acquired before 'leafMutex'
cannot call function 'AcquireReadLock' while mutex 'anyRegistryLock' is held
requires holding mutex 'lock_'
mutex 'lock_' must be acquired before 'notificationMutex_'
MESSAGES
exit "${status:-0}"
