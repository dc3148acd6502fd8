"""Dumps what segyio reads from a SEG-Y file, for comparison by the C++ tests.

usage: segyio_dump.py FILE OUTPREFIX big|little

OUTPREFIX.txt: "bin interval samples format", "text FIRST_LINE", then one
line per trace: tsn inline crossline scalco cdpx cdpy delrt ns.
OUTPREFIX.f32: every sample as little-endian float32, trace after trace.
"""
import sys

import numpy as np
import segyio

path, prefix, endian = sys.argv[1:4]
with segyio.open(path, ignore_geometry=True, endian=endian) as f:
    B = segyio.BinField
    T = segyio.TraceField
    with open(prefix + ".txt", "w") as out:
        out.write("bin %d %d %d\n" % (f.bin[B.Interval], f.bin[B.Samples], f.bin[B.Format]))
        text = f.text[0]
        out.write("text %s\n" % text[:80].decode("ascii", "replace").rstrip())
        for h in f.header:
            out.write("%d %d %d %d %d %d %d %d\n" % (
                h[T.TRACE_SEQUENCE_LINE], h[T.INLINE_3D], h[T.CROSSLINE_3D], h[T.SourceGroupScalar],
                h[T.CDP_X], h[T.CDP_Y], h[T.DelayRecordingTime], h[T.TRACE_SAMPLE_COUNT]))
    f.trace.raw[:].astype("<f4").tofile(prefix + ".f32")
