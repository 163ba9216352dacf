#!/usr/bin/env bash
# Configures the source tree afresh with GoogleTest made unfindable and builds the
# interpreter: the configuration must succeed without it, leave the unit tests out, and
# give a working program.
set -euo pipefail
src=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
log=$dir/configure.log
cmake -S "$src" -B "$dir/build" -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON >"$log" 2>&1 ||
  { cat "$log"; echo "configuration failed without GoogleTest"; exit 1; }
grep -q 'GoogleTest not found: the unit tests are not built' "$log" ||
  { cat "$log"; echo "the configuration did not report the missing GoogleTest"; exit 1; }
cmake --build "$dir/build" --target tsumugi -j 2 >"$dir/build.log" 2>&1 ||
  { tail -n 30 "$dir/build.log"; echo "the interpreter did not build"; exit 1; }
if cmake --build "$dir/build" --target help | grep -q unit_tests; then
  echo "unit tests were configured although GoogleTest was not found"
  exit 1
fi
out=$(echo '(* 6 7)' | "$dir/build/tsumugi")
echo "$out" | grep -qx '\[1\]42' || { echo "the interpreter printed: $out"; exit 1; }
echo "built without GoogleTest"
