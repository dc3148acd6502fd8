#!/usr/bin/python3
"""Importing a survey into a brick file: the whole tool process against reading
the cube with segyio and against writing the brick file's bytes.

usage: bench/compare_import.py [--build build] [--survey PATH] [--repeats 5]

Run after a build. The survey (300 x 300 x 1000 IBM floats, about 380 MB) is
written with segyio on first use and kept: band-limited seismic, a reflectivity
series convolved with a Ricker wavelet, with dipping and gently folded layers,
lateral amplitude changes and a little noise, so that bricks compress as real
data does (random samples would not). It is read once into the page cache.

Each row is the median of --repeats runs:
- segyio.tools.cube: segyio reads the whole survey into a numpy array (a);
- write + fsync: as many bytes as the brick file of that storage holds,
  written to a fresh file in the brick folder and flushed to disk (b);
- tolmar import: `tolmar import SURVEY --bricks DIR --storage S --force` as a
  process, wall clock from its start to its exit (scan, bricks, fsync).
The ratio is the import's time over the larger of (a) and (b).
"""
import argparse
import os
import statistics
import subprocess
import sys
import time

import numpy as np
import segyio


def ricker(peak_hz, dt_s):
    t = np.arange(-0.1, 0.1 + dt_s / 2, dt_s)
    a = (np.pi * peak_hz * t) ** 2
    return (1.0 - 2.0 * a) * np.exp(-a)


