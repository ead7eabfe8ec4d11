#!/usr/bin/env bash
# Unpacks the zip of scripts/package into a folder with a space in its name, builds the example in
# each way that the zip offers, and lists a sound server's endpoints with each host.
#   package_test.sh REPOSITORY OBJDUMP ZEVRA.dll
set -euo pipefail
root=$1 tools=${2%objdump} dll=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$root/scripts/package" windows "$work"
mkdir "$work/some place"
cd "$work/some place"
for zip in "$work"/zevra-*-windows-x86_64*.zip; do cmake -E tar xf "$zip"; done
"${tools}nm" zevra.dll.debug | grep ' T _ZN9ZevraImpl' >/dev/null
cd zevra-*/
# Another build of the same sources.
cmp "$dll" bin/zevra.dll
grep -q 'GCC RUNTIME LIBRARY EXCEPTION' THIRD-PARTY-NOTICES.txt
diff <(find . -type f | LC_ALL=C sort) - <<'END_OF_LIST'
./LICENSE.txt
./THIRD-PARTY-NOTICES.txt
./bin/record.exe
./bin/zevra.dll
./bin/zevra.exe
./examples/record.c
./include/zevra/zevra.h
./include/zevra/zevra.hpp
./lib/cmake/zevra/zevra-config-version.cmake
./lib/cmake/zevra/zevra-config.cmake
./lib/cmake/zevra/zevra-targets-release.cmake
./lib/cmake/zevra/zevra-targets.cmake
./lib/libzevra.dll.a
./lib/pkgconfig/zevra.pc
./lib/zevra.def
./lib/zevra.lib
END_OF_LIST

build() { # SOURCE NAME ARG...
  local source=$1 name=$2
  shift 2
  "${tools}gcc" -std=c99 -Wall -Wextra -Wpedantic -Werror "$source" "$@" -Iinclude -o "bin/$name"
}
build examples/record.c linked.exe lib/libzevra.dll.a
sed -n '/^```c$/,/^```$/{/^```/d;p}' "$root/README.md" >"$work/readme.c"
build "$work/readme.c" readme.exe lib/zevra.lib
"${tools}dlltool" -d lib/zevra.def -l "$work/made.lib"
build examples/record.c made.exe "$work/made.lib"
cmake -S "$root/tests/packaging/consumer" -B "$work/host" -Dzevra_DIR="$PWD/lib/cmake/zevra" \
  -DEXAMPLE="$PWD/examples/record.c" -DCMAKE_BUILD_TYPE=Release \
  --toolchain "$root/cmake/toolchain-mingw64.cmake" >/dev/null
cmake --build "$work/host" >/dev/null
cp "$work/host/host.exe" bin/by-cmake.exe

# shellcheck disable=SC2016  # the variables are the inner shell's
"$root/scripts/sound-server" pulseaudio -- "$root/scripts/with-wine" -- bash -euc '
  for host in record linked made by-cmake; do
    list=$(wine "bin/$host.exe")
    [[ $list == *"  Monitor of Zevra Speakers"* ]] || { echo "$host.exe lists: $list" && exit 1; }
  done'
