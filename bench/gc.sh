#!/usr/bin/env bash
# The cost of a collection with little live data (just after start-up): 200 explicit
# collections, against the same loop without them. Also, for each benchmark program, how many
# collections it triggers and what share of its time they take at that cost.
set -euo pipefail
cd "$(dirname "$0")/.."
BIN=${TSUMUGI:-build/tsumugi}
N=200
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
printf '(dotimes (i %d) (gc))\n' "$N" >"$tmp/gc.lisp"
printf '(dotimes (i %d) i)\n' "$N" >"$tmp/base.lisp"
. bench/timing.sh
g=$(best_of_five "$tmp/gc.lisp")
b=$(best_of_five "$tmp/base.lisp")
per=$(( (g - b) / N ))
printf 'one collection with little live data: %d.%03d ms\n' $((per / 1000)) $((per % 1000))
printf '%-10s %12s %10s %10s\n' program collections time share
for f in bench/programs/*.lisp; do
  s=$(date +%s%N)
  n=$("$BIN" <"$f" | grep -c '^gc: \|[^[]gc: ' || true)
  e=$(date +%s%N)
  t=$(( (e - s) / 1000 ))
  share=$(awk -v n="$n" -v p="$per" -v t="$t" 'BEGIN { printf "%.1f%%", 100 * n * p / t }')
  printf '%-10s %12d %8dms %10s\n' "$(basename "$f" .lisp)" "$n" $((t / 1000)) "$share"
done
