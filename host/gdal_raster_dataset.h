#pragma once
// Raster datasets read through GDAL: a GeoTIFF or any other file GDAL
// reads, in a folder workspace; a raster table of a GeoPackage. GDAL stays
// behind this header.

#include "platform/api.h"

#include <string>

#include "host/ElevInfo.h"
#include "host/IRasterDataset.h"
#include "host/Raster.h"
#include "host/RasterSourceConnectionInfo.h"
#include "host/WorkspaceType.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

// By connection: the workspace's kind, its connection properties as text
// (PropertySet; "DATABASE" names the folder or the GeoPackage) and the
// dataset's name in it (a file name in a folder, a table in a GeoPackage;
// empty when DATABASE names the raster itself). Null, with the reason.
RasterDatasetPtr open_raster_dataset(WorkspaceType type, std::wstring const& connection, std::wstring const& name,
                                     std::string* why = nullptr);
// By path: any file or GDAL path holding one raster; a GeoPackage of
// several rasters as "FILE.gpkg:TABLE". The dataset's connection opens
// it again.
RasterDatasetPtr open_raster_dataset(std::string const& path, std::string* why = nullptr);

// A whole raster by path, in `spatial_reference`, below 2048 pixels a
// side: the first three or four bands as an image, or the first band as a
// value grid. False, logged, when it cannot be opened or read.
bool getRaster(std::wstring const& path, SpatialReferencePtr const& spatial_reference, Raster& raster);
// The heights of a surface into raster.elevation, likewise.
bool getEntireElevationRasterData(ElevInfo const& info, SpatialReferencePtr const& spatial_reference,
                                  Raster& raster);

// The raster a tile reader's source record names, reprojected into the
// record's spatial reference when it has one: the process's raster source
// opener on GDAL. A FILE is a file in a folder, a GDB a table of a
// GeoPackage; enterprise databases are refused. Null, with the reason.
RasterDatasetPtr open_raster_source_gdal(RasterSourceConnectionInfo const& info, std::string* why = nullptr);

} // namespace Tolmar::host

// open_raster_dataset by path, by a name that a program finds with dlsym
// after loading the library on demand; false with `why` filled.
extern "C" bool tolmar_open_raster_dataset(char const* path, Tolmar::host::RasterDatasetPtr* out, std::string* why);
// Installs open_raster_source_gdal as the process's raster source opener
// (set_raster_source_opener), for a program that loads this library on
// demand and has tile readers to open.
extern "C" bool tolmar_install_raster_source_opener();

TOLMAR_PUBLIC_END
