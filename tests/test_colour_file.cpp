// Colour files in gdaldem's format, and the colour tables that symbologies
// make: classes laid on the table by value, or interpolated between them.

#include <gtest/gtest.h>

#include "host/colour_file.h"
#include "host/colour_ramp.h"
#include "host/raster_renderer_properties.h"
#include "null_raster_dataset.h"

namespace {

using namespace Tolmar;
using namespace Tolmar::host;

TEST(ColourFile, ValuesPercentagesNoDataAndNames)
{
    ColourFile file;
    std::string why;
    ASSERT_TRUE(parse_colour_file("# depth colours\n"
                                  "3500,   0 0 255\n"
                                  "50%\t0:255:0 128  # half transparent\n"
                                  "\r\n"
                                  "-12.5e1 white\n"
                                  "NV 1 2 3 0\n",
                                  file, &why))
        << why;
    ASSERT_EQ(file.entries.size(), 3u);
    EXPECT_EQ(file.entries[0].value, 3500);
    EXPECT_FALSE(file.entries[0].percent);
    EXPECT_EQ(file.entries[0].colour, (Colour{{0, 0, 255, 255}}));
    EXPECT_TRUE(file.entries[1].percent);
    EXPECT_EQ(file.entries[1].value, 50);
    EXPECT_EQ(file.entries[1].colour, (Colour{{0, 255, 0, 128}}));
    EXPECT_EQ(file.entries[2].value, -125);
    EXPECT_EQ(file.entries[2].colour, (Colour{{255, 255, 255, 255}}));
    EXPECT_TRUE(file.has_nodata);
    EXPECT_EQ(file.nodata, (Colour{{1, 2, 3, 0}}));

    // Percentages of the band's range; entries sorted by value.
    RasterSymbology s = symbology_from_colour_file(file, 0, 1000, 2000);
    auto const& classes = std::get<ClassifiedRenderer>(s.renderer).classes;
    ASSERT_EQ(classes.size(), 3u);
    EXPECT_EQ(classes[0].min, -125);
    EXPECT_EQ(classes[1].min, 1500);
    EXPECT_EQ(classes[2].min, 3500);
    EXPECT_EQ(s.display.nodata_colour, (Colour{{1, 2, 3, 0}}));
}

TEST(ColourFile, BadLinesAreNamed)
{
    struct Case {
        char const* text;
        char const* why;
    } const cases[] = {
        {"", "no value has a colour"},
        {"nv 0 0 0\n", "no value has a colour"},
        {"1 2 3 4\n\nx 1 2 3", "line 3: \"x\" is not a value, a percentage or nv"},
        {"10", "line 1: \"10\" has no colour"},
        {"10 1 2", "line 1: a value needs red, green, blue and perhaps alpha after it"},
        {"10 1 2 3 4 5", "line 1: a value needs red, green, blue and perhaps alpha after it"},
        {"10 1 256 3", "line 1: \"256\" is not a colour component from 0 to 255"},
        {"10 1 2.5 3", "line 1: \"2.5\" is not a colour component from 0 to 255"},
        {"10 chartreuse", "line 1: \"chartreuse\" is not a colour name"},
        {"120% 1 2 3", "line 1: \"120%\" is not a percentage from 0 to 100"},
        {"% 1 2 3", "line 1: \"%\" is not a value, a percentage or nv"},
        {"inf 1 2 3", "line 1: \"inf\" is not a value, a percentage or nv"},
        {"1e999 1 2 3", "line 1: \"1e999\" is not a value, a percentage or nv"},
    };
    for (auto const& c : cases) {
        ColourFile file;
        std::string why;
        EXPECT_FALSE(parse_colour_file(c.text, file, &why)) << c.text;
        EXPECT_EQ(why, c.why) << c.text;
    }
    ColourFile file;
    std::string why;
    EXPECT_FALSE(read_colour_file("/no/such/colours.txt", file, &why));
    EXPECT_EQ(why, "/no/such/colours.txt: cannot be opened");
}

// The tables depend only on the symbology, not on the pixels.
using OneBand = tolmar_test::NullRasterDataset;

Colour grey(unsigned char v) { return Colour{{v, v, v, 255}}; }

TEST(ColourFile, InterpolatedBetweenEntriesAsGdaldemDoes)
{
    ColourFile file;
    ASSERT_TRUE(parse_colour_file("0 0 0 0\n100 255 255 255\n50% 100 100 100\nnv 9 9 9 9", file));
    OneBand band;
    RasterRenderProperties props;
    ASSERT_TRUE(extract_raster_renderer_properties(symbology_from_colour_file(file, 0, 0, 100), band, props));
    EXPECT_TRUE(props.interpolate_colors);
    EXPECT_EQ(props.custom_amplitude_range, (vec<double, 2>{{0, 100}}));
    ASSERT_EQ(props.color_table.size(), 1024u);
    EXPECT_EQ(props.color_table[0], grey(0));
    EXPECT_EQ(props.color_table[1023], grey(255));
    // Entry i lies at i / 1023 of the range: 50 is between entries 511 and 512.
    EXPECT_EQ(props.color_table[256][0], 50);
    EXPECT_NEAR(props.color_table[767][0], 100 + 155 * (767 / 1023.0 * 100 - 50) / 50, 1);
    EXPECT_EQ(props.nodata_color, (Colour{{9, 9, 9, 9}}));
    EXPECT_EQ(props.dataset_name, L"r.tif");
}

TEST(ColourFile, ClassesByValueAndColoursSpreadOverTheTable)
{
    OneBand band;
    RasterRenderProperties props;
    RasterSymbology s;
    // Classes 0-10 and 10-30 and a single value at 40: range 0 to 40.
    s.renderer = ClassifiedRenderer{0, {{0, 10, grey(1)}, {10, 30, grey(2)}, {40, 40, grey(3)}}, false};
    s.display.contrast = 50;
    ASSERT_TRUE(extract_raster_renderer_properties(s, band, props));
    EXPECT_FALSE(props.interpolate_colors);
    EXPECT_EQ(props.contrast, 0.5);
    EXPECT_EQ(props.color_table[0], grey(1));
    EXPECT_EQ(props.color_table[255], grey(1));
    EXPECT_EQ(props.color_table[256], grey(2)); // 10 * 1024 / 40
    EXPECT_EQ(props.color_table[768], grey(2)); // 30 * 1024 / 40, the class's maximum
    EXPECT_EQ(props.color_table[900], (Colour{{0, 0, 0, 0}})); // between classes
    EXPECT_EQ(props.color_table[1023], grey(3)); // a single value at the top owns the end

    // A stretch: n colours spread over 1024 entries, the last wrapping round.
    ColourRamp ramp{"two", {{0, grey(10)}, {1, grey(20)}}};
    s.renderer = StretchRenderer{0, ramp, true, true, -3, 3, 0, 1};
    ASSERT_TRUE(extract_raster_renderer_properties(s, band, props));
    EXPECT_EQ(props.custom_amplitude_range, (vec<double, 2>{{-3, 3}}));
    EXPECT_EQ(props.color_table[0], grey(20)); // inverted
    EXPECT_EQ(props.color_table[1022], grey(10));
    EXPECT_EQ(props.color_table[1023], grey(20));

    s.renderer = StretchRenderer{1, ramp, false, false, 0, 0, 0, 0};
    EXPECT_FALSE(extract_raster_renderer_properties(s, band, props)); // no band 1
    s.renderer = ClassifiedRenderer{};
    EXPECT_FALSE(extract_raster_renderer_properties(s, band, props)); // no class
    s.renderer = StretchRenderer{};
    EXPECT_FALSE(extract_raster_renderer_properties(s, band, props)); // a ramp without colours
}

TEST(ColourFile, NamedRamps)
{
    for (auto const& name : colour_ramp_names()) {
        ColourRamp ramp;
        ASSERT_TRUE(named_colour_ramp(name, ramp)) << name;
        auto const table = table_from_ramp(ramp, 5);
        ASSERT_EQ(table.size(), 5u);
        EXPECT_EQ(table.front(), ramp.stops.front().second) << name;
        EXPECT_EQ(table.back(), ramp.stops.back().second) << name;
    }
    ColourRamp ramp;
    ASSERT_TRUE(named_colour_ramp("blue-white-red", ramp));
    EXPECT_EQ(table_from_ramp(ramp, 3)[1], grey(255));
    EXPECT_EQ(table_from_ramp(ramp, 5)[1], (Colour{{128, 128, 255, 255}}));
    EXPECT_FALSE(named_colour_ramp("rainbow", ramp));
}

} // namespace
