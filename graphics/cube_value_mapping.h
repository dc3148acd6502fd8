#pragma once
// How a cube's values are stored in the half-float texels of the GPU brick
// pool, and how the cube shader gets them back:
//   stored = (v - translate) * scale,   v = stored / scale + translate.
// The pool applies it to float cubes when uploading; the renderer hands the
// same two numbers to the shader for every cube.

#include "foundation/Streamer3DGridBase.h"

namespace Tolmar {

struct CubeValueMapping {
    double scale = 1.0;
    double translate = 0.0;
};

// Integer cubes keep their values: GL normalises them on upload and the
// renderer scales the amplitude range to match, so they need no mapping.
// A float cube is centred on the middle of its value range and scaled to
// -1 to 1, where a half float keeps its full relative precision: raw
// amplitudes of 1e5 would overflow it and amplitudes of 1e-6 sink into its
// denormals. A float cube without a usable range (empty, not finite, or the
// limits of float itself) keeps its values.
CubeValueMapping cube_value_mapping(Streamer3DGridBase const& grid);

} // namespace Tolmar
