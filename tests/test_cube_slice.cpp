// CubeSlice: the footprint grid (and its bend under reprojection), meshes
// for the three directions, ray hits, and saving through the variant stream.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "debug_capture.h"
#include "graphics/CubeSlice.h"
#include "host/FileVariantStream.h"
#include "host/gdal_spatial_reference.h"
#include "segy_test_util.h"
#include "tool_run.h"

namespace {

using Tolmar::CubeSlice;
using Tolmar::vec;
using V2 = vec<double, 2>;
using V3 = vec<double, 3>;

// Inlines 100..200 and crosslines 10..60 on 1 km bins, inlines running east
// and crosslines north, in the east of UTM zone 31.
CubeSlice make(int direction)
{
    CubeSlice s;
    s.set_slice_dir(direction);
    auto const utm = Tolmar::host::spatial_reference_from_text("EPSG:32631");
    EXPECT_EQ(s.init(vec<int, 3>{{100, 200, 1}}, vec<int, 3>{{10, 60, 1}}, vec<int, 3>{{0, 2000, 4}},
                     V3{{1000, 0, 500000}}, V3{{0, 1000, 6500000}}, utm, utm),
              0);
    return s;
}

TEST(CubeSlice, GridKeepsThreePointsUnderIdentityAndBendsInTheNextZone)
{
    CubeSlice const same = make(0);
    EXPECT_EQ(std::pair(same.inline_points(), same.crossline_points()), std::pair(3, 3));

    // A survey of 200 km a side at 45 degrees: both edges bend in the next zone.
    CubeSlice bent;
    double const h = 2000 * std::sqrt(0.5);
    ASSERT_EQ(bent.init(vec<int, 3>{{100, 200, 1}}, vec<int, 3>{{10, 110, 1}}, vec<int, 3>{{0, 2000, 4}},
                        V3{{h, -h, 500000}}, V3{{h, h, 6500000}},
                        Tolmar::host::spatial_reference_from_text("EPSG:32631"),
                        Tolmar::host::spatial_reference_from_text("EPSG:32632")),
              0);
    EXPECT_GT(bent.inline_points(), 3);
    EXPECT_GT(bent.crossline_points(), 3);
    // The first row's middle point leaves the chord between its ends.
    auto const& p = bent.points();
    int const n = bent.inline_points();
    V2 const a = p[0], mid = p[n / 2], d = p[n - 1] - a;
    double const off = std::fabs(d[0] * (mid[1] - a[1]) - d[1] * (mid[0] - a[0])) / std::hypot(d[0], d[1]);
    EXPECT_GT(off, 20.0) << "metres off the chord";
    EXPECT_EQ(bent.points().size(), static_cast<std::size_t>(n * bent.crossline_points()));
}

TEST(CubeSlice, MeshesOfTheThreeDirections)
{
    std::vector<V3> vertices, coords;
    std::vector<int> triangles;
    CubeSlice inl = make(0);
    inl.updateFrame(1.0); // the last column of the grid
    inl.get_frame_mesh(vertices, coords, triangles);
    ASSERT_EQ(vertices.size(), 6u);
    EXPECT_EQ(triangles.size(), 12u);
    EXPECT_NEAR(vertices[0][0], 500000 + 1000 * 200, 1e-6); // x of the last inline
    EXPECT_EQ(vertices[0][2], 0);
    EXPECT_EQ(vertices[1][2], 2000);
    EXPECT_EQ(coords[5], (V3{{1, 1, 1}}));

    CubeSlice time = make(2);
    time.updateFrame(0.25);
    time.get_frame_mesh(vertices, coords, triangles);
    ASSERT_EQ(vertices.size(), 9u);
    EXPECT_EQ(triangles.size(), 24u);
    EXPECT_EQ(vertices[4][2], 500);
    EXPECT_EQ(coords[8][0], 0.25);

    vec<double, 4> x{}, y{}, z{};
    time.get_frame_outline_corners(x, y, z);
    // Last row first and last, then first row last and first.
    EXPECT_NEAR(y[0], 6500000 + 1000 * 60, 1e-6);
    EXPECT_NEAR(x[1], 500000 + 1000 * 200, 1e-6);
    EXPECT_NEAR(y[3], 6500000 + 1000 * 10, 1e-6);
    EXPECT_EQ(time.get_height(), 0);
    EXPECT_EQ(time.get_dist_per_step(), 4); // the time step, not a length

    bool vertical = true;
    std::vector<V2> plan;
    vec<double, 2> zRange{};
    std::vector<V3> ring;
    time.get_outline(vertical, plan, zRange, ring);
    EXPECT_FALSE(vertical);
    EXPECT_EQ(ring.size(), 8u); // a closed ring of the 3 x 3 grid's border

    CubeSlice crl = make(1);
    EXPECT_NEAR(crl.get_length_in_slice_dir(), 1000 * 50, 1e-6);
    EXPECT_NEAR(crl.get_dist_per_step(), 1000, 1e-6);
    V3 n{};
    crl.get_normal(n);
    EXPECT_NEAR(n[1], 1, 1e-12);
    crl.set_slice_dir(5);
    EXPECT_EQ(crl.get_length_in_slice_dir(), 1.0);
}

TEST(CubeSlice, RaysHitTheLatticeOrMiss)
{
    CubeSlice s = make(0);
    s.updateFrame(0.5); // inline 150, x = 650000
    V3 n{};
    s.get_normal(n);
    double const scale = 2.0;
    double distance = -1;
    int inl = -1, crl = -1;
    V3 hit{};
    // From the west, level with crossline 30 and time 1000.
    V3 const origin{{600000, 6500000 + 1000 * 30, -1000 * scale}};
    ASSERT_TRUE(s.ray_intersect(origin, V3{{1, 0, 0}}, n, scale, distance, inl, crl, hit));
    EXPECT_NEAR(distance, 50000, 1e-6);
    EXPECT_EQ(std::pair(inl, crl), std::pair(150, 30));
    EXPECT_NEAR(hit[2], -2000, 1e-9);

    // Parallel to the plane: no distance at all.
    distance = -1;
    EXPECT_FALSE(s.ray_intersect(origin, V3{{0, 1, 0}}, n, scale, distance, inl, crl, hit));
    EXPECT_EQ(distance, -1);
    // Below the last sample: the distance, but the lattice values stay.
    inl = crl = -1;
    EXPECT_FALSE(s.ray_intersect(V3{{600000, 6530000, -5000 * scale}}, V3{{1, 0, 0}}, n, scale, distance, inl,
                                 crl, hit));
    EXPECT_NEAR(distance, 50000, 1e-6);
    EXPECT_EQ(inl, -1);

    // A time slice seen from above.
    CubeSlice t = make(2);
    t.updateFrame(0.5);
    t.get_normal(n);
    ASSERT_TRUE(t.ray_intersect(V3{{500000 + 1000 * 120.4, 6500000 + 1000 * 20.6, 100}}, V3{{0, 0, -1}}, n, 1.0,
                                distance, inl, crl, hit));
    EXPECT_EQ(std::pair(inl, crl), std::pair(120, 21));
    EXPECT_NEAR(distance, 1100, 1e-6);
}

TEST(CubeSlice, SavesItsDirectionAndRefusesDamage)
{
    tolmar_test::ScratchDir dir;
    std::string const path = dir.path("slice.tmvs");
    {
        auto out = Tolmar::host::FileVariantStream::create(path);
        ASSERT_TRUE(out);
        CubeSlice s;
        s.set_slice_dir(2);
        EXPECT_TRUE(s.save(out.get()));
        EXPECT_TRUE(out->write(std::wstring(L"Zone ünïcode")));
        ASSERT_TRUE(out->commit());
    }
    auto in = Tolmar::host::FileVariantStream::open(path);
    ASSERT_TRUE(in);
    CubeSlice back;
    EXPECT_TRUE(back.load(in.get()));
    EXPECT_TRUE(back.get_isTimeslice());
    Tolmar::host::Variant text;
    ASSERT_TRUE(in->read(text));
    EXPECT_EQ(std::get<std::wstring>(text), L"Zone ünïcode");
    {
        tolmar_test::DebugCapture log;
        CubeSlice other;
        EXPECT_TRUE(other.load(in.get())); // past the end: logged, direction kept
        EXPECT_EQ(other.get_slice_dir(), 0);
        EXPECT_NE(log.text().find("Error reading: int sliceDir_"), std::string::npos) << log.text();
    }

    // A file cut short or changed fails its checksum; a stream that was never
    // committed leaves no file.
    auto bytes = tolmar_test::readFile(path);
    std::string why;
    tolmar_test::writeFile(path, std::vector<char>(bytes.begin(), bytes.end() - 3));
    EXPECT_FALSE(Tolmar::host::FileVariantStream::open(path, &why));
    EXPECT_NE(why.find("checksum"), std::string::npos) << why;
    bytes[9] ^= 1;
    tolmar_test::writeFile(path, bytes);
    EXPECT_FALSE(Tolmar::host::FileVariantStream::open(path, &why));
    EXPECT_FALSE(Tolmar::host::FileVariantStream::open(dir.path("none"), &why));
    { auto abandoned = Tolmar::host::FileVariantStream::create(dir.path("never")); }
    EXPECT_FALSE(std::ifstream(dir.path("never")).good());
}

// `tolmar render` places a survey of UTM zone 31 in other systems; a system
// that is no system is one clear line.
TEST(CubeSlice, RenderReprojectsTheSlice)
{
    tolmar_test::ScratchDir dir;
    std::string const segy = dir.path("s.sgy");
    ASSERT_EQ(tolmar_test::tolmar("synth --inlines 12 --crosslines 10 --samples 40 " + segy).status, 0);
    ASSERT_EQ(tolmar_test::tolmar("import " + segy + " --bricks " + dir.dir() + " --name cube").status, 0);
    std::string const render = "render " + dir.path("cube.tmf") + " --force --png " + dir.path("t.png") + " ";
    for (std::string const view : {"EPSG:32632", "4326", "+proj=utm +zone=31 +datum=WGS84"}) {
        auto const r = tolmar_test::tolmar(render + "--time 40 --camera 0 90 --size 64 64 --srs 32631 --view-srs '" +
                                           view + "'");
        EXPECT_EQ(r.status, 0) << view << ": " << r.err;
        EXPECT_GT(tolmar_test::read_png(dir.path("t.png")).width, 0);
    }
    auto const bad = tolmar_test::tolmar(render + "--inline 1003 --srs 32631 --view-srs 'no such system'");
    EXPECT_NE(bad.status, 0);
    EXPECT_NE(bad.err.find("--view-srs: \"no such system\" defines no coordinate system"), std::string::npos)
        << bad.err;
}

} // namespace
