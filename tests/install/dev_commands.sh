#!/bin/sh
# dev_commands.sh DEV FOLDER: runs ./dev run and ./dev install in FOLDER with a fake cmake that
# records its calls. Checks that both commands build everything, because the install step needs all
# targets, and that a relative PREFIX is relative to the caller's folder.

set -eu

# If the build preset listed targets, the other targets would not be built.
preset=$(tr -d ' \n' < "${1%/*}/CMakePresets.json" | sed 's/.*"buildPresets"//' |
         grep -o '{"name":"run"[^}]*}')
if [ "$preset" != '{"name":"run","configurePreset":"run"}' ]; then
  echo "build preset run does not build everything: $preset" >&2
  exit 1
fi

rm -rf "$2"
mkdir -p "$2/bin" "$2/tree/build/run/tools/sdmsh" "$2/elsewhere"
work=$(cd "$2" && pwd)
cp "$1" "$work/tree/dev"
for program in bin/cmake tree/build/run/tools/sdmsh/sdmsh; do
  printf '#!/bin/sh\necho "${0##*/} $*" >> %s/calls\n' "$work" > "$work/$program"
  chmod +x "$work/$program"
done
export PATH="$work/bin:$PATH"

cd "$work/elsewhere"
../tree/dev run
../tree/dev install there
if ../tree/dev install; then echo "installed nowhere" >&2; exit 1; fi

parallel=$(nproc)
diff -u - "$work/calls" <<END
cmake --preset run --log-level=WARNING
cmake --build --preset run --parallel $parallel
sdmsh examples/survey.sdm
cmake --preset run --log-level=WARNING
cmake --build --preset run --parallel $parallel
cmake --install build/run --prefix $work/elsewhere/there
END
