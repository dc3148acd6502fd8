// The tile renderer on llvmpipe: both ways of colouring draw a tile's
// amplitudes through the colour table, undefined amplitudes stay clear, a
// foreign context gets its own textures, and tiles live until invalidated.

#include <gtest/gtest.h>

#include <GL/glew.h>

#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "graphics/headless_gl.h"
#include "graphics/tile_renderer/TileRenderer.h"

namespace {

using namespace Tolmar;
using Tile = TileDataSourceInterface::TextureTile;
constexpr int W = 64, H = 32;
constexpr float kUndefined = 1e30f;

// Hands out the tiles it is given, once each.
class GivenTiles : public TileDataSourceInterface {
public:
    std::map<int, Tile> next;
    bool get_tiles(std::map<int, Tile>& out, bool) override
    {
        out.swap(next);
        next.clear();
        return !out.empty();
    }

protected:
    void restart() override {}
};

// A W x H tile over the unit square, its texel centres on the square's
// edges; amplitude = column, and one row undefined.
Tile ramp_tile(int undefinedRow = -1)
{
    Tile t;
    t.width = W;
    t.height = H;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) t.data.push_back(y == undefinedRow ? kUndefined : static_cast<float>(x));
    t.spacing.set(1.0f / W, 1.0f / H);
    float const u0 = 0.5f / W, u1 = (W - 0.5f) / W, v0 = 0.5f / H, v1 = (H - 0.5f) / H;
    t.vertices = {vec<float, 3>{{0, 1, 0}}, vec<float, 3>{{1, 1, 0}}, vec<float, 3>{{1, 0, 0}}, vec<float, 3>{{0, 0, 0}}};
    t.tex_coords = {vec<float, 2>{{u0, v1}}, vec<float, 2>{{u1, v1}}, vec<float, 2>{{u1, v0}}, vec<float, 2>{{u0, v0}}};
    t.indices = {0, 1, 3, 1, 2, 3};
    return t;
}

class TileRendering : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string error;
        gl = platform::HeadlessGL::create(W, H, error);
        ASSERT_TRUE(gl) << error;
        for (int i = 0; i < 256; ++i) grey.push_back(vec<unsigned char, 4>{{static_cast<unsigned char>(i),
                                                                           static_cast<unsigned char>(i),
                                                                           static_cast<unsigned char>(i), 255}});
    }

    std::shared_ptr<TileRenderer> renderer(bool gl11, std::shared_ptr<GivenTiles> const& source)
    {
        gl->bind();
        auto r = std::make_shared<TileRenderer>(gl11);
        r->set_data_source(source);
        r->set_color_table_data(grey);
        r->set_render_config(RenderConfigTile2D{vec<float, 2>{{0, W - 1}}, vec<float, 2>{{-5, W}}});
        return r;
    }

    static std::vector<unsigned char> draw(platform::HeadlessGL& target, TileRenderer& r)
    {
        target.bind();
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glOrtho(0, 1, 0, 1, -1, 1);
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        r.draw();
        return target.read_pixels();
    }

    // Every pixel the grey of its column's amplitude through the table, or
    // clear on the undefined row (pictures count rows from the top): the
    // shader discards it, the CPU path's linear filter lets a little of the
    // next row in.
    static void expect_ramp(std::vector<unsigned char> const& rgba, int undefinedRow, char const* path)
    {
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x) {
                unsigned char const* p = &rgba[(static_cast<std::size_t>(y) * W + x) * 4];
                if (H - 1 - y == undefinedRow) {
                    ASSERT_LT(p[3], 64) << path << " at " << x << ", " << y;
                    continue;
                }
                if (std::abs(H - 1 - y - undefinedRow) <= 2) continue; // the filter's reach
                double const amplitude = (W - 1.0) * (x + 0.5) / W;
                double const grey = std::clamp(amplitude / (W - 1) * 256 - 0.5, 0.0, 255.0);
                ASSERT_NEAR(p[0], grey, 4.5) << path << " at " << x << ", " << y;
                ASSERT_EQ(p[3], 255) << path << " at " << x << ", " << y;
            }
    }

    std::unique_ptr<platform::HeadlessGL> gl;
    std::vector<vec<unsigned char, 4>> grey;
};

TEST_F(TileRendering, ShaderAndCpuPathsColourTheSameAmplitudes)
{
    for (bool gl11 : {false, true}) {
        auto source = std::make_shared<GivenTiles>();
        source->next[0] = ramp_tile(10);
        auto r = renderer(gl11, source);
        if (!gl11) {
            ASSERT_NE(r->get_program().program, 0u);
        }
        expect_ramp(draw(*gl, *r), 10, gl11 ? "GL 1.1" : "shader");
        EXPECT_EQ(r->texture_count(), 1u);
        if (!gl11) {
            float maxDefined = 0;
            glGetUniformfv(r->get_program().program,
                           glGetUniformLocation(r->get_program().program, "MaxDefinedAmplitude"), &maxDefined);
            EXPECT_EQ(maxDefined, W + 1.0f); // the larger magnitude of the data range, and one
        }
    }
}

TEST_F(TileRendering, AForeignContextGetsTexturesOfItsOwn)
{
    auto source = std::make_shared<GivenTiles>();
    source->next[0] = ramp_tile();
    auto r = renderer(false, source);
    std::string error;
    auto print = platform::HeadlessGL::create(W, H, error);
    ASSERT_TRUE(print) << error;
    expect_ramp(draw(*print, *r), -10, "one-shot");
    EXPECT_EQ(r->texture_count(), 0u) << "nothing uploaded for the renderer's own context";
    EXPECT_EQ(r->get_tiles().size(), 1u);
    gl->bind();
}

TEST_F(TileRendering, TilesStayUntilInvalidated)
{
    auto source = std::make_shared<GivenTiles>();
    source->next = {{0, ramp_tile()}, {1, ramp_tile()}};
    auto r = renderer(false, source);
    draw(*gl, *r);
    source->next = {{0, ramp_tile()}}; // a smaller plane after a restart
    draw(*gl, *r);
    EXPECT_EQ(r->get_tiles().size(), 2u);
    EXPECT_EQ(r->texture_count(), 2u);
    r->invalidate_data();
    EXPECT_TRUE(r->get_tiles().empty());
    EXPECT_EQ(r->texture_count(), 0u);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

} // namespace
