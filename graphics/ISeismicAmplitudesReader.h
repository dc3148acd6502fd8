#pragma once
// Where a seismic line's amplitudes come from, trace by trace: the line
// renderer reads them from its raster, tests and tools from anywhere.

#include "platform/api.h"

#include <vector>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class ISeismicAmplitudesReader {
public:
    virtual ~ISeismicAmplitudesReader() = default;
    // Samples first_sample to last_sample of the trace, both included, into
    // `out` (resized to fit); samples beyond the section's ends read as 0.
    virtual void getAmplitudes(int trace, int first_sample, int last_sample, std::vector<float>& out) = 0;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
