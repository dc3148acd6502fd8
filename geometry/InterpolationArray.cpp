#include "geometry/InterpolationArray.h"

#include <stdexcept>

namespace Tolmar {

namespace {

// The source interval holding `pos` on an axis of `count` points spaced
// `step` apart, and the fraction within it. The last point belongs to the
// interval before it, so that the upper neighbour always exists.
void locate(float pos, float step, int count, int& cell, float& frac)
{
    cell = static_cast<int>(pos / step);
    if (cell > count - 2) cell = count - 2;
    if (cell < 0) cell = 0;
    frac = pos / step - static_cast<float>(cell);
}

} // namespace

InterpolationArray::InterpolationArray(int w, int h)
{
    fromVector(std::vector<float>(w > 0 && h > 0 ? static_cast<std::size_t>(w) * h : 0, 0.0f), w, h);
}

void InterpolationArray::fromVector(const std::vector<float>& data, int w, int h)
{
    if (w < 0 || h < 0 || data.size() != static_cast<std::size_t>(w) * static_cast<std::size_t>(h))
        throw std::runtime_error("InterpolationArray::fromVector: size does not match width * height");
    width = w;
    height = h;
    values = data;
}

std::vector<float> InterpolationArray::toVector() const { return values; }

void interpolate(const InterpolationArray& from, InterpolationArray& to)
{
    if (from.width < 2 || from.height < 2 || to.width < 2 || to.height < 2) return;
    to.values.resize(static_cast<std::size_t>(to.width) * static_cast<std::size_t>(to.height));

    float const stepX = 1.0f / static_cast<float>(from.width - 1);
    float const stepY = 1.0f / static_cast<float>(from.height - 1);
    for (int j = 0; j < to.height; ++j) {
        int sy;
        float fy;
        locate(static_cast<float>(j) / static_cast<float>(to.height - 1), stepY, from.height, sy, fy);
        for (int i = 0; i < to.width; ++i) {
            int sx;
            float fx;
            locate(static_cast<float>(i) / static_cast<float>(to.width - 1), stepX, from.width, sx, fx);
            float const lower = (1.0f - fx) * from(sx, sy) + fx * from(sx + 1, sy);
            float const upper = (1.0f - fx) * from(sx, sy + 1) + fx * from(sx + 1, sy + 1);
            to(i, j) = (1.0f - fy) * lower + fy * upper;
        }
    }
}

} // namespace Tolmar
