#include "foundation/survey_checks.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>

namespace Tolmar {

namespace {

std::string number(double v)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", v);
    return text;
}

} // namespace

long long sample_count(double zStart, double zStop, double zStep)
{
    return static_cast<long long>(std::trunc((zStop - zStart) / zStep + 1.5));
}

std::string line_range_problem(char const* axis, int start, int stop, int step)
{
    std::string const a = axis;
    if (step < 1) return "the " + a + " step is " + std::to_string(step) + " (at least 1)";
    if (start > stop)
        return "the " + a + " start " + std::to_string(start) + " is above its stop " + std::to_string(stop);
    // Line numbers are ints and so is their count; the span must be one too.
    if (static_cast<long long>(stop) - start > INT_MAX)
        return "the " + a + " range " + std::to_string(start) + ".." + std::to_string(stop) + " spans more than " +
               std::to_string(INT_MAX) + " lines";
    return {};
}

std::string z_range_problem(double zStart, double zStop, double zStep)
{
    if (!std::isfinite(zStart) || !std::isfinite(zStop) || !std::isfinite(zStep))
        return "the z range " + number(zStart) + ".." + number(zStop) + " step " + number(zStep) + " is not finite";
    if (!(zStep > 0.0)) return "the z step is " + number(zStep) + " (above 0)";
    if (zStart > zStop) return "the z start " + number(zStart) + " is above its stop " + number(zStop);
    if ((zStop - zStart) / zStep >= static_cast<double>(kMaxSurveySamples))
        return "the z range " + number(zStart) + ".." + number(zStop) + " step " + number(zStep) + " holds more than " +
               std::to_string(kMaxSurveySamples) + " samples";
    return {};
}

std::string survey_problem(vec<int, 3> const& inlines, vec<int, 3> const& crosslines, double zStart, double zStop,
                           double zStep)
{
    std::string why = line_range_problem("inline", inlines);
    if (why.empty()) why = line_range_problem("crossline", crosslines);
    if (why.empty()) why = z_range_problem(zStart, zStop, zStep);
    if (!why.empty()) return why;
    long long const ni = line_count(inlines[0], inlines[1], inlines[2]);
    long long const nc = line_count(crosslines[0], crosslines[1], crosslines[2]);
    long long const nt = sample_count(zStart, zStop, zStep);
    // Each factor is below 2^32, so no product overflows.
    if (ni * nc > kMaxSliceElements || std::max(ni, nc) * nt > kMaxSliceElements)
        return "the survey of " + std::to_string(ni) + " inlines, " + std::to_string(nc) + " crosslines and " +
               std::to_string(nt) + " samples has slices of more than " + std::to_string(kMaxSliceElements) +
               " samples";
    return {};
}

bool grid_absurd(long long cells, long long traces)
{
    return cells > 1'000'000 && cells / 100 > std::max(traces, 0LL);
}

} // namespace Tolmar
