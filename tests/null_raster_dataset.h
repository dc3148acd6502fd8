#pragma once
// A raster dataset of one 1 x 1 band that holds nothing, for tests that
// need the interface and not the pixels; override what a test looks at.

#include "host/IRasterDataset.h"

namespace tolmar_test {

class NullRasterDataset : public Tolmar::host::IRasterDataset {
public:
    Tolmar::host::WorkspaceType workspace_type() const override { return Tolmar::host::WorkspaceType::FileSystem; }
    std::wstring connection_properties() const override { return L"DATABASE=/d"; }
    std::wstring name() const override { return L"r.tif"; }
    int width() const override { return 1; }
    int height() const override { return 1; }
    int band_count() const override { return 1; }
    std::string band_name(int) const override { return "Band_1"; }
    std::string pixel_type(int) const override { return "Float32"; }
    Tolmar::box<double, 2> extent() const override { return {}; }
    Tolmar::host::SpatialReferencePtr spatial_reference() const override
    {
        return Tolmar::host::unknown_spatial_reference();
    }
    std::optional<double> nodata(int) const override { return std::nullopt; }
    bool warped_north_up() const override { return false; }
    std::vector<Tolmar::vec<unsigned char, 4>> colour_table(int) const override { return {}; }
    bool statistics(int, Tolmar::host::BandStatistics&, std::string*) override { return false; }
    bool read(int, int, int, int, int, int, int, Tolmar::host::PixelBlock&, std::string*) override { return false; }
    Tolmar::host::RasterDatasetPtr reprojected(Tolmar::host::SpatialReferencePtr const&, std::string*) override
    {
        return nullptr;
    }
};

} // namespace tolmar_test
