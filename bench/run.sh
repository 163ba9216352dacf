#!/usr/bin/env bash
# Times every program of bench/programs under tsumugi (fed on standard input) and, where they
# are installed, under CLISP's interpreter, ECL and SBCL, plus native C++ versions of fib and
# tak. Checks that all print the same result and prints median times and each peer's time
# divided by tsumugi's (above 1: tsumugi is faster).
#   RUNS=5 bench/run.sh            more runs per measurement
#   NO_INSTALL=1 bench/run.sh      do not try to install the peers
set -uo pipefail
cd "$(dirname "$0")/.."
RUNS=${RUNS:-3}
BIN=${TSUMUGI:-build/tsumugi}
[ -x "$BIN" ] || make build >/dev/null || exit 1

if [ -z "${NO_INSTALL:-}" ]; then
  missing=""
  for p in clisp ecl sbcl; do command -v "$p" >/dev/null || missing="$missing $p"; done
  if [ -n "$missing" ] && command -v apt-get >/dev/null; then
    echo "installing:$missing" >&2
    (apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq $missing) >/dev/null 2>&1 ||
      echo "could not install all of:$missing" >&2
  fi
fi

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
for p in fib tak; do g++ -O2 -o "$tmp/$p" "bench/native/$p.cpp"; done

# Runs a command RUNS times; prints "median_ms result".
measure() {
  local times=() result="" out
  for _ in $(seq "$RUNS"); do
    local start end
    start=$(date +%s%N)
    out=$("$@" 2>&1)
    end=$(date +%s%N)
    times+=($(( (end - start) / 1000000 )))
    result=$(printf '%s\n' "$out" | grep -o 'RESULT: .*' | head -1)
  done
  local median
  median=$(printf '%s\n' "${times[@]}" | sort -n | sed -n "$(( (RUNS + 1) / 2 ))p")
  echo "$median ${result#RESULT: }"
}

peers=()
command -v clisp >/dev/null && peers+=(clisp)
command -v ecl >/dev/null && peers+=(ecl)
command -v sbcl >/dev/null && peers+=(sbcl)

run_peer() {
  case "$1" in
    clisp) measure clisp -q "$2" ;;
    ecl) measure ecl --norc --shell "$2" ;;
    sbcl) measure sbcl --script "$2" ;;
  esac
}

printf '%-9s %10s' program tsumugi
for p in "${peers[@]}"; do printf ' %16s' "$p"; done
printf ' %16s  %s\n' native result
status=0
for f in bench/programs/*.lisp; do
  name=$(basename "$f" .lisp)
  read -r t res < <(measure sh -c "$BIN < $f")
  printf '%-9s %8dms' "$name" "$t"
  for p in "${peers[@]}"; do
    read -r pt pres < <(run_peer "$p" "$f")
    ratio=$(awk -v a="$pt" -v b="$t" 'BEGIN { printf "%.2f", (b > 0 ? a / b : 0) }')
    mark=""
    [ "$pres" != "$res" ] && { mark="!"; status=1; }
    printf ' %7dms %5sx%s' "$pt" "$ratio" "$mark"
  done
  if [ -x "$tmp/$name" ]; then
    read -r nt nres < <(measure "$tmp/$name")
    [ "$nres" != "$res" ] && status=1
    printf ' %8dms %5sx' "$nt" "$(awk -v a="$nt" -v b="$t" 'BEGIN { printf "%.2f", (b > 0 ? a / b : 0) }')"
  else
    printf ' %16s' -
  fi
  printf '  %s\n' "$res"
done
[ "$status" -ne 0 ] && echo "(!) a peer printed a different result"
exit "$status"
