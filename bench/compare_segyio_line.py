#!/usr/bin/python3
"""Importing a 2D line: SEGYreader2D against segyio, side by side.

usage: bench/compare_segyio_line.py [--build build] [--line PATH] [--repeats 5]

Builds nothing: run after a build. The line (20,000 traces x 3,000 samples,
IBM floats, about 245 MB) is written on first use by bench_segy_line, then
read once to bring it into the page cache. Ours: analyze (the shot-point
repair) and read into the amplitudes buffer, as 32-bit floats and mapped to
8 bits; and analyze with a read of the ranges only (headersOnly). Peer: segyio reading every
trace of the file into one array (f.trace.raw[:]) and every shot point
(f.attributes(17)[:]), which is the least an import must read.
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


def median_of(benchmarks, name):
    """Real and CPU seconds."""
    for b in benchmarks:
        if b["name"] == name + "_median":
            return b["real_time"] / 1e3, b["cpu_time"] / 1e3
    raise KeyError(name)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", default="build")
    ap.add_argument("--line", default="/tmp/tolmar_bench/line_20000x3000_ibm.sgy")
    ap.add_argument("--repeats", type=int, default=5)
    a = ap.parse_args()

    bench = os.path.join(a.build, "bench", "bench_segy_line")
    subprocess.run([bench, "--line=" + a.line, "--benchmark_filter=^$"], check=True, capture_output=True)
    size = os.path.getsize(a.line)
    with open(a.line, "rb") as f:
        while f.read(1 << 24):
            pass

    reps = ["--benchmark_repetitions=%d" % a.repeats, "--benchmark_report_aggregates_only=true",
            "--benchmark_format=json"]
    ours = run_json([bench, "--line=" + a.line] + reps)

    real, cpu = [], []
    for _ in range(a.repeats):
        t0, c0 = time.perf_counter(), time.process_time()
        with segyio.open(a.line, ignore_geometry=True) as f:
            sps = f.attributes(segyio.TraceField.ShotPoint)[:]
            data = f.trace.raw[:]
        real.append(time.perf_counter() - t0)
        cpu.append(time.process_time() - c0)
        del data, sps
    peer = statistics.median(real), statistics.median(cpu)

    mb = size / 1e6
    print("Importing %s (%.0f MB) from the page cache, median of %d runs" % (a.line, mb, a.repeats))
    print("%-48s %8s %8s %8s %8s" % ("", "seconds", "CPU s", "MB/s", "speed"))
    rows = [("segyio: shot points and every trace (peer)", peer),
            ("SEGYreader2D analyze + read, 32-bit floats", median_of(ours, "BM_ImportLine/32/real_time")),
            ("SEGYreader2D analyze + read, mapped to 8 bits", median_of(ours, "BM_ImportLine/8/real_time")),
            ("SEGYreader2D analyze + read of the ranges only", median_of(ours, "BM_LineRanges/32/real_time"))]
    for name, (t, c) in rows:
        print("%-48s %8.3f %8.3f %8.0f %7.2fx" % (name, t, c, mb / t, peer[0] / t))


if __name__ == "__main__":
    sys.exit(main())
