#!/usr/bin/env bash
# Start-up cost: time to the first prompt (prelude included) and resident memory after
# start-up. The interpreter is run with empty input, so it starts, prints the banner and
# the first prompt, meets the end of input and exits.
set -euo pipefail
cd "$(dirname "$0")/.."
BIN=${TSUMUGI:-build/tsumugi}
RUNS=${RUNS:-50}
[ -x "$BIN" ] || { echo "build first: make build" >&2; exit 1; }

times=()
for _ in $(seq "$RUNS"); do
  start=$(date +%s%N)
  "$BIN" </dev/null >/dev/null
  end=$(date +%s%N)
  times+=($(( (end - start) / 1000 )))
done
sorted=($(printf '%s\n' "${times[@]}" | sort -n))
median=${sorted[$((RUNS / 2))]}
best=${sorted[0]}
rss=$(/usr/bin/time -f %M "$BIN" </dev/null 2>&1 >/dev/null | tail -1)
printf 'start-up to first prompt: median %d.%03d ms, best %d.%03d ms (%d runs)\n' \
  $((median / 1000)) $((median % 1000)) $((best / 1000)) $((best % 1000)) "$RUNS"
printf 'resident memory after start-up: %d KB (%d.%d MB)\n' "$rss" $((rss / 1024)) $(((rss % 1024) * 10 / 1024))
