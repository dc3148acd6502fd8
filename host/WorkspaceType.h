#pragma once
// The kinds of workspace a raster or feature class lives in, numbered as
// the host numbers them, since the numbers are stored with layers.

#include "platform/api.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

enum class WorkspaceType : int {
    FileSystem = 0,     // a folder of files (GeoTIFFs and the like), or any path GDAL opens
    LocalDatabase = 1,  // a GeoPackage or a file geodatabase
    RemoteDatabase = 2, // an enterprise database
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
