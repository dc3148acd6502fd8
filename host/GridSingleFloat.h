#pragma once
// A grid of one value per node over a north-up box, row 0 at ymax.

#include "platform/api.h"

#include <vector>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

struct GridSingleFloat {
    double xmin = 0, xmax = 0, ymin = 0, ymax = 0;
    int width = 0, height = 0;
    std::vector<float> values; // row-major
    float nodata = 0;          // a value exactly equal to it is undefined

    void clear() { *this = GridSingleFloat(); }
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
