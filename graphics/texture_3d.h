#pragma once
// The 3D texture steps that the GPU pool, its layout maps and the cube
// renderer share. GL's types are spelt as the plain types they are, so that
// this header needs no GL header.

namespace Tolmar {

// A fresh 3D texture on texture unit `unit` (GL_TEXTURE0 + n) in place of
// `old` (deleted unless ~0u), bound, with `filter` for minifying and
// magnifying and an unpack alignment of 1; answers its name.
unsigned new_texture_3d(unsigned unit, unsigned old, int filter);

// Makes `unit` active with 3D texturing alone enabled on it and binds `texture`.
void bind_texture_3d(unsigned unit, unsigned texture);

} // namespace Tolmar
