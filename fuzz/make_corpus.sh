#!/usr/bin/env bash
# Remakes the seed corpus of every fuzz target from files the library writes (each target's
# -make_corpus mode), plus wave files that sox re-encodes from one of them. Run after changing
# a target's input layout; the corpus is committed.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
for t in build/fuzz/fuzz/fuzz_*; do
  name=$(basename "$t")
  # Regression seeds (named regress-*) stay; the generated ones are rewritten.
  find "fuzz/corpus/$name" -maxdepth 1 -type f ! -name 'regress-*' -delete 2>/dev/null || true
  "$t" -make_corpus="fuzz/corpus/$name"
done

# Wave files that sox makes, in the encodings the codec layer decodes and the plain ones it
# writes differently (GSM takes 8 kHz mono only). 60 ms keeps each file below a few KB.
wav=fuzz/corpus/fuzz_wave
tone() { sox -n -r 8000 -c "$1" "${@:3}" "$wav/$2" synth 0.06 sine 440 sine 1000 gain -3; }
tone 1 sox-ima-adpcm.wav -e ima-adpcm
tone 2 sox-ms-adpcm-stereo.wav -e ms-adpcm
tone 1 sox-ulaw.wav -e u-law
tone 2 sox-alaw-stereo.wav -e a-law
tone 1 sox-gsm.wav -e gsm
tone 2 sox-pcm24-stereo.wav -b 24
tone 1 sox-float64.wav -e floating-point -b 64
du -sb fuzz/corpus
