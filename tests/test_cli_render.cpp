// `tolmar render` and its GPU brick pool: sized for the slice it shows the
// whole slice at level 0; a budget too small for that draws coarser bricks,
// says so, and still leaves no hole in the picture.

#include <gtest/gtest.h>

#include <fstream>
#include <cstdlib>
#include <string>
#include <vector>

#include "segy_test_util.h"
#include "tool_run.h"

namespace {

using tolmar_test::ScratchDir;
using tolmar_test::tolmar;

// Pixels of the PNG that are not fully opaque: undefined samples, or places
// where no brick was drawn.
long transparent_pixels(std::string const& path)
{
    tolmar_test::Png const png = tolmar_test::read_png(path);
    if (png.rgba.empty()) return -1;
    long n = 0;
    for (std::size_t i = 3; i < png.rgba.size(); i += 4) n += png.rgba[i] != 255;
    return n;
}

struct Drawn {
    std::vector<int> perLevel;
    bool fullResolution = false;
    int poolBricks = 0, needed = 0;
    long transparent = -1;
    std::string err;
};

// A regular survey whose inlines cover 4 x 7 level-0 bricks (100 crosslines
// by 200 samples, 32 samples a brick), over four levels. The inline drawn
// lies far enough inside that the filter of a coarse brick stays within the
// survey's inlines: the brick file leaves the corners beyond the last
// crossline and the outer inlines undefined, which shows at the edge.
class RenderPool : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        dir = new ScratchDir;
        std::string const segy = dir->path("s.sgy");
        ASSERT_EQ(tolmar("synth --inlines 40 --crosslines 100 --samples 200 --format ieee " + segy).status, 0);
        std::string const import =
            "import " + segy + " --index " + dir->path("s.idx") + " --bricks " + dir->dir() + " --name cube";
        ASSERT_EQ(tolmar(import).status, 0);
    }
    static void TearDownTestSuite() { delete dir; }

    static Drawn render(std::string const& options)
    {
        std::string const png = dir->path("inline.png");
        auto const r = tolmar("render " + dir->path("cube.tmf") + " --inline 1020 --json --force --png " + png + " " +
                              options);
        Drawn d;
        d.err = r.err;
        CPLJSONObject const o = tolmar_test::json_of(r);
        for (double n : tolmar_test::numbers(o, "bricks_per_level")) d.perLevel.push_back(static_cast<int>(n));
        d.fullResolution = o.GetBool("full_resolution", false);
        d.poolBricks = o.GetInteger("pool_bricks");
        d.needed = o.GetInteger("bricks_needed");
        d.transparent = transparent_pixels(png);
        return d;
    }

    static ScratchDir* dir;
};
ScratchDir* RenderPool::dir = nullptr;

TEST_F(RenderPool, DefaultPoolShowsTheWholeSliceAtLevelZero)
{
    Drawn const d = render("");
    EXPECT_TRUE(d.fullResolution);
    EXPECT_EQ(d.perLevel, (std::vector<int>{28, 0, 0, 0}));
    // The slice's level-0 bricks and every coarser one above them.
    EXPECT_EQ(d.needed, 28 + 8 + 2 + 1);
    EXPECT_GE(d.poolBricks, d.needed);
    EXPECT_EQ(d.transparent, 0);
    EXPECT_EQ(d.err, "");
}

TEST_F(RenderPool, TinyBudgetDrawsCoarserBricksWithoutHoles)
{
    // 1 MiB holds ten bricks: the root, both of level 2 and seven of the
    // eight of level 1, coarsest first; nothing is left for level 0.
    Drawn const d = render("--gpu-memory 1");
    EXPECT_FALSE(d.fullResolution);
    EXPECT_EQ(d.poolBricks, 10);
    EXPECT_EQ(d.perLevel, (std::vector<int>{0, 7, 1, 0}));
    EXPECT_EQ(d.transparent, 0);
    EXPECT_NE(d.err.find("warning"), std::string::npos) << d.err;
    EXPECT_NE(d.err.find("needs 39"), std::string::npos) << d.err;

    // Just enough for the slice is enough, and says nothing.
    Drawn const exact = render("--gpu-memory 4");
    EXPECT_TRUE(exact.fullResolution);
    EXPECT_EQ(exact.err, "");
}

TEST_F(RenderPool, CameraAndRefusedArguments)
{
    EXPECT_EQ(render("--camera 30 20").err, "");
    std::string const png = dir->path("refused.png");
    EXPECT_NE(tolmar("render " + dir->path("cube.tmf") + " --inline 9999 --png " + png).status, 0);
    std::ofstream(png) << "taken";
    EXPECT_NE(tolmar("render " + dir->path("cube.tmf") + " --inline 1020 --png " + png).status, 0) << "exists";
}

