#pragma once
// Where a seismic cube's files are, as a feature of the host stores them, and
// how the stored paths become paths that can be opened.

#include "platform/api.h"

#include <string>

#include "host/IFeature.h"

TOLMAR_PUBLIC_BEGIN

namespace Util {

struct Seismic3DInfo {
    std::wstring Name, SEGYFile, BrickFile, IndexFile;
};

// Reads the string fields "Name", "SEGYFile", "BrickFile" and "IndexFile", in
// that order. False at the first that is missing or null; the members read
// before it keep their new values.
bool getSeismic3DInfo(Tolmar::host::IFeature const& feature, Seismic3DInfo& info);

// Paths stored in a workspace are relative to the folder that holds the
// workspace: `path` is combined with `gdb` less its last component (the
// GeoPackage file or .gdb folder). An empty argument or an absolute `path`
// gives `path` unchanged. Each call writes one log line.
std::wstring convertPathToAbsolutePath(std::wstring const& gdb, std::wstring const& path);
// The same, in UTF-8.
std::string sconvertPathToAbsolutePath(std::wstring const& gdb, std::wstring const& path);

} // namespace Util

TOLMAR_PUBLIC_END
