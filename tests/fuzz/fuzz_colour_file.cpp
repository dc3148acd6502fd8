// The colour-file parser on any bytes, and every file it accepts laid on a
// colour table, as `tolmar raster info --colour-file` does.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz_input.h"
#include "host/colour_file.h"
#include "host/raster_renderer_properties.h"
#include "tests/null_raster_dataset.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    tolmar_fuzz::quiet();
    Tolmar::host::ColourFile file;
    std::string why;
    if (!Tolmar::host::parse_colour_file(std::string_view(reinterpret_cast<char const*>(data), size), file, &why))
        return 0;
    tolmar_test::NullRasterDataset band; // the tables depend only on the symbology
    Tolmar::host::RasterRenderProperties props;
    for (double max : {100.0, -1e308, 1e308}) {
        auto symbology = Tolmar::host::symbology_from_colour_file(file, 0, -max, max);
        Tolmar::host::extract_raster_renderer_properties(symbology, band, props);
        std::get<Tolmar::host::ClassifiedRenderer>(symbology.renderer).interpolate = false;
        Tolmar::host::extract_raster_renderer_properties(symbology, band, props);
    }
    return 0;
}
