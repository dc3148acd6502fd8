"""Writes a 2D line with segyio, then dumps the samples segyio reads back.

usage: segyio_line.py DESCRIPTION FILE OUT.f32

DESCRIPTION: "samples interval scaler" on the first line, then a line a
trace: "sp x y", x and y as the words are written (the scaler applies to
them). Shot point at byte 197, coordinates at 181 and 185, scaler at 71;
IBM floats, big-endian; trace k's sample j is sin(0.3 j + k) * 100 * (1 + j % 5).
OUT.f32: segyio's samples, trace after trace, little-endian float32.
"""
import sys

import numpy as np
import segyio

desc, path, dump = sys.argv[1:4]
with open(desc) as f:
    ns, dt, scaler = map(int, f.readline().split())
    rows = [list(map(int, line.split())) for line in f if line.strip()]

spec = segyio.spec()
spec.format = 1
spec.samples = list(range(ns))
spec.tracecount = len(rows)
T = segyio.TraceField
j = np.arange(ns)
with segyio.create(path, spec) as f:
    f.bin.update(hdt=dt, hns=ns)
    for k, (sp, x, y) in enumerate(rows):
        f.header[k] = {T.TRACE_SEQUENCE_LINE: k + 1, T.ShotPoint: sp, T.SourceGroupScalar: scaler,
                       T.CDP_X: x, T.CDP_Y: y, T.TRACE_SAMPLE_COUNT: ns, T.TRACE_SAMPLE_INTERVAL: dt}
        f.trace[k] = (np.sin(0.3 * j + k) * 100 * (1 + j % 5)).astype(np.float32)

with segyio.open(path, ignore_geometry=True) as f:
    f.trace.raw[:].astype("<f4").tofile(dump)
