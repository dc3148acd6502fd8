#pragma once
// Axis-aligned box held as its lower and upper corner.

#include "foundation/vec.h"

namespace Tolmar {

template <typename T, int N>
struct box {
    vec<T, N> lower;
    vec<T, N> upper;

    box() = default;
    box(vec<T, N> const& lo, vec<T, N> const& hi) : lower(lo), upper(hi) {}
};

} // namespace Tolmar
