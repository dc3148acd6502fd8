// Terrain drawn for real on a headless context from GeoTIFFs the tests
// write: a drape seen from straight above, a cone's silhouette from the
// side, the lookup falling back to coarse tiles, the upload budget, and
// picking against the heights.

#include <gtest/gtest.h>

#include <GL/glew.h>

#include <chrono>
#include <cmath>
#include <thread>

#include "graphics/TilePyramidRenderer.h"
#include "graphics/TileTexturePyramid.h"
#include "graphics/headless_gl.h"
#include "graphics/mat44.h"
#include "host/gdal_raster_dataset.h"
#include "raster_test_files.h"

namespace {

using namespace Tolmar;
using host::RasterSourceConnectionInfo;
using host::StreamerRasterReader;

constexpr int W = 320, H = 240;
constexpr double kX0 = 500000, kY0 = 6000000, kPixel = 10;

host::RasterDatasetPtr open_by_record(RasterSourceConnectionInfo const& info, std::string* why)
{
    return host::open_raster_dataset(info.workspace_type, info.connection_properties, info.connection_name, why);
}

std::shared_ptr<RasterSourceConnectionInfo> record(std::string const& path, vec<int, 4> bands = {{0, -1, -1, -1}})
{
    auto ds = host::open_raster_dataset(path);
    auto info = std::make_shared<RasterSourceConnectionInfo>();
    if (!ds) {
        ADD_FAILURE() << path;
        return info;
    }
    info->set_connection_props_datasource(ds->workspace_type(), ds->connection_properties(), ds->name(), nullptr,
                                          bands);
    return info;
}

// A cone of height kPeak and radius kRadius in the middle of a square DEM
// of n x n pixels; NoData around it.
constexpr double kPeak = 800, kRadius = 1000;
double cone(double x, double y, double cx, double cy)
{
    double const r = std::hypot(x - cx, y - cy);
    return r > kRadius ? -9999 : kPeak * (1 - r / kRadius);
}

std::string write_cone(std::string const& dir, int n)
{
    tolmar_test::RasterSpec s;
    s.path = dir + "/cone.tif";
    s.width = s.height = n;
    s.nodata = -9999;
    double const cx = kX0 + n * kPixel / 2, cy = kY0 - n * kPixel / 2;
    s.geotransform = {kX0, kPixel, 0, kY0, 0, -kPixel};
    s.value = [=](int, int x, int y) { return cone(kX0 + (x + 0.5) * kPixel, kY0 - (y + 0.5) * kPixel, cx, cy); };
    tolmar_test::write_raster(s);
    return s.path;
}

// Eight by eight squares of saturated colours, each 32 pixels a side.
vec<int, 3> square_colour(int col, int row)
{
    static int const palette[6][3] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 0}, {0, 255, 255}, {255, 0, 255}};
    auto const& c = palette[(col + 2 * row) % 6];
    return {{c[0], c[1], c[2]}};
}

struct TerrainRender : ::testing::Test {
    static void SetUpTestSuite() { host::set_raster_source_opener(open_by_record); }
    void SetUp() override
    {
        std::string error;
        gl = platform::HeadlessGL::create(W, H, error);
        ASSERT_TRUE(gl) << error;
        // A folder a test: ctest runs them side by side.
        dir = tolmar_test::fresh_dir(std::string("terrain_") +
                                     ::testing::UnitTest::GetInstance()->current_test_info()->name());
    }

    // A perspective camera, 60 degrees vertically; it draws one frame.
    void frame(TilePyramidRenderer& r, vec<double, 3> eye, vec<double, 3> target, vec<double, 3> up)
    {
        glClearColor(1, 1, 1, 1);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glEnable(GL_DEPTH_TEST);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        double const n = 1, top = n * std::tan(M_PI / 6);
        glFrustum(-top * W / H, top * W / H, -top, top, n, 1e5);
        double orientation[16];
        camera_lookat_orientation_matrix(eye, target, up, orientation);
        r.draw(orientation, eye);
        glFinish();
    }
    // Frames until every wanted tile was resident in one.
    void until_complete(TilePyramidRenderer& r, vec<double, 3> eye, vec<double, 3> target, vec<double, 3> up)
    {
        auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        do {
            frame(r, eye, target, up);
            if (r.tiles_complete()) return;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        } while (std::chrono::steady_clock::now() < deadline);
        FAIL() << "the terrain never completed";
    }

