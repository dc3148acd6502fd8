#!/usr/bin/env bash
# Fuzzes the file readers with libFuzzer: the SEG-Y reader and scan, the 2D
# line reader, the index reader and the brick reader.
#   scripts/fuzz.sh [SECONDS_PER_TARGET] [TARGET...]
# Builds the targets in $FUZZ_BUILD_DIR (build-fuzz unless set; configured
# with clang, AddressSanitizer and UBSan when it is new), makes a seed corpus
# of small surveys with the tool, and runs each target for the given time
# (60 s unless told), corpora kept under its corpus/. Exits non-zero on the
# first finding; the input that shows it is left in its findings/.
set -euo pipefail
cd "$(dirname "$0")/.."

SECONDS_EACH="${1:-60}"
shift || true
TARGETS=("$@")
[ ${#TARGETS[@]} -gt 0 ] || TARGETS=(fuzz_segy_scan fuzz_segy_line fuzz_index fuzz_bricks fuzz_variant_stream fuzz_colour_file)

bash scripts/setup-deps.sh
B="${FUZZ_BUILD_DIR:-build-fuzz}"
if [ ! -f "$B/CMakeCache.txt" ]; then
  CC=clang CXX=clang++ cmake -S . -B "$B" -G Ninja -DTOLMAR_FUZZ=ON -DTOLMAR_BUILD_TESTS=OFF \
    -DTOLMAR_BUILD_BENCH=OFF >/dev/null
fi
cmake --build "$B" -j"${JOBS:-2}" --target tolmar make_seeds fuzz_segy_scan fuzz_segy_line fuzz_index fuzz_bricks \
  fuzz_variant_stream fuzz_colour_file

# Seeds: small surveys in every sample format and both byte orders, small 2D
# lines, an index and small brick files. The index target reads its indexes
# against seeds/base.sgy.
SEEDS="$B/seeds"
rm -rf "$SEEDS"
mkdir -p "$SEEDS"/{segy,line,index,bricks,variant,colour} "$B/corpus" "$B/findings"
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=0}"
T="$B/tolmar"
"$T" synth "$SEEDS/base.sgy" --inlines 6 --crosslines 5 --samples 20 --format ieee >/dev/null
"$T" import "$SEEDS/base.sgy" --index "$SEEDS/base.idx" >/dev/null
"$B/tests/fuzz/make_seeds" "$SEEDS/base.idx" "$SEEDS/index/base.idx" "$SEEDS/bricks" "$SEEDS/variant" "$SEEDS/line"
n=0
for format in ibm ieee int32 int16 int8; do
  for order in big little; do
    n=$((n + 1))
    extra=()
    [ $((n % 3)) -eq 0 ] && extra+=(--irregular)
    [ $((n % 4)) -eq 0 ] && extra+=(--sort crossline)
    "$T" synth "$SEEDS/segy/s$n.sgy" --inlines 4 --crosslines 3 --samples 8 --format "$format" \
      --byte-order "$order" --seed "$n" "${extra[@]}" >/dev/null
  done
done
# Colour files as gdaldem takes them: values, percentages, NoData, names, alpha.
printf '0 0 0 255\n50%% 0:255:0:128\n100%% white\nnv 0 0 0 0\n' >"$SEEDS/colour/relief.txt"
printf -- '-1e3,10,20,30\n# sea\n0\t0 0 255\n2500 red\n' >"$SEEDS/colour/depth.txt"
export TOLMAR_FUZZ_SEGY="$PWD/$SEEDS/base.sgy"
# The targets write each input to a file, and the index it makes with an
# fsync: on a memory file system that costs nothing.
[ -d /dev/shm ] && [ -w /dev/shm ] && export TMPDIR=/dev/shm

declare -A SEED_DIR=([fuzz_segy_scan]=segy [fuzz_segy_line]=line [fuzz_index]=index [fuzz_bricks]=bricks [fuzz_variant_stream]=variant
  [fuzz_colour_file]=colour)
for t in "${TARGETS[@]}"; do
  corpus="$B/corpus/$t"
  mkdir -p "$corpus"
  echo "== $t for ${SECONDS_EACH} s" >&2
  log="$B/findings/$t.log"
  rc=0
  "$B/tests/fuzz/$t" "$corpus" "$SEEDS/${SEED_DIR[$t]}" -max_total_time="$SECONDS_EACH" \
    -rss_limit_mb=4096 -malloc_limit_mb=2048 -timeout=20 -max_len=65536 -print_final_stats=1 \
    -artifact_prefix="$B/findings/$t-" >"$log" 2>&1 || rc=$?
  grep -E "^(#[0-9]+[[:space:]]+DONE|stat::number_of_executed_units|stat::peak_rss_mb)" "$log" >&2 || true
  if [ "$rc" -ne 0 ]; then
    grep -E -A30 "^==[0-9]+==|^SUMMARY|ERROR: libFuzzer" "$log" | head -60 >&2 || tail -40 "$log" >&2
    echo "fuzz: $t found a fault; the input is in $B/findings, the log in $log" >&2
    exit 1
  fi
done
