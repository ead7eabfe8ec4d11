#!/usr/bin/env bash
# Holds scripts/sound-server to its promise: what it gives COMMAND, and that nothing stays behind.
#   sound_server_test.sh SCRIPT pulseaudio|pipewire
set -uo pipefail
script=$1
backend=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TMPDIR=$work/tmp UP=$work/up
mkdir "$TMPDIR"
failures=0

check() { # WHAT EXPECTED ACTUAL
  [[ $2 == "$3" ]] && return
  echo "FAILED: $1: expected '$2', got '$3'"
  failures=$((failures + 1))
}

check_nothing_left() { # AFTER_WHAT
  check "folders left after $1" "" "$(ls "$TMPDIR")"
  check "processes left after $1" "" "$(grep -lsz "^ZEVRA_SOUND_SERVER=$TMPDIR" /proc/[0-9]*/environ)"
}

# Starts the server in the background and waits until its command has made the file $UP.
# Job control gives it a process group of its own with Ctrl-C working, as at a terminal.
# shellcheck disable=SC2016
start_beside() { # COMMAND
  rm -f "$UP"
  set -m
  "$script" "$backend" -- bash -c "$1" >"$work/out" 2>&1 &
  pid=$!
  set +m
  local tries
  for ((tries = 0; tries < 200; tries++)); do
    [[ -e $UP ]] && return
    sleep 0.05
  done
  check "start-up within ten seconds" yes no
}

# shellcheck disable=SC2016  # the variables are COMMAND's
out=$(echo typed | "$script" "$backend" -- bash -c '
  cat; kill -0 "$ZEVRA_TEST_SERVER_PID" && pactl get-default-sink && pactl get-default-source
  pactl list short sinks | cut -f 2; pactl list short sources | cut -f 2
  pactl list sinks | sed -n "s/.*Description: //p"
  setsid sleep 600 & exit 7')
check "exit code" 7 $?
check "endpoints" "typed zevra_speakers zevra_microphone zevra_speakers zevra_surround \
zevra_speakers.monitor zevra_surround.monitor zevra_microphone Zevra Speakers Zevra Surround" \
  "$(echo "$out" | xargs)"
check_nothing_left "a command that leaves a process"

for end in "kill -KILL" "kill -STOP"; do
  "$script" "$backend" -- bash -c "$end \$ZEVRA_TEST_SERVER_PID; exit 5" >/dev/null 2>&1
  check "exit code after $end of the server" 5 $?
  check_nothing_left "$end of the server"
done

for signal in INT TERM HUP; do
  start_beside 'touch $UP; exec sleep 600'
  # Ctrl-C goes to the whole group, the others to the script alone.
  if [[ $signal == INT ]]; then kill -INT -- "-$pid"; else kill -s "$signal" "$pid"; fi
  wait "$pid"
  [[ $? -gt 128 ]] || check "a signal's exit code after $signal" ">128" "$?"
  check_nothing_left "$signal"
done

start_beside 'trap "exit 3" INT; touch $UP; while :; do sleep 0.1; done'
kill -INT -- "-$pid"
wait "$pid"
check "exit code of a command that handles Ctrl-C" 3 $?

# Killed outright it cannot remove its folder; its processes must end and the next one tidies up,
# without harm to one that is running.
start_beside 'touch $UP; sleep 2; pactl get-default-sink'
running=$pid
start_beside 'touch $UP; exec sleep 600'
kill -KILL "$pid"
wait "$pid" 2>/dev/null
"$script" "$backend" -- true
wait "$running"
check "an instance beside others" zevra_speakers "$(cat "$work/out")"
check_nothing_left "SIGKILL and another run"

"$script" "$backend" -- /no/such/command 2>/dev/null
check "exit code of a missing command" 127 $?
"$script" "$backend" true 2>/dev/null
check "exit code of bad usage" 1 $?
check_nothing_left "bad commands"

((failures == 0)) && echo "all passed"
exit $((failures > 0))
