// The cube layer's renderer on llvmpipe: a brick file on the brick path,
// the same cube forced onto the tile path and the SEG-Y file through its
// index draw the same inline; picks, amplitudes, bounds and slice images.

#include <gtest/gtest.h>

#include <GL/glew.h>

#include <cmath>
#include <set>
#include <thread>
#include <string>
#include <vector>

#include "foundation/Ma.h"
#include "foundation/Streamer3DGridReader.h"
#include "foundation/slices.h"
#include "graphics/SeismicCubeRenderer.h"
#include "graphics/headless_gl.h"
#include "graphics/mat44.h"
#include "segy_test_util.h"
#include "tool_run.h"
#include "wait_for.h"

namespace {

using namespace Tolmar;
using V3 = vec<double, 3>;
constexpr int W = 160, H = 120;

class CubeLayer : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        dir = new tolmar_test::ScratchDir;
        std::string const segy = dir->path("s.sgy");
        ASSERT_EQ(tolmar_test::tolmar("synth --inlines 20 --crosslines 30 --samples 80 --format ieee " + segy).status,
                  0);
        ASSERT_EQ(tolmar_test::tolmar("import " + segy + " --index " + dir->path("s.idx") + " --bricks " +
                                      dir->dir() + " --name cube")
                      .status,
                  0);
    }
    static void TearDownTestSuite() { delete dir; }

    void SetUp() override
    {
        std::string error;
        gl = platform::HeadlessGL::create(W, H, error);
        ASSERT_TRUE(gl) << error;
    }

    std::unique_ptr<SeismicCubeRenderer> open(bool indexed)
    {
        gl->bind();
        auto r = std::make_unique<SeismicCubeRenderer>();
        EXPECT_TRUE(r->init_datasource(indexed, dir->path("s.sgy"), dir->path("s.idx"), dir->path("cube.tmf")));
        r->set_exaggeration_factor(2.0);
        return r;
    }

    // Frames of the inline in the middle, seen square on from the side of
    // its first inline, until nothing is loading any more.
    std::vector<unsigned char> draw(SeismicCubeRenderer& r)
    {
        r.set_crossplane_sliders(vec<float, 3>{{0.5f, 0.5f, 0.5f}});
        r.cube_slice().updateFrame(0.5);
        vec<double, 4> x{}, y{}, z{};
        r.cube_slice().get_frame_outline_corners(x, y, z);
        V3 n{};
        r.cube_slice().get_normal(n);
        double const e = r.get_exaggeration_factor();
        V3 const centre{{(x[0] + x[1]) / 2, (y[0] + y[1]) / 2, -(z[0] + z[2]) / 2 * e}};
        double const halfW = std::hypot(x[1] - x[0], y[1] - y[0]) / 2, halfH = std::fabs(z[0] - z[2]) * e / 2;
        V3 const eye = centre - n * (4 * halfW);
        double camera[16];
        camera_lookat_orientation_matrix(eye, centre, V3{{0, 0, 1}}, camera);
        r.set_camera_transformation(camera, eye);
        gl->bind();
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glOrtho(-halfW, halfW, -halfH, halfH, halfW, 8 * halfW);
        std::vector<unsigned char> picture;
        tolmar_test::waitFor([&] {
            glMatrixMode(GL_MODELVIEW);
            glLoadMatrixd(camera);
            glTranslated(-eye[0], -eye[1], -eye[2]);
            glClearColor(0, 0, 0, 0);
            glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
            r.draw();
            picture = gl->read_pixels();
            std::this_thread::sleep_for(std::chrono::milliseconds(60));
            return !r.is_done_loading_data() && opaque(picture) > W * H / 2;
        });
        return picture;
    }

    static long opaque(std::vector<unsigned char> const& p)
    {
        long n = 0;
        for (std::size_t i = 3; i < p.size(); i += 4) n += p[i] == 255;
        return n;
    }

    static tolmar_test::ScratchDir* dir;
    std::unique_ptr<platform::HeadlessGL> gl;
};
tolmar_test::ScratchDir* CubeLayer::dir = nullptr;