    std::unique_ptr<platform::HeadlessGL> gl;
    std::string dir;
};

TEST_F(TerrainRender, DrapeFromStraightAboveIsTheDrapeResampled)
{
    tolmar_test::RasterSpec dem;
    dem.path = dir + "/flat.tif";
    dem.width = dem.height = 300;
    dem.value = [](int, int x, int) { return 100 + 0.01 * x; }; // nearly flat, with a range
    dem.geotransform = {kX0, kPixel, 0, kY0, 0, -kPixel};
    tolmar_test::write_raster(dem);
    tolmar_test::RasterSpec drape;
    drape.path = dir + "/drape.tif";
    drape.width = drape.height = 256;
    drape.bands = 3;
    drape.pixel_type = "Byte";
    drape.geotransform = {kX0, 3000.0 / 256, 0, kY0, 0, -3000.0 / 256};
    drape.value = [](int b, int x, int y) { return square_colour(x / 32, y / 32)[b]; };
    tolmar_test::write_raster(drape);

    LodRaster lod;
    lod.height_source = record(dem.path);
    lod.drape_source = record(drape.path, {{0, 1, 2, -1}});
    TilePyramidRenderer r;
    ASSERT_TRUE(r.setData(lod));
    r.set_vertical_exaggeration(1);
    ASSERT_NE(r.drape(), nullptr);
    double const cx = kX0 + 1500, cy = kY0 - 1500, height = 2000;
    until_complete(r, {{cx, cy, 100 + height}}, {{cx, cy, 100}}, {{0, 1, 0}});
    auto const pixels = gl->read_pixels();

    // Each pixel's ground point, and the square there: the colour's hue
    // must be that square's, whatever the light makes of its brightness.
    double const halfY = height * std::tan(M_PI / 6), halfX = halfY * W / H;
    int checked = 0, matching = 0;
    for (int py = 0; py < H; ++py)
        for (int px = 0; px < W; ++px) {
            double const x = cx + ((px + 0.5) / W * 2 - 1) * halfX, y = cy + (1 - (py + 0.5) / H * 2) * halfY;
            double const u = (x - kX0) / (3000.0 / 256), v = (kY0 - y) / (3000.0 / 256);
            if (u < 1 || v < 1 || u > 255 || v > 255) continue;
            // Away from the squares' borders.
            if (std::abs(std::fmod(u, 32.0) - 16) > 14 || std::abs(std::fmod(v, 32.0) - 16) > 14) continue;
            auto const want = square_colour(static_cast<int>(u) / 32, static_cast<int>(v) / 32);
            unsigned char const* p = &pixels[(static_cast<std::size_t>(py) * W + px) * 4];
            int const top = std::max({int(p[0]), int(p[1]), int(p[2])});
            bool same = top > 100;
            for (int c = 0; c < 3; ++c) same = same && ((want[c] > 0) == (p[c] > top / 2));
            ++checked;
            matching += same;
        }
    ASSERT_GT(checked, W * H / 2);
    EXPECT_GE(matching, checked * 99 / 100) << matching << " of " << checked;
}

TEST_F(TerrainRender, ConeSilhouetteFromTheSideHasItsHeight)
{
    std::string const path = write_cone(dir, 256);
    LodRaster lod;
    lod.height_source = record(path);
    TilePyramidRenderer r;
    ASSERT_TRUE(r.setData(lod));
    r.set_vertical_exaggeration(1);
    EXPECT_EQ(r.drape(), nullptr);
    double const cx = kX0 + 1280, cy = kY0 - 1280, distance = 4000;
    // From the south at the cone's foot, looking north.
    until_complete(r, {{cx, cy - distance, 0}}, {{cx, cy, 0}}, {{0, 0, 1}});
    auto const pixels = gl->read_pixels();
    int topRow = H;
    for (int py = 0; py < H && topRow == H; ++py)
        for (int px = 0; px < W; ++px) {
            unsigned char const* p = &pixels[(static_cast<std::size_t>(py) * W + px) * 4];
            if (p[0] < 250 || p[1] < 250 || p[2] < 250) {
                topRow = py;
                break;
            }
        }
    // The apex, 800 m up at 4 km, stands this many rows above the middle.
    double const apexRow = H / 2.0 - (kPeak / distance) / std::tan(M_PI / 6) * H / 2.0;
    EXPECT_NEAR(topRow, apexRow, 3.0);
}

