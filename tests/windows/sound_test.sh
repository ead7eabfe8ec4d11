#!/usr/bin/env bash
# Runs a host of the library in the current Wine and beside the current sound server, with the
# resampler of the class server in place of the system's, while a tone plays on each of two
# endpoints. Library, host and class server are in one folder.
#   sound_test.sh HOST.exe [ARG...]
set -euo pipefail
# Wine loses captured sound if it gets the processor too late, so it runs with the real-time priority
# of the sound server where that is permitted.
chrt -r -p 1 $$ >/dev/null 2>&1 || true
cd "$(dirname "$1")"
trap 'echo "sound_test: line $LINENO gave $?" >&2' ERR

# Wine sometimes ends at once without a message while other prefixes start or end, so the preparing
# commands are tried again.
prepare() {
  "$@" || { sleep 1 && "$@"; } || { sleep 1 && "$@"; }
}
server=$(prepare winepath -w "$PWD/class_server.dll")
# Wine looks for classes only in HKEY_LOCAL_MACHINE.
classes='HKEY_LOCAL_MACHINE\Software\Classes\CLSID'
served='{5F1C6A10-3D0B-4C6E-9A41-7B52E036C801}'
printf '%s\n' "Windows Registry Editor Version 5.00" \
  "[$classes\\{F447B69E-1884-4A7E-8055-346F74D6EDB3}\\TreatAs]" "@=\"$served\"" \
  "[$classes\\$served\\InprocServer32]" "@=\"${server//\\/\\\\}\"" '"ThreadingModel"="Both"' \
  >"$WINEPREFIX/classes.reg"
prepare wine regedit /S "$(prepare winepath -w "$WINEPREFIX/classes.reg")"

# One second holds whole periods, so it repeats without a step.
play() { # SINK HERTZ LEVEL
  perl -e 'binmode STDOUT;
           $round = pack "f<*", map { ($_, $_) }
             map { $ARGV[1] * sin(2 * atan2(0, -1) * $ARGV[0] * $_ / 48000) } 0 .. 47999;
           print $round while 1' "$2" "$3" |
    pacat --raw --format=float32le --rate=48000 --channels=2 --device="$1" --latency-msec=1000 &
}
pactl load-module module-null-sink sink_name=zevra_headphones format=float32le rate=48000 \
  "sink_properties='device.description=\"Zevra Headphones\"'" >/dev/null
play zevra_speakers 997 0.5
play zevra_headphones 1501 0.25
trap 'kill $(jobs -p) 2>/dev/null || true' EXIT
wine "$(basename "$1")" "${@:2}"

row=$(wine record.exe | sed -n 's/  Monitor of Zevra Speakers.*//p')
# The example, a host in plain C: at 16 kHz and 16 bits, with more than a second of the tone.
wine record.exe tone.wav 5 "$row"
sounding=$(tail -c +45 tone.wav | tr -d '\0' | wc -c)
rm tone.wav
((sounding > 32000 && sounding <= 160000))

# The command, from the monitor and, where this Wine has loopback, from the endpoint itself.
export LC_ALL=C.UTF-8
endpoints=("monitor of Zevra Speakers")
(($# > 1)) || endpoints+=("Zevra Speakers")
wine zevra.exe list | grep -E '^Monitor of Zevra Speakers +capture +100 %'
for endpoint in "${endpoints[@]}"; do
  wine zevra.exe volume --device "$endpoint" | grep ': 100 %'
  wine zevra.exe meter --seconds 2 --device "$endpoint" | grep -E 'peak  L -(5\.9|6\.[01])'
  wine zevra.exe record -f s16 -r 16000 -c 1 --seconds 2 --device "$endpoint" "Ωδός %H.wav" ||
    echo "a busy machine held packets back, which is told"
  # Half of full scale, and more only where this machine had no time for a packet.
  tail -c +45 Ωδός\ [0-9][0-9].wav | head -c 64000 | od -An -v -td2 -w2 |
    awk '$1 > most { most = $1 } END { print NR, most; exit !(NR == 32000 && most > 16000 && most < 20000) }'
  rm Ωδός*.wav
done
# Without Media Foundation, as on some servers, the capture runs all the same.
WINEDLLOVERRIDES="$WINEDLLOVERRIDES;mfplat=" wine record.exe none.wav 1 "$row" | grep -F 'none.wav: 0.00 seconds'
