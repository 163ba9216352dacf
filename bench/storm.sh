#!/usr/bin/env bash
# Collection storms: once an area is nearly full, a collection runs at every evaluation step.
#  - integers: a recursion one million deep fills the integer area; thousands of collections
#    follow, one per step, until the area is full (status 1).
#  - cells: about 32 million cells are kept alive (binary trees built from lists, so nothing
#    else is allocated), then a recursion runs into the same storm in the cell area.
# Prints, for each, the wall-clock time, the number of report lines and the exit status, and
# the checksum of the output (to compare two builds: the output must not change).
#   TSUMUGI=path/to/tsumugi bench/storm.sh
set -uo pipefail
cd "$(dirname "$0")/.."
BIN=${TSUMUGI:-build/tsumugi}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

printf '(defun f (n) (if (= n 0) 0 (+ 1 (f (- n 1)))))\n(f 1000000)\n' >"$tmp/integers.lisp"

{
  echo "(defun tree (d) (if d (cons (tree (cdr d)) (tree (cdr d))) nil))"
  echo "(defun depth (n) (if (= n 0) nil (cons t (depth (- n 1)))))"
  # Full binary trees of 2^k - 1 conses: 31,981,563 cells in all.
  for k in 24 23 22 21 19; do
    echo "(progn (setq tree$k (tree (depth $k))) $k)"
  done
  echo "(defun f (n) (if (= n 0) 0 (+ 1 (f (- n 1)))))"
  echo "(f 100000)"
} >"$tmp/cells.lisp"

run() {
  local name=$1 start end status
  start=$(date +%s%N)
  "$BIN" <"$tmp/$name.lisp" >"$tmp/$name.out"
  status=$?
  end=$(date +%s%N)
  local ms=$(( (end - start) / 1000000 ))
  local lines
  lines=$(grep -c 'gc: ' "$tmp/$name.out")
  printf '%-9s %6d.%03d s %8d collections  status %d  last line: %s  output md5 %s\n' \
    "$name" $((ms / 1000)) $((ms % 1000)) "$lines" "$status" \
    "$(tail -n 1 "$tmp/$name.out")" "$(md5sum <"$tmp/$name.out" | cut -c1-12)"
}

run integers
run cells
