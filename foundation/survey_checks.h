#pragma once
// The sense checks that every description of a survey passes before it is
// used, whether it was scanned, read from an index file or from a brick
// file. A checksum only proves that a file is the one that was written;
// these prove that what was written can describe a survey: line ranges
// whose counts fit an int, a finite and rising z axis, and grids whose cells
// stand in proportion to the traces that fill them.

#include "platform/api.h"

#include <string>

#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// Slices of a cube are made whole in memory: no two axes of a cube may
// multiply to more elements than this (2 GiB of floats).
constexpr long long kMaxSliceElements = 1LL << 29;
// Samples along z; SEG-Y counts them in 16 bits, windows and delays stretch that.
constexpr long long kMaxSurveySamples = 1LL << 20;

// Lines of a range whose step is at least 1 and whose start is not above
// its stop.
inline long long line_count(int start, int stop, int step)
{
    return (static_cast<long long>(stop) - start) / step + 1;
}

// Samples from zStart to zStop at zStep, as the brick writer counts them;
// the z range must have passed z_range_problem.
long long sample_count(double zStart, double zStop, double zStep);

// What is wrong with a line range, in words that name the field ("the
// inline step is 0"), or empty. `axis` is "inline" or "crossline".
std::string line_range_problem(char const* axis, int start, int stop, int step);
inline std::string line_range_problem(char const* axis, vec<int, 3> const& range)
{
    return line_range_problem(axis, range[0], range[1], range[2]);
}
// Likewise for z in milliseconds: finite, the step above 0, the start not
// above the stop, and at most kMaxSurveySamples samples.
std::string z_range_problem(double zStart, double zStop, double zStep);
// Both line ranges and z, and the slices they make (kMaxSliceElements).
std::string survey_problem(vec<int, 3> const& inlines, vec<int, 3> const& crosslines, double zStart, double zStop,
                           double zStep);

// A grid of inline x crossline cells that cannot be the survey of `traces`
// traces: more than a hundred cells a trace and more than a million cells.
// One garbage header number stretches a grid so; the traces do not.
bool grid_absurd(long long cells, long long traces);

} // namespace Tolmar

TOLMAR_PUBLIC_END