TEST_F(TerrainRender, TheGridsFarEdgesKeepTheirHeights)
{
    // A plane falling 1 m a metre to the east, seen from below its south
    // edge: the top of the picture is that edge, a straight line down to
    // the east. The east and south edges must not borrow heights from the
    // other side of their tiles.
    tolmar_test::RasterSpec s;
    s.path = dir + "/slope.tif";
    s.width = s.height = 512;
    s.geotransform = {kX0, 1, 0, kY0, 0, -1};
    s.value = [](int, int x, int) { return 1000.0 - x; };
    tolmar_test::write_raster(s);
    LodRaster lod;
    lod.height_source = record(s.path);
    TilePyramidRenderer r;
    ASSERT_TRUE(r.setData(lod));
    r.set_vertical_exaggeration(1);
    until_complete(r, {{kX0 + 256, kY0 - 1212, 0}}, {{kX0 + 256, kY0 - 512, 744}}, {{0, 0, 1}});
    auto const pixels = gl->read_pixels();
    std::vector<int> top;
    for (int px = 0; px < W; ++px) {
        int row = -1;
        for (int py = 0; py < H && row < 0; ++py) {
            unsigned char const* p = &pixels[(static_cast<std::size_t>(py) * W + px) * 4];
            if (p[0] < 250 || p[1] < 250 || p[2] < 250) row = py;
        }
        if (row >= 0) top.push_back(row);
    }
    ASSERT_GT(top.size(), std::size_t(W / 4));
    for (std::size_t i = 1; i < top.size(); ++i) EXPECT_GE(top[i], top[i - 1] - 1) << "column " << i;
}

// A reader that reads only when the test turns it, so that the test knows
// what is resident.
struct ManualReader {
    explicit ManualReader(std::string const& path)
    {
        reader = std::make_shared<StreamerRasterReader>(StreamerRasterReader::Clock{}, open_by_record);
        reader->start_datasource_open(*record(path));
        turn();
    }
    void turn(int n = 1)
    {
        for (int i = 0; i < n; ++i) {
            bool done = false;
            reader->process(0, done);
        }
    }
    std::shared_ptr<StreamerRasterReader> reader;
};

TEST_F(TerrainRender, CoarseTilesFillTheLookupAndUploadsStayWithinBudget)
{
    std::string const path = write_cone(dir, 1024); // 8 x 8 tiles, 4 levels
    ManualReader manual(path);
    ASSERT_EQ(manual.reader->state(), StreamerRasterReader::Open);
    ASSERT_EQ(manual.reader->num_levels(), 4);
    TilePyramidRenderer r([&](RasterSourceConnectionInfo const&) { return manual.reader; });
    LodRaster lod;
    lod.height_source = record(path);
    ASSERT_TRUE(r.setData(lod));
    r.set_vertical_exaggeration(1);
    double const cx = kX0 + 5120, cy = kY0 - 5120;
    vec<double, 3> const eye{{cx, cy - 3000, 3000}}, target{{cx, cy, 0}}, up{{0, 0, 1}};

    frame(r, eye, target, up); // asks for the tiles, coarsest first
    TileTexturePyramid const& heights = *r.height();
    ASSERT_GT(heights.to_request().size(), 4u);
    EXPECT_EQ(heights.to_request().front(), (host::TileKey{3, 0}));
    auto const empty = gl->read_pixels();
    EXPECT_TRUE(std::all_of(empty.begin(), empty.end(), [](unsigned char c) { return c == 255; }));

    manual.turn(); // the coarsest tile only
    frame(r, eye, target, up);
    EXPECT_EQ(heights.uploads_last_frame(), 1);
    // Every cell of the lookup names that one tile's layer at level 3.
    auto const& lookup = heights.lookup_data();
    for (std::size_t cell = 0; cell < lookup.size(); cell += 3) {
        EXPECT_EQ(lookup[cell] | lookup[cell + 1] << 8, heights.key_to_layer().at({3, 0}));
        EXPECT_EQ(lookup[cell + 2], 3);
    }
    auto const coarse = gl->read_pixels();
    std::size_t drawn = 0;
    for (std::size_t i = 0; i < coarse.size(); i += 4) drawn += coarse[i] != 255 || coarse[i + 1] != 255;
    EXPECT_GT(drawn, std::size_t(W * H / 20)); // the cone is there, from coarse data

    manual.turn(10);
    frame(r, eye, target, up);
    EXPECT_EQ(heights.uploads_last_frame(), 3); // ten waiting, three taken
    frame(r, eye, target, up);
    EXPECT_EQ(heights.uploads_last_frame(), 3);
    // The finer tiles overwrite the cells they cover.
    int finer = 0;
    for (std::size_t cell = 0; cell < lookup.size(); cell += 3) finer += lookup[cell + 2] < 3;
    EXPECT_GT(finer, 0);
}

