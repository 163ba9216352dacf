#!/usr/bin/env bash
# Installs into a staging directory (DESTDIR) under a chosen prefix and checks what lands
# there: the program runs a session and a script, the library loads, the manual and the
# examples are there, and the man page renders.
set -euo pipefail
build=$1
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
DESTDIR="$stage" cmake --install "$build" --prefix /opt/tsumugi >/dev/null
root="$stage/opt/tsumugi"
bin="$root/bin/tsumugi"
page="$root/share/man/man1/tsumugi.1"
lib="$root/share/tsumugi/common.lisp"
doc="$root/share/doc/tsumugi"
[ -x "$bin" ] || { echo "missing $bin"; exit 1; }
for f in "$page" "$lib" "$doc/manual.md" "$doc/README.md" "$doc/examples/README.md" \
  "$doc/examples/queens.lisp" "$doc/examples/queens.out"; do
  [ -f "$f" ] || { echo "missing $f"; exit 1; }
done
out=$(echo '(+ 1 2)' | "$bin")
[ "$out" = "$(printf 'Tsumugi for Linux version2.21\nCopyright (C) 2026 The Tsumugi Project\n[1]3\n[2]')" ] ||
  { echo "installed program printed: $out"; exit 1; }
[ "$("$bin" --version)" = "Tsumugi for Linux version2.21" ] || { echo "no --version"; exit 1; }
# The installed library, loaded by a script on standard input.
out=$(printf '(load "%s")\n(princ (max 3 (abs -8) 5))\n' "$lib" | "$bin" -)
[ "$out" = "8" ] || { echo "the library script printed: $out"; exit 1; }
if command -v man >/dev/null; then
  man -l "$page" 2>/dev/null | grep -q 'tsumugi - interactive interpreter' ||
    { echo "the man page does not render"; exit 1; }
fi
echo "installed and checked"
