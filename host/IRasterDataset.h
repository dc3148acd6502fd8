#pragma once
// A raster dataset as the host knows it: bands of pixels on a north-up grid
// in a coordinate system. The readers ask it for blocks of the raster
// resampled to a smaller size (a level of a tile pyramid, or a whole raster
// small enough for one texture); the resampling, and the use of the file's
// own overviews, is the host's business.
//
// The implementation on GDAL comes from host/gdal_raster_dataset.h; this
// header needs no GDAL. A dataset is used by one thread at a time.

#include "platform/api.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/box.h"
#include "foundation/vec.h"
#include "host/ISpatialReference.h"
#include "host/WorkspaceType.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

// Pixels of one band, row-major, row 0 at the top.
struct PixelBlock {
    int width = 0, height = 0;
    std::vector<float> values;
    // 1 where `values` holds data; 0 for NoData, masked pixels and pixels
    // past the raster's edge.
    std::vector<std::uint8_t> valid;
    // Whether any pixel could be invalid at all: the band has NoData or a
    // mask, or the block reaches past the edge.
    bool masked = false;
};

struct BandStatistics {
    double min = 0, max = 0, mean = 0, stddev = 0;
};

class IRasterDataset;
using RasterDatasetPtr = std::shared_ptr<IRasterDataset>;

class IRasterDataset {
public:
    virtual ~IRasterDataset() = default;
    IRasterDataset(IRasterDataset const&) = delete;
    IRasterDataset& operator=(IRasterDataset const&) = delete;

    // Where it came from, in the form that opens it again
    // (open_raster_dataset): the workspace's kind, its connection
    // properties as text, and the dataset's name in it.
    virtual WorkspaceType workspace_type() const = 0;
    virtual std::wstring connection_properties() const = 0;
    virtual std::wstring name() const = 0;

    virtual int width() const = 0;
    virtual int height() const = 0;
    virtual int band_count() const = 0;
    // Bands count from 0. The name is the band's description, or "Band_N"
    // (N from 1) where it has none.
    virtual std::string band_name(int band) const = 0;
    // "Byte", "Int16", "Float32" and so on.
    virtual std::string pixel_type(int band) const = 0;
    // xmin, ymin, xmax, ymax in map units; row 0 lies at ymax. A raster
    // without georeferencing spans 0..width, 0..height.
    virtual box<double, 2> extent() const = 0;
    virtual SpatialReferencePtr spatial_reference() const = 0;
    virtual std::optional<double> nodata(int band) const = 0;
    // The file's grid is rotated or runs south up, and is read through a
    // north-up grid over its envelope; pixels outside it are invalid.
    virtual bool warped_north_up() const = 0;
    // The palette of a paletted band, entry i for value i; empty otherwise.
    virtual std::vector<vec<unsigned char, 4>> colour_table(int band) const = 0;
    // The band's statistics, computed from every pixel when the dataset
    // holds none. False, with the reason, when the band has no valid pixel.
    virtual bool statistics(int band, BandStatistics& out, std::string* why = nullptr) = 0;

    // Reads the block of `width` x `height` pixels at column `x`, row `y` of
    // the raster resampled to `resampled_width` x `resampled_height`
    // (nearest neighbour). The block may reach past the resampled raster's
    // edge; those pixels are invalid. False, with the reason, on a bad band
    // or size, or when the read fails.
    virtual bool read(int band, int resampled_width, int resampled_height, int x, int y, int width, int height,
                      PixelBlock& out, std::string* why = nullptr) = 0;

    // The same raster in another coordinate system, on a north-up grid of
    // about the same resolution; this dataset itself when the systems are
    // the same or either is unknown. Null, with the reason, when the
    // raster cannot be carried into `to`.
    virtual RasterDatasetPtr reprojected(SpatialReferencePtr const& to, std::string* why = nullptr) = 0;

protected:
    IRasterDataset() = default;
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
