#pragma once
// The colour table of `tolmar slice`'s pictures: the ramp of the cube
// layer's default table (SeismicCubeRenderer::create_default_col_tab_data),
// reaching pure white and pure black at its middle and end.

#include <vector>

#include "foundation/vec.h"

namespace tolmar_cli {

// Red through white to black in 256 steps, low amplitudes red.
inline std::vector<Tolmar::vec<unsigned char, 4>> red_white_black()
{
    std::vector<Tolmar::vec<unsigned char, 4>> table(256);
    for (int i = 0; i < 256; ++i) {
        auto const c = static_cast<unsigned char>(i < 128 ? 255 : 255 - (i - 128) * 255 / 127);
        auto const gb = static_cast<unsigned char>(i < 128 ? i * 255 / 127 : 255 - (i - 128) * 255 / 127);
        table[static_cast<std::size_t>(i)].set(c, gb, gb, 255);
    }
    return table;
}

} // namespace tolmar_cli
