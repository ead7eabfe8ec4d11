#!/usr/bin/env bash
# Runs each test of a host in a process of its own in the current Wine, from a folder whose name no
# code page of Wine's has, beside the library. Wine gives a program no console without a display.
#   log_test.sh HOST.exe
set -euo pipefail
number=$(mktemp)
Xvfb -displayfd 3 -screen 0 640x480x16 -nolisten tcp 3>"$number" 2>/dev/null &
server=$!
trap 'wineserver -k || true; kill $server; rm -f "$number"' EXIT
while [[ ! -s $number ]]; do
  kill -0 $server || exit 1
  sleep 0.05
done
DISPLAY=:$(<"$number")
export DISPLAY LC_ALL=C.UTF-8
folder="$ZEVRA_WINE/Ωδός 日本"
mkdir "$folder" && cp "$(dirname "$1")"/*.{exe,dll} "$folder"
cd "$folder"
host=$(basename "$1")
for test in WaitsForItsMutexAndReachesEveryOutput RotatesAndFollowsItsSettings; do
  wine "$host" --gtest_filter="*.$test"
done
rm zevra*.log
printf '[logger]\r\nlevel=128\r\n' >zevra.cfu
writers=()
for _ in 1 2 3; do
  wine "$host" --gtest_filter="*.WritesAThousandLines" &
  writers+=($!)
done
wait "${writers[@]}"
whole=$(grep -cE '^\[[^|]* ::Zevra[A-Za-z]+ \| leave\..?$' zevra.log)
echo "whole lines of three processes: $whole"
((whole == 3000))
