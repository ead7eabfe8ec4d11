#!/usr/bin/env bash
# Checks the DLL's exports, imports and load flags, and the headers with mingw-w64.
#   interface_test.sh ZEVRA.dll INCLUDE_DIR OBJDUMP
set -euo pipefail
dll=$1 include=$2 objdump=$3
sorted() { tr -s '[:space:]' '\n' | sort; }
headers=$("$objdump" -p "$dll")

echo "exports:"
diff <(grep -oP '^ZEVRA_API \w+ \K\w+' "$include/zevra/zevra.h" | sorted) \
  <(sed -n '/Ordinal\/Name Pointer/,/^$/s/^\t\[.*\] //p' <<<"$headers" | sorted)
grep -q "^Name.* zevra\.dll$" <<<"$headers"

# All of these are part of every Windows since 7. Media Foundation and a run-time library of the
# compiler are not. Cryptography would run under the loader's lock.
echo "imports:"
system="advapi32.dll avrt.dll kernel32.dll msvcrt.dll ole32.dll user32.dll version.dll"
comm -23 <(sed -n 's/^.*DLL Name: //p' <<<"$headers" | tr '[:upper:]' '[:lower:]' | sorted) \
  <(sorted <<<"$system") | { ! grep .; }
grep CryptAcquireContext <<<"$headers" && exit 1

echo "load flags:"
for flag in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
  grep -q "^[[:space:]]*$flag" <<<"$headers" || { echo "no $flag" && exit 1; }
done
for version in Major.*6 Minor.*1; do
  grep -q "^${version%.*}SubsystemVersion[[:space:]]*${version#*\*}$" <<<"$headers"
done
# Without relocations the loader cannot move the DLL, whatever the flags say.
"$objdump" -h "$dll" | grep ' \.reloc ' >/dev/null

echo "headers:"
flags=(-Wall -Wextra -Wpedantic -Wconversion -Werror -I "$include" -fsyntax-only)
"${objdump%objdump}gcc" -std=c99 "${flags[@]}" -x c - <<<'#include <zevra/zevra.h>'
"${objdump%objdump}g++" -std=c++17 "${flags[@]}" -x c++ - <<<'#include <zevra/zevra.hpp>'
