#!/usr/bin/python3
"""Scanning a 3D survey: SEGYreader3D::scan against segyio, side by side.

usage: bench/compare_segyio_scan.py [--build build] [--survey PATH] [--repeats 5]

Run after a build. The survey of bench_segy_read (300 x 300 x 1000 IBM
floats, about 380 MB) is written on first use and read once into the page
cache. The header-only scan reads every trace header and builds the whole
index; its peer is segyio reading the inline and crossline words of every
trace. The full scan also reads every sample for the amplitude range; its peer
is segyio.tools.cube.
"""
import argparse
import os
import statistics
import subprocess
import sys
import time

import segyio

from compare_segyio_read import median_of, run_json


def timed(fn, repeats):
    times = []
    for _ in range(repeats):
        t0 = time.perf_counter()
        fn()
        times.append(time.perf_counter() - t0)
    return statistics.median(times)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", default="build")
    ap.add_argument("--survey", default="/tmp/tolmar_bench/survey_300x300x1000_ibm.sgy")
    ap.add_argument("--repeats", type=int, default=5)
    a = ap.parse_args()

    bench = os.path.join(a.build, "bench", "bench_segy_read")
    subprocess.run([bench, "--survey=" + a.survey, "--benchmark_filter=^$"], check=True, capture_output=True)
    with open(a.survey, "rb") as f:
        while f.read(1 << 24):
            pass

    ours = run_json([bench, "--survey=" + a.survey, "--benchmark_filter=BM_Scan",
                     "--benchmark_repetitions=%d" % a.repeats, "--benchmark_report_aggregates_only=true",
                     "--benchmark_format=json"])
    headers = median_of(ours, "BM_ScanHeaders/real_time", "real_time") / 1e3
    full = median_of(ours, "BM_ScanFull/real_time", "real_time") / 1e3

    def attributes():
        with segyio.open(a.survey, ignore_geometry=True) as f:
            f.attributes(189)[:]
            f.attributes(193)[:]

    peer_headers = timed(attributes, a.repeats)
    peer_cube = timed(lambda: segyio.tools.cube(a.survey), a.repeats)

    mb = os.path.getsize(a.survey) / 1e6
    print("Scanning %s (%.0f MB) from the page cache, median of %d runs" % (a.survey, mb, a.repeats))
    print("%-46s %10s %10s" % ("", "seconds", "of peer"))
    print("%-46s %10.4f" % ("segyio attributes(189), attributes(193) (peer)", peer_headers))
    print("%-46s %10.4f %9.2fx  (target <= 0.5x)" % ("scan, headers only", headers, headers / peer_headers))
    print("%-46s %10.4f" % ("segyio.tools.cube (peer)", peer_cube))
    print("%-46s %10.4f %9.2fx  (target >= 5x throughput: %.2fx)" % (
        "scan, full", full, full / peer_cube, peer_cube / full))


if __name__ == "__main__":
    sys.exit(main())
