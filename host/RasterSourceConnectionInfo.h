#pragma once
// Where a streamed raster comes from, in the form the tile reader opens it
// again after every pause: a file in a folder, a raster in a local database
// (a GeoPackage), one in an enterprise database, or a workspace's
// connection properties and a dataset name. The spatial reference is the
// view's: the raster is read reprojected into it.
//
// Opening goes through the process's raster source opener, which the host
// module installs (host/gdal_raster_dataset.h); the drawing code that
// carries these records needs no GDAL.

#include "platform/api.h"

#include <functional>
#include <string>

#include "foundation/vec.h"
#include "host/IRasterDataset.h"
#include "host/ISpatialReference.h"
#include "host/WorkspaceType.h"
#include "platform/update_sink.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

struct RasterSourceConnectionInfo {
    enum Kind { FILE = 0, GDB = 1, SDE = 2 };

    // Not empty: open through these properties and connection_name.
    std::wstring connection_properties;
    std::wstring connection_name;
    WorkspaceType workspace_type = WorkspaceType::FileSystem;
    int kind = FILE;
    std::wstring file_path, file_name;
    std::wstring gdb_path, gdb_name;
    std::wstring sde_server, sde_instance, sde_database, sde_user, sde_password, sde_version, sde_dataset_name;
    // WKT of the view's system; empty: the raster's own.
    std::wstring spatial_reference;
    // The band of each channel (red, green, blue, alpha), -1 for none; a
    // single band is bands[0] with the others -1.
    vec<int, 4> bands{{0, -1, -1, -1}};
    // Posted after each tile read; 0 posts nothing.
    platform::UpdateHandle window = 0;

    void set_file_datasource(std::wstring const& path, std::wstring const& name, SpatialReferencePtr const& srs,
                             vec<int, 4> const& band_numbers);
    void set_gdb_datasource(std::wstring const& path, std::wstring const& name, SpatialReferencePtr const& srs,
                            vec<int, 4> const& band_numbers);
    void set_sde_datasource(std::wstring const& server, std::wstring const& instance, std::wstring const& database,
                            std::wstring const& user, std::wstring const& password, std::wstring const& version,
                            std::wstring const& name, SpatialReferencePtr const& srs, vec<int, 4> const& band_numbers);
    void set_connection_props_datasource(WorkspaceType type, std::wstring const& properties, std::wstring const& name,
                                         SpatialReferencePtr const& srs, vec<int, 4> const& band_numbers);
    bool is_single_band() const { return bands[1] == -1 && bands[2] == -1 && bands[3] == -1; }
};

// Opens the raster a record names, reprojected into its spatial reference.
// Null, with the reason, when it cannot be opened.
using RasterSourceOpener = std::function<RasterDatasetPtr(RasterSourceConnectionInfo const&, std::string* why)>;

// The process-wide opener; until one is installed every open fails with
// "no raster host is loaded".
void set_raster_source_opener(RasterSourceOpener opener);
RasterDatasetPtr open_raster_source(RasterSourceConnectionInfo const& info, std::string* why = nullptr);

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
