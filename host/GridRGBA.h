#pragma once
// An image over a north-up box, row 0 at ymax.

#include "platform/api.h"

#include <vector>

#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

struct GridRGBA {
    double xmin = 0, xmax = 0, ymin = 0, ymax = 0;
    int width = 0, height = 0;
    std::vector<vec<unsigned char, 4>> rgba; // row-major

    void clear() { *this = GridRGBA(); }
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
