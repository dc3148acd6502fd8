#include "host/RasterSourceConnectionInfo.h"

#include <mutex>
#include <utility>

#include "platform/text_encoding.h"

namespace Tolmar::host {

namespace {

std::wstring srs_text(SpatialReferencePtr const& srs)
{
    // An unknown system has no WKT: the raster is then read in its own.
    return srs ? platform::from_utf8(srs->wkt()) : std::wstring();
}

// The opener is installed once, when the host module is loaded, and called
// by every reader's streaming thread; the lock covers the rare install.
std::mutex opener_mutex;
RasterSourceOpener& installed_opener()
{
    static RasterSourceOpener opener;
    return opener;
}

} // namespace

void RasterSourceConnectionInfo::set_file_datasource(std::wstring const& path, std::wstring const& name,
                                                     SpatialReferencePtr const& srs, vec<int, 4> const& band_numbers)
{
    kind = FILE;
    file_path = path;
    file_name = name;
    spatial_reference = srs_text(srs);
    bands = band_numbers;
}

void RasterSourceConnectionInfo::set_gdb_datasource(std::wstring const& path, std::wstring const& name,
                                                    SpatialReferencePtr const& srs, vec<int, 4> const& band_numbers)
{
    kind = GDB;
    gdb_path = path;
    gdb_name = name;
    spatial_reference = srs_text(srs);
    bands = band_numbers;
}

void RasterSourceConnectionInfo::set_sde_datasource(std::wstring const& server, std::wstring const& instance,
                                                    std::wstring const& database, std::wstring const& user,
                                                    std::wstring const& password, std::wstring const& version,
                                                    std::wstring const& name, SpatialReferencePtr const& srs,
                                                    vec<int, 4> const& band_numbers)
{
    kind = SDE;
    sde_server = server;
    sde_instance = instance;
    sde_database = database;
    sde_user = user;
    sde_password = password;
    sde_version = version;
    sde_dataset_name = name;
    spatial_reference = srs_text(srs);
    bands = band_numbers;
}

void RasterSourceConnectionInfo::set_connection_props_datasource(WorkspaceType type, std::wstring const& properties,
                                                                 std::wstring const& name,
                                                                 SpatialReferencePtr const& srs,
                                                                 vec<int, 4> const& band_numbers)
{
    // The kind stays: the properties take precedence over it when opening.
    workspace_type = type;
    connection_properties = properties;
    connection_name = name;
    spatial_reference = srs_text(srs);
    bands = band_numbers;
}

void set_raster_source_opener(RasterSourceOpener opener)
{
    std::lock_guard<std::mutex> lock(opener_mutex);
    installed_opener() = std::move(opener);
}

RasterDatasetPtr open_raster_source(RasterSourceConnectionInfo const& info, std::string* why)
{
    RasterSourceOpener opener;
    {
        std::lock_guard<std::mutex> lock(opener_mutex);
        opener = installed_opener();
    }
    if (!opener) {
        if (why) *why = "no raster host is loaded";
        return nullptr;
    }
    return opener(info, why);
}

} // namespace Tolmar::host
