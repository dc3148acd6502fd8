"""The peer: segyio reading a whole survey with segyio.tools.cube.

usage: segyio_cube.py FILE REPEATS
Prints one line: best and median seconds over REPEATS runs.
"""
import statistics
import sys
import time

import segyio

path, repeats = sys.argv[1], int(sys.argv[2])
times = []
for _ in range(repeats):
    t0 = time.perf_counter()
    cube = segyio.tools.cube(path)
    times.append(time.perf_counter() - t0)
    assert cube.size > 0
print("%.6f %.6f" % (min(times), statistics.median(times)))
