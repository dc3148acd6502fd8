// Raster datasets on GDAL: what the readers ask of them, opened by path and
// by connection, read whole into the view's coordinate system, and written.

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "host/PropertySet.h"
#include "host/entire_raster.h"
#include "host/gdal_raster_dataset.h"
#include "host/gdal_spatial_reference.h"
#include "host/gdal_writable_raster.h"
#include "host/raster_renderer_properties.h"
#include "raster_test_files.h"

namespace {

using namespace Tolmar;
using namespace Tolmar::host;
using tolmar_test::fresh_dir;
using tolmar_test::RasterSpec;
using tolmar_test::write_raster;

RasterDatasetPtr open_ok(std::string const& path)
{
    std::string why;
    auto ds = open_raster_dataset(path, &why);
    EXPECT_TRUE(ds) << why;
    return ds;
}

std::size_t at(int x, int y, int width) { return static_cast<std::size_t>(y) * width + x; }

TEST(RasterDataset, SingleBandWithNoDataAndStoredStatistics)
{
    std::string const dir = fresh_dir("single_band");
    RasterSpec spec;
    spec.path = dir + "/dem.tif";
    spec.nodata = -9999;
    spec.value = [](int, int x, int y) { return x < 4 && y < 3 ? -9999.0 : x + 100.0 * y; };
    spec.statistics = std::array<double, 4>{{-5, 500, 42, 7}};
    write_raster(spec);

    auto ds = open_ok(spec.path);
    ASSERT_TRUE(ds);
    EXPECT_EQ(ds->width(), 40);
    EXPECT_EQ(ds->height(), 30);
    EXPECT_EQ(ds->band_count(), 1);
    EXPECT_EQ(ds->pixel_type(0), "Float32");
    EXPECT_EQ(ds->band_name(0), "Band_1");
    EXPECT_EQ(ds->nodata(0), -9999.0);
    EXPECT_FALSE(ds->warped_north_up());
    EXPECT_NE(ds->spatial_reference()->name().find("UTM zone 31N"), std::string::npos);
    auto const e = ds->extent();
    EXPECT_DOUBLE_EQ(e.lower[0], 500000);
    EXPECT_DOUBLE_EQ(e.upper[0], 500400);
    EXPECT_DOUBLE_EQ(e.lower[1], 5999700);
    EXPECT_DOUBLE_EQ(e.upper[1], 6000000);
    // Statistics the file holds are taken as they stand, not recomputed.
    BandStatistics stats;
    ASSERT_TRUE(ds->statistics(0, stats));
    EXPECT_EQ(stats.min, -5);
    EXPECT_EQ(stats.max, 500);

    PixelBlock block;
    ASSERT_TRUE(ds->read(0, 40, 30, 0, 0, 40, 30, block));
    EXPECT_TRUE(block.masked);
    EXPECT_FALSE(block.valid[at(3, 2, 40)]);
    EXPECT_TRUE(block.valid[at(4, 2, 40)]);
    EXPECT_EQ(block.values[at(7, 5, 40)], 507);
    // Resampled to half: pixel (x, y) is the source's under its centre,
    // (2x + 1, 2y + 1); the block reaches past the edge, where nothing is valid.
    ASSERT_TRUE(ds->read(0, 20, 15, 16, 10, 8, 8, block));
    EXPECT_EQ(block.values[at(1, 2, 8)], 35 + 100.0 * 25);
    EXPECT_TRUE(block.valid[at(3, 4, 8)]);
    EXPECT_FALSE(block.valid[at(4, 4, 8)]);
    EXPECT_FALSE(block.valid[at(3, 5, 8)]);

    std::string why;
    EXPECT_FALSE(ds->read(1, 40, 30, 0, 0, 1, 1, block, &why));
    EXPECT_EQ(why, "there is no band 2");
    EXPECT_FALSE(ds->read(0, 0, 30, 0, 0, 1, 1, block, &why));

    // The symbology it suggests: a stretch over those statistics.
    RasterSymbology symbology;
    ASSERT_TRUE(default_symbology(*ds, "", symbology, &why)) << why;
    RasterRenderProperties props;
    ASSERT_TRUE(extract_raster_renderer_properties(symbology, *ds, props));
    EXPECT_EQ(props.bands, (vec<int, 4>{{0, -1, -1, -1}}));
    EXPECT_EQ(props.custom_amplitude_range, (vec<double, 2>{{-5, 500}}));
    EXPECT_TRUE(props.interpolate_colors);
    ASSERT_EQ(props.color_table.size(), 1024u);
    EXPECT_EQ(props.color_table[0], (Colour{{0, 0, 0, 255}}));
    EXPECT_GT(props.color_table[1022][0], 250);
    EXPECT_EQ(props.color_table[1023], props.color_table[0]); // the last entry wraps round
    EXPECT_EQ(props.dataset_name, L"dem.tif");
    EXPECT_FALSE(default_symbology(*ds, "rainbow", symbology, &why));
    EXPECT_EQ(why, "\"rainbow\" is not a colour ramp");
}

TEST(RasterDataset, StatisticsComputedWhenAbsentLeaveOutNoDataAndNaN)
{
    std::string const dir = fresh_dir("computed_stats");
    RasterSpec spec;
    spec.path = dir + "/r.tif";
    spec.width = 3;
    spec.height = 2;
    spec.nodata = -1;
    std::vector<double> const v{-1, 2, NAN, 4, 6, -1};
    spec.value = [&v](int, int x, int y) { return v[static_cast<std::size_t>(y * 3 + x)]; };
    write_raster(spec);
    auto ds = open_ok(spec.path);
    BandStatistics s;
    ASSERT_TRUE(ds->statistics(0, s));
    EXPECT_EQ(s.min, 2);
    EXPECT_EQ(s.max, 6);
    EXPECT_DOUBLE_EQ(s.mean, 4);
    EXPECT_FALSE(std::filesystem::exists(spec.path + ".aux.xml")); // nothing written beside the user's file

    spec.path = dir + "/empty.tif";
    spec.value = [](int, int, int) { return -1.0; };
    write_raster(spec);
    std::string why;
    EXPECT_FALSE(open_ok(spec.path)->statistics(0, s, &why));
    EXPECT_EQ(why, "band 1 has no valid pixel");
}

TEST(RasterDataset, PalettedRasterDrawsThroughItsPalette)
{
    std::string const dir = fresh_dir("paletted");
    RasterSpec spec;
    spec.path = dir + "/classes.tif";
    spec.pixel_type = "Byte";
    spec.value = [](int, int x, int) { return x % 4; };
    spec.palette = {{{255, 0, 0, 255}}, {{0, 255, 0, 255}}, {{0, 0, 255, 255}}, {{255, 255, 0, 255}}};
    write_raster(spec);
    auto ds = open_ok(spec.path);
    auto const palette = ds->colour_table(0); // GeoTIFF pads a palette to 256 entries
    ASSERT_EQ(palette.size(), 256u);
    EXPECT_TRUE(std::equal(spec.palette.begin(), spec.palette.end(), palette.begin()));

    RasterSymbology symbology;
    ASSERT_TRUE(default_symbology(*ds, "", symbology));
    ASSERT_TRUE(std::holds_alternative<UniqueValueRenderer>(symbology.renderer));
    RasterRenderProperties props;
    ASSERT_TRUE(extract_raster_renderer_properties(symbology, *ds, props));
    EXPECT_FALSE(props.interpolate_colors);
    EXPECT_EQ(props.custom_amplitude_range, (vec<double, 2>{{0, 255}}));
    // The renderer looks value v up at entry v / 255 * 1024: each class owns
    // the entries from there to the next class, the last one to the end.
    for (std::size_t value = 0; value < 4; ++value) {
        std::size_t const first = value * 1024 / 255;
        EXPECT_EQ(props.color_table[first], spec.palette[value]) << value;
        EXPECT_EQ(props.color_table[first + 3], spec.palette[value]) << value;
    }
    EXPECT_EQ(props.color_table[1023], palette[255]);
}

TEST(RasterDataset, ThreeAndFourBandsAreRedGreenBlueAndAlpha)
{
    std::string const dir = fresh_dir("rgba");
    RasterSpec spec;
    spec.pixel_type = "Byte";
    spec.width = 8;
    spec.height = 4;
    spec.value = [](int band, int x, int y) { return band == 3 ? (x < 4 ? 0 : 255) : band * 50 + x + y; };
    for (int bands : {3, 4}) {
        spec.bands = bands;
        spec.alpha_last = bands == 4;
        spec.path = dir + "/image" + std::to_string(bands) + ".tif";
        write_raster(spec);
        auto ds = open_ok(spec.path);
        RasterSymbology symbology;
        ASSERT_TRUE(default_symbology(*ds, "", symbology));
        RasterRenderProperties props;
        ASSERT_TRUE(extract_raster_renderer_properties(symbology, *ds, props));
        EXPECT_EQ(props.bands, (vec<int, 4>{{0, 1, 2, bands == 4 ? 3 : -1}}));
        EXPECT_TRUE(props.color_table.empty());

        Raster raster;
        ASSERT_TRUE(getRaster(std::wstring(spec.path.begin(), spec.path.end()), nullptr, raster));
        ASSERT_EQ(raster.image.rgba.size(), 32u);
        EXPECT_TRUE(raster.drape.values.empty());
        auto const& px = raster.image.rgba[at(5, 2, 8)];
        EXPECT_EQ(px, (vec<unsigned char, 4>{{7, 57, 107, 255}}));
        EXPECT_EQ(raster.image.rgba[at(1, 0, 8)][3], bands == 4 ? 0 : 255);
    }
}

TEST(RasterDataset, RotatedAndSouthUpGridsAreReadNorthUp)
{
    std::string const dir = fresh_dir("rotated");
    RasterSpec spec;
    spec.path = dir + "/rotated.tif";
    spec.width = spec.height = 20;
    spec.value = [](int, int, int) { return 7.0; };
    // 30 degrees counter-clockwise, 10 m pixels.
    double const c = 10 * std::cos(M_PI / 6), s = 10 * std::sin(M_PI / 6);
    spec.geotransform = {{1000, c, s, 5000, s, -c}};
    write_raster(spec);
    auto ds = open_ok(spec.path);
    EXPECT_TRUE(ds->warped_north_up());
    auto const e = ds->extent();
    // The envelope of the turned square.
    EXPECT_NEAR(e.upper[0] - e.lower[0], 20 * (c + s), 15);
    EXPECT_NEAR(e.upper[1] - e.lower[1], 20 * (c + s), 15);
    PixelBlock block;
    ASSERT_TRUE(ds->read(0, ds->width(), ds->height(), 0, 0, ds->width(), ds->height(), block));
    int const w = ds->width(), h = ds->height();
    EXPECT_TRUE(block.masked);
    EXPECT_FALSE(block.valid[at(0, 0, w)]); // corners of the envelope lie outside the square
    EXPECT_FALSE(block.valid[at(w - 1, h - 1, w)]);
    ASSERT_TRUE(block.valid[at(w / 2, h / 2, w)]);
    EXPECT_EQ(block.values[at(w / 2, h / 2, w)], 7);
    BandStatistics stats; // of the file's own pixels, not of the envelope
    ASSERT_TRUE(ds->statistics(0, stats));
    EXPECT_EQ(stats.min, 7);

    // South up: row 0 of the file is the bottom of the map.
    spec.path = dir + "/south_up.tif";
    spec.geotransform = {{0, 1, 0, 0, 0, 1}};
    spec.srs.clear();
    spec.value = [](int, int, int y) { return y; };
    write_raster(spec);
    ds = open_ok(spec.path);
    EXPECT_TRUE(ds->warped_north_up());
    EXPECT_EQ(ds->extent().upper[1], 20);
    ASSERT_TRUE(ds->read(0, 20, 20, 0, 0, 20, 20, block));
    EXPECT_EQ(block.values[at(5, 0, 20)], 19);
    EXPECT_EQ(block.values[at(5, 19, 20)], 0);
}

TEST(RasterDataset, GeoPackageRastersByPathAndByConnection)
{
    std::string const dir = fresh_dir("gpkg");
    RasterSpec spec;
    spec.path = dir + "/rasters.gpkg";
    spec.driver = "GPKG";
    spec.table = "depth";
    write_raster(spec);
    // One raster: the file names it.
    auto ds = open_ok(spec.path);
    ASSERT_TRUE(ds);
    EXPECT_EQ(ds->name(), L"depth");
    EXPECT_EQ(ds->workspace_type(), WorkspaceType::LocalDatabase);

    spec.table = "grid";
    spec.value = [](int, int, int) { return 3.0; };
    write_raster(spec);
    std::string why;
    EXPECT_FALSE(open_raster_dataset(spec.path, &why));
    EXPECT_EQ(why, spec.path + ": holds several rasters; name one as FILE.gpkg:TABLE (depth, grid)");
    ds = open_ok(spec.path + ":grid");
    ASSERT_TRUE(ds);
    EXPECT_EQ(ds->name(), L"grid");
    // Its connection opens it again.
    auto again = open_raster_dataset(ds->workspace_type(), ds->connection_properties(), ds->name(), &why);
    ASSERT_TRUE(again) << why;
    PixelBlock block;
    ASSERT_TRUE(again->read(0, 40, 30, 0, 0, 2, 2, block));
    EXPECT_EQ(block.values[0], 3);
    EXPECT_FALSE(open_raster_dataset(spec.path + ":nothing", &why));
    EXPECT_NE(why.find("not a raster GDAL can read"), std::string::npos) << why;
}

TEST(RasterDataset, FolderWorkspaceConnections)
{
    std::string const dir = fresh_dir("folder");
    RasterSpec spec;
    spec.path = dir + "/bands.tif";
    spec.bands = 3;
    spec.band_names = {"red", "nir", "swir"};
    write_raster(spec);
    auto ds = open_ok(spec.path);
    EXPECT_EQ(ds->workspace_type(), WorkspaceType::FileSystem);
    EXPECT_EQ(ds->name(), L"bands.tif");
    PropertySet props;
    ASSERT_EQ(string2ConnectionProperties(ds->connection_properties(), props), 0);
    EXPECT_EQ(props.get("DATABASE"), dir);
    std::string why;
    ASSERT_TRUE(open_raster_dataset(WorkspaceType::FileSystem, ds->connection_properties(), L"bands.tif", &why)) << why;
    EXPECT_EQ(lookup_raster_band(*ds, "nir"), 1);
    EXPECT_EQ(lookup_raster_band(*ds, "thermal"), 0);

    EXPECT_FALSE(open_raster_dataset(WorkspaceType::FileSystem, L"DATABASE=" + std::wstring(dir.begin(), dir.end()),
                                     L"missing.tif", &why));
    EXPECT_EQ(why, dir + "/missing.tif: no such file");
    EXPECT_FALSE(open_raster_dataset(WorkspaceType::FileSystem, L"DATABASE=/no/such/folder", L"a.tif", &why));
    EXPECT_EQ(why, "/no/such/folder: no such file or folder");
    EXPECT_FALSE(open_raster_dataset(WorkspaceType::RemoteDatabase, L"SERVER=db", L"a", &why));
    EXPECT_NE(why.find("enterprise database"), std::string::npos);
    EXPECT_FALSE(open_raster_dataset(WorkspaceType::FileSystem, L"DATABASE", L"a", &why));
    EXPECT_EQ(why, "connection properties: \"DATABASE\" has no '='");
    EXPECT_FALSE(open_raster_dataset(dir + "/bands.tif.aux", &why));
    EXPECT_FALSE(open_raster_dataset("", &why));
}

TEST(RasterDataset, ConnectionTextRoundTrips)
{
    PropertySet set;
    set.set("DATABASE", "C:\\data\\a=b;c.gpkg");
    set.set("USER", "");
    set.set("we;ird=", "x\\");
    PropertySet back;
    std::string why;
    ASSERT_TRUE(PropertySet::from_text(set.to_text(), back, &why)) << why;
    EXPECT_EQ(back, set);
    std::wstring text;
    EXPECT_EQ(connectionProperties2String(set, text), 0);
    EXPECT_EQ(string2ConnectionProperties(text, back), 0);
    EXPECT_EQ(back, set);
    for (char const* bad : {"A=1;A=2", "=1", "A=1=2", "A=1\\", ";", "A=1;;B=2"})
        EXPECT_EQ(string2ConnectionProperties(std::wstring(bad, bad + std::strlen(bad)), back), 1) << bad;
}

TEST(RasterDataset, EntireRasterReprojectedIntoTheViewsSystem)
{
    std::string const dir = fresh_dir("reproject");
    RasterSpec spec;
    spec.path = dir + "/utm.tif";
    spec.width = 100;
    spec.height = 80;
    spec.geotransform = {{500000, 100, 0, 6000000, 0, -100}};
    spec.value = [](int, int x, int) { return x; }; // the column: 100 m steps east
    write_raster(spec);
    auto ds = open_ok(spec.path);
    auto const wgs84 = spatial_reference_from_epsg(4326);
    Raster raster;
    ASSERT_TRUE(getEntireRasterData(ds, wgs84, vec<int, 4>{{0, -1, -1, -1}}, raster));
    auto const& g = raster.drape;
    // 500 km east of zone 31N's origin is its central meridian, 3 degrees east.
    EXPECT_NEAR(g.xmin, 3.0, 1e-3);
    EXPECT_NEAR(g.ymax, 54.14, 0.01);
    EXPECT_NEAR(g.xmax, 3.0 + 10000 / (111320 * std::cos(54.1 * M_PI / 180)), 0.01);
    ASSERT_EQ(g.values.size(), static_cast<std::size_t>(g.width) * g.height);
    EXPECT_EQ(g.nodata, FLT_MAX); // the corners outside the turned footprint
    // The column under a point of the view follows from its longitude.
    std::vector<vec<double, 2>> point{vec<double, 2>{{(g.xmin + g.xmax) / 2, (g.ymin + g.ymax) / 2}}};
    auto const utm = ds->spatial_reference();
    ASSERT_EQ(wgs84->project(*utm, point), 0);
    double const column = (point[0][0] - 500000) / 100;
    int const cx = g.width / 2, cy = g.height / 2;
    EXPECT_NEAR(g.values[at(cx, cy, g.width)], column, 1.5);
    EXPECT_NE(g.values.front(), g.values.back());

    // In its own system it is read as it stands, unwarped.
    ASSERT_TRUE(getEntireRasterData(ds, utm, vec<int, 4>{{0, -1, -1, -1}}, raster));
    EXPECT_EQ(raster.drape.width, 100);
    EXPECT_EQ(raster.drape.nodata, 100000.0f);
    EXPECT_EQ(raster.drape.values[at(42, 7, 100)], 42);
    EXPECT_FALSE(getEntireRasterData(nullptr, utm, vec<int, 4>{{0, -1, -1, -1}}, raster));
    EXPECT_FALSE(getEntireRasterData(ds, utm, vec<int, 4>{{3, -1, -1, -1}}, raster));
}

TEST(RasterDataset, LargeRastersAreHalvedToFit)
{
    int w = 4097, h = 100;
    reduce_raster_size(2048, w, h);
    EXPECT_EQ(w, 1024);
    EXPECT_EQ(h, 25);
    w = 2047;
    h = 2048;
    reduce_raster_size(2048, w, h);
    EXPECT_EQ(w, 1023);

    std::string const dir = fresh_dir("elevation");
    RasterSpec spec;
    spec.path = dir + "/long.tif";
    spec.width = 4100;
    spec.height = 3;
    spec.bands = 2;
    spec.band_names = {"depth", "height"};
    spec.value = [](int band, int x, int) { return band * 1000.0 + x; };
    write_raster(spec);
    ElevInfo info;
    info.connection = L"DATABASE=" + std::wstring(dir.begin(), dir.end());
    info.dataset_name = L"long.tif";
    info.band_name = L"height";
    Raster raster;
    ASSERT_TRUE(getEntireElevationRasterData(info, nullptr, raster));
    EXPECT_EQ(raster.elevation.width, 1025);
    EXPECT_EQ(raster.elevation.height, 1); // not halved to nothing
    EXPECT_EQ(raster.elevation.values[0], 1002); // the pixel under the centre of 4
    EXPECT_EQ(raster.elevation.values[1], 1006);
}

TEST(RasterDataset, WrittenRasterAppearsOnlyWhenFinished)
{
    std::string const dir = fresh_dir("written");
    RasterCreation c;
    c.path = dir + "/line.tif";
    c.width = 5;
    c.height = 4;
    c.xmin = 100;
    c.ymin = 200;
    c.cell_width = 2;
    c.cell_height = 3;
    c.nodata = -1;
    c.spatial_reference = spatial_reference_from_epsg(32631);
    std::string why;
    auto out = create_raster_dataset(c, &why);
    ASSERT_TRUE(out) << why;
    for (int x = 0; x < 5; ++x) {
        std::vector<float> column{1.0f * x, 2.0f, -1.0f, 4.0f};
        ASSERT_TRUE(out->write(0, x, 0, 1, 4, column.data(), &why)) << why;
    }
    EXPECT_FALSE(out->write(0, 5, 0, 1, 4, nullptr, &why));
    EXPECT_FALSE(std::filesystem::exists(c.path));
    ASSERT_TRUE(out->finish(&why)) << why;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 1); // no partial file left

