#!/usr/bin/env bash
# Checks the DLL's exports, imports and load flags, its import library, and the header with mingw-w64.
#   interface_test.sh ZEVRA.dll LIBZEVRA.dll.a INCLUDE_DIR OBJDUMP
set -euo pipefail
dll=$1 import_library=$2 include=$3 objdump=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

names="ZevraCloseDevice ZevraGetDeviceList ZevraGetInnerRecordDeviceList
ZevraGetOutRecordDeviceList ZevraGetVolume ZevraInitialize ZevraOpenDevice ZevraStartCapture
ZevraStartPlay ZevraStopCapture ZevraStopPlay ZevraUninitialize"
sorted() { tr -s '[:space:]' '\n' | sort; }
"$objdump" -p "$dll" >"$work/headers"

echo "exports:"
diff <(sorted <<<"$names") \
  <(sed -n '/Ordinal\/Name Pointer/,/^$/s/^\t\[.*\] //p' "$work/headers" | sorted)
grep -q "^Name.* zevra\.dll$" "$work/headers"

# All of these are part of every Windows since 7. Media Foundation and a run-time library of the
# compiler are not. Cryptography would run under the loader's lock.
echo "imports:"
system="advapi32.dll avrt.dll kernel32.dll msvcrt.dll ole32.dll user32.dll version.dll"
comm -23 <(sed -n 's/^.*DLL Name: //p' "$work/headers" | tr '[:upper:]' '[:lower:]' | sorted) \
  <(sorted <<<"$system") | { ! grep .; }

grep CryptAcquireContext "$work/headers" && exit 1

echo "load flags:"
for flag in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
  grep -q "^[[:space:]]*$flag" "$work/headers" || { echo "no $flag" && exit 1; }
done
for version in Major.*6 Minor.*1; do
  grep -q "^${version%.*}SubsystemVersion[[:space:]]*${version#*\*}$" "$work/headers"
done
# Without relocations the loader cannot move the DLL, whatever the flags say.
"$objdump" -h "$dll" | grep ' \.reloc ' >/dev/null

echo "import library and header:"
cat >"$work/host.c" <<'END'
#include <zevra/zevra.h>
int main(void) {
  ZevraHandle device = 0;
  int32_t result = ZevraInitialize();
  if (result >= 0) result = ZevraOpenDevice(&device, L"a", ZEVRA_FLOW_ALL);
  ZevraCloseDevice(device);
  return result >= 0 ? ZevraUninitialize() : 1;
}
END
sed 's/zevra\.h>/&\n#include <zevra\/zevra.hpp>/' "$work/host.c" >"$work/host.cpp"
flags=(-Wall -Wextra -Wpedantic -Wconversion -Werror -I "$include")
compiler=${objdump%objdump}
"${compiler}gcc" -std=c99 "${flags[@]}" "$work/host.c" "$import_library" -o "$work/host.exe"
"${compiler}g++" -std=c++17 "${flags[@]}" "$work/host.cpp" "$import_library" -o "$work/host.exe"
"$objdump" -p "$work/host.exe" | grep 'DLL Name: zevra\.dll' >/dev/null
