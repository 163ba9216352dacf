#!/usr/bin/env bash
# Installs into a staging directory (DESTDIR) under a chosen prefix and checks what lands
# there: the program runs, and the man page renders.
set -euo pipefail
build=$1
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
DESTDIR="$stage" cmake --install "$build" --prefix /opt/tsumugi >/dev/null
bin="$stage/opt/tsumugi/bin/tsumugi"
page="$stage/opt/tsumugi/share/man/man1/tsumugi.1"
[ -x "$bin" ] || { echo "missing $bin"; exit 1; }
[ -f "$page" ] || { echo "missing $page"; exit 1; }
out=$(echo '(+ 1 2)' | "$bin")
[ "$out" = "$(printf 'Tsumugi for Linux version2.21\nCopyright (C) 2026 The Tsumugi Project\n[1]3\n[2]')" ] ||
  { echo "installed program printed: $out"; exit 1; }
if command -v man >/dev/null; then
  man -l "$page" 2>/dev/null | grep -q 'tsumugi - interactive interpreter' ||
    { echo "the man page does not render"; exit 1; }
fi
echo "installed and checked"