    auto ds = open_ok(c.path);
    auto const e = ds->extent();
    EXPECT_EQ(e.lower[0], 100);
    EXPECT_EQ(e.lower[1], 200);
    EXPECT_EQ(e.upper[1], 212);
    EXPECT_TRUE(ds->spatial_reference()->is_same(*c.spatial_reference));
    BandStatistics s;
    ASSERT_TRUE(ds->statistics(0, s));
    EXPECT_EQ(s.max, 4);
    PixelBlock block;
    ASSERT_TRUE(ds->read(0, 5, 4, 0, 0, 5, 4, block));
    EXPECT_EQ(block.values[at(3, 0, 5)], 3);
    EXPECT_FALSE(block.valid[at(3, 2, 5)]);

    EXPECT_FALSE(create_raster_dataset(c, &why));
    EXPECT_EQ(why, c.path + ": exists");
    c.path = dir + "/abandoned.img";
    create_raster_dataset(c, &why).reset();
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 1);
    c.path = dir + "/x.png";
    EXPECT_FALSE(create_raster_dataset(c, &why));
    c.path = dir + "/x.tif";
    c.pixel_type = "Float17";
    EXPECT_FALSE(create_raster_dataset(c, &why));
    EXPECT_EQ(why, "\"Float17\" is not a pixel type");
}

} // namespace
