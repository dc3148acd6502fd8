// The GPU brick pool on a headless context: its size from the free memory,
// the reserved cell, fair shares between cubes, the upload budget, eviction,
// the layout map, undefined bricks and the return of slots. Free memory, the
// clock and the choice of wanted bricks come through the pool's seams.

#include <gtest/gtest.h>

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>

#include "debug_capture.h"
#include "foundation/Streamer3DGridReader.h"
#include "graphics/CubeGeometrySource.h"
#include "graphics/GPUCubeMemoryDataSource.h"
#include "graphics/GPUCubeMemoryLineHandler.h"
#include "graphics/GPUCubeMemoryManager.h"
#include "graphics/layout_entry.h"
#include "graphics/headless_gl.h"
#include "segy_test_util.h"

namespace Tolmar {

// The pool's private rounds and lists, for these tests.
struct GPUCubeMemoryProbe {
    static void stream_all(GPUCubeMemoryManager& m, int ms) { m.stream_all(ms); }
    static void poke(GPUCubeMemoryManager& m) { m.poke(); }
    static std::list<vec<unsigned, 3>> const& freelist(GPUCubeMemoryManager& m) { return m.freelist; }
    static std::set<vec<unsigned, 3>> const& used(GPUCubeMemoryManager& m) { return m.used_slots; }
    static std::size_t cubes(GPUCubeMemoryManager& m) { return m.data_sources.size(); }
    static void remove_brick(GPUCubeMemoryManager& m, vec<unsigned, 3> const& slot) { m.remove_brick(slot); }
};

} // namespace Tolmar

namespace {

using namespace Tolmar;
using Probe = GPUCubeMemoryProbe;
using Slot = vec<unsigned, 3>;
using tolmar_test::DebugCapture;
using tolmar_test::ScratchDir;

Slot slot(unsigned x, unsigned y, unsigned z) { return Slot{{x, y, z}}; }
std::uint32_t entry(unsigned x, unsigned y, unsigned z, unsigned char level)
{
    return pack_layout_entry(slot(x, y, z), level);
}

// A brick file of INT8 bricks at level 0, each filled with its id + 1; the
// ids that `defined` refuses stay undefined.
std::string writeCube(ScratchDir const& dir, vec<unsigned, 3> size, std::function<bool(unsigned)> defined)
{
    return tolmar_test::writeBricks(dir.path("cube.tmf"), size, Info3DGrid::INT8, -100, 100, [&](auto const&, Brick& b) {
        if (defined(b.id)) std::fill(b.data.begin(), b.data.end(), static_cast<char>(b.id + 1));
        else b.data.clear();
    });
}

// A renderer that draws a fixed mesh.
struct Mesh : CubeGeometrySource {
    std::vector<int> indices{0, 1, 2};
    std::vector<vec<float, 3>> vertices{{{0, 0, 0}}, {{1, 0, 0}}, {{0, 1, 0}}};
    void get_geometry_in_cubespace(std::vector<int>& i, std::vector<vec<float, 3>>& v) override
    {
        i = indices;
        v = vertices;
    }
};

// A pool of its own whose clock and wanted bricks the test sets.
struct Pool {
    std::uint64_t now = 0;
    std::map<Streamer3DGridReader const*, std::set<BrickKey>> wants;
    std::size_t triangles_seen = 0, vertices_seen = 0;
    std::unique_ptr<GPUCubeMemoryManager> manager;
    Mesh renderer;

