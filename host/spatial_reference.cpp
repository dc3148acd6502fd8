#include "host/ISpatialReference.h"

namespace Tolmar::host {

namespace {

class UnknownSpatialReference final : public ISpatialReference {
public:
    bool is_unknown() const override { return true; }
    std::string name() const override { return "Unknown"; }
    std::string wkt() const override { return {}; }
    bool is_same(ISpatialReference const& other) const override { return other.is_unknown(); }
    long project(ISpatialReference const&, std::vector<vec<double, 2>>&) const override { return 0; }
};

} // namespace

SpatialReferencePtr unknown_spatial_reference() { return std::make_shared<UnknownSpatialReference>(); }

bool same_spatial_reference(SpatialReferencePtr const& a, SpatialReferencePtr const& b)
{
    if (a == b) return true;
    if (!a || !b) return (a ? a : b)->is_unknown();
    return a->is_same(*b);
}

} // namespace Tolmar::host
