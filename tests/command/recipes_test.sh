#!/usr/bin/env bash
# Runs each line of docs/recipes.md as it stands, beside a private server. The programs that it
# names are those of this folder: Ctrl-C comes to zevra after three seconds.
#   recipes_test.sh ZEVRA RECIPES
# shellcheck disable=SC2016 # what the programs expand is theirs
set -uo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/bin"
stub() { printf '#!/bin/sh\n%s\n' "$2" >"$folder/bin/$1" && chmod +x "$folder/bin/$1"; }
stub zevra "PULSE_SERVER=$PULSE_SERVER exec timeout --foreground -s INT --preserve-status 3 '$1' \"\$@\""
stub transcribe 'test $(head -c 32000 | wc -c) = 32000 && cat >/dev/null'
stub ssh 'shift; exec "$@"'
stub systemd-run 'shift 3; exec "$@"'
unit=$HOME/.config/systemd/user/zevra-archive.service
mkdir -p "${unit%/*}" "$folder/unit"
sed -n '/^```ini$/,/^```$/{/^```/!p}' "$2" >"$unit"
# Runs the unit's command, unless systemd has something to say about the unit.
stub systemctl "systemd-analyze --user verify '$unit' 2>&1 | grep zevra-archive |
  grep -v 'zevra is not executable' && exit 1
cd '$folder/unit' && eval \"\$(sed -n 's/^ExecStart=//p' '$unit' | sed 's/%%/%/g')\""
pacat -n Firefox /dev/zero &
cd "$folder" || exit
failed=0 lines=0
while IFS= read -r line; do
  lines=$((lines + 1))
  PATH=$folder/bin:$PATH bash -o pipefail -c "$line" >out 2>&1 && continue
  # A server that a busy machine held up is told of as it should be.
  grep -q 'of silence put in' out && continue
  failed=1
  echo "failed: $line"
  cat out
done < <(sed -n 's/^    //p' "$2")
for file in call.wav concert.flac playlist.mp3 studio.wav studio.mp3 levels.wav \
  "$(date +%Y)"-*.opus archive-*.opus unit/archive-*.opus; do
  [[ -s $file ]] || { failed=1 && echo "nothing in $file"; }
done
((lines >= 12)) || failed=1
exit "$failed"
