#pragma once
// What the cube and tile renderers share in GL: the state they draw slices
// in, and the colour table as a 1D texture. No GL header needed.

#include <vector>

#include "foundation/vec.h"

namespace Tolmar {

// Pushes every attribute, then: no blending, lighting, culling or texture
// coordinate generation; depth testing on. glPopAttrib() restores.
void push_slice_draw_state();

// Uploads the table (RGBA bytes, linear filtering, clamped) into `texture`,
// making the texture first when `texture` is `none`. An empty table changes
// nothing. Leaves no 1D texture bound.
void upload_colour_texture(unsigned& texture, unsigned none, std::vector<vec<unsigned char, 4>> const& table);

} // namespace Tolmar
