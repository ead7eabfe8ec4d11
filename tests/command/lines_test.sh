#!/usr/bin/env bash
# Runs each command line of a page as it stands, beside a private server: what is indented or in a block
# of `sh`, unless a comment "not run" stands before it. Blocks of other languages become the file that
# their first line names. Other machines and services are stood for by the programs of this folder, and
# Ctrl-C comes to zevra after three seconds.
#   lines_test.sh BUILD_FOLDER PAGE LINES FILE...
# The page must have LINES lines at least, and leave something in each FILE.
# shellcheck disable=SC2016 # what the programs expand is theirs
set -uo pipefail
build=$1 page=$2 least=$3
shift 3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/bin"
stub() { printf '#!/bin/sh\n%s\n' "$2" >"$folder/bin/$1" && chmod +x "$folder/bin/$1"; }
stub zevra "PULSE_SERVER=$PULSE_SERVER exec timeout --foreground -s INT --preserve-status 3 '$build/zevra' \"\$@\""
stub transcribe 'test $(head -c 32000 | wc -c) = 32000 && cat >/dev/null'
stub ssh 'shift; exec "$@"'
stub systemd-run 'shift 3; exec "$@"'
unit=$HOME/.config/systemd/user/zevra-archive.service
if grep -q '^```ini$' "$page"; then
  mkdir -p "${unit%/*}" "$folder/unit"
  sed -n '/^```ini$/,/^```$/{/^```/!p}' "$page" >"$unit"
fi
# Runs the unit's command, unless systemd has something to say about the unit.
stub systemctl "systemd-analyze --user verify '$unit' 2>&1 | grep zevra-archive |
  grep -v 'zevra is not executable' && exit 1
cd '$folder/unit' && eval \"\$(sed -n 's/^ExecStart=//p' '$unit' | sed 's/%%/%/g')\""
pacat -n Firefox /dev/zero &
if grep -q pkg-config "$page"; then
  cmake --install "$build" --prefix "$folder/usr" >/dev/null || exit
  LD_LIBRARY_PATH=$(dirname "$(find "$folder/usr" -name libzevra.so)")
  PYTHONPATH=$(realpath "$(dirname "$0")/../../bindings/python")
  export LD_LIBRARY_PATH PYTHONPATH PKG_CONFIG_PATH=$LD_LIBRARY_PATH/pkgconfig
fi
cd "$folder" || exit
awk '/^<!-- not run: / { skip = 1; next }
  /^```./ { fence = substr($0, 4); first = 1; next }
  /^```$/ { fence = file = ""; skip = 0; next }
  fence == "sh" || (!fence && /^    /) { sub(/^    /, ""); if (!skip) print; next }
  !fence && NF { skip = 0 }
  first && match($0, /[a-z]+\.(c|cpp|py)/) { file = substr($0, RSTART, RLENGTH) }
  { first = 0; if (file) print >file }' "$page" >lines
failed=0
while IFS= read -r line; do
  # Enter is pressed after three seconds.
  PATH=$folder/bin:$PATH bash -o pipefail -c "$line" >out 2>&1 < <(sleep 3 && echo) && continue
  # A server that a busy machine held up is told of as it should be.
  grep -q 'of silence put in' out && continue
  failed=1
  echo "failed: $line"
  cat out
done <lines
for file in "$@"; do
  [[ $(find . -path "./$file" -size +0) ]] || { failed=1 && echo "nothing in $file"; }
done
(($(wc -l <lines) >= least)) || { failed=1 && echo "too few lines: $(cat lines)"; }
exit "$failed"
