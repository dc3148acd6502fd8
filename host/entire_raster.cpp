#include "host/entire_raster.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "foundation/log.h"

namespace Tolmar::host {

namespace {

template <class Grid>
void place(IRasterDataset const& dataset, int width, int height, Grid& grid)
{
    auto const e = dataset.extent();
    grid.xmin = e.lower[0];
    grid.ymin = e.lower[1];
    grid.xmax = e.upper[0];
    grid.ymax = e.upper[1];
    grid.width = width;
    grid.height = height;
    Util::log(L"xmin", grid.xmin);
    Util::log(L"xmax", grid.xmax);
    Util::log(L"ymin", grid.ymin);
    Util::log(L"ymax", grid.ymax);
}

bool read_whole(IRasterDataset& dataset, int band, int width, int height, PixelBlock& block)
{
    std::string why;
    if (dataset.read(band, width, height, 0, 0, width, height, block, &why)) return true;
    Util::logf("read of band %d failed: %s\n", band, why.c_str());
    return false;
}

} // namespace

void reduce_raster_size(int limit, int& width, int& height)
{
    Util::logf("reduce_raster_size: original width(%d) height(%d)\n", width, height);
    // At the limit too, as the host has always halved: 4097 x 100 gives 1024 x 25.
    while (std::max(width, height) >= limit) {
        width /= 2;
        height /= 2;
    }
    Util::logf("reduce_raster_size: setting width(%d) height(%d)\n", width, height);
}

bool read_raster_band(IRasterDataset& dataset, int band, int width, int height, GridSingleFloat& grid)
{
    PixelBlock block;
    if (!read_whole(dataset, band, width, height, block)) return false;
    place(dataset, width, height, grid);
    auto const nodata = dataset.nodata(band);
    if (!nodata) Util::logc("No noData in raster!");
    grid.nodata = nodata ? static_cast<float>(*nodata) : 100000.0f;
    grid.values = std::move(block.values);
    if (block.masked) {
        grid.nodata = FLT_MAX;
        std::size_t undefined = 0;
        for (std::size_t i = 0; i < grid.values.size(); ++i)
            if (!block.valid[i]) {
                grid.values[i] = FLT_MAX;
                ++undefined;
            }
        Util::log(L"noDefined", static_cast<long long>(grid.values.size() - undefined));
        Util::log(L"noUndefined", static_cast<long long>(undefined));
    }
    return true;
}

bool read_raster_bands(IRasterDataset& dataset, vec<int, 4> const& bands, int width, int height, GridRGBA& image)
{
    Util::logc("read_raster_bands: RGBA");
    std::size_t const count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    std::vector<vec<unsigned char, 4>> rgba(count, vec<unsigned char, 4>{{0, 0, 0, 255}});
    PixelBlock block;
    for (int channel = 0; channel < 4; ++channel) {
        if (bands[channel] == -1) {
            Util::logf("band_nr(%d) ignored\n", bands[channel]);
            continue;
        }
        if (!read_whole(dataset, bands[channel], width, height, block)) return false;
        for (std::size_t i = 0; i < count; ++i) {
            float const v = block.values[i];
            rgba[i][channel] = static_cast<unsigned char>(std::isnan(v) ? 0 : std::lround(std::clamp(v, 0.0f, 255.0f)));
        }
        for (std::size_t i = 0; i < count; ++i)
            if (!block.valid[i]) rgba[i][3] = 0;
    }
    place(dataset, width, height, image);
    image.rgba = std::move(rgba);
    return true;
}

RasterDatasetPtr entire_raster_view(RasterDatasetPtr const& dataset, SpatialReferencePtr const& spatial_reference,
                                    int& width, int& height)
{
    std::string why;
    RasterDatasetPtr const view = dataset->reprojected(spatial_reference, &why);
    if (!view) {
        Util::logf("the raster cannot be reprojected: %s\n", why.c_str());
        return nullptr;
    }
    width = view->width();
    height = view->height();
    reduce_raster_size(kEntireRasterLimit, width, height);
    // A raster far longer than wide would halve to nothing across.
    width = std::max(width, 1);
    height = std::max(height, 1);
    return view;
}

bool getEntireRasterData(RasterDatasetPtr const& dataset, SpatialReferencePtr const& spatial_reference,
                         vec<int, 4> const& bands, Raster& raster)
{
    Util::logc("getRaster()");
    if (!dataset) {
        Util::logc("No raster in raster layer.");
        return false;
    }
    int width = 0, height = 0;
    RasterDatasetPtr const view = entire_raster_view(dataset, spatial_reference, width, height);
    if (!view) return false;
    if (bands[1] == -1 && bands[2] == -1 && bands[3] == -1) {
        if (read_raster_band(*view, bands[0], width, height, raster.drape)) return true;
        Util::logf("Unable to read raster band %d\n", bands[0]);
        return false;
    }
    if (read_raster_bands(*view, bands, width, height, raster.image)) return true;
    Util::logf("Unable to read rgb raster bands %d %d %d %d\n", bands[0], bands[1], bands[2], bands[3]);
    return false;
}

} // namespace Tolmar::host
