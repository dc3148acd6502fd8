#include "host/gdal_raster_dataset.h"
#include "host/gdal_spatial_reference.h"
#include "host/PropertySet.h"
#include "platform/text_encoding.h"

namespace Tolmar::host {

namespace {

std::wstring folder_connection(std::wstring const& database)
{
    PropertySet properties;
    properties.set("DATABASE", platform::to_utf8(database));
    return platform::from_utf8(properties.to_text());
}

RasterDatasetPtr open_source(RasterSourceConnectionInfo const& info, std::string* why)
{
    if (!info.connection_properties.empty())
        return open_raster_dataset(info.workspace_type, info.connection_properties, info.connection_name, why);
    switch (info.kind) {
    case RasterSourceConnectionInfo::FILE:
        return open_raster_dataset(WorkspaceType::FileSystem, folder_connection(info.file_path), info.file_name, why);
    case RasterSourceConnectionInfo::GDB:
        // A GeoPackage; a file geodatabase (.gdb) gets GDAL's own refusal.
        return open_raster_dataset(WorkspaceType::LocalDatabase, folder_connection(info.gdb_path), info.gdb_name, why);
    case RasterSourceConnectionInfo::SDE:
        if (why) *why = "enterprise database rasters are not supported";
        return nullptr;
    default:
        if (why) *why = "no raster source of kind " + std::to_string(info.kind);
        return nullptr;
    }
}

} // namespace

RasterDatasetPtr open_raster_source_gdal(RasterSourceConnectionInfo const& info, std::string* why)
{
    RasterDatasetPtr dataset = open_source(info, why);
    if (!dataset || info.spatial_reference.empty()) return dataset;
    SpatialReferencePtr const view = spatial_reference_from_text(platform::to_utf8(info.spatial_reference), why);
    if (!view) return nullptr;
    return dataset->reprojected(view, why);
}

} // namespace Tolmar::host

extern "C" bool tolmar_install_raster_source_opener()
{
    Tolmar::host::set_raster_source_opener(&Tolmar::host::open_raster_source_gdal);
    return true;
}
