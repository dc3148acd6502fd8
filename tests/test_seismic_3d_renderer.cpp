// Seismic3DRenderer: the brick selection walk, and slices drawn offscreen
// through a pool of its own, compared pixel by pixel with the same addressing,
// B-spline filter and colour table worked out on the CPU from the same bricks.

#include <gtest/gtest.h>

#include <GL/glew.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <numeric>
#include <optional>

#include "debug_capture.h"
#include "foundation/Streamer3DGridReader.h"
#include "graphics/GPUCubeMemoryDataSource.h"
#include "graphics/GPUCubeMemoryLineHandler.h"
#include "graphics/GPUCubeMemoryManager.h"
#include "graphics/Seismic3DRenderer.h"
#include "graphics/cube_value_mapping.h"
#include "graphics/layout_entry.h"
#include "graphics/headless_gl.h"
#include "segy_test_util.h"

namespace {

using namespace Tolmar;
using V3 = vec<float, 3>;
using Keys = std::set<BrickKey>;

constexpr int kBrick = 36, kBorder = 2, kCore = 32;

// Smooth, so that half-float texels and float arithmetic stay far below
// a colour step.
double amplitude(int x, int y, int z) { return 90.0 * std::sin(0.21 * x + 0.05 * z) * std::cos(0.13 * y) + 0.1 * z; }

// A brick file of amplitude() over (samples, crosslines, inlines); the
// level-0 bricks named in `undefined` hold no data.
std::string writeCube(tolmar_test::ScratchDir const& dir, vec<unsigned, 3> size, Info3DGrid::eDataType type,
                      std::set<unsigned> undefined = {})
{
    auto const fill = [&](Streamer3DGridLowLevelWriter const& w, Brick& b) {
        if (undefined.count(b.id)) return b.data.clear();
        auto const p = w.grid().id2pos({0, b.id});
        auto* f = reinterpret_cast<float*>(b.data.data());
        for (int i = 0, n = 0; i < kBrick; ++i)
            for (int j = 0; j < kBrick; ++j)
                for (int k = 0; k < kBrick; ++k, ++n) {
                    double const v = amplitude(int(p[0]) * kCore - kBorder + k, int(p[1]) * kCore - kBorder + j,
                                               int(p[2]) * kCore - kBorder + i);
                    if (type == Info3DGrid::FLOAT) f[n] = static_cast<float>(v);
                    else b.data[std::size_t(n)] = static_cast<char>(v);
                }
    };
    return tolmar_test::writeBricks(dir.path("cube" + std::to_string(type) + ".tmf"), size, type, -100, 100, fill);
}

Keys select(Streamer3DGridReader const& reader, std::vector<V3> const& vertices, unsigned limit = 1000)
{
    std::vector<int> indices(vertices.size());
    std::iota(indices.begin(), indices.end(), 0);
    Keys wanted;
    Seismic3DRenderer::select_wanted_bricks(indices, vertices, limit, reader, wanted);
    return wanted;
}

// A triangle covering the whole plane x = c, or z = c, of the cube.
std::vector<V3> planeX(float c) { return {{{c, -1, -1}}, {{c, 3, -1}}, {{c, -1, 3}}}; }
std::vector<V3> planeZ(float c) { return {{{-1, -1, c}}, {{3, -1, c}}, {{-1, 3, c}}}; }

TEST(BrickSelection, WalksLevelByLevelUntilTheLimit)
{
    tolmar_test::ScratchDir dir;
    auto single = open_3dgrid_reader(writeCube(dir, {{20, 20, 20}}, Info3DGrid::FLOAT));
    ASSERT_TRUE(single);
    EXPECT_EQ(select(*single, planeX(0.3f)), (Keys{{0, 0}}));

    // Two level-0 bricks along x that meet at 0.5. A plane within a
    // hundredth of a brick (0.005) of the face takes both.
    auto pair = open_3dgrid_reader(writeCube(dir, {{64, 32, 32}}, Info3DGrid::INT8));
    ASSERT_TRUE(pair);
    EXPECT_EQ(select(*pair, planeX(0.5f)), (Keys{{1, 0}, {0, 0}, {0, 1}}));
    EXPECT_EQ(select(*pair, planeX(0.504f)), (Keys{{1, 0}, {0, 0}, {0, 1}}));
    EXPECT_EQ(select(*pair, planeX(0.506f)), (Keys{{1, 0}, {0, 1}}));
    EXPECT_EQ(select(*pair, planeX(0.7f), 1), (Keys{{1, 0}}));
    EXPECT_EQ(select(*pair, {}), (Keys{{1, 0}}));
    EXPECT_EQ(select(*pair, planeX(2.0f)), (Keys{{1, 0}}));

    // Counts (2,3,4), (1,2,2), (1,1,1). The plane z = 0.3945 lies in level-0
    // row z 1 (ids 6..11, of which 9 is undefined) and level-1 row z 0.
    auto cube = open_3dgrid_reader(writeCube(dir, {{40, 70, 100}}, Info3DGrid::FLOAT, {9}));
    ASSERT_TRUE(cube);
    auto const z = planeZ(0.3945f);
    EXPECT_EQ(select(*cube, z), (Keys{{2, 0}, {1, 0}, {1, 1}, {0, 6}, {0, 7}, {0, 8}, {0, 10}, {0, 11}}));
    EXPECT_EQ(select(*cube, z, 3), (Keys{{2, 0}, {1, 0}, {1, 1}}));
    EXPECT_EQ(select(*cube, z, 4), (Keys{{2, 0}, {1, 0}, {1, 1}, {0, 6}}));
}

// Half-float precision of the pool's texels, rounding to nearest.
double toHalf(double v)
{
    if (!std::isfinite(v)) return v;
    if (std::fabs(v) >= 65520.0) return std::copysign(INFINITY, v);
    int e = 0;
    std::frexp(v, &e);
    double const quantum = std::ldexp(1.0, std::max(e - 11, -24));
    return std::nearbyint(v / quantum) * quantum;
}

class RenderedSlice : public testing::Test {
protected:
    static constexpr int W = 96, H = 100;
    static constexpr float kInlineCoord = 50.5f / 100; // inline index 50 of 100

