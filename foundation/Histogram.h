#pragma once
// Percent cuts on an amplitude histogram of equal bins between low and high.
// Counts are taken as spread evenly within their bin, so a cut and the
// effective range it gives invert each other.

#include "platform/api.h"

#include <vector>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class Histogram {
public:
    // The amplitudes below which cutLow percent, and above which cutHigh
    // percent, of the counts lie. An empty histogram gives low and high.
    static void amplitudeScale(std::vector<unsigned long long> const& bins, float low, float high, float cutLow,
                               float cutHigh, float& outLow, float& outHigh);
    // The inverse: the percentages of the counts below effLow and above effHigh.
    static void effectiveAmplitude2PercentCut(std::vector<unsigned long long> const& bins, float low, float high,
                                              float effLow, float effHigh, float& cutLow, float& cutHigh);
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
