"""Writes an inline-sorted 3D survey with segyio, for the C++ tests to read.

usage: segyio_write.py FILE FORMAT big|little

6 inlines (10..15) by 8 crosslines (100, 102, ... 114), 75 samples at 2 ms,
delay 40 ms, coordinates in centimetres with scaler -100. Samples cover a wide
range of magnitudes and both signs.
"""
import sys

import numpy as np
import segyio

path, fmt, endian = sys.argv[1], int(sys.argv[2]), sys.argv[3]
ilines = list(range(10, 16))
xlines = list(range(100, 116, 2))
ns = 75

spec = segyio.spec()
spec.format = fmt
spec.sorting = segyio.TraceSortingFormat.INLINE_SORTING
spec.iline = 189
spec.xline = 193
spec.ilines = ilines
spec.xlines = xlines
spec.samples = list(range(0, 2 * ns, 2))
spec.endian = endian

rng = np.random.default_rng(2024)
T = segyio.TraceField
with segyio.create(path, spec) as f:
    f.text[0] = segyio.tools.create_text_header({1: "SEGYIO ORACLE SURVEY", 2: "FORMAT %d %s" % (fmt, endian.upper())})
    f.bin.update(hdt=2000, hns=ns)
    i = 0
    for il in ilines:
        for xl in xlines:
            x = 45000000 + 1250 * il - 700 * xl
            y = 610000000 + 650 * il + 1300 * xl
            f.header[i] = {T.INLINE_3D: il, T.CROSSLINE_3D: xl, T.CDP_X: x, T.CDP_Y: y,
                           T.SourceGroupScalar: -100, T.DelayRecordingTime: 40,
                           T.TRACE_SAMPLE_COUNT: ns, T.TRACE_SAMPLE_INTERVAL: 2000,
                           T.TRACE_SEQUENCE_LINE: i + 1}
            t = np.sin(np.arange(ns) * 0.3 + il - xl) * 10.0 ** rng.uniform(-6, 6, ns)
            t[i % ns] = 0.0
            f.trace[i] = t.astype(np.float32)
            i += 1
