#pragma once
// A grid of floats for bilinear resampling, used to enlarge slice images.

#include "platform/api.h"

#include <cstddef>
#include <vector>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

struct InterpolationArray {
    int width = 0;
    int height = 0;
    std::vector<float> values; // width * height entries, row by row

    InterpolationArray() = default;
    // A grid of zeros; a negative size throws std::runtime_error.
    InterpolationArray(int w, int h);

    float& operator()(int x, int y) { return values[static_cast<std::size_t>(y) * width + x]; }
    float const& operator()(int x, int y) const { return values[static_cast<std::size_t>(y) * width + x]; }

    // Takes a row-by-row grid. Throws std::runtime_error when data does not
    // hold exactly w * h values or a size is negative.
    void fromVector(const std::vector<float>& data, int w, int h);
    // The values, row by row.
    std::vector<float> toVector() const;
};

// Bilinear resampling of `from` onto `to`, both spanning the unit square
// corner to corner: corner values are kept and a target point between source
// points mixes its four neighbours. to.width and to.height give the target
// size; to.values is resized to match. Both grids need at least 2 points
// each way; a smaller one has no spacing to divide by, and the call then
// leaves `to` untouched.
void interpolate(const InterpolationArray& from, InterpolationArray& to);

} // namespace Tolmar

TOLMAR_PUBLIC_END
