"""Writes a small 3D survey with one quirk of SEG-Y files found in the world,
then reports what segyio reads from it.

usage: segyio_quirks.py CASE FILE OUTPREFIX
       segyio_quirks.py --read big|little FILE OUTPREFIX   (a file written elsewhere)
       segyio_quirks.py --list

The survey is written with segyio; words segyio will not write as asked
(a reel sample count above 32767, a mangled text header) and a cut-short
last trace are patched into the file afterwards. segyio 1.8 writes 8-bit
traces two bytes short, so 8-bit files are written as 16-bit ones and their
samples narrowed after.

OUTPREFIX.json: {"ok": true, "endian", "ilines", "xlines", "samples":
[first, step, count], "traces": [[inline, crossline, x, y], ...] with x and
y scaled by the SEG-Y rule (a scaler of 0 as 1)} or {"ok": false, "error"}.
OUTPREFIX.f32: segyio's samples, trace after trace, little-endian float32.
"""
import json
import math
import os
import struct
import sys

import numpy as np
import segyio

T = segyio.TraceField

BASE = dict(format=5, endian="big", ilines=list(range(100, 104)), xlines=list(range(20, 30, 2)), ns=30, dt=4000,
            delay=0, scaler=-100, angle=30.0, shear=90.0, trace_ns=None, time_scalar=0, reel_ns=None,
            text=None, cut=0, ext_headers=0)

CASES = {
    # Trace headers without a sample count, as segyio leaves them unless told.
    "trace_ns_zero": dict(trace_ns=0),
    # A crop of a longer survey: the trace headers keep the old count.
    "trace_ns_stale": dict(trace_ns=462),
    "scaler_zero": dict(scaler=0, angle=0.0),
    "scaler_2": dict(scaler=2, angle=-65.0),
    "scaler_7": dict(scaler=7, angle=37.0),
    "scaler_21": dict(scaler=21, angle=233.0),
    # The recording delay with a time scaler that segyio, like most readers, leaves alone.
    "delay_scaled": dict(delay=400, time_scalar=10),
    "text_junk": dict(text=bytes(range(256)) * 12 + bytes(range(128))),
    "be_ibm": dict(format=1),
    "le_ibm": dict(format=1, endian="little"),
    "le_int32": dict(format=2, endian="little"),
    "le_int16": dict(format=3, endian="little"),
    "le_ieee": dict(format=5, endian="little"),
    "le_int8": dict(format=8, endian="little"),
    "be_int8": dict(format=8),
    "be_int16": dict(format=3),
    "one_inline": dict(ilines=[7]),
    "one_crossline": dict(xlines=[300]),
    "one_trace": dict(ilines=[7], xlines=[300]),
    "no_traces": dict(ilines=[], xlines=[]),
    "cut_short": dict(cut=10),
    "reel_ns_40000": dict(format=8, ilines=[1, 2], xlines=[5], ns=40000, reel_ns=40000),
    # Two extended text headers between the reel header and the first trace.
    "extended_text": dict(ext_headers=2),
    # Crosslines at 60 degrees to the inlines: no orthogonal grid fits.
    "sheared": dict(shear=60.0),
}


def amplitudes(c, il, xl):
    k = np.arange(c["ns"])
    fmt = c["format"]
    if fmt == 8:
        a = ((il * 7 + xl * 3 + k * 5) % 256 - 128).astype(np.float64)
        a[0] = -128 if (il + xl) % 2 else 127  # the whole range, both ends
        return a
    if fmt == 3:
        return ((il * 701 + xl * 301 + k * 2053) % 65535 - 32767).astype(np.float64)
    if fmt == 2:
        return ((il * 70001 + xl * 3001 + k * 205307) % 2000001 - 1000000).astype(np.float64)
    return np.sin(k * 0.37 + il * 0.5 - xl * 0.25) * 1000.0 * (1 + (k % 7))


def multiplier(s):
    return 1.0 / -s if s < 0 else (1.0 if s == 0 else float(s))


def position(c, il, xl):
    """Map coordinates of a trace: 25 m between inlines, 12.5 m between
    crosslines, the inline axis turned by angle, the crossline axis shear
    degrees further."""
    a = math.radians(c["angle"])
    b = math.radians(c["angle"] + c["shear"])
    i, j = il - 100, xl - 20
    return (600000.0 + 25.0 * i * math.cos(a) + 12.5 * j * math.cos(b),
            6700000.0 + 25.0 * i * math.sin(a) + 12.5 * j * math.sin(b))


