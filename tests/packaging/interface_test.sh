#!/usr/bin/env bash
# Checks the names that the library exports, and that each header compiles alone.
#   interface_test.sh LIBRARY INCLUDE_DIR
set -euo pipefail
library=$1
include=$2
diff <(grep -oP '^ZEVRA_API \w+ \K\w+' "$include/zevra/zevra.h" | sort) \
  <(nm -D --defined-only "$library" | awk '{ print $3 }' | sort)
soname=$(basename "${library%%.so*}").so.1
readelf -d "$library" | grep -qF "Library soname: [$soname]"

flags=(-Wall -Wextra -Wpedantic -Wconversion -Werror -I "$include" -fsyntax-only -x)
for standard in c99 c11; do cc -std=$standard "${flags[@]}" c - <<<'#include <zevra/zevra.h>'; done
for standard in c++17 c++20; do c++ -std=$standard "${flags[@]}" c++ - <<<'#include <zevra/zevra.hpp>'; done
echo "all passed"
