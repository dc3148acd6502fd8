#pragma once
// The colour table as a 1D texture, as the cube and tile renderers look
// colours up in it. No GL header needed.

#include <vector>

#include "foundation/vec.h"

namespace Tolmar {

// Uploads the table (RGBA bytes, linear filtering, clamped) into `texture`,
// making the texture first when `texture` is `none`. An empty table changes
// nothing. Leaves no 1D texture bound.
void upload_colour_texture(unsigned& texture, unsigned none, std::vector<vec<unsigned char, 4>> const& table);

} // namespace Tolmar
