// `tolmar raster info` run as a user runs it, and the tool's other commands
// starting without GDAL.

#include <gtest/gtest.h>

#include <cpl_json.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "raster_test_files.h"
#include "tool_run.h"

namespace {

using namespace tolmar_test;

TEST(CliRaster, InfoTellsSizeBandsStatisticsAndRendering)
{
    std::string const dir = fresh_dir("cli_raster");
    RasterSpec spec;
    spec.path = dir + "/dem.tif";
    spec.nodata = -9999;
    spec.value = [](int, int x, int y) { return x == 0 && y == 0 ? -9999.0 : x + 100.0 * y; };
    write_raster(spec);

    auto const o = json_of(tolmar("raster info " + spec.path + " --json --ramp terrain"));
    EXPECT_EQ(o.GetInteger("width"), 40);
    EXPECT_EQ(o.GetInteger("height"), 30);
    EXPECT_EQ(numbers(o, "extent"), (std::vector<double>{500000, 5999700, 500400, 6000000}));
    EXPECT_EQ(o.GetString("spatial_reference"), "WGS 84 / UTM zone 31N");
    EXPECT_EQ(o.GetString("connection_properties"), "DATABASE=" + dir);
    EXPECT_EQ(o.GetString("dataset_name"), "dem.tif");
    auto const band = o.GetArray("bands")[0];
    EXPECT_EQ(band.GetString("type"), "Float32");
    EXPECT_EQ(band.GetDouble("nodata"), -9999);
    EXPECT_EQ(band.GetDouble("min"), 1);
    EXPECT_EQ(band.GetDouble("max"), 2939);
    EXPECT_EQ(o.GetString("renderer"), "stretch");
    auto const render = o.GetObj("render_properties");
    EXPECT_EQ(numbers(render, "bands"), (std::vector<double>{0, -1, -1, -1}));
    EXPECT_EQ(numbers(render, "custom_amplitude_range"), (std::vector<double>{1, 2939}));
    EXPECT_EQ(render.GetInteger("color_table_size"), 1024);
    EXPECT_EQ(numbers(render, "color_table_first"), (std::vector<double>{0, 97, 71, 255}));

    std::ofstream(dir + "/colours.txt") << "0% 0 0 255\n100% 255 0 0\nnv 0 0 0 0\n";
    auto const text = tolmar("raster info " + spec.path + " --colour-file " + dir + "/colours.txt");
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_NE(text.out.find("40 x 30 pixels, 1 band"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("band 1 \"Band_1\": Float32, NoData -9999, min 1, max 2939"), std::string::npos);
    EXPECT_NE(text.out.find("renderer: classified"), std::string::npos);
    EXPECT_NE(text.out.find("from 0 0 255 255 to 255 0 0 255, over 1 to 2939"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("NoData colour: 0 0 0 0"), std::string::npos);
}

TEST(CliRaster, BadInputIsOneLine)
{
    std::string const dir = fresh_dir("cli_raster_bad");
    std::ofstream(dir + "/not.tif") << "not a raster";
    std::ofstream(dir + "/colours.txt") << "1 2 3\n";
    RasterSpec spec;
    spec.path = dir + "/r.tif";
    write_raster(spec);
    struct Case {
        std::string args, message;
    } const cases[] = {
        {dir + "/not.tif", "tolmar: " + dir + "/not.tif: not a raster GDAL can read"},
        {dir + "/missing.tif", "tolmar: " + dir + "/missing.tif: no such file"},
        {spec.path + " --ramp rainbow", "tolmar: " + spec.path + ": \"rainbow\" is not a colour ramp"},
        {spec.path + " --colour-file " + dir + "/colours.txt",
         "tolmar: " + dir + "/colours.txt: line 1: a value needs red, green, blue and perhaps alpha after it"},
    };
    for (auto const& c : cases) {
        auto const r = tolmar("raster info " + c.args);
        EXPECT_EQ(r.status, 1) << c.args;
        EXPECT_EQ(r.err.substr(0, c.message.size()), c.message) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    }
}

TEST(CliRaster, TerrainDrawsAndPicksTheHeights)
{
    std::string const dir = fresh_dir("cli_terrain");
    RasterSpec spec;
    spec.path = dir + "/dem.tif";
    spec.width = spec.height = 300;
    spec.value = [](int, int x, int) { return 100.0 + x; }; // rises 1 m a 10 m pixel to the east
    write_raster(spec);
    std::ofstream(dir + "/colours.txt") << "0% 0 0 255\n100% 255 0 0\n";
    std::string const png = dir + "/t.png";
    auto const o = json_of(tolmar("terrain " + spec.path + " --colours " + dir + "/colours.txt --camera 0 90 "
                                  "--size 200 150 --at 100 75 --json --png " + png));
    EXPECT_EQ(o.GetInteger("width"), 200);
    EXPECT_GT(o.GetInteger("tiles_uploaded"), 0);
    ASSERT_TRUE(o.GetBool("hit"));
    // Straight down on the middle: the DEM's height where the ray lands.
    double const x = o.GetDouble("x");
    EXPECT_NEAR(x, 500000 + 1500, 30);
    EXPECT_NEAR(o.GetDouble("height"), 100 + (x - 500000) / 10 - 0.5, 0.5);
    Png const picture = read_png(png);
    ASSERT_EQ(picture.width, 200);
    // West blue, east red, by the colour file.
    EXPECT_GT(picture.at(60, 75)[2], picture.at(60, 75)[0]);
    EXPECT_GT(picture.at(140, 75)[0], picture.at(140, 75)[2]);

    // In another view the rasters are reprojected: the same middle lands on
    // Web Mercator coordinates (longitude 3.0 E, latitude 54.1 N).
    auto const mercator = json_of(tolmar("terrain " + spec.path + " --view-srs EPSG:3857 --camera 0 90 --size 200 150 "
                                         "--at 100 75 --json --force --png " + png));
    EXPECT_NEAR(mercator.GetDouble("x"), 3.36e5, 1e4);
    EXPECT_NEAR(mercator.GetDouble("y"), 7.19e6, 0.05e6);

    auto const refused = tolmar("terrain " + spec.path + " --png " + png);
    EXPECT_EQ(refused.status, 1);
    auto const missing = tolmar("terrain " + dir + "/none.tif --png " + dir + "/n.png");
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, "tolmar: " + dir + "/none.tif: no such file\n");
    auto const upside = tolmar("terrain " + spec.path + " --camera 0 100 --png " + dir + "/n.png");
    EXPECT_EQ(upside.err, "tolmar: --camera: the elevation must lie between -90 and 90 degrees\n");
}

TEST(CliRaster, OtherCommandsStartWithoutGdal)
{
    std::string const log = fresh_dir("cli_no_gdal") + "/ld.log";
    std::string const command = std::string("LD_DEBUG=libs LD_DEBUG_OUTPUT=") + log + " " + TOLMAR_TOOL + " --help >/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::string all;
    for (auto const& entry : std::filesystem::directory_iterator(std::filesystem::path(log).parent_path())) {
        std::ifstream in(entry.path());
        all += std::string(std::istreambuf_iterator<char>(in), {});
    }
    EXPECT_NE(all.find("libTolmarHost"), std::string::npos); // the log is there
    EXPECT_EQ(all.find("libgdal"), std::string::npos);
    EXPECT_EQ(all.find("libTolmarGdal"), std::string::npos);
}

} // namespace