// The tile path, on the brick file and through the index, and on a GL 1.1
// context coloured on the CPU, draws the picture the brick path draws,
// within what the filters make of it.
TEST_F(RenderPool, TilePathsDrawWhatTheBrickPathDraws)
{
    auto picture = [](std::string const& cube, std::string const& options) {
        std::string const png = dir->path("p.png");
        auto const r = tolmar("render " + cube + " --inline 1020 --force --size 200 160 --png " + png + " " + options);
        EXPECT_EQ(r.status, 0) << r.err;
        return tolmar_test::read_png(png);
    };
    auto const bricks = picture(dir->path("cube.tmf"), "");
    // Mesa presents a GL 1.1 context when told to; the layer takes the tile path there.
    setenv("MESA_GL_VERSION_OVERRIDE", "1.1", 1);
    auto const gl11 = picture(dir->path("cube.tmf"), "");
    auto const gl11Json = tolmar_test::json_of(tolmar("render " + dir->path("cube.tmf") +
                                                      " --inline 1020 --force --json --png " + dir->path("q.png")));
    unsetenv("MESA_GL_VERSION_OVERRIDE");
    EXPECT_EQ(gl11Json.GetString("path"), "tiles");
    EXPECT_NE(gl11Json.GetString("renderer").find(", 1.1 "), std::string::npos) << gl11Json.GetString("renderer");
    for (auto const& other : {picture(dir->path("cube.tmf"), "--path tiles"),
                              picture(dir->path("s.sgy"), "--index " + dir->path("s.idx")), gl11}) {
        ASSERT_EQ(other.rgba.size(), bricks.rgba.size());
        double difference = 0;
        for (std::size_t i = 0; i < bricks.rgba.size(); ++i) difference += std::abs(bricks.rgba[i] - other.rgba[i]);
        EXPECT_LT(difference / static_cast<double>(bricks.rgba.size()), 10.0) << "mean difference per channel";
    }
    // Colour tables by name and from a file; a bad file is one line.
    auto const grey = picture(dir->path("cube.tmf"), "--colour-table grey");
    auto const [r, g, b, a] = grey.at(100, 80);
    EXPECT_EQ(r, g);
    EXPECT_EQ(g, b);
    EXPECT_EQ(a, 255);
    std::string const table = dir->path("table.txt");
    tolmar_test::writeFile(table, {'0', ' ', '0', ' ', '2', '5', '5', '\n', '2', '5', '5', ' ', '0', ' ', '0', '\n'});
    EXPECT_EQ(picture(dir->path("cube.tmf"), "--colour-table " + table).at(100, 80)[1], 0);
    tolmar_test::writeFile(table, {'1', ' ', '2', '\n'});
    auto const bad = tolmar("render " + dir->path("cube.tmf") + " --inline 1020 --force --png " + dir->path("p.png") +
                            " --colour-table " + table);
    EXPECT_NE(bad.err.find("line 1 is not R G B [A]"), std::string::npos) << bad.err;
}

// A pick in the middle of the picture names the trace and sample there and
// the amplitude `tolmar slice` gives for them.
TEST_F(RenderPool, PickInTheMiddleAgreesWithTheSlice)
{
    auto const r = tolmar("pick " + dir->path("cube.tmf") + " --inline 1020 --at 50 100 --json");
    CPLJSONObject const o = tolmar_test::json_of(r);
    EXPECT_EQ(o.GetInteger("inline"), 1020);
    EXPECT_EQ(o.GetInteger("crossline"), 2000 + 2 * 50); // pixel 50 of 100 crosslines, step 2
    EXPECT_NEAR(o.GetDouble("time"), 400, 2);            // pixel 100 of 200 samples of 4 ms
    std::string const raw = dir->path("slice.f32");
    ASSERT_EQ(tolmar("slice --force " + dir->path("cube.tmf") + " --inline 1020 --raw " + raw).status, 0);
    std::vector<float> const slice = tolmar_test::read_floats(raw);
    ASSERT_EQ(slice.size(), 100u * 200u);
    // Raw slices: rows of samples top to bottom, crosslines across.
    EXPECT_FLOAT_EQ(static_cast<float>(o.GetDouble("amplitude")), slice[100 * 100 + 50]);
    EXPECT_NE(tolmar("pick " + dir->path("cube.tmf") + " --inline 1020 --at 50 100").out.find("inl 1020  crl 2100"),
              std::string::npos);
}

} // namespace
