#pragma once
// Axis-aligned box held as its lower and upper corner.

#include "platform/api.h"
#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

template <typename T, int N>
struct box {
    vec<T, N> lower;
    vec<T, N> upper;

    box() = default;
    box(vec<T, N> const& lo, vec<T, N> const& hi) : lower(lo), upper(hi) {}
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