    explicit Pool(std::optional<std::uint64_t> free_bytes = std::nullopt)
    {
        GPUCubeMemorySeams seams;
        seams.free_memory_bytes = [free_bytes] { return free_bytes; };
        seams.tick_ms = [this] { return now; };
        seams.select_bricks = [this](std::vector<int> const& i, std::vector<vec<float, 3>> const& v, unsigned,
                                     Streamer3DGridReader const& r, std::set<BrickKey>& w) {
            triangles_seen = i.size() / 3;
            vertices_seen = v.size();
            w = wants[&r];
        };
        manager = std::make_unique<GPUCubeMemoryManager>(seams);
    }
    GPUCubeMemoryManager& operator*() { return *manager; }
    std::list<Slot> const& freelist() { return Probe::freelist(*manager); }
};

class GpuCubeMemory : public testing::Test {
protected:
    void SetUp() override
    {
        std::string error;
        gl = platform::HeadlessGL::create(4, 4, error);
        ASSERT_TRUE(gl) << error;
    }
    // The pool cell at the slot as floats.
    static std::vector<float> cell(GPUCubeMemoryManager& m, Slot s)
    {
        std::vector<float> texels(36 * 36 * 36);
        glGetTextureSubImage(m.data_tex(), 0, static_cast<GLint>(36 * s[0]), static_cast<GLint>(36 * s[1]),
                             static_cast<GLint>(36 * s[2]), 36, 36, 36, GL_RED, GL_FLOAT,
                             static_cast<GLsizei>(texels.size() * sizeof(float)), texels.data());
        return texels;
    }
    std::unique_ptr<platform::HeadlessGL> gl;
    ScratchDir dir;
};

TEST(GpuCubePoolSize, HalfTheFreeMemoryInWholeSlots)
{
    DebugCapture log;
    EXPECT_EQ(GPUCubeMemoryManager::pool_edge_for(std::nullopt), 256u);
    EXPECT_EQ(GPUCubeMemoryManager::pool_edge_for(50000000), 256u);
    EXPECT_EQ(log.text(), "");
    // One byte more uses the formula, though it gives a smaller pool.
    EXPECT_EQ(GPUCubeMemoryManager::pool_edge_for(50000001), 6u * 36);
    EXPECT_EQ(GPUCubeMemoryManager::pool_edge_for(std::uint64_t(1) << 30), 17u * 36);
    EXPECT_EQ(GPUCubeMemoryManager::pool_edge_for(std::uint64_t(1) << 50), 756u * 36);
    EXPECT_NE(log.text().find("612x612x612 = 4913 bricks\n"), std::string::npos) << log.text();
}

TEST_F(GpuCubeMemory, SlotsFillAlongXAndNeverTheReservedCell)
{
    Pool fallback;
    GPUCubeMemoryManager& m = *fallback;
    EXPECT_EQ(m.gpu_mem_size(), slot(256, 256, 256));
    EXPECT_EQ(m.max_bricks_in_gpu_mem(), 7u * 7 * 7 - 1);
    EXPECT_EQ(m.get_freelist_size(), 342u);
    EXPECT_EQ(std::count(fallback.freelist().begin(), fallback.freelist().end(), slot(0, 0, 0)), 0);
    // The reserved cell reads as the greatest half float.
    auto const undefined = cell(m, slot(0, 0, 0));
    EXPECT_TRUE(std::all_of(undefined.begin(), undefined.end(), [](float v) { return v == 65504.0f; }));

    DebugCapture log;
    Probe::remove_brick(m, slot(0, 0, 0));
    EXPECT_EQ(log.text(), "GPUCubeMemoryManager::remove_brick(0,0,0)\n");
    EXPECT_EQ(m.freelist_size(), 342u);

    Pool sized(50000001);
    EXPECT_EQ((*sized).gpu_mem_size(), slot(216, 216, 216));
    EXPECT_EQ((*sized).max_bricks_in_gpu_mem(), 215u);
}

TEST_F(GpuCubeMemory, SmallCubesLeaveTheirShareToLargerOnes)
{
    // 22 x 22 x 22 level-0 bricks, all but the first undefined, so that
    // wanting thousands of them costs no upload.
    std::string const path = writeCube(dir, {{22 * 32, 22 * 32, 22 * 32}}, [](unsigned id) { return id == 0; });
    Pool pool;
    auto small = open_3dgrid_reader(path), large = open_3dgrid_reader(path);
    ASSERT_TRUE(small && large);
    for (unsigned id = 1; id <= 10000; ++id) {
        if (id <= 10) pool.wants[small.get()].insert({0, id});
        pool.wants[large.get()].insert({0, id});
    }
    auto const hs = (*pool).add(small, pool.renderer), hl = (*pool).add(large, pool.renderer);
    (*pool).max_bricks_in_gpu_mem() = 1000;

    Probe::stream_all(*pool, 1000);
    auto const& got = hl->data_source()->resident();
    EXPECT_EQ(hs->data_source()->resident().size(), 10u);
    ASSERT_EQ(got.size(), 990u);
    // The finest keys went: the lowest ids.
    EXPECT_EQ(got.begin()->first, (BrickKey{0, 9011}));
    EXPECT_EQ(got.rbegin()->first, (BrickKey{0, 10000}));
    EXPECT_EQ((*pool).freelist_size(), 342u);
}

// Level 0 is 4 x 2 x 1 bricks, level 1 is 2 x 1 x 1, and the root. Level-0
// position (3,1,0), id 7, holds no data.
class SmallCube : public GpuCubeMemory {
protected:
    void SetUp() override
    {
        GpuCubeMemory::SetUp();
        reader = open_3dgrid_reader(writeCube(dir, {{128, 64, 32}}, [](unsigned id) { return id != 7; }));
        ASSERT_TRUE(reader);
        ASSERT_EQ(reader->get_num_levels(), 3u);
        // Decoded ahead, so that every request is answered in its round.
        std::vector<BrickKey> all{root, l1(0), l1(1)};
        for (unsigned id = 0; id < 7; ++id) all.push_back(l0(id));
        std::vector<Brick> loaded;
        ASSERT_TRUE(reader->get_bricks_blocking(all, loaded));
    }
    static BrickKey l0(unsigned id) { return {0, id}; }
    static BrickKey l1(unsigned id) { return {1, id}; }
    BrickKey const root{2, 0};
    std::shared_ptr<Streamer3DGridReader> reader;
};

TEST_F(SmallCube, RoundsFillTheLayoutAndEvictFromTheLeaves)
{
    Pool pool;
    auto handler = (*pool).add(reader, pool.renderer);
    GPUCubeMemoryDataSource& source = *handler->data_source();
    auto& wanted = pool.wants[reader.get()];
    wanted = {root, l1(0), l1(1)};
    for (unsigned id = 1; id < 8; ++id) wanted.insert(l0(id));

    // Coarse first: the root takes the first slot, then level 1 and level 0
    // by falling id; the undefined brick takes none.
    Probe::stream_all(*pool, 1000);
    std::map<BrickKey, Slot> const first{{root, slot(1, 0, 0)},  {l1(1), slot(2, 0, 0)}, {l1(0), slot(3, 0, 0)},
                                         {l0(7), slot(0, 0, 0)}, {l0(6), slot(4, 0, 0)}, {l0(5), slot(5, 0, 0)},
                                         {l0(4), slot(6, 0, 0)}, {l0(3), slot(0, 1, 0)}, {l0(2), slot(1, 1, 0)},
                                         {l0(1), slot(2, 1, 0)}};
    EXPECT_EQ(source.resident(), first);
    // Position 0 shows its level-1 parent, position 7 is undefined.
    std::vector<std::uint32_t> const level0{entry(3, 0, 0, 1), entry(2, 1, 0, 0), entry(1, 1, 0, 0),
                                            entry(0, 1, 0, 0), entry(6, 0, 0, 0), entry(5, 0, 0, 0),
                                            entry(4, 0, 0, 0), 0};
    EXPECT_EQ(source.layout()[0], level0);
    EXPECT_EQ(source.layout()[1], (std::vector<std::uint32_t>{entry(3, 0, 0, 1), entry(2, 0, 0, 1)}));
    EXPECT_EQ(source.layout()[2], (std::vector<std::uint32_t>{entry(1, 0, 0, 2)}));
    std::vector<std::uint32_t> onGpu(8);
    glGetTextureImage(source.layout_tex(), 0, GL_RGBA, GL_UNSIGNED_BYTE, 8 * 4, onGpu.data());
    EXPECT_EQ(onGpu, level0);
    // The pool holds the bricks' elements: brick id 2 is all 3s, normalised.
    auto const two = cell(*pool, slot(1, 1, 0));
    EXPECT_NEAR(two[0], 3.0 / 127, 1e-3);
    EXPECT_NEAR(two.back(), 3.0 / 127, 1e-3);

    // Level-0 bricks go in key order; level 1 id 1 stays for the undefined
    // child in its area, and position 0 gets its own brick.
    wanted = {root, l1(0), l0(0)};
    Probe::stream_all(*pool, 1000);
    auto const& list = pool.freelist();
    EXPECT_EQ(std::vector<Slot>(std::prev(list.end(), 6), list.end()),
              (std::vector<Slot>{slot(2, 1, 0), slot(1, 1, 0), slot(0, 1, 0), slot(6, 0, 0), slot(5, 0, 0),
                                 slot(4, 0, 0)}));
    EXPECT_EQ(source.resident().at(l0(0)), slot(3, 1, 0));
    EXPECT_EQ(source.resident().size(), 5u);
    EXPECT_EQ(source.layout()[0], (std::vector<std::uint32_t>{entry(3, 1, 0, 0), entry(3, 0, 0, 1), entry(2, 0, 0, 1),
                                                              entry(2, 0, 0, 1), entry(3, 0, 0, 1), entry(3, 0, 0, 1),
                                                              entry(2, 0, 0, 1), 0}));

    // The root stays; a brick whose parent is gone reads as undefined.
    source.evict_brick(root);
    EXPECT_EQ(source.resident().count(root), 1u);
    source.evict_brick(l1(0));
    EXPECT_EQ(source.layout()[1][0], entry(1, 0, 0, 2));
    source.evict_brick(l0(0));
    EXPECT_EQ(source.layout()[0][0], 0u);

    (*pool).remove(handler);
    EXPECT_EQ(Probe::cubes(*pool), 0u);
    EXPECT_EQ((*pool).freelist_size(), 342u);
    EXPECT_TRUE(Probe::used(*pool).empty());
}

TEST(GpuCubePoolSize, ABudgetBuysTheMostWholeCells)
{
    std::uint64_t const cell = GPUCubeMemoryManager::cell_bytes();
    EXPECT_EQ(cell, 2u * 36 * 36 * 36);
    // Never less than the reserved cell and one brick.
    EXPECT_EQ(GPUCubeMemoryManager::pool_slots_for(0, 56), slot(2, 1, 1));
    EXPECT_EQ(GPUCubeMemoryManager::pool_slots_for(1 << 20, 56), slot(11, 1, 1));
    // A prime number of cells past the longest axis loses one, not a face.
    EXPECT_EQ(GPUCubeMemoryManager::pool_slots_for(59 * cell + cell / 2, 56), slot(29, 2, 1));
    EXPECT_EQ(GPUCubeMemoryManager::pool_slots_for(1000 * cell, 56), slot(50, 20, 1));
    EXPECT_EQ(GPUCubeMemoryManager::pool_slots_for(std::uint64_t(1) << 50, 56), slot(56, 56, 56));
}

TEST_F(SmallCube, ResizedPoolStreamsItsCubesAgain)
{
    Pool pool;
    auto handler = (*pool).add(reader, pool.renderer);
    GPUCubeMemoryDataSource& source = *handler->data_source();
    auto& wanted = pool.wants[reader.get()];
    wanted = {root, l1(0), l1(1)};
    for (unsigned id = 0; id < 7; ++id) wanted.insert(l0(id));
    Probe::stream_all(*pool, 1000);
    Probe::stream_all(*pool, 1000);
    ASSERT_EQ(source.resident().size(), 10u);
    ASSERT_FALSE(source.loading());

    // Slots of the old pool mean nothing in the new one: all are dropped.
    (*pool).set_pool_bytes(3 << 20);
    EXPECT_EQ((*pool).gpu_mem_size(), slot(33 * 36, 36, 36));
    EXPECT_EQ((*pool).pool_bytes(), 33 * GPUCubeMemoryManager::cell_bytes());
    EXPECT_TRUE((*pool).max_bricks_in_gpu_mem() == 32 && (*pool).freelist_size() == 32 && Probe::used(*pool).empty());
    EXPECT_TRUE(source.resident().empty() && source.loading());
    for (auto const& level : source.layout())
        EXPECT_TRUE(std::all_of(level.begin(), level.end(), [](std::uint32_t e) { return e == 0; }));

    Probe::stream_all(*pool, 1000);
    EXPECT_EQ(source.resident().size(), 10u);
    EXPECT_EQ(source.resident().at(root), slot(1, 0, 0));
    EXPECT_EQ(source.layout()[0][0], entry(10, 0, 0, 0));
    EXPECT_EQ((*pool).freelist_size(), 22u);
}

TEST_F(SmallCube, UploadBudgetFollowsTheClock)
{
    EXPECT_EQ(GPUCubeMemoryManager::upload_budget(5000, 1), 2000);
    EXPECT_EQ(GPUCubeMemoryManager::upload_budget(5000, 2), 1000);
    // The seconds pass through a float, which costs a brick at 20 ms.
    EXPECT_EQ(GPUCubeMemoryManager::upload_budget(20, 1), 39);

    Pool pool;
    auto handler = (*pool).add(reader, pool.renderer);
    auto const& source = *handler->data_source();
    auto& wanted = pool.wants[reader.get()];
    wanted = {root, l1(0), l1(1)};
    for (unsigned id = 0; id < 7; ++id) wanted.insert(l0(id));

    pool.now = 19; // too soon after tick 0 for a round
    Probe::poke(*pool);
    EXPECT_TRUE(source.resident().empty());
    // Less than a millisecond per cube still lets one brick through.
    Probe::stream_all(*pool, 0);
    EXPECT_EQ(source.resident().size(), 1u);
    Probe::stream_all(*pool, 1);
    EXPECT_EQ(source.resident().size(), 3u);
    pool.now = 5019;
    Probe::poke(*pool);
    EXPECT_EQ(source.resident().size(), 10u);
    EXPECT_TRUE(source.loading()); // as the round began
    pool.now += 20;
    Probe::poke(*pool);
    EXPECT_FALSE(source.loading());
}

TEST_F(SmallCube, RenderersOfOneCubeShareItUntilTheLastLeaves)
{
    Pool pool;
    Mesh second;
    auto a = (*pool).add(reader, pool.renderer), b = (*pool).add(reader, second);
    EXPECT_EQ(a->data_source(), b->data_source());
    pool.wants[reader.get()] = {root};
    Probe::stream_all(*pool, 1000);
    EXPECT_EQ(pool.triangles_seen, 2u);
    EXPECT_EQ(pool.vertices_seen, 6u);
    EXPECT_EQ((*pool).freelist_size(), 341u);

    (*pool).remove(a);
    EXPECT_EQ(Probe::cubes(*pool), 1u);
    EXPECT_EQ((*pool).freelist_size(), 341u);
    (*pool).remove(b);
    EXPECT_EQ(Probe::cubes(*pool), 0u);
    EXPECT_EQ((*pool).freelist_size(), 342u);
    EXPECT_TRUE(b->data_source()->resident().empty());
}

} // namespace
