#pragma once
// A named collection of features in a workspace. It keeps its workspace's
// data open for as long as it lives, the workspace object itself need not.

#include "platform/api.h"

#include <memory>
#include <string>
#include <vector>

#include "host/IFeature.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

class IFeatureClass {
public:
    virtual ~IFeatureClass() = default;
    IFeatureClass(IFeatureClass const&) = delete;
    IFeatureClass& operator=(IFeatureClass const&) = delete;

    virtual std::string name() const = 0;
    virtual long long feature_count() const = 0;
    // Null when the class has no feature with that id.
    virtual std::unique_ptr<IFeature> feature(long long fid) const = 0;
    // A forward cursor over all features, one per feature class object:
    // lookups by id and other objects of the same class leave it in place.
    // Null past the last feature, until reset().
    virtual std::unique_ptr<IFeature> next() = 0;
    virtual void reset() = 0;
    // Attribute fields in their stored order; the id and shape are not fields.
    virtual std::vector<std::string> field_names() const = 0;

protected:
    IFeatureClass() = default;
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
