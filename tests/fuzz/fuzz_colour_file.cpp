// The colour-file parser on any bytes, and every file it accepts laid on a
// colour table, as `tolmar raster info --colour-file` does.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz_input.h"
#include "host/colour_file.h"
#include "host/raster_renderer_properties.h"

namespace {

// One band and nothing else: the tables depend only on the symbology.
class OneBand final : public Tolmar::host::IRasterDataset {
public:
    Tolmar::host::WorkspaceType workspace_type() const override { return {}; }
    std::wstring connection_properties() const override { return {}; }
    std::wstring name() const override { return {}; }
    int width() const override { return 1; }
    int height() const override { return 1; }
    int band_count() const override { return 1; }
    std::string band_name(int) const override { return {}; }
    std::string pixel_type(int) const override { return {}; }
    Tolmar::box<double, 2> extent() const override { return {}; }
    Tolmar::host::SpatialReferencePtr spatial_reference() const override { return nullptr; }
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    tolmar_fuzz::quiet();
    Tolmar::host::ColourFile file;
    std::string why;
    if (!Tolmar::host::parse_colour_file(std::string_view(reinterpret_cast<char const*>(data), size), file, &why))
        return 0;
    OneBand band;
    Tolmar::host::RasterRenderProperties props;
    for (double max : {100.0, -1e308, 1e308}) {
        auto symbology = Tolmar::host::symbology_from_colour_file(file, 0, -max, max);
        Tolmar::host::extract_raster_renderer_properties(symbology, band, props);
        std::get<Tolmar::host::ClassifiedRenderer>(symbology.renderer).interpolate = false;
        Tolmar::host::extract_raster_renderer_properties(symbology, band, props);
    }
    return 0;
}
