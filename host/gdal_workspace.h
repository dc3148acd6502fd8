#pragma once
// Workspaces read through GDAL/OGR. GDAL stays behind this header: callers
// need neither its headers nor its registration.

#include "platform/api.h"

#include <memory>
#include <string>

#include "host/IWorkspace.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

// Opens a GeoPackage (.gpkg) or a file geodatabase (.gdb folder) for reading;
// `path` is UTF-8 and may name a GDAL virtual file (/vsizip/...). Null on
// failure, with one sentence naming the path and the problem in `error`
// (cleared on success). Safe to call from several threads.
std::unique_ptr<IWorkspace> open_workspace(std::string const& path, std::string& error);

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
