#!/usr/bin/env bash
# The cost of one call of a user function: a loop that calls a one-parameter function N
# times, against the same loop without the call.
set -euo pipefail
cd "$(dirname "$0")/.."
BIN=${TSUMUGI:-build/tsumugi}
N=${N:-1000000}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cat >"$tmp/base.lisp" <<LISP
(defun id (x) x)
(dotimes (i $N) i)
LISP
cat >"$tmp/call.lisp" <<LISP
(defun id (x) x)
(dotimes (i $N) (id i))
LISP
. bench/timing.sh
base=$(best_of_five "$tmp/base.lisp")
call=$(best_of_five "$tmp/call.lisp")
per=$(( (call - base) * 1000 / N ))
printf 'loop of %d iterations: %d us without the call, %d us with it\n' "$N" "$base" "$call"
printf 'one user-function call: %d ns\n' "$per"