def write(c, path):
    narrow = c["format"] == 8
    spec = segyio.spec()
    spec.format = 3 if narrow else c["format"]
    spec.sorting = segyio.TraceSortingFormat.INLINE_SORTING
    spec.iline, spec.xline = 189, 193
    spec.ilines = c["ilines"] or [1]
    spec.xlines = c["xlines"] or [1]
    spec.samples = list(range(c["ns"]))
    spec.endian = c["endian"]
    spec.ext_headers = c["ext_headers"]
    dtype = {1: np.float32, 5: np.float32, 2: np.int32, 3: np.int16, 8: np.int16}[c["format"]]
    mul = multiplier(c["scaler"])
    with segyio.create(path, spec) as f:
        f.text[0] = segyio.tools.create_text_header({1: "QUIRK SURVEY"})
        f.bin.update(hdt=c["dt"], hns=c["ns"] if c["ns"] < 32768 else 0)
        i = 0
        for il in c["ilines"]:
            for xl in c["xlines"]:
                x, y = position(c, il, xl)
                ns = c["ns"] if c["trace_ns"] is None else c["trace_ns"]
                f.header[i] = {T.INLINE_3D: il, T.CROSSLINE_3D: xl, T.CDP_X: int(round(x / mul)),
                               T.CDP_Y: int(round(y / mul)), T.SourceGroupScalar: c["scaler"],
                               T.DelayRecordingTime: c["delay"], T.ScalarTraceHeader: c["time_scalar"],
                               T.TRACE_SAMPLE_COUNT: ns & 0xFFFF, T.TRACE_SAMPLE_INTERVAL: c["dt"],
                               T.TRACE_SEQUENCE_LINE: i + 1}
                f.trace[i] = amplitudes(c, il, xl).astype(dtype)
                i += 1
    if narrow:
        narrow_samples(path, c)
    size = os.path.getsize(path)
    with open(path, "r+b") as f:
        if c["text"] is not None:
            f.write(c["text"][:3200])
        if c["reel_ns"] is not None:
            f.seek(3220)
            f.write(struct.pack(">H" if c["endian"] == "big" else "<H", c["reel_ns"]))
        if not c["ilines"]:
            f.truncate(3600)
        elif c["cut"]:
            f.truncate(size - c["cut"])


def narrow_samples(path, c):
    order = ">" if c["endian"] == "big" else "<"
    with open(path, "rb") as f:
        data = f.read()
    out = bytearray(data[:3600])
    struct.pack_into(order + "h", out, 3224, 8)
    length = 240 + 2 * c["ns"]
    for at in range(3600, len(data), length):
        out += data[at:at + 240]
        out += np.frombuffer(data[at + 240:at + length], dtype=order + "i2").astype("i1").tobytes()
    with open(path, "wb") as f:
        f.write(out)


def read(endian, path, prefix):
    with segyio.open(path, endian=endian) as f:
        traces = []
        for h in f.header:
            mul = multiplier(h[T.SourceGroupScalar])
            traces.append([h[T.INLINE_3D], h[T.CROSSLINE_3D], h[T.CDP_X] * mul, h[T.CDP_Y] * mul])
        samples = f.samples
        out = dict(ok=True, endian=endian, ilines=[int(v) for v in f.ilines], xlines=[int(v) for v in f.xlines],
                   samples=[float(samples[0]), float(samples[1] - samples[0]) if len(samples) > 1 else 0.0,
                            len(samples)],
                   traces=traces)
        f.trace.raw[:].astype("<f4").tofile(prefix + ".f32")
    return out


def main():
    if sys.argv[1] == "--list":
        print(" ".join(CASES))
        return
    if sys.argv[1] == "--read":
        endian, path, prefix = sys.argv[2:5]
        large = False
    else:
        name, path, prefix = sys.argv[1:4]
        c = dict(BASE, **CASES[name])
        write(c, path)
        endian, large = c["endian"], c["ns"] > 32767
    if large:
        # segyio 1.8 reads the reel count as a signed word and aborts on it.
        out = dict(ok=False, error="segyio aborts on a sample count above 32767")
    else:
        try:
            out = read(endian, path, prefix)
        except Exception as e:  # segyio's own refusal is the answer
            out = dict(ok=False, error=str(e))
    with open(prefix + ".json", "w") as f:
        json.dump(out, f)


main()
