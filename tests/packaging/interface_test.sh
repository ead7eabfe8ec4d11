#!/usr/bin/env bash
# Checks the names that the library exports, and that each header compiles alone.
#   interface_test.sh LIBRARY INCLUDE_DIR
set -euo pipefail
library=$1
include=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

expected="ZevraCloseDevice ZevraGetDeviceList ZevraGetInnerRecordDeviceList
ZevraGetOutRecordDeviceList ZevraGetVolume ZevraInitialize ZevraOpenDevice ZevraStartCapture
ZevraStartPlay ZevraStopCapture ZevraStopPlay ZevraUninitialize"
diff <(xargs -n 1 <<<"$expected" | sort) <(nm -D --defined-only "$library" | awk '{ print $3 }' | sort)
soname=$(basename "${library%%.so*}").so.1
readelf -d "$library" | grep -qF "Library soname: [$soname]"

echo '#include <zevra/zevra.h>' | tee "$work/alone.c" >"$work/alone.cpp"
flags=(-Wall -Wextra -Wpedantic -Wconversion -Werror -I "$include" -fsyntax-only)
for standard in c99 c11; do cc -std=$standard "${flags[@]}" "$work/alone.c"; done
echo '#include <zevra/zevra.hpp>' >>"$work/alone.cpp"
for standard in c++17 c++20; do c++ -std=$standard "${flags[@]}" "$work/alone.cpp"; done
echo "all passed"
