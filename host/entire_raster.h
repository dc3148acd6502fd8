#pragma once
// A whole raster read into memory for the single-raster renderer: carried
// into the view's coordinate system and made small enough for one texture
// and one mesh.

#include "platform/api.h"

#include "foundation/vec.h"
#include "host/GridRGBA.h"
#include "host/GridSingleFloat.h"
#include "host/IRasterDataset.h"
#include "host/Raster.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

// A raster read whole is halved until its larger side is below this.
inline constexpr int kEntireRasterLimit = 2048;

// Halves both sides (integer division) while the larger is `limit` or more.
void reduce_raster_size(int limit, int& width, int& height);

// `dataset` as seen in `spatial_reference` (itself when either is
// unknown), with the size at which it is read whole: below 2048 pixels a side,
// at least one. Null, logged, when it cannot be carried there.
RasterDatasetPtr entire_raster_view(RasterDatasetPtr const& dataset, SpatialReferencePtr const& spatial_reference,
                                    int& width, int& height);

// The raster of `dataset` in `spatial_reference` (as it is when either is
// unknown), reduced to below 2048 pixels a side: with bands[1..3] all -1
// band bands[0] into raster.drape, otherwise the bands as red, green, blue
// and alpha into raster.image. False, logged, on failure.
bool getEntireRasterData(RasterDatasetPtr const& dataset, SpatialReferencePtr const& spatial_reference,
                         vec<int, 4> const& bands, Raster& raster);

// One band of `dataset` at width x height into `grid`. Undefined pixels
// hold the largest float, which is then the grid's nodata; without any
// mask the grid's nodata is the band's NoData value, or 100000.
bool read_raster_band(IRasterDataset& dataset, int band, int width, int height, GridSingleFloat& grid);
// Up to four bands into the bytes of `image`; a band of -1 leaves its
// channel 0 (alpha 255). A pixel undefined in any band read is
// transparent.
bool read_raster_bands(IRasterDataset& dataset, vec<int, 4> const& bands, int width, int height, GridRGBA& image);

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