TEST_F(TerrainRender, PickingMeetsTheHeights)
{
    std::string const path = write_cone(dir, 256);
    LodRaster lod;
    lod.height_source = record(path);
    TilePyramidRenderer r;
    ASSERT_TRUE(r.setData(lod));
    r.set_vertical_exaggeration(2);
    double const cx = kX0 + 1280, cy = kY0 - 1280;
    until_complete(r, {{cx, cy - 3000, 4000}}, {{cx, cy, 0}}, {{0, 0, 1}});
    for (auto const& [dx, dy] : {std::pair{150.0, -200.0}, {300.0, 100.0}, {-500.0, -420.0}, {0.0, 700.0}}) {
        double distance = 0;
        vec<double, 3> const start{{cx + dx, cy + dy, 3000}}, end{{cx + dx, cy + dy, -100}};
        ASSERT_TRUE(r.intersect(start, end, distance)) << dx << "," << dy;
        // Heights are transformed: twice the cone's. Away from the apex the
        // cone is nearly flat across a texel, at whatever level is resident.
        EXPECT_NEAR((3000 - distance) / 2, cone(cx + dx, cy + dy, cx, cy), 6.0) << dx << "," << dy;
    }
    // Past the cone there is no height, and outside the raster nothing.
    double distance = 0;
    EXPECT_FALSE(r.intersect({{cx + 1200, cy, 3000}}, {{cx + 1200, cy, -100}}, distance));
    EXPECT_FALSE(r.intersect({{cx + 9000, cy, 3000}}, {{cx + 9000, cy, -100}}, distance));
}

TEST_F(TerrainRender, FlatDrapeAndMissingSources)
{
    tolmar_test::RasterSpec drape;
    drape.path = dir + "/values.tif";
    drape.width = drape.height = 64;
    drape.value = [](int, int x, int y) { return x + y; };
    drape.geotransform = {kX0, 50, 0, kY0, 0, -50};
    tolmar_test::write_raster(drape);
    LodRaster lod;
    lod.drape_source = record(drape.path);
    lod.properties.z_offset = 250;
    TilePyramidRenderer r;
    ASSERT_TRUE(r.setData(lod));
    r.set_vertical_exaggeration(1);
    EXPECT_EQ(r.height(), nullptr);
    double b[6];
    r.get_bounds(b);
    EXPECT_DOUBLE_EQ(b[4], 250); // a plane at the offset
    EXPECT_DOUBLE_EQ(b[5], 250);
    double const cx = kX0 + 1600, cy = kY0 - 1600;
    until_complete(r, {{cx, cy, 4000}}, {{cx, cy, 250}}, {{0, 1, 0}});
    auto const pixels = gl->read_pixels();
    // The default table runs red, white, blue over the drape's values:
    // the north-west corner (low values) red, the south-east blue.
    auto at = [&](int px, int py) { return &pixels[(static_cast<std::size_t>(py) * W + px) * 4]; };
    EXPECT_GT(at(W / 2 - 40, H / 2 - 40)[0], at(W / 2 - 40, H / 2 - 40)[2] + 60);
    EXPECT_GT(at(W / 2 + 40, H / 2 + 40)[2], at(W / 2 + 40, H / 2 + 40)[0] + 60);
    double distance = 0;
    ASSERT_TRUE(r.intersect({{cx, cy, 1000}}, {{cx, cy, 0}}, distance));
    EXPECT_NEAR(distance, 750, 1e-6);

    LodRaster missing;
    missing.drape_source = record(drape.path);
    missing.drape_source->connection_name = L"absent.tif";
    EXPECT_FALSE(TilePyramidRenderer().setData(missing));
    EXPECT_FALSE(TilePyramidRenderer().setData(LodRaster{}));
}

} // namespace