def write_survey(path, ni, nc, ns):
    """Dipping layers: trace (i, j) is one band-limited reflectivity series,
    shifted by a time that changes smoothly with the inline and crossline."""
    dt_ms = 4.0
    rng = np.random.default_rng(7)
    fine = 4  # the series is built at a quarter sample and shifted by interpolation
    span = ns + 400  # room for the largest shift
    n = span * fine
    refl = np.zeros(n)
    spikes = rng.choice(n, size=span // 3, replace=False)
    refl[spikes] = rng.laplace(0.0, 1.0, size=spikes.size)
    series = np.convolve(refl, ricker(25.0, dt_ms / 1000.0 / fine), mode="same")
    series *= 1000.0 / np.abs(series).max()
    tau = np.arange(n) / fine  # in samples

    ii, jj = np.meshgrid(np.arange(ni), np.arange(nc), indexing="ij")
    # Layers dip down towards the higher inlines and crosslines and fold gently.
    shift = 0.35 * ii + 0.2 * jj + 25.0 * np.sin(ii / 45.0) * np.cos(jj / 60.0) + 60.0
    gain = 1.0 + 0.3 * np.sin(ii / 70.0 + 0.5) * np.sin(jj / 50.0)
    t = np.arange(ns, dtype=np.float64)

    spec = segyio.spec()
    spec.format = 1
    spec.sorting = segyio.TraceSortingFormat.INLINE_SORTING
    spec.ilines = list(range(1000, 1000 + ni))
    spec.xlines = list(range(2000, 2000 + nc))
    spec.samples = list(np.arange(ns) * dt_ms)
    temp = path + ".part"
    with segyio.create(temp, spec) as f:
        f.bin.update(hdt=int(dt_ms * 1000), hns=ns, format=1)
        for i in range(ni):
            traces = np.empty((nc, ns), dtype=np.float32)
            for j in range(nc):
                traces[j] = np.interp(t + shift[i, j], tau, series)
            traces *= gain[i][:, None]
            traces += rng.normal(0.0, 8.0, size=traces.shape)
            for j in range(nc):
                k = i * nc + j
                # A grid 25 m by 12.5 m, turned by about 30 degrees, in centimetres.
                x = 450000.0 + 21.65 * i - 6.25 * j
                y = 6780000.0 + 12.5 * i + 10.825 * j
                f.header[k] = {
                    segyio.su.iline: 1000 + i,
                    segyio.su.xline: 2000 + j,
                    segyio.su.cdp: k + 1,
                    segyio.su.scalco: -100,
                    segyio.su.cdpx: int(round(x * 100)),
                    segyio.su.cdpy: int(round(y * 100)),
                    segyio.su.delrt: 0,
                    segyio.su.ns: ns,
                    segyio.su.dt: int(dt_ms * 1000),
                }
                f.trace[k] = traces[j]
    os.replace(temp, path)


def read_through(path):
    with open(path, "rb") as f:
        while f.read(1 << 24):
            pass


def timed(fn, repeats):
    fn()  # warm the page cache and the code paths
    times = []
    for _ in range(repeats):
        t0 = time.perf_counter()
        fn()
        times.append(time.perf_counter() - t0)
    return statistics.median(times)


def write_and_sync(folder, data):
    path = os.path.join(folder, "write_probe.bin")
    if os.path.exists(path):
        os.unlink(path)
    t0 = time.perf_counter()
    fd = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644)
    view = memoryview(data)
    while view:
        view = view[os.write(fd, view):]
    os.fsync(fd)
    os.close(fd)
    seconds = time.perf_counter() - t0
    os.unlink(path)
    return seconds


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", default="build")
    ap.add_argument("--survey", default="/tmp/tolmar_bench/import_300x300x1000_ibm.sgy")
    ap.add_argument("--size", type=int, nargs=3, default=[300, 300, 1000],
                    metavar=("INLINES", "CROSSLINES", "SAMPLES"), help="of a survey written anew")
    ap.add_argument("--repeats", type=int, default=5)
    a = ap.parse_args()

    tool = os.path.join(a.build, "tolmar")
    folder = os.path.dirname(os.path.abspath(a.survey))
    os.makedirs(folder, exist_ok=True)
    if not os.path.exists(a.survey):
        print("writing %s ..." % a.survey, file=sys.stderr)
        write_survey(a.survey, *a.size)
    bricks = os.path.join(folder, "import_bricks")
    os.makedirs(bricks, exist_ok=True)
    name = os.path.splitext(os.path.basename(a.survey))[0]
    brick_file = os.path.join(bricks, name + ".tmf")
    read_through(a.survey)

    peer = timed(lambda: segyio.tools.cube(a.survey), a.repeats)

    rows = []
    for storage in (8, 32):
        command = [tool, "import", a.survey, "--bricks", bricks, "--storage", str(storage), "--force"]

        def run_import():
            # Each import writes a fresh file, as (b) does: replacing the last
            # one would add the freeing of its blocks to the import's time.
            if os.path.exists(brick_file):
                os.unlink(brick_file)
            t0 = time.perf_counter()
            subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
            return time.perf_counter() - t0

        run_import()
        imported = statistics.median(run_import() for _ in range(a.repeats))
        size = os.path.getsize(brick_file)
        with open(brick_file, "rb") as f:
            data = f.read()
        write_and_sync(bricks, data)  # the first write of a size also allocates
        written = statistics.median(write_and_sync(bricks, data) for _ in range(a.repeats))
        rows.append((storage, size, written, imported))
    os.unlink(brick_file)

    mb = os.path.getsize(a.survey) / 1e6
    print("Importing %s (%.0f MB, in the page cache), median of %d runs" % (a.survey, mb, a.repeats))
    print("%-36s %10s %10s %12s" % ("", "seconds", "MB", "of max(a,b)"))
    print("%-36s %10.3f %10.0f" % ("(a) segyio.tools.cube", peer, mb))
    for storage, size, written, imported in rows:
        print("%-36s %10.3f %10.1f" % ("(b) write + fsync, %d-bit bricks" % storage, written, size / 1e6))
    for storage, size, written, imported in rows:
        print("%-36s %10.3f %10s %11.2fx  (target <= 2x)" % (
            "tolmar import --storage %d" % storage, imported, "", imported / max(peer, written)))


if __name__ == "__main__":
    sys.exit(main())
