#include "util/Seismic3DInfo.h"

#include <filesystem>

#include "foundation/log.h"
#include "platform/text_encoding.h"

namespace Util {

namespace {

using Tolmar::platform::from_utf8;
using Tolmar::platform::to_utf8;

// std::filesystem converts wide strings through the C locale, which fails on
// non-ASCII text; its native strings are bytes, taken here as UTF-8.
std::filesystem::path native(std::wstring const& text) { return std::filesystem::path(to_utf8(text)); }

} // namespace

bool getSeismic3DInfo(Tolmar::host::IFeature const& feature, Seismic3DInfo& info)
{
    return feature.get_string("Name", info.Name) && feature.get_string("SEGYFile", info.SEGYFile) &&
           feature.get_string("BrickFile", info.BrickFile) && feature.get_string("IndexFile", info.IndexFile);
}

std::wstring convertPathToAbsolutePath(std::wstring const& gdb, std::wstring const& path)
{
    if (gdb.empty() || path.empty()) {
        logf(L"convertPathToAbsolutePath2: empty path (gdb = %ls path = %ls)\n", gdb.c_str(), path.c_str());
        return path;
    }
    std::filesystem::path const relative = native(path);
    if (!relative.is_relative()) {
        logf(L"convertPathToAbsolutePath2: Not relative path: gdb = %ls path = %ls\n", gdb.c_str(), path.c_str());
        return path;
    }
    std::filesystem::path workspace = native(gdb);
    // A .gdb folder named with a trailing separator has an empty last
    // component; the folder itself is what must go.
    while (!workspace.has_filename() && workspace.has_relative_path()) workspace = workspace.parent_path();
    std::wstring const combined = from_utf8((workspace.parent_path() / relative).string());
    logf(L"convertPathToAbsolutePath2: combinedPath = %ls (gdb = %ls path = %ls)\n", combined.c_str(), gdb.c_str(),
         path.c_str());
    return combined;
}

std::string sconvertPathToAbsolutePath(std::wstring const& gdb, std::wstring const& path)
{
    return to_utf8(convertPathToAbsolutePath(gdb, path));
}

} // namespace Util
