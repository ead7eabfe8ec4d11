#!/usr/bin/env bash
# Runs a program in the current Wine with a private display, because Wine gives a program no console
# without one.
#   on_display.sh PROGRAM.exe [ARG...]
set -euo pipefail
number=$(mktemp)
Xvfb -displayfd 3 -screen 0 640x480x16 -nolisten tcp 3>"$number" 2>/dev/null &
server=$!
trap 'wineserver -k || true; kill $server; rm -f "$number"' EXIT
while [[ ! -s $number ]]; do
  kill -0 $server || exit 1
  sleep 0.05
done
DISPLAY=:$(<"$number") wine "$@"
