#pragma once
// Colouring amplitudes through a colour table.

#include "platform/api.h"

#include <vector>

#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// For each amplitude, the colour at its linear position between range[0]
// and range[1] (the table split into equal steps), clamped to the table's
// ends. NaN takes the first colour; an empty table gives an empty result.
void scale_and_color_amplitudes(vec<float, 2> const& range, std::vector<vec<unsigned char, 4>> const& colors,
                                std::vector<float> const& amplitudes, std::vector<vec<unsigned char, 4>>& out);

} // namespace Tolmar

TOLMAR_PUBLIC_END
