#include "segy/SEGYtrace.h"

#include <cfloat>

#include "foundation/sample_decode.h"

namespace Tolmar {

SEGYtrace::SEGYtrace(int tsn, int sp, int inlineX, int crlineY, float utmX, float utmY,
                     double zStart, int nSamples, bool reserve)
    : tsn_(tsn), sP_(sp), inlineX_(inlineX), crlineY_(crlineY), utmX_(utmX), utmY_(utmY),
      zStart_(zStart), nSamples_(nSamples)
{
    if (reserve && nSamples > 0) samples_.reserve(static_cast<std::size_t>(nSamples));
}

float SEGYtrace::sMin() const
{
    if (samples_.empty()) return 0.0f;
    float lo = FLT_MAX, hi = -FLT_MAX;
    update_min_max(samples_.data(), samples_.size(), lo, hi);
    return lo;
}

float SEGYtrace::sMax() const
{
    if (samples_.empty()) return 0.0f;
    float lo = FLT_MAX, hi = FLT_MIN;
    update_min_max(samples_.data(), samples_.size(), lo, hi);
    return hi;
}

} // namespace Tolmar
