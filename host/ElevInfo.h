#pragma once
// Which raster band gives a surface its heights.

#include "platform/api.h"

#include <string>

#include "host/WorkspaceType.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

struct ElevInfo {
    std::wstring connection;   // connection properties as text
    std::wstring dataset_name;
    WorkspaceType workspace_type = WorkspaceType::FileSystem;
    std::wstring band_name;    // empty: the first band
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
