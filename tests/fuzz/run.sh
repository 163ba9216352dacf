#!/usr/bin/env bash
# Builds the fuzz targets (libFuzzer, with AddressSanitizer and UndefinedBehaviorSanitizer)
# and runs each for SECONDS, one after the other: the reader and session targets seeded from
# the inputs of the transcript tests, the graph target from its own corpus alone.
#   tests/fuzz/run.sh 600                 every target
#   tests/fuzz/run.sh 600 graph           only the named targets
# Findings (crashes, hangs, sanitizer reports) land in build-fuzz/findings-TARGET/.
set -euo pipefail
cd "$(dirname "$0")/../.."
SECONDS_EACH=${1:-60}
shift || true
TARGETS=("$@")
[ ${#TARGETS[@]} -gt 0 ] || TARGETS=(reader session graph)
OUT=$PWD/build-fuzz
mkdir -p "$OUT"
command -v clang++ >/dev/null || { echo "clang++ is needed (Debian: clang libclang-rt-14-dev)" >&2; exit 1; }

FLAGS=(-std=c++17 -O1 -g -fno-omit-frame-pointer -fsanitize=fuzzer,address,undefined
       -fno-sanitize-recover=undefined -DTSUMUGI_FUZZ -Isrc -Itests/fuzz -pthread)
SOURCES=$(ls src/memory/*.cpp src/reader/*.cpp src/printer/*.cpp src/eval/*.cpp src/numbers/*.cpp \
             src/library/*.cpp src/top/*.cpp | grep -v 'src/top/main.cpp')
for target in "${TARGETS[@]}"; do
  if [ ! -x "$OUT/${target}_fuzz" ] || [ -n "$(find src tests/fuzz -newer "$OUT/${target}_fuzz" -name '*.[ch]*' | head -1)" ]; then
    echo "building ${target}_fuzz" >&2
    clang++ "${FLAGS[@]}" $SOURCES "tests/fuzz/${target}_fuzz.cpp" -o "$OUT/${target}_fuzz" -lm
  fi
done

# Seeds: the input of every transcript case.
seeds="$OUT/seeds"
rm -rf "$seeds"
mkdir -p "$seeds"
i=0
for f in tests/transcripts/*/*.tt; do
  awk '/^@@@ /{ on = ($2 == "input") ; next } on { print }' "$f" >"$seeds/$i.lisp"
  i=$((i + 1))
done

for target in "${TARGETS[@]}"; do
  corpus="$OUT/corpus-$target"
  findings="$OUT/findings-$target"
  mkdir -p "$corpus" "$findings"
  echo "== $target: $SECONDS_EACH s" >&2
  seeded=("$seeds")
  [ "$target" = graph ] && seeded=()
  set +e
  ASAN_OPTIONS=detect_leaks=0:allocator_may_return_null=1 \
    "$OUT/${target}_fuzz" "$corpus" "${seeded[@]}" -max_total_time="$SECONDS_EACH" -timeout=20 \
      -rss_limit_mb=6000 -max_len=4096 -artifact_prefix="$findings/" -print_final_stats=1 \
      2>"$OUT/$target.log"
  status=$?
  set -e
  runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$OUT/$target.log" | grep -o '[0-9]*$' || echo 0)
  found=$(ls "$findings" | wc -l)
  echo "$target: status $status, $runs executions, $found findings in $findings" >&2
done
