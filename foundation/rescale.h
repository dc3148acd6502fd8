#pragma once
// Mapping amplitudes onto a storage kind that cannot hold them as they are:
// linear, zero stays zero, and no other value lands near it.

#include "platform/api.h"

#include <cmath>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// With m the largest absolute amplitude, scale = (high - low) / (2 m).
inline double rescale_factor(double low, double high, double m) { return (high - low) / (2.0 * m); }

// A value within 1e-6 of zero stays; any other v becomes
// w = (v + m) * scale + low, then: below low -> low; in (-1, 0] -> -1;
// in [0, 1) -> 1; above high -> high.
inline double rescale_amplitude(double v, double m, double scale, double low, double high)
{
    if (v > -1e-6 && v < 1e-6) return v;
    double w = (v + m) * scale + low;
    if (w < low) w = low;
    if (w > -1.0 && w <= 0.0) w = -1.0;
    if (w >= 0.0 && w < 1.0) w = 1.0;
    if (w > high) w = high;
    return w;
}

// The whole number nearest to v, halves away from zero: how a mapped
// amplitude range is reported.
inline double round_half_away(double v) { return v < 0.0 ? std::trunc(v - 0.5) : std::trunc(v + 0.5); }

} // namespace Tolmar

TOLMAR_PUBLIC_END