TEST_F(CubeLayer, BothPathsDrawTheSameInline)
{
    auto bricks = open(false);
    ASSERT_TRUE(bricks->uses_brick_path());
    auto const brickPicture = draw(*bricks);
    bricks->set_force_tile_path(true);
    auto const tilePicture = draw(*bricks);
    auto indexed = open(true);
    EXPECT_FALSE(indexed->uses_brick_path());
    auto const indexPicture = draw(*indexed);

    // The amplitudes show: many colours, not one flat grey.
    std::set<int> greens;
    for (std::size_t i = 0; i < brickPicture.size(); i += 4) greens.insert(brickPicture[i + 1]);
    EXPECT_GT(greens.size(), 50u);
    for (auto const* other : {&tilePicture, &indexPicture}) {
        long compared = 0;
        double difference = 0;
        for (std::size_t i = 0; i < brickPicture.size(); i += 4) {
            if (brickPicture[i + 3] != 255 || (*other)[i + 3] != 255) continue;
            ++compared;
            for (int c = 0; c < 3; ++c) difference += std::abs(brickPicture[i + c] - (*other)[i + c]);
        }
        EXPECT_GT(compared, W * H / 2);
        EXPECT_LT(difference / (3.0 * compared), 12.0) << "mean difference per channel";
    }
}

TEST_F(CubeLayer, PicksAmplitudesBoundsAndImages)
{
    auto const table = SeismicCubeRenderer::create_default_col_tab_data();
    EXPECT_EQ(table[127], (vec<unsigned char, 4>{{255, 253, 253, 255}}));
    EXPECT_EQ(table[255], (vec<unsigned char, 4>{{1, 1, 1, 255}}));

    auto r = open(false);
    vec<int, 3> const inl = r->get_dim(0), crl = r->get_dim(1);
    r->set_crossplane_sliders(vec<float, 3>{{0.5f, 0.5f, 0.5f}});
    int const line = r->get_pos_round(0);
    EXPECT_EQ(line, Ma::fromDoubleToInt(0.5, inl[0], inl[1], inl[2]));

    // Amplitudes against the slice read directly.
    std::vector<float> slice;
    vec<int, 2> size{};
    auto grid = open_3dgrid_reader(dir->path("cube.tmf"));
    ASSERT_TRUE(iline(grid, line, slice, size));
    float value = 0;
    ASSERT_TRUE(r->get_amplitude(line, crl[0] + 3 * crl[2], 40, value));
    EXPECT_EQ(value, slice[static_cast<std::size_t>(3) * size[0] + 10]);
    auto indexed = open(true);
    float fromIndex = 0;
    ASSERT_TRUE(indexed->get_amplitude(line, crl[0] + 3 * crl[2], 40, fromIndex));
    EXPECT_EQ(fromIndex, value);

    // A ray down onto the time slice at 40 ms hits the trace below it.
    r->set_slice_direction(2);
    r->set_crossplane_sliders(vec<float, 3>{{0.5f, 0.5f, 40.0f / 316}});
    r->cube_slice().updateFrame(r->get_pos(2));
    double bounds[6];
    r->get_bounds(bounds);
    EXPECT_LT(bounds[0], bounds[1]);
    EXPECT_EQ(bounds[4], 0);
    vec<double, 4> x{}, y{}, z{};
    r->cube_slice().get_frame_outline_corners(x, y, z);
    double distance = 0;
    std::wstring text;
    V3 const above{{(x[0] + x[2]) / 2, (y[0] + y[2]) / 2, 100}};
    r->set_cube_name(L"a cube with a long name");
    r->get_ray_slice_distance(above, V3{{0, 0, -1}}, &distance, &text);
    EXPECT_NEAR(distance, 100 + z[0] * r->get_exaggeration_factor(), 1e-6);
    EXPECT_NE(text.find(L";a cube wi...: inl "), std::wstring::npos);
    EXPECT_NE(text.find(L"z/twt 40"), std::wstring::npos);
    r->get_ray_slice_distance(above, V3{{1, 0, 0}}, &distance, &text);
    EXPECT_EQ(distance, -1);

    short w = 0, h = 0;
    std::vector<vec<unsigned char, 4>> image;
    ASSERT_TRUE(r->getSliceAsTexture(0.5, 0, 2, w, h, image));
    EXPECT_EQ(w, 2 * size[0]);
    EXPECT_EQ(h, 2 * size[1]);
    EXPECT_EQ(image.size(), static_cast<std::size_t>(w) * h);
    std::vector<unsigned long long> histogram;
    r->get_histogram(histogram);
    EXPECT_FALSE(histogram.empty());
}

} // namespace
