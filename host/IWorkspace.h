#pragma once
// A container of feature classes: a GeoPackage file or a file geodatabase
// folder. Opened with host/gdal_workspace.h.

#include "platform/api.h"

#include <memory>
#include <string>
#include <vector>

#include "host/IFeatureClass.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

class IWorkspace {
public:
    virtual ~IWorkspace() = default;
    IWorkspace(IWorkspace const&) = delete;
    IWorkspace& operator=(IWorkspace const&) = delete;

    // As given when opened.
    virtual std::wstring path() const = 0;
    // Tables without a shape are listed too: to this layer they are feature
    // classes whose features have no geometry.
    virtual std::vector<std::string> feature_class_names() const = 0;
    // Null when there is no class of that name.
    virtual std::unique_ptr<IFeatureClass> open_feature_class(std::string const& name) const = 0;

protected:
    IWorkspace() = default;
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
