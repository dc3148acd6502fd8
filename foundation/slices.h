#pragma once
// Slices and traces of a brick cube at its finest level. Each call waits
// until the bricks it needs are read, and answers false when the reader is
// missing, the position lies outside the cube or a brick cannot be read.
// Elements that no trace reaches come out as the cube's undefined value.
//
// Layout of `out`, with `size` its two dimensions, the first running fastest:
//   iline:     samples x crosslines   out[c * size[0] + s]
//   crossline: samples x inlines      out[i * size[0] + s]
//   timeslice: inlines x crosslines   out[c * size[0] + i]
// Line numbers and z values are those of the survey (SEGYCubeInfo); windows
// include both ends and are clipped to the cube.

#include "platform/api.h"

#include <memory>
#include <vector>

#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class Streamer3DGridReader;
using GridReaderPtr = std::shared_ptr<Streamer3DGridReader>;

bool iline(GridReaderPtr const& reader, int inl, std::vector<float>& out, vec<int, 2>& size);
bool iline(GridReaderPtr const& reader, int inl, int crlStart, int crlStop, double zStart, double zStop,
           std::vector<float>& out, vec<int, 2>& size);
bool crossline(GridReaderPtr const& reader, int crl, std::vector<float>& out, vec<int, 2>& size);
bool crossline(GridReaderPtr const& reader, int crl, int inlStart, int inlStop, double zStart, double zStop,
               std::vector<float>& out, vec<int, 2>& size);
bool timeslice(GridReaderPtr const& reader, double z, std::vector<float>& out, vec<int, 2>& size);
bool timeslice(GridReaderPtr const& reader, double z, int inlStart, int inlStop, int crlStart, int crlStop,
               std::vector<float>& out, vec<int, 2>& size);
bool trace(GridReaderPtr const& reader, int inl, int crl, double zStart, double zStop, std::vector<float>& out);

} // namespace Tolmar

TOLMAR_PUBLIC_END