    void SetUp() override
    {
        std::string error;
        gl = platform::HeadlessGL::create(W, H, error);
        ASSERT_TRUE(gl) << error;
        reader = open_3dgrid_reader(writeCube(dir, {{40, 70, 100}}, Info3DGrid::FLOAT, {9}));
        ASSERT_TRUE(reader);
        GPUCubeMemorySeams seams;
        seams.free_memory_bytes = [] { return std::optional<std::uint64_t>(); };
        seams.tick_ms = [this] { return now; };
        pool = std::make_unique<GPUCubeMemoryManager>(seams);
        renderer = std::make_unique<Seismic3DRenderer>(pool.get());
        renderer->set_3d_grid_reader(reader);
        renderer->start(false);
        ASSERT_NE(renderer->get_program().program, 0u);

        for (int i = 0; i < 256; ++i)
            table.push_back({static_cast<unsigned char>(i), static_cast<unsigned char>(255 - i),
                             static_cast<unsigned char>(128 + 127 * std::sin(i / 40.0)), 255});
        glGenTextures(1, &colTab);
        glBindTexture(GL_TEXTURE_1D, colTab);
        glTexImage1D(GL_TEXTURE_1D, 0, GL_RGBA8, 256, 0, GL_RGBA, GL_UNSIGNED_BYTE, table.data());
        renderer->setColTabTex(colTab);

        // A quad over the whole image whose cube coordinates reach a tenth
        // beyond the cube on each side, so the padding shows as well.
        RenderGeometry quad;
        quad.indices = {0, 1, 2, 0, 2, 3};
        int const corners[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
        for (auto [x, y] : corners) {
            quad.vertices.push_back({{double(x), double(y), 0.0}});
            quad.cube_coords.push_back({{-0.1 + 1.2 * x, -0.1 + 1.2 * y, kInlineCoord}});
        }
        config.geometry = {quad};
        config.original_amp_range = {{-100, 100}};
        config.effective_amp_range = {{-80, 80}};
        renderer->set_render_config(config);

        // Decoded ahead, so that each round gets every brick it asks for.
        std::vector<BrickKey> all;
        for (unsigned l = 0; l < reader->get_num_levels(); ++l)
            for (unsigned id = 0; id < reader->grid().bricks_in_level(l); ++id) all.push_back({l, id});
        std::vector<Brick> bricks;
        ASSERT_TRUE(reader->get_bricks_blocking(all, bricks));
        for (Brick& b : bricks) data[b] = std::move(b.data);
    }
    void TearDown() override
    {
        renderer.reset();
        pool.reset();
        if (gl) glDeleteTextures(1, &colTab);
    }

    // Frames a second apart until the pool has all it wants; the last one.
    std::vector<unsigned char> draw()
    {
        gl->bind();
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glOrtho(0, 1, 0, 1, -1, 1);
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        for (int frame = 0; frame < 10; ++frame) {
            glClearColor(0, 0, 0, 0);
            glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
            now += 1000;
            renderer->render();
            if (frame > 0 && !renderer->is_loading_data()) break;
        }
        return gl->read_pixels();
    }

    GPUCubeMemoryDataSource const& source() { return *renderer->get_line_handler()->data_source(); }

    // What the shader computes at a cube coordinate: an RGBA colour, the
    // clear colour for a discarded fragment, or nullopt where float rounding
    // may go either way (a brick or cube edge, a colour from an undefined
    // texel among the taps).
    using Rgba = std::array<double, 4>;
    std::optional<Rgba> expected(double const (&coord)[3])
    {
        vec<double, 3> const range = renderer->valid_data_range();
        auto const& counts = reader->get_level_counts()[0];
        double k[3];
        for (int a = 0; a < 3; ++a) {
            double const p = coord[a] * range[a];
            if (std::fabs(p) < 1e-5 || std::fabs(p - range[a]) < 1e-5) return std::nullopt;
            if (p < 0 || p > range[a]) return Rgba{};
            k[a] = counts[a] * p;
            if (std::fabs(k[a] - std::round(k[a])) < 1e-4) return std::nullopt;
        }
        unsigned const id = reader->pos2id(unsigned(k[0]), unsigned(k[1]), unsigned(k[2]), 0);
        LayoutEntry const e = unpack_layout_entry(source().layout()[0][id]);
        if (e.slot == vec<unsigned, 3>{{0, 0, 0}}) return Rgba{};
        std::vector<char> const* brick = nullptr;
        for (auto const& [key, slot] : source().resident())
            if (slot == e.slot) brick = &data.at(key);
        EXPECT_TRUE(brick);
        if (!brick) return std::nullopt;

        CubeValueMapping const m = cube_value_mapping(*reader);
        int index[3];
        double w[3][4];
        for (int a = 0; a < 3; ++a) {
            double const levelK = k[a] / std::ldexp(1.0, int(e.level));
            double const c = (levelK - std::floor(levelK)) * kCore + kBorder - 0.5;
            double const f = c - std::floor(c);
            index[a] = int(std::floor(c));
            w[a][0] = (1 - f) * (1 - f) * (1 - f) / 6;
            w[a][1] = 2.0 / 3 - 0.5 * f * f * (2 - f);
            w[a][2] = 2.0 / 3 - 0.5 * (1 - f) * (1 - f) * (1 + f);
            w[a][3] = f * f * f / 6;
        }
        double v = 0;
        bool undefinedTap = false;
        for (int dz = 0; dz < 4; ++dz)
            for (int dy = 0; dy < 4; ++dy)
                for (int dx = 0; dx < 4; ++dx) {
                    std::size_t const n =
                        (std::size_t(index[2] - 1 + dz) * kBrick + std::size_t(index[1] - 1 + dy)) * kBrick +
                        std::size_t(index[0] - 1 + dx);
                    float raw;
                    std::memcpy(&raw, brick->data() + n * sizeof raw, sizeof raw);
                    // The pool keeps undefined samples at the greatest half float.
                    double const texel = toHalf(std::clamp((raw - m.translate) * m.scale, -65504.0, 65504.0));
                    undefinedTap = undefinedTap || texel == 65504.0;
                    v += w[0][dx] * w[1][dy] * w[2][dz] * texel;
                }
        v = v / m.scale + m.translate;
        double const undef = std::fabs(config.original_amp_range[1]) + 1.0;
        if (v >= undef) return Rgba{};
        // A small weight on an undefined texel is more than the GPU's
        // filter weights resolve.
        if (undefinedTap) return std::nullopt;
        double const u = std::clamp((v - config.effective_amp_range[0]) /
                                        (config.effective_amp_range[1] - config.effective_amp_range[0]),
                                    0.01, 0.99);
        // The colour table's linear filter, clamped at the edges.
        double const x = u * 256 - 0.5, fx = x - std::floor(x);
        int const i0 = std::clamp(int(std::floor(x)), 0, 255), i1 = std::clamp(int(std::floor(x)) + 1, 0, 255);
        Rgba rgba{0, 0, 0, 255.0 * config.opacity};
        for (std::size_t ch = 0; ch < 3; ++ch) rgba[ch] = table[i0][ch] * (1 - fx) + table[i1][ch] * fx;
        return rgba;
    }

    // Every pixel against expected(); returns the counts of coloured and
    // background pixels compared.
    std::pair<int, int> compare(std::vector<unsigned char> const& pixels)
    {
        int coloured = 0, background = 0, bad = 0;
        for (int py = 0; py < H; ++py)
            for (int px = 0; px < W; ++px) {
                double const coord[3] = {-0.1 + 1.2 * (px + 0.5) / W, -0.1 + 1.2 * (H - py - 0.5) / H,
                                         kInlineCoord};
                auto const want = expected(coord);
                if (!want) continue;
                ++((*want)[3] == 0 ? background : coloured);
                unsigned char const* got = &pixels[(std::size_t(py) * W + std::size_t(px)) * 4];
                std::string text;
                for (std::size_t ch = 0; ch < 4; ++ch)
                    if (std::fabs(got[ch] - (*want)[ch]) > 2.0)
                        text += " channel " + std::to_string(ch) + ": " + std::to_string(got[ch]) + " not " +
                                std::to_string((*want)[ch]);
                if (!text.empty() && ++bad <= 5) ADD_FAILURE() << "pixel (" << px << "," << py << ")" << text;
            }
        EXPECT_EQ(bad, 0);
        return {coloured, background};
    }

    std::uint64_t now = 0;
    tolmar_test::ScratchDir dir;
    std::unique_ptr<platform::HeadlessGL> gl;
    std::shared_ptr<Streamer3DGridReader> reader;
    std::unique_ptr<GPUCubeMemoryManager> pool;
    std::unique_ptr<Seismic3DRenderer> renderer;
    std::vector<std::array<unsigned char, 4>> table;
    unsigned colTab = 0;
    RenderConfig config;
    std::map<BrickKey, std::vector<char>> data;
};

TEST_F(RenderedSlice, MatchesTheFilterWorkedOutOnTheCpu)
{
    tolmar_test::DebugCapture log;
    auto const pixels = draw();
    EXPECT_FALSE(renderer->is_loading_data());
    // The root, level-1 brick 0 and the slice's five defined level-0 bricks;
    // the undefined one is not wanted, and its layout entry reads undefined.
    EXPECT_EQ(source().resident().size(), 8u);
    EXPECT_EQ(source().resident().count({0, 9}), 0u);
    EXPECT_EQ(source().layout()[0][9], 0u);
    auto const [coloured, background] = compare(pixels);
    // Most of the picture is compared; the undefined brick and the padding
    // beyond the cube show the background.
    EXPECT_GT(coloured, W * H / 2);
    EXPECT_GT(background, W * H / 5);
    EXPECT_EQ(log.text().find("glError"), std::string::npos) << log.text();

    // What the pool saw is this frame's mesh in its normalised space.
    std::vector<int> indices;
    std::vector<V3> vertices;
    renderer->get_geometry_in_cubespace(indices, vertices);
    EXPECT_EQ(indices, (std::vector<int>{0, 1, 2, 0, 2, 3}));
    ASSERT_EQ(vertices.size(), 4u);
    EXPECT_FLOAT_EQ(vertices[2][0], static_cast<float>(1.1 * 40 / 64));
    EXPECT_FLOAT_EQ(vertices[2][2], static_cast<float>(kInlineCoord * 100 / 128));
}

TEST_F(RenderedSlice, WithALimitOfOneTheRootShowsThrough)
{
    pool->max_bricks_in_gpu_mem() = 1;
    auto const pixels = draw();
    ASSERT_EQ(source().resident().size(), 1u);
    EXPECT_EQ(source().resident().begin()->first, (BrickKey{2, 0}));
    for (std::uint32_t entry : source().layout()[0])
        EXPECT_TRUE(entry == 0 || unpack_layout_entry(entry).level == 2);
    // Less is compared: the root's filter reaches further into the samples
    // it averaged as undefined around the missing brick.
    EXPECT_GT(compare(pixels).first, W * H / 3);
}

TEST_F(RenderedSlice, StateUniformsAndEmptyGeometry)
{
    // Opacity goes out as alpha, and blending stays the caller's.
    config.opacity = 0.5f;
    renderer->set_render_config(config);
    auto pixels = draw();
    EXPECT_FALSE(glIsEnabled(GL_BLEND));
    EXPECT_NEAR(pixels[(std::size_t(H / 4) * W + W / 4) * 4 + 3], 128, 1);

    // Nothing to draw: nothing drawn, and the pool keeps just the root.
    renderer->set_render_config(RenderConfig{});
    pixels = draw();
    for (std::size_t i = 3; i < pixels.size(); i += 4) ASSERT_EQ(pixels[i], 0) << i;
    std::vector<int> indices{0};
    std::vector<V3> vertices{{{0, 0, 0}}};
    renderer->get_geometry_in_cubespace(indices, vertices);
    EXPECT_TRUE(indices.empty() && vertices.empty());

    // An 8-bit cube's amplitudes reach the shader on GL's normalised scale.
    auto bytes = open_3dgrid_reader(writeCube(dir, {{32, 32, 32}}, Info3DGrid::INT8));
    ASSERT_TRUE(bytes);
    Seismic3DRenderer second(pool.get());
    second.set_3d_grid_reader(bytes);
    second.start(true);
    RenderConfig c = config;
    c.effective_amp_range = {{-64, 64}};
    second.set_render_config(c);
    second.render();
    GLuint const p = second.get_program().program;
    ASSERT_NE(p, 0u);
    float amp[2] = {0, 0}, undef = 0;
    glGetUniformfv(p, glGetUniformLocation(p, "amp_range"), amp);
    glGetUniformfv(p, glGetUniformLocation(p, "undef_value"), &undef);
    EXPECT_FLOAT_EQ(amp[0], -0.5f);
    EXPECT_FLOAT_EQ(amp[1], 0.5f);
    EXPECT_FLOAT_EQ(undef, 0.99f);
}

} // namespace
