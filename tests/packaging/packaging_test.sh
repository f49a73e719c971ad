#!/usr/bin/env bash
# The installed package as a project building on Ondrix sees it.
# Usage: packaging_test.sh static|shared|deb SOURCE_DIR BUILD_DIR SCRATCH_DIR
#   static  install BUILD_DIR (static libraries) into a staging prefix; build the consumer
#           example with CMake (whole library, then two components) and with pkg-config.
#   shared  install BUILD_DIR when it holds shared libraries, otherwise build the libraries
#           alone as shared libraries and install those; build the consumer with CMake and
#           pkg-config, and check it runs on the shared libraries. An instrumented build
#           (ONDRIX_SANITIZE) gets an instrumented consumer, the only kind it links into.
#   deb     cpack -G DEB in BUILD_DIR, unpack the package and check what it holds.
set -euo pipefail
mode=$1 src=$2 build=$3 scratch=$4
mkdir -p "$scratch"
cxx=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build/CMakeCache.txt")
generator=$(sed -n 's/^CMAKE_GENERATOR:INTERNAL=//p' "$build/CMakeCache.txt")

cache() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
sanitize=()
if [ "$(cache ONDRIX_SANITIZE)" = ON ]; then
  sanitize=(-fsanitize=address,undefined -fno-omit-frame-pointer)
fi

fail() { echo "packaging_test: $*" >&2; exit 1; }

# The consumer's output: the version, the tone's line (a real tone of amplitude 1 reads 1/2 on
# its line), and the registry's error caught through the library's exception root.
check_output() {
  local out
  out=$("$@") || fail "$1 exited with $?"
  echo "$out"
  local version
  version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
  grep -qx "Ondrix $version" <<<"$out" || fail "$1: version line missing"
  grep -qx "peak at 1000 Hz, amplitude 0.5000" <<<"$out" || fail "$1: wrong peak"
  grep -qx "caught: Class TNoSuchClass not found" <<<"$out" || fail "$1: error not caught as ondrix::Exception"
}

# consumer_cmake PREFIX NAME [cmake options]: configures, builds and runs the consumer example.
consumer_cmake() {
  local prefix=$1 name=$2
  shift 2
  rm -rf "$scratch/$name"
  cmake -S "$src/examples/consumer" -B "$scratch/$name" -G "$generator" -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS="${sanitize[*]}" \
    -DCMAKE_EXE_LINKER_FLAGS="${sanitize[*]}" "$@" >"$scratch/$name.log" ||
    { cat "$scratch/$name.log"; fail "configuring the consumer ($name) failed"; }
  cmake --build "$scratch/$name" >>"$scratch/$name.log" ||
    { cat "$scratch/$name.log"; fail "building the consumer ($name) failed"; }
  check_output "$scratch/$name/tone_peak"
}

# consumer_pkgconfig PREFIX NAME: the same program, compiled by hand from ondrix.pc.
consumer_pkgconfig() {
  local prefix=$1 name=$2 flags
  flags=$(PKG_CONFIG_PATH="$prefix/lib/pkgconfig" pkg-config --cflags --libs ondrix) || fail "pkg-config ondrix failed"
  "$cxx" -O1 "${sanitize[@]}" "$src/examples/consumer/tone_peak.cpp" $flags -o "$scratch/$name" || fail "the pkg-config build failed"
  LD_LIBRARY_PATH="$prefix/lib" check_output "$scratch/$name"
}

case $mode in
static)
  prefix=$scratch/prefix
  rm -rf "$prefix"
  cmake --install "$build" --prefix "$prefix" >/dev/null
  consumer_cmake "$prefix" consumer-all
  consumer_cmake "$prefix" consumer-components -DONDRIX_CONSUMER_COMPONENTS=ON
  consumer_pkgconfig "$prefix" tone_peak_pc
  ;;
shared)
  libs=$build
  if [ "$(cache BUILD_SHARED_LIBS)" != ON ]; then
    # Only the libraries: no tests, benchmarks, tool, examples or Python module; unoptimised,
    # since only linking and loading are under test.
    libs=$scratch/build
    cmake -S "$src" -B "$libs" -G "$generator" -DCMAKE_CXX_COMPILER="$cxx" -DBUILD_SHARED_LIBS=ON \
      -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DONDRIX_BUILD_TESTS=OFF -DONDRIX_BUILD_BENCH=OFF \
      -DONDRIX_BUILD_TOOL=OFF -DONDRIX_BUILD_EXAMPLES=OFF -DONDRIX_BUILD_PYTHON=OFF -DONDRIX_INSTALL=ON >/dev/null
    cmake --build "$libs" -j2 >"$scratch/build.log" || { tail -50 "$scratch/build.log"; fail "the shared build failed"; }
  fi
  prefix=$scratch/prefix
  rm -rf "$prefix"
  cmake --install "$libs" --prefix "$prefix" >/dev/null
  ls "$prefix"/lib/libondrix_*.a >/dev/null 2>&1 && fail "static libraries in the shared install"
  consumer_cmake "$prefix" consumer-all
  readelf -d "$scratch/consumer-all/tone_peak" | grep -q 'NEEDED.*libondrix_signalanalysis\.so' ||
    fail "the consumer is not linked to the shared libraries"
  consumer_pkgconfig "$prefix" tone_peak_pc
  ;;
deb)
  rm -rf "$scratch"/*.deb "$scratch/root"
  (cd "$scratch" && cpack -G DEB --config "$build/CPackConfig.cmake" -B "$scratch" >cpack.log) ||
    { cat "$scratch/cpack.log"; fail "cpack failed"; }
  deb=$(ls "$scratch"/*.deb)
  dpkg-deb -f "$deb" Package Version Depends
  dpkg-deb -x "$deb" "$scratch/root"
  root=$scratch/root/usr
  for f in lib/libondrix_vec.a lib/libondrix_signalanalysis.a include/ondrix/version.h \
           include/ondrix/SignalAnalysis/SpectrumAnalyzer.h include/ondrix/framework/errors.h \
           lib/cmake/Ondrix/OndrixConfig.cmake lib/cmake/Ondrix/OndrixConfigVersion.cmake \
           lib/cmake/Ondrix/Ondrix_vecTargets.cmake lib/pkgconfig/ondrix.pc bin/ondrix; do
    [ -e "$root/$f" ] || fail "/usr/$f is not in the package"
  done
  others=$(cd "$root/include" && find . -type f ! -path './ondrix/*')
  [ -z "$others" ] || fail "headers outside include/ondrix in the package: $others"
  dpkg-deb -f "$deb" Depends | grep -q libfftw3-dev || fail "the package does not depend on FFTW3's headers"
  version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
  "$root/bin/ondrix" --version | grep -q "$version" || fail "the packaged tool does not report $version"
  [ "$(PKG_CONFIG_PATH="$root/lib/pkgconfig" pkg-config --modversion ondrix)" = "$version" ] ||
    fail "ondrix.pc does not give $version"
  ;;
*) fail "unknown mode $mode" ;;
esac
echo "packaging_test: $mode ok"
