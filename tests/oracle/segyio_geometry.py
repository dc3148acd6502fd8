"""Writes a 3D survey on a rotated orthogonal grid with segyio and prints the
geometry segyio reads back from it.

usage: segyio_geometry.py FILE OUT.txt

OUT.txt: "ilines FIRST LAST COUNT", "xlines FIRST LAST COUNT", "samples FIRST
STEP COUNT", then one line per trace: inline crossline x y (map units).
"""
import sys

import numpy as np
import segyio

path, out = sys.argv[1:3]
ilines = list(range(20, 32, 2))
xlines = list(range(300, 315))
ns = 40

spec = segyio.spec()
spec.format = 5
spec.sorting = segyio.TraceSortingFormat.INLINE_SORTING
spec.iline = 189
spec.xline = 193
spec.ilines = ilines
spec.xlines = xlines
spec.samples = list(range(0, 4 * ns, 4))

T = segyio.TraceField
with segyio.create(path, spec) as f:
    f.bin.update(hdt=4000, hns=ns)
    i = 0
    for il in ilines:
        for xl in xlines:
            x = 45000000 + 1200 * il - 500 * xl
            y = 610000000 + 500 * il + 1200 * xl
            f.header[i] = {T.INLINE_3D: il, T.CROSSLINE_3D: xl, T.CDP_X: x, T.CDP_Y: y,
                           T.SourceGroupScalar: -100, T.DelayRecordingTime: 40,
                           T.TRACE_SAMPLE_COUNT: ns, T.TRACE_SAMPLE_INTERVAL: 4000}
            f.trace[i] = np.linspace(-il, xl, ns, dtype=np.float32)
            i += 1

with segyio.open(path) as f, open(out, "w") as o:
    o.write("ilines %d %d %d\n" % (f.ilines[0], f.ilines[-1], len(f.ilines)))
    o.write("xlines %d %d %d\n" % (f.xlines[0], f.xlines[-1], len(f.xlines)))
    o.write("samples %g %g %d\n" % (f.samples[0], f.samples[1] - f.samples[0], len(f.samples)))
    scal = f.attributes(T.SourceGroupScalar)[:]
    mul = np.where(scal < 0, -1.0 / scal, np.where(scal == 0, 1.0, scal))
    cx = f.attributes(T.CDP_X)[:] * mul
    cy = f.attributes(T.CDP_Y)[:] * mul
    for il, xl, x, y in zip(f.attributes(T.INLINE_3D)[:], f.attributes(T.CROSSLINE_3D)[:], cx, cy):
        o.write("%d %d %.3f %.3f\n" % (il, xl, x, y))
