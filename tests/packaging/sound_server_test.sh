#!/usr/bin/env bash
# Checks what no other test would miss of scripts/sound-server: COMMAND's exit code, and that no
# process and no folder stays behind however it ends.
#   sound_server_test.sh SCRIPT pulseaudio|pipewire
set -uo pipefail
script=$1 backend=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TMPDIR=$work/tmp UP=$work/up
mkdir "$TMPDIR"

check() { # AFTER_WHAT EXPECTED_CODE CODE
  local left
  left=$(ls "$TMPDIR" && grep -lsz "^ZEVRA_SOUND_SERVER=$TMPDIR" /proc/[0-9]*/environ)
  [[ $2 == "$3" && -z $left ]] && return
  echo "FAILED: after $1: exit code $3 instead of $2, left behind: $left"
  exit 1
}

for end in "setsid sleep 600 &" "kill -KILL \$ZEVRA_TEST_SERVER_PID;" "kill -STOP \$ZEVRA_TEST_SERVER_PID;"; do
  "$script" "$backend" -- bash -c "$end exit 7" >/dev/null 2>&1
  check "$end" 7 $?
done

# Job control gives the script a process group of its own, as a terminal does. Ctrl-C goes to the
# whole group, another signal to the script alone. After SIGKILL the next run removes the folder.
for end in INT:3 TERM:3 KILL:137; do
  signal=${end%:*}
  rm -f "$UP"
  set -m
  # shellcheck disable=SC2016  # the variable is COMMAND's
  "$script" "$backend" -- bash -c 'trap "exit 3" INT TERM; touch $UP; while :; do sleep 0.1; done' &
  pid=$!
  set +m
  for ((tries = 0; tries < 200; tries++)); do [[ -e $UP ]] && break || sleep 0.05; done
  if [[ $signal == INT ]]; then kill -INT -- "-$pid"; else kill -s "$signal" "$pid"; fi
  wait "$pid" 2>/dev/null
  code=$?
  [[ $signal != KILL ]] || "$script" "$backend" -- true
  check "SIG$signal" "${end#*:}" "$code"
done
echo "all passed"
