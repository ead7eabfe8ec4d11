#!/usr/bin/env bash
# Builds the installed example against a tree that a user would have, by CMake and by pkg-config,
# and records with each from a real server.
#   consumer_test.sh install BUILD_DIR     a tree from `cmake --install`, moved to another place
#   consumer_test.sh package               the trees inside the packages of scripts/package
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
scripts=$here/../../scripts
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

case $1 in
  install)
    cmake --install "$2" --prefix "$work/first" >/dev/null
    mv "$work/first" "$work/usr"
    ;;
  package)
    "$scripts/package" linux "$work"
    for package in "$work"/*.deb; do dpkg-deb -x "$package" "$work"; done
    [[ $(dpkg-deb -c "$work"/libzevra1_*.deb) == *"/zevra.cfu -> /etc/zevra/zevra.cfu"* ]]
    [[ $(dpkg-deb --ctrl-tarfile "$work"/libzevra1_*.deb | tar -xO ./conffiles) == /etc/zevra/zevra.cfu ]]
    lintian --allow-root --fail-on error,warning "$work"/*.deb
    # pkg-config gives no folders that the compiler looks in anyway.
    pc=$(echo "$work"/usr/lib/*/pkgconfig)
    [[ $(PKG_CONFIG_LIBDIR=$pc pkg-config --cflags --libs zevra | xargs) == -lzevra ]]
    grep -q __stack_chk_fail <(nm -D "$work"/usr/lib/*/libzevra.so.1)
    grep -q memcpy_chk <(nm -D "$work"/usr/lib/*/libzevra.so.1)
    # The words that bash offers.
    offered() {
      PATH=$work/usr/bin:$PATH LD_LIBRARY_PATH=$(echo "$work"/usr/lib/*-gnu) bash -c '
        source "$1" && COMP_WORDS=(zevra "${@:2}") COMP_CWORD=$(($# - 1)) && _zevra; echo "${COMPREPLY[*]}"' \
        offered "$work/usr/share/bash-completion/completions/zevra" "$@"
    }
    [[ $(offered record --form) == --format && $(offered record -f s) == "s16 s24 s32" && $(offered med) == "" ]]
    # The Python package of the wheel has the library in it, Debian's finds the installed one.
    "$scripts/package" python "$work"
    python3 -m zipfile -e "$work"/zevra-*.whl "$work/wheel"
    export ZEVRA_LIBRARY=builtin
    PYTHONPATH=$work/wheel python3 -c "import zevra; zevra.record('$work/python.wav', 0.1)"
    PYTHONPATH=$work/usr/lib/python3/dist-packages LD_LIBRARY_PATH=$(echo "$work"/usr/lib/*-gnu) \
      python3 -c "import zevra; zevra.record('$work/python.wav', 0.1)"
    ;;
esac
prefix=$work/usr
library=$(dirname "$(find "$prefix" -name libzevra.so)")
example=$(find "$prefix" -name record.c)

cmake -S "$here/consumer" -B "$work/host" -DCMAKE_PREFIX_PATH="$prefix" -DEXAMPLE="$example" \
  -DCMAKE_C_FLAGS="-std=c99 -Wall -Wextra -Wpedantic -Werror" >/dev/null
cmake --build "$work/host" >/dev/null

read -r -a flags < <(PKG_CONFIG_LIBDIR=$library/pkgconfig pkg-config "--define-variable=prefix=$prefix" --cflags --libs zevra)
cc -std=c99 "$example" "${flags[@]}" -o "$work/host/by-pkg-config"

export LD_LIBRARY_PATH=$library
# The CI job that the documentation shows, beside the installed examples and without a server; packages
# are not where they belong.
mkdir "$work/bin"
printf '#!/bin/sh\nexec %s "--define-variable=prefix=%s" "$@"\n' "$(type -P pkg-config)" "$prefix" >"$work/bin/pkg-config"
chmod +x "$work/bin/pkg-config"
sed -n '/^  script:/,/^```/s/^    - //p' "$here/../../docs/testing-without-sound.md" >"$work/job"
[[ $(wc -l <"$work/job") == 2 ]]
(cd "$(dirname "$example")" && PULSE_SERVER=unix:/nowhere PKG_CONFIG_LIBDIR=$library/pkgconfig \
  PATH=$work/bin:$PATH bash -euo pipefail "$work/job")
for host in host by-pkg-config; do
  "$scripts/sound-server" pulseaudio -- "$work/host/$host" "$work/$host.wav" 1
  # A second of 16 kHz, 16 bits, give or take a slow start.
  size=$(stat -c %s "$work/$host.wav")
  ((size > 16000)) || {
    echo "FAILED: $host recorded only $size bytes"
    exit 1
  }
done
echo "all passed"
