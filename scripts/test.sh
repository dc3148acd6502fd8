#!/usr/bin/env bash
# Builds and runs every test: the normal build, then a build with
# AddressSanitizer and UndefinedBehaviorSanitizer.
#   scripts/test.sh            both builds
#   scripts/test.sh --no-asan  the normal build only
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup-deps.sh

JOBS="${JOBS:-2}"

run_suite() {
  local dir="$1"; shift
  cmake -S . -B "$dir" -G Ninja -DTOLMAR_WERROR=ON "$@" >/dev/null
  cmake --build "$dir" -j"$JOBS"
  (cd "$dir" && ctest -j"$JOBS" --output-on-failure)
}

echo "== build and test" >&2
run_suite build

if [ "${1:-}" != "--no-asan" ]; then
  echo "== build and test with AddressSanitizer and UBSan" >&2
  ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}" \
  UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}" \
    run_suite build-asan -DTOLMAR_SANITIZE=ON -DTOLMAR_BUILD_BENCH=OFF
fi
