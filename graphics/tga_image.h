#pragma once
// Writing pictures as uncompressed 32-bit TGA files, the texture images a
// line's textured export refers to.

#include "platform/api.h"

#include <string>
#include <vector>

#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// Writes width x height RGBA pixels in the order given (the file says rows
// run bottom-up) as blue, green, red, alpha. False, writing nothing, for a
// size below 1 or a pixel count other than width * height, or when the file
// cannot be written; an existing file is replaced only by a complete one.
bool WriteTGAImage(std::wstring path, short width, short height, std::vector<vec<unsigned char, 4>> const& pixels);

} // namespace Tolmar

TOLMAR_PUBLIC_END
