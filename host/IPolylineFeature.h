#pragma once
// A line feature that a tool writes as the user works: each store replaces
// its vertices, so the stored feature always holds the latest state.

#include "platform/api.h"

#include <vector>

#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

class IPolylineFeature {
public:
    virtual ~IPolylineFeature() = default;
    IPolylineFeature(IPolylineFeature const&) = delete;
    IPolylineFeature& operator=(IPolylineFeature const&) = delete;

    // Replaces the vertices (x, y, z) and stores the feature. False, with
    // the reason in the debug log, when the host refuses; the feature then
    // keeps what it held.
    virtual bool store(std::vector<vec<double, 3>> const& vertices) = 0;

protected:
    IPolylineFeature() = default;
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
