#!/usr/bin/python3
"""Reading a whole SEG-Y survey: our reader against segyio, side by side.

usage: bench/compare_segyio_read.py [--build build] [--survey PATH] [--repeats 5]

Builds nothing: run after a build (scripts/test.sh or cmake --build build).
The survey (300 x 300 x 1000 IBM floats, about 380 MB) is written on first
use, then read once to bring it into the page cache. Both sides then read it
from the cache: ours decodes every trace through the reader (one thread, and
two readers on two halves); segyio runs segyio.tools.cube. The bulk IBM
decode is measured alone on one core.
"""
import argparse
import json
import os
import statistics
import subprocess
import sys
import time

import segyio


def run_json(cmd):
    out = subprocess.run(cmd, check=True, capture_output=True, text=True).stdout
    return json.loads(out)["benchmarks"]


def median_of(benchmarks, name, field):
    for b in benchmarks:
        if b["name"] == name + "_median":
            return b[field]
    raise KeyError(name)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", default="build")
    ap.add_argument("--survey", default="/tmp/tolmar_bench/survey_300x300x1000_ibm.sgy")
    ap.add_argument("--repeats", type=int, default=5)
    a = ap.parse_args()

    reader_bench = os.path.join(a.build, "bench", "bench_segy_read")
    decode_bench = os.path.join(a.build, "bench", "bench_decode")
    # Writes the survey when missing, runs nothing.
    subprocess.run([reader_bench, "--survey=" + a.survey, "--benchmark_filter=^$"], check=True,
                   capture_output=True)
    size = os.path.getsize(a.survey)
    with open(a.survey, "rb") as f:
        while f.read(1 << 24):
            pass

    reps = ["--benchmark_repetitions=%d" % a.repeats, "--benchmark_report_aggregates_only=true",
            "--benchmark_format=json"]
    ours = run_json([reader_bench, "--survey=" + a.survey] + reps)
    one = median_of(ours, "BM_ReadEveryTrace/real_time", "real_time") / 1e3
    two = median_of(ours, "BM_ReadEveryTraceTwoThreads/real_time", "real_time") / 1e3
    dec = run_json([decode_bench, "--benchmark_filter=BM_IbmBulk/little:0"] + reps)
    ibm = median_of(dec, "BM_IbmBulk/little:0", "bytes_per_second")

    times = []
    for _ in range(a.repeats):
        t0 = time.perf_counter()
        cube = segyio.tools.cube(a.survey)
        times.append(time.perf_counter() - t0)
        del cube
    peer = statistics.median(times)

    mb = size / 1e6
    print("Reading %s (%.0f MB) from the page cache, median of %d runs" % (a.survey, mb, a.repeats))
    print("%-44s %10s %10s %8s" % ("", "seconds", "MB/s", "ratio"))
    rows = [("segyio.tools.cube (peer)", peer), ("SEGYreader, every trace, 1 thread", one),
            ("SEGYreader, every trace, 2 threads", two)]
    for name, t in rows:
        print("%-44s %10.4f %10.0f %7.2fx" % (name, t, mb / t, peer / t))
    print("%-44s %21.0f MB/s (one core, in cache)" % ("bulk IBM decode", ibm / 1e6))


if __name__ == "__main__":
    sys.exit(main())
