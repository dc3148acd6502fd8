#pragma once
// The table of shader texts, generated at build time from the files shaders/<id>_<role>.vert, .frag and .geom.

#include <cstddef>

namespace Tolmar {

// The text with this id: `data` points at `size` bytes that live as long as
// the program and carry no terminator. False, outputs untouched, for an id
// the table does not hold.
bool find_shader_text(unsigned id, char const*& data, std::size_t& size);

} // namespace Tolmar
