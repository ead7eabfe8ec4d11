#!/usr/bin/env bash
# Runs a host of the library in the current Wine, with classes of the class server in place of the
# system's. Library, host and class server are in one folder.
#   sound_test.sh served HOST.exe [ARG...]     the resampler and the endpoints
#   sound_test.sh monitor HOST.exe [ARG...]    the resampler; a tone plays on the sound server, which
#                                              the caller starts
set -euo pipefail
# Wine loses captured sound if it gets the processor too late, so it runs with the real-time priority
# of the sound server where that is permitted.
chrt -r -p 1 $$ >/dev/null 2>&1 || true
suite=$1 host=$2
shift 2
folder=$(dirname "$host")
trap 'echo "sound_test: line $LINENO gave $?" >&2' ERR

# Wine sometimes ends at once without a message while other prefixes start or end, so the preparing
# commands are tried again.
prepare() {
  "$@" || { sleep 1 && "$@"; } || { sleep 1 && "$@"; }
}
server=$(prepare winepath -w "$folder/class_server.dll")
served=5F1C6A10-3D0B-4C6E-9A41-7B52E036C80 # and a last digit

# Prints the registry entries that replace one class by another. Wine looks for classes only in
# HKEY_LOCAL_MACHINE.
treat_as() { # CLASS_ID SERVED_CLASS_ID
  local classes='HKEY_LOCAL_MACHINE\Software\Classes\CLSID'
  printf '%s\n' "[$classes\\{$1}\\TreatAs]" "@=\"{$2}\"" \
    "[$classes\\{$2}\\InprocServer32]" "@=\"${server//\\/\\\\}\"" '"ThreadingModel"="Both"'
}

# One second holds whole periods, so it repeats without a step.
tone() { # HERTZ LEVEL
  perl -e 'binmode STDOUT;
           $round = pack "f<*", map { ($_, $_) }
             map { $ARGV[1] * sin(2 * atan2(0, -1) * $ARGV[0] * $_ / 48000) } 0 .. 47999;
           print $round while 1' "$@"
}

{
  echo "Windows Registry Editor Version 5.00"
  treat_as F447B69E-1884-4A7E-8055-346F74D6EDB3 "${served}1" # the resampler
  [[ $suite != served ]] || treat_as BCDE0395-E52F-467C-8E3D-C4579291692E "${served}2" # endpoints
} >"$WINEPREFIX/classes.reg"
classes=$(prepare winepath -w "$WINEPREFIX/classes.reg")
prepare wine regedit /S "$classes"

if [[ $suite == monitor ]]; then
  tone 997 0.5 | pacat --raw --format=float32le --rate=48000 --channels=2 \
    --device=zevra_speakers --latency-msec=1000 &
  trap 'kill $!' EXIT
fi
cd "$folder"
wine "$(basename "$host")" "$@"
