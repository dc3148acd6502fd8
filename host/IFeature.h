#pragma once
// One feature (row) of a feature class, as the host hands it out. A feature
// is a snapshot: it stays readable after its class and workspace are gone.

#include "platform/api.h"

#include <string>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

class IFeature {
public:
    virtual ~IFeature() = default;
    IFeature(IFeature const&) = delete;
    IFeature& operator=(IFeature const&) = delete;

    // The id of the feature in its class; -1 where the class has none.
    virtual long long fid() const = 0;
    // The field's value as text; a field of another type in its usual text
    // form. False, with `out` left alone, when the class has no such field or
    // the value is null. Field names are matched as the host matches them
    // (OGR: ignoring case).
    virtual bool get_string(std::string const& field, std::wstring& out) const = 0;
    // The workspace (GeoPackage file, .gdb folder) holding the feature, as it
    // was named when opened: stored relative paths are resolved against it.
    virtual std::wstring workspace_path() const = 0;

protected:
    IFeature() = default;
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
