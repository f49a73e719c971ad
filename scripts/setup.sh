#!/usr/bin/env bash
# Installs the Debian packages that the build, the tests and the benchmarks need.
# Idempotent: apt-get update and install run only when a package is missing, the locale is
# generated only when it is missing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  libfftw3-dev nlohmann-json3-dev libcli11-dev libboost-math-dev
  libavcodec-dev libavformat-dev libavutil-dev libasound2-dev
  libsndfile1-dev libsoxr-dev
  python3 python3-numpy python3-scipy sox
  clang-14 libfuzzer-14-dev
  libplplot-dev plplot-driver-cairo
  pybind11-dev python3-pybind11 python3-pytest python3-dask python3-distributed
  locales
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

sudo=""
if [ "$(id -u)" -ne 0 ]; then
  sudo="sudo"
fi

if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# The number-formatting tests need a locale whose decimal separator is a comma.
if ! locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$'; then
  echo "setup: generating the de_DE.UTF-8 locale"
  $sudo localedef -i de_DE -c -f UTF-8 de_DE.UTF-8
fi
