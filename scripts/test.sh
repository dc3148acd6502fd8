#!/usr/bin/env bash
# Builds and runs every test: the normal build, then a clang build with
# AddressSanitizer and UndefinedBehaviorSanitizer that also holds the fuzz
# targets, then the threaded tests under ThreadSanitizer, then a short run of
# each fuzz target.
#   scripts/test.sh            all four
#   scripts/test.sh --no-asan  the normal build only
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup-deps.sh

JOBS="${JOBS:-2}"
# Tests that start threads; they also run under ThreadSanitizer.
THREADED='TileSources|StreamerThread|StreamerThread2D|RasterStreaming|RasterTileReader|UpdateSink|Timers|HResult|CompressedIndex|IndexedReader|BrickFile|SurveyScan|BrickWriter|SeismicCubeManager|CubeReader|CubeIndex'

build() {
  local dir="$1"; shift
  cmake -S . -B "$dir" -G Ninja -DTOLMAR_WERROR=ON "$@" >/dev/null
  cmake --build "$dir" -j"$JOBS"
}

echo "== build and test" >&2
build build
(cd build && ctest -j"$JOBS" --output-on-failure)

if [ "${1:-}" != "--no-asan" ]; then
  echo "== build and test with AddressSanitizer and UBSan" >&2
  CC=clang CXX=clang++ build build-asan -DTOLMAR_SANITIZE=ON -DTOLMAR_FUZZ=ON -DTOLMAR_BUILD_BENCH=OFF
  (cd build-asan && ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}" \
     UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}" \
     ctest -j"$JOBS" --output-on-failure)

  echo "== threaded tests with ThreadSanitizer" >&2
  build build-tsan -DTOLMAR_TSAN=ON -DTOLMAR_BUILD_BENCH=OFF
  (cd build-tsan && TSAN_OPTIONS="${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1:suppressions=$PWD/../tests/tsan.supp}" \
     ctest -j"$JOBS" --output-on-failure -R "$THREADED")

  echo "== the file readers fuzzed for 20 s each" >&2
  FUZZ_BUILD_DIR=build-asan bash scripts/fuzz.sh 20
fi
