#pragma once
// Where textured triangle meshes go: a feature class of 3D surfaces, each
// with the image its texture coordinates refer to.

#include "platform/api.h"

#include <string>
#include <vector>

#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

class ITexturedMeshWriter {
public:
    virtual ~ITexturedMeshWriter() = default;
    ITexturedMeshWriter(ITexturedMeshWriter const&) = delete;
    ITexturedMeshWriter& operator=(ITexturedMeshWriter const&) = delete;

    // One mesh as a new feature: vertices relative to `origin`, three
    // indices a triangle, a texture coordinate a vertex, and the texture's
    // image file. False, with the reason logged, when it cannot be stored.
    virtual bool add(vec<double, 3> const& origin, std::vector<int> const& indices,
                     std::vector<vec<float, 3>> const& vertices, std::vector<vec<float, 2>> const& tex_coords,
                     std::wstring const& image) = 0;

protected:
    ITexturedMeshWriter() = default;
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
