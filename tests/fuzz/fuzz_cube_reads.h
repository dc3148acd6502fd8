#pragma once
// Reads a little of everything a valid cube offers, as the tool's slice,
// histogram and trace commands do: the first and last line each way, a time
// slice, a trace and the histogram. Slices of more than a few hundred
// thousand samples are passed over: they run the same code as small ones,
// only slowly under the sanitizers, and the fuzzer would spend its time
// there.

#include <algorithm>
#include <vector>

#include "segy/Seismic3DTraceReader.h"

namespace tolmar_fuzz {

inline void read_cube(Tolmar::Seismic3DTraceReader& cube)
{
    if (!cube.valid()) return;
    long long const ni = cube.ninl(), nc = cube.ncrl(), nt = cube.nt();
    if (ni * nc > 200'000 || std::max(ni, nc) * nt > 200'000) return;
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
