#!/usr/bin/python3
"""Whole slices: our brick cube against segyio on the same survey, side by side.

usage: bench/compare_segyio_slices.py [--build build] [--repeats 5]

Run after a build. Ours: bench_streaming on a 300 x 300 x 1000 float brick
cube (written on first use), cold (fresh reader) and warm (bricks cached).
Peer: segyio's depth_slice, iline and xline on the 300 x 300 x 1000 IBM survey
of bench_segy_read (written on first use), file opened once.
"""
import argparse
import json
import os
import statistics
import subprocess
import time

import segyio

SURVEY = "/tmp/tolmar_bench/survey_300x300x1000_ibm.sgy"


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", default="build")
    ap.add_argument("--repeats", type=int, default=5)
    a = ap.parse_args()
    subprocess.run([os.path.join(a.build, "bench", "bench_segy_read"), "--survey=" + SURVEY,
                    "--benchmark_filter=^$"], check=True, capture_output=True)
    out = subprocess.run([os.path.join(a.build, "bench", "bench_streaming"),
                          "--benchmark_filter=Timeslice|Iline|Crossline",
                          "--benchmark_repetitions=%d" % a.repeats, "--benchmark_report_aggregates_only=true",
                          "--benchmark_format=json"], check=True, capture_output=True, text=True).stdout
    ours = {b["name"]: b["real_time"] for b in json.loads(out)["benchmarks"] if b["name"].endswith("_median")}

    peer = {}
    with segyio.open(SURVEY) as f:
        for name, fn in [("time slice", lambda: f.depth_slice[500]), ("inline", lambda: f.iline[150]),
                         ("crossline", lambda: f.xline[150])]:
            times = []
            for _ in range(a.repeats):
                t0 = time.perf_counter()
                fn()
                times.append(time.perf_counter() - t0)
            peer[name] = statistics.median(times) * 1e3

    print("%-12s %12s %14s %14s %10s %10s" % ("slice", "segyio ms", "ours cold ms", "ours warm ms", "cold/peer", "warm/peer"))
    for name, key in [("time slice", "BM_Timeslice"), ("inline", "BM_Iline"), ("crossline", "BM_Crossline")]:
        cold = ours[key + "/cold:1/real_time_median"]
        warm = ours[key + "/cold:0/real_time_median"]
        print("%-12s %12.2f %14.2f %14.2f %10.2f %10.2f" % (name, peer[name], cold, warm, cold / peer[name],
                                                          warm / peer[name]))


if __name__ == "__main__":
    main()
