#pragma once
// Reads a little of everything a valid cube offers, as the tool's slice,
// histogram and trace commands do: the first and last line each way, a time
// slice, a trace and the histogram.

#include <vector>

#include "segy/Seismic3DTraceReader.h"

namespace tolmar_fuzz {

inline void read_cube(Tolmar::Seismic3DTraceReader& cube)
{
    if (!cube.valid()) return;
    std::vector<float> out;
    cube.inlslice(cube.inlStart, out);
    cube.inlslice(cube.inlStop, out);
    cube.crlslice(cube.crlStart, out);
    cube.crlslice(cube.crlStop, out);
    cube.timeslice(cube.zStart, out);
    cube.timeslice(cube.zStop, out);
    cube.trace(cube.inlStart, cube.crlStart, cube.zStart, cube.zStop, out);
    cube.traced(cube.inlStart + 0.5 * cube.inlStep, cube.crlStart + 0.5 * cube.crlStep, cube.zStart, cube.zStop, out);
    float low = 0, high = 0;
    std::vector<unsigned long long> bins;
    cube.getHistogram(low, high, bins);
    double bounds[4];
    cube.getBounds(bounds);
}

} // namespace tolmar_fuzz
