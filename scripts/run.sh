#!/usr/bin/env bash
# Installs what is missing, builds the release tool and the Python module (importable as
# `ondrix` afterwards, through a .pth file in the user's site folder), and runs the main job:
# a test recording is generated, filtered into a second file, and both are analysed, with
# plots, in a folder it names.
# With arguments, runs the tool with them instead (try: scripts/run.sh --help).
# ONDRIX_OUT sets the folder (default: build/workflow).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
log=build/run-build.log
mkdir -p build
# The build speaks only when it fails, so that the tool's output stands alone.
if ! { cmake --preset release && cmake --build --preset release --target ondrix ondrix_python; } >"$log" 2>&1; then
  cat "$log" >&2
  echo "run.sh: the build failed (log: $log)" >&2
  exit 1
fi
# `import ondrix` from this build tree, for the user's Python (a .pth file in the user site)
site="$(/usr/bin/python3 -m site --user-site)"
mkdir -p "$site" && printf '%s\n' "$PWD/build/release/python" >"$site/ondrix-build.pth"

tool="$PWD/build/release/apps/ondrix/ondrix"
if [ $# -gt 0 ]; then exec "$tool" "$@"; fi

out="${ONDRIX_OUT:-build/workflow}"
mkdir -p "$out"
out="$(cd "$out" && pwd)"
cd "$out"
say() { printf '\n== %s\n$ ondrix %s\n' "$1" "${*:2}"; }
step() { say "$@"; "$tool" "${@:2}"; }

# A machine's vibration as a 16-bit recording: a 120 Hz shaft tone with harmonics and noise
# on channel 0, and an interfering 9 kHz whine; a sweep on channel 1. Counts: 16-bit full scale.
step "generate a test recording (10 s, 48 kHz, stereo, 16 bit)" \
  generate -q recording.wav --fs 48000 -d 10 --seed 1 --precision int16 \
  "12000*sine(120) + 2400*sine(240, 1, 30) + 800*sine(360, 1, 60) + 1500*sine(9000) + noise(300)" \
  "8000*chirp(20, 20000, 10)"
step "look at it" info recording.wav --plot waveform.png -q

step "design a low-pass that removes the whine (pass 2 kHz, stop 4 kHz, 80 dB)" \
  design --fs 48000 --type lowpass --pass 2000 --stop 4000 --attenuation 80 -m elliptic --plot lowpass.png
"$tool" design --fs 48000 --type lowpass --pass 2000 --stop 4000 --attenuation 80 -m elliptic --json >lowpass.json

step "filter both channels with it" filter -q recording.wav filtered.wav --design lowpass.json

step "spectrum before" spectrum -q recording.wav --dbfs --type rms --plot spectrum-recording.png --peaks 5
step "spectrum after" spectrum -q filtered.wav --dbfs --type rms --plot spectrum-filtered.png --peaks 5
step "the sweep through the filter, frame by frame" \
  spectrogram -q filtered.wav -c 1 --dbfs --length 2048 --plot spectrogram-filtered.png
say "the filter measured from the files: coherence and H1 of the sweep channel" \
  coherence -q recording.wav filtered.wav --channels 1 1 --length 8192 ">frf.csv"
"$tool" coherence -q recording.wav filtered.wav --channels 1 1 --length 8192 >frf.csv
echo "frf.csv: $(($(wc -l <frf.csv) - 1)) lines"

printf '\nThe recordings, the design and the plots are in %s:\n' "$out"
ls -1 "$out"
