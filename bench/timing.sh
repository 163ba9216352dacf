# Shared by the benchmark scripts: the best of five wall-clock times, in microseconds, of the
# interpreter $BIN reading the program $1 on standard input.
best_of_five() {
  local best=0
  for _ in 1 2 3 4 5; do
    local start end t
    start=$(date +%s%N)
    "$BIN" <"$1" >/dev/null
    end=$(date +%s%N)
    t=$(( (end - start) / 1000 ))
    if [ "$best" -eq 0 ] || [ "$t" -lt "$best" ]; then best=$t; fi
  done
  echo "$best"
}
