// The brick file: what is written is read back at every level, coarser levels
// are the averages of what they cover, damage is caught, and readers stand
// up to many threads.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <thread>
#include <tuple>
#include <xxhash.h>

#include "wait_for.h"
#include "debug_capture.h"
#include "foundation/DirectFileWriter.h"
#include "foundation/Streamer3DGridLowLevelWriter.h"
#include "foundation/Streamer3DGridReader.h"
#include "segy_test_util.h"

namespace {

using tolmar_test::waitFor;

using Tolmar::Brick;
using Tolmar::BrickGrid;
using Tolmar::BrickKey;
using Tolmar::Info3DGrid;
using Tolmar::vec;
using tolmar_test::DebugCapture;
using tolmar_test::ScratchDir;

constexpr unsigned kBs = 36, kBorder = 2, kCore = 32;

template <class F>
auto byType(Info3DGrid::eDataType type, F&& f)
{
    switch (type) {
    case Info3DGrid::INT8: return f(std::int8_t{});
    case Info3DGrid::INT16: return f(std::int16_t{});
    default: return f(float{});
    }
}

// A 100 x 70 x 66 cube (samples, crosslines, inlines): 4 x 3 x 3 bricks,
// then 2 x 2 x 2, then the root, so level-1 bricks have neighbours along
// every axis. The level-0 bricks (2, 2, 2) and (3, 2, 2), the only children of
// level-1 brick (1, 1, 1), are undefined, and so is (0, 1, 1). Every level
// is worked out here on whole arrays, apart from any brick, as the average
// of the level below.
struct Model {
    Info3DGrid::eDataType type;
    vec<unsigned, 3> total{{100, 70, 66}};
    BrickGrid grid{total, kBs, kBorder};
    double undef;
    std::vector<std::vector<double>> level;  // values over counts * core per axis
    std::vector<std::vector<char>> defined; // per level, per id

    explicit Model(Info3DGrid::eDataType t) : type(t)
    {
        undef = t == Info3DGrid::INT8 ? 127 : t == Info3DGrid::INT16 ? 32767 : std::numeric_limits<float>::max();
        defined.emplace_back(grid.bricks_in_level(0), 1);
        for (unsigned x : {2u, 3u}) defined[0][grid.pos2id(x, 2, 2, 0)] = 0;
        defined[0][grid.pos2id(0, 1, 1, 0)] = 0;
        for (unsigned l = 1; l < grid.num_levels(); ++l) {
            defined.emplace_back(grid.bricks_in_level(l), 0);
            BrickKey parent;
            for (unsigned id = 0; id < grid.bricks_in_level(l - 1); ++id)
                if (defined[l - 1][id] && grid.get_parent({l - 1, id}, parent)) defined[l][parent.id] = 1;
        }
        for (unsigned l = 0; l < grid.num_levels(); ++l) {
            auto const e = extent(l);
            std::vector<double> v(static_cast<std::size_t>(e[0]) * e[1] * e[2], undef);
            for (unsigned z = 0; z < e[2]; ++z)
                for (unsigned y = 0; y < e[1]; ++y)
                    for (unsigned x = 0; x < e[0]; ++x)
                        v[(std::size_t(z) * e[1] + y) * e[0] + x] = l == 0 ? value0(x, y, z) : average(l, x, y, z);
            level.push_back(std::move(v));
        }
    }
    vec<unsigned, 3> extent(unsigned l) const { return grid.counts(l) * vec<unsigned, 3>{{kCore, kCore, kCore}}; }
    double at(unsigned l, long x, long y, long z) const
    {
        auto const e = extent(l);
        if (x < 0 || y < 0 || z < 0 || x >= long(e[0]) || y >= long(e[1]) || z >= long(e[2])) return undef;
        return level[l][(std::size_t(z) * e[1] + std::size_t(y)) * e[0] + std::size_t(x)];
    }
    // Negative values make truncation toward zero show; a sprinkle of
    // undefined elements tests the averaging over defined ones only.
    double value0(unsigned x, unsigned y, unsigned z) const
    {
        if (x >= total[0] || y >= total[1] || z >= total[2]) return undef;
        if (!defined[0][grid.pos2id(x / kCore, y / kCore, z / kCore, 0)]) return undef;
        if ((x * 7 + y * 13 + z * 5) % 97 == 0) return undef;
        if (type == Info3DGrid::INT8) return double((x * 3 + y * 5 + z * 7) % 201) - 100;
        if (type == Info3DGrid::INT16) return double((x * 37 + y * 101 + z * 53) % 20001) - 10000;
        return double((x * 3 + y * 5 + z * 7) % 400) - 200 + (x % 16) / 16.0;
    }
    double average(unsigned l, long x, long y, long z) const
    {
        double sum = 0;
        int n = 0;
        for (int d = 0; d < 8; ++d) {
            double const v = at(l - 1, 2 * x + (d & 1), 2 * y + ((d >> 1) & 1), 2 * z + (d >> 2));
            if (v != undef) sum += v, ++n;
        }
        if (n == 0) return undef;
        return type == Info3DGrid::FLOAT ? static_cast<float>(sum / n) : std::trunc(sum / n);
    }
    // The brick as the file should hold it; empty when undefined.
    std::vector<char> brick(BrickKey const& k) const
    {
        if (!defined[k.level][k.id]) return {};
        return byType(type, [&](auto t) {
            using T = decltype(t);
            std::vector<char> data(kBs * kBs * kBs * sizeof(T));
            auto const p = grid.id2pos(k);
            long const o = -long(kBorder);
            for (unsigned i = 0; i < kBs; ++i)
                for (unsigned j = 0; j < kBs; ++j)
                    for (unsigned s = 0; s < kBs; ++s) {
                        T const v = static_cast<T>(at(k.level, long(p[0] * kCore) + o + s, long(p[1] * kCore) + o + j,
                                                      long(p[2] * kCore) + o + i));
                        std::memcpy(data.data() + ((i * kBs + j) * kBs + s) * sizeof(T), &v, sizeof v);
                    }
            return data;
        });
    }
    std::vector<BrickKey> keys() const
    {
        std::vector<BrickKey> out;
        for (unsigned l = 0; l < grid.num_levels(); ++l)
            for (unsigned id = 0; id < grid.bricks_in_level(l); ++id) out.push_back({l, id});
        return out;
    }
};

Tolmar::SEGYCubeInfo const kInfo{.name = "Nordsjø-3D", .type = Info3DGrid::INT16, .histogram = {},
                                 .inlineRange = {{1000, 1049, 1}}, .crosslineRange = {{2000, 2078, 2}},
                                 .zStart = 4, .zStop = 280, .zStep = 4, .minValue = -3.5f, .maxValue = 7.25f,
                                 .xInl = 10.5, .xCrl = -6.25, .x0 = 431000.125,
                                 .yInl = 8, .yCrl = 12.5, .y0 = 6780000.5};

// Level-0 bricks in shuffled order, in two batches; with `threads`, the
// second half one brick at a time from three threads at once, the bricks
// kept in memory for deriving level 1.
void writeCube(Model const& m, std::string const& path, bool explicitFinish = true, std::size_t deriveCache = 0,
               bool threads = false)
{
    auto w = Tolmar::open_grid3d_low_level_writer();
    ASSERT_TRUE(w->create(path, m.total, m.type, kBs, kBorder, -200, 200, m.undef, kInfo));
    if (deriveCache) w->set_derive_cache_limit(deriveCache);
    if (threads) w->keep_level(0);
    std::vector<Brick> bricks(m.grid.bricks_in_level(0));
    for (unsigned id = 0; id < bricks.size(); ++id) bricks[id].id = id, bricks[id].data = m.brick({0, id});
    std::shuffle(bricks.begin(), bricks.end(), std::mt19937(7));
    std::size_t const half = bricks.size() / 2;
    w->add_bricks({bricks.begin(), bricks.begin() + long(half)});
    w->set_histogram({5, 0, 17, 123456789012ull});
    if (threads) {
        std::atomic<std::size_t> next{half};
        std::vector<std::thread> adders;
        for (int t = 0; t < 3; ++t)
            adders.emplace_back([&] {
                for (std::size_t i; (i = next.fetch_add(1)) < bricks.size();) w->add_brick(bricks[i]);
            });
        for (auto& a : adders) a.join();
    } else {
        w->add_bricks({bricks.begin() + long(half), bricks.end()});
    }
    if (explicitFinish) {
        EXPECT_TRUE(w->finish());
    }
}

// Every brick of every level, for the three element types; the INT16 cube
// is derived through the smallest cache, the INT8 one finished by the
// writer's destructor, and the FLOAT one written from many threads.
TEST(BrickFile, EveryLevelReadsBackAsWrittenAndAveraged)
{
    auto const fields = [](Tolmar::SEGYCubeInfo const& i) {
        return std::tie(i.name, i.type, i.inlineRange, i.crosslineRange, i.zStart, i.zStop, i.zStep, i.minValue,
                        i.maxValue, i.xInl, i.xCrl, i.x0, i.yInl, i.yCrl, i.y0);
    };
    for (auto type : {Info3DGrid::FLOAT, Info3DGrid::INT16, Info3DGrid::INT8}) {
        SCOPED_TRACE(testing::Message() << "type " << int(type));
        ScratchDir dir;
        Model const m(type);
        ASSERT_FALSE(m.defined[1][m.grid.pos2id(1, 1, 1, 1)]);
        writeCube(m, dir.path("cube.tmf"), type != Info3DGrid::INT8, type == Info3DGrid::INT16 ? 1 : 0,
                  type == Info3DGrid::FLOAT);
        auto r = Tolmar::open_3dgrid_reader(dir.path("cube.tmf"));
        ASSERT_TRUE(r);

        EXPECT_EQ(r->get_level_counts(), m.grid.level_counts());
        EXPECT_EQ(r->get_type(), type);
        EXPECT_EQ(r->get_undef_value(), m.undef);
        EXPECT_EQ(r->get_histogram(), (std::vector<unsigned long long>{5, 0, 17, 123456789012ull}));
        EXPECT_EQ(r->get_min_value(), -200);
        EXPECT_TRUE(fields(r->info) == fields(kInfo)) << "the survey description";

        auto const keys = m.keys();
        for (auto const& k : keys) EXPECT_EQ(r->is_undef_brick(k), !m.defined[k.level][k.id]) << k.level << "/" << k.id;
        EXPECT_EQ(r->cache_bytes(), 0u) << "the offset table answered without reading";

        std::vector<Brick> got;
        ASSERT_TRUE(r->get_bricks_blocking(keys, got));
        std::map<BrickKey, std::vector<char>> read;
        for (auto const& b : got) read[BrickKey{b.level, b.id}] = b.data;
        ASSERT_EQ(read.size(), keys.size());
        // Float values are sixteenths, so their sums in double are exact in any order.
        for (auto const& k : keys) EXPECT_TRUE(read.at(k) == m.brick(k)) << k.level << "/" << k.id;
    }
}

TEST(BrickFile, RequestsPollingAndUpdates)
{
    ScratchDir dir;
    Model const m(Info3DGrid::INT16);
    writeCube(m, dir.path("cube.tmf"));
    auto r = Tolmar::open_3dgrid_reader(dir.path("cube.tmf"));
    ASSERT_TRUE(r);
    std::atomic<int> posts{0};
    auto const sink =
        Tolmar::platform::register_update_sink([&](char const*, std::uintptr_t, std::intptr_t) { ++posts; });
    r->set_update_sink(sink);

    std::vector<BrickKey> defined, undefined;
    for (unsigned id = 0; id < m.grid.bricks_in_level(0); ++id)
        (m.defined[0][id] ? defined : undefined).push_back({0, id});
    std::vector<BrickKey> const outside{{0, unsigned(m.grid.bricks_in_level(0))}, {m.grid.num_levels(), 0}};

    std::vector<Brick> out;
    r->get_bricks_if_loaded(defined, out);
    EXPECT_TRUE(out.empty()) << "nothing was requested";
    r->get_bricks_if_loaded(undefined, out);
    EXPECT_EQ(out.size(), undefined.size());
    for (auto const& b : out) EXPECT_TRUE(b.data.empty());

    auto requested = defined;
    requested.insert(requested.end(), outside.begin(), outside.end());
    r->request_bricks(requested);
    EXPECT_TRUE(waitFor([&] {
        out.clear();
        r->get_bricks_if_loaded(requested, out);
        return out.size() == defined.size();
    }));
    for (auto const& b : out) EXPECT_TRUE(b.data == m.brick(b)) << b.id;
    EXPECT_GE(posts, 1);
    EXPECT_LE(posts, int(defined.size())) << "one post per round, not per brick";

    // A post of the last round may still be under way; a fresh sink sees only what follows.
    std::atomic<int> later{0};
    auto const fresh =
        Tolmar::platform::register_update_sink([&](char const*, std::uintptr_t, std::intptr_t) { ++later; });
    r->set_update_sink(fresh);
    out.clear();
    EXPECT_TRUE(r->get_bricks_blocking(requested, out));
    EXPECT_EQ(out.size(), defined.size()) << "keys outside the grid are passed over";
    EXPECT_EQ(later, 0) << "bricks from the cache post nothing";

    Tolmar::platform::unregister_update_sink(sink);
    Tolmar::platform::unregister_update_sink(fresh);
}

// Table row of a level-0 brick, as docs/formats.md lays the file out.
std::size_t entryAt(std::vector<char> const& file, unsigned id)
{
    std::uint32_t headerBytes;
    std::memcpy(&headerBytes, file.data() + 12, 4);
    return headerBytes + 8 + 24 * std::size_t(id);
}

// One brick fails its checksum, another its decompression; both are logged
// and never delivered while the rest still are.
TEST(BrickFile, DamagedBricksAreNeverDelivered)
{
    ScratchDir dir;
    Model const m(Info3DGrid::FLOAT);
    std::string const path = dir.path("cube.tmf");
    writeCube(m, path);
    auto file = tolmar_test::readFile(path);
    unsigned const flipped = 0, unpacked = 4, good = 3;
    ASSERT_TRUE(m.defined[0][flipped] && m.defined[0][unpacked] && m.defined[0][good]);
    std::uint64_t offset;
    std::uint32_t size;
    std::memcpy(&offset, file.data() + entryAt(file, flipped), 8);
    std::memcpy(&size, file.data() + entryAt(file, flipped) + 8, 4);
    file[offset + size / 2] ^= 0x10;
    // Break the zstd frame, then make its checksum and the table's agree again.
    std::size_t const e = entryAt(file, unpacked);
    std::memcpy(&offset, file.data() + e, 8);
    std::memcpy(&size, file.data() + e + 8, 4);
    ASSERT_EQ(file[e + 12], 1) << "compressed";
    file[offset] ^= 0x5A;
    std::uint64_t sum = XXH64(file.data() + offset, size, 0);
    std::memcpy(file.data() + e + 16, &sum, 8);
    std::size_t const table = entryAt(file, 0), bricks = m.keys().size();
    sum = XXH64(file.data() + table, 24 * bricks, 0);
    std::memcpy(file.data() + table + 24 * bricks, &sum, 8);
    tolmar_test::writeFile(path, file);

    DebugCapture log;
    auto r = Tolmar::open_3dgrid_reader(path);
    ASSERT_TRUE(r);
    std::vector<Brick> out;
    EXPECT_FALSE(r->get_bricks_blocking({{0, flipped}, {0, unpacked}, {0, good}}, out));
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0].id, good);
    EXPECT_TRUE(out[0].data == m.brick({0, good}));
    std::string const text = log.text();
    EXPECT_NE(text.find(path + "': brick (level 0, id 0) fails its checksum"), std::string::npos) << text;
    EXPECT_NE(text.find(path + "': brick (level 0, id 4) cannot be decompressed"), std::string::npos) << text;

    r->request_bricks({{0, flipped}, {0, unpacked}});
    out.clear();
    EXPECT_FALSE(r->get_bricks_blocking({{0, flipped}}, out)) << "answered at once, no second read";
    r->get_bricks_if_loaded({{0, flipped}, {0, unpacked}}, out);
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(log.text(), text) << "each damaged brick is logged once";
}

TEST(BrickFile, DamagedOrForeignFilesOpenNoReader)
{
    ScratchDir dir;
    Model const m(Info3DGrid::INT8);
    writeCube(m, dir.path("good.tmf"));
    auto const good = tolmar_test::readFile(dir.path("good.tmf"));
    std::size_t const table = entryAt(good, 0);
    std::size_t const dataStart = table + 24 * m.keys().size() + 8;

    std::vector<std::pair<std::string, std::vector<char>>> cases;
    for (std::size_t n : {std::size_t(0), std::size_t(5), std::size_t(15), table - 9, table + 30, dataStart + 100,
                          good.size() - 1})
        cases.emplace_back("cut at " + std::to_string(n), std::vector<char>(good.begin(), good.begin() + long(n)));
    for (std::size_t at : {std::size_t(20), table - 10, table + 3, good.size() - 12}) {
        auto bad = good;
        bad[at] ^= 0x01;
        cases.emplace_back("byte " + std::to_string(at) + " flipped", bad);
    }
    auto longer = good;
    longer.push_back(0);
    cases.emplace_back("one byte more", longer);
    std::vector<char> garbage(5000);
    std::mt19937 rng(1);
    for (auto& c : garbage) c = static_cast<char>(rng());
    cases.emplace_back("garbage", garbage);
    auto version = good;
    version[8] = 2;
    cases.emplace_back("version 2", version);

    for (auto const& [what, bytes] : cases) {
        SCOPED_TRACE(what);
        std::string const path = dir.path("bad.tmf");
        tolmar_test::writeFile(path, bytes);
        DebugCapture log;
        EXPECT_FALSE(Tolmar::open_3dgrid_reader(path));
        EXPECT_NE(log.text().find("'" + path + "'"), std::string::npos) << log.text();
    }
    DebugCapture log;
    EXPECT_FALSE(Tolmar::open_3dgrid_reader(dir.path("missing.tmf")));
    EXPECT_NE(log.text().find("missing.tmf"), std::string::npos);
    EXPECT_TRUE(Tolmar::open_3dgrid_reader(dir.path("good.tmf")));
}

TEST(BrickFile, RefusedInputLeavesNoFile)
{
    ScratchDir dir;
    vec<unsigned, 3> const size{{70, 40, 50}};
    struct Case {
        char const* what;
        std::string path;
        Info3DGrid::eDataType type;
        unsigned brick, border;
        double undef;
    };
    for (Case const& c : {Case{"no folder", dir.path("none/cube.tmf"), Info3DGrid::FLOAT, kBs, kBorder, 0.0},
                          Case{"border too wide", dir.path("a.tmf"), Info3DGrid::FLOAT, 8, 4, 0.0},
                          Case{"bits", dir.path("b.tmf"), Info3DGrid::BIT1, kBs, kBorder, 1.0},
                          Case{"undefined value out of range", dir.path("c.tmf"), Info3DGrid::INT8, kBs, kBorder,
                               300.0}}) {
        SCOPED_TRACE(c.what);
        DebugCapture log;
        Tolmar::Streamer3DGridLowLevelWriter w;
        EXPECT_FALSE(w.create(c.path, size, c.type, c.brick, c.border, 0, 1, c.undef, kInfo));
        EXPECT_NE(log.text().find("cannot create"), std::string::npos);
        EXPECT_FALSE(w.finish());
    }
    EXPECT_TRUE(std::filesystem::is_empty(dir.dir()));

    // Wrong-sized and misplaced bricks are refused; the rest is written.
    // The target is a folder, so the final rename fails and removes the file.
    std::filesystem::create_directory(dir.path("taken"));
    DebugCapture log;
    {
        Tolmar::Streamer3DGridLowLevelWriter w;
        ASSERT_TRUE(w.create(dir.path("taken"), size, Info3DGrid::INT16, kBs, kBorder, 0, 1, NAN, kInfo));
        EXPECT_EQ(w.get_undef_value(), 32767);
        Brick wrong, outside;
        wrong.data.resize(w.brick_bytes() - 2);
        outside.level = 7;
        w.fill_brick_data_with_undef_values(outside);
        w.add_bricks({wrong, outside});
        EXPECT_FALSE(w.finish());
    }
    EXPECT_NE(log.text().find("holds " + std::to_string(kBs * kBs * kBs * 2 - 2) + " bytes"), std::string::npos);
    EXPECT_NE(log.text().find("(level 7, id 0) lies outside"), std::string::npos);
    EXPECT_NE(log.text().find("cannot rename"), std::string::npos);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.dir()), {}), 1) << "only the folder";
    EXPECT_TRUE(std::filesystem::is_empty(dir.path("taken")));
}

// Four threads open the same file, request, poll, wait and let go while the
// streaming thread reads for all of them.
TEST(BrickFile, ManyThreadsOpenRequestAndRelease)
{
    ScratchDir dir;
    Model const m(Info3DGrid::INT16);
    writeCube(m, dir.path("cube.tmf"));
    auto const keys = m.keys();
    std::atomic<int> wrong{0}, opened{0};
    std::vector<std::thread> users;
    for (int t = 0; t < 4; ++t)
        users.emplace_back([&, t] {
            std::mt19937 rng(static_cast<unsigned>(t));
            for (int round = 0; round < 25; ++round) {
                auto r = Tolmar::open_3dgrid_reader(dir.path("cube.tmf"));
                if (!r) continue;
                ++opened;
                if (round % 4 == 1) r->set_cache_limit(2 * r->brick_bytes());
                std::vector<BrickKey> want;
                for (int i = 0; i < 6; ++i) want.push_back(keys[rng() % keys.size()]);
                r->request_bricks(want);
                std::vector<Brick> out;
                for (int poll = 0; poll < 5; ++poll) r->get_bricks_if_loaded(want, out), (void)r->is_loading_data();
                if (round % 3 == 0 && !r->get_bricks_blocking(want, out)) ++wrong;
                for (auto const& b : out) wrong += b.data != m.brick(b);
            }
        });
    for (auto& u : users) u.join();
    EXPECT_EQ(opened, 100);
    EXPECT_EQ(wrong, 0);
}

// Float bricks of sizes whose rows are long or short against the vector
// width of the encoder (36: the test above) come back bit for bit; brick 0
// changes slowly, as seismic does, brick 1 is noise, stored raw.
TEST(BrickFile, FloatBricksOfAnySizeReadBackBitForBit)
{
    std::mt19937 rng(5);
    for (unsigned size : {4u, 8u, 13u, 16u, 41u}) {
        SCOPED_TRACE(size);
        ScratchDir dir;
        auto w = Tolmar::open_grid3d_low_level_writer();
        ASSERT_TRUE(w->create(dir.path("c.tmf"), {{2 * size, size, size}}, Info3DGrid::FLOAT, size, 1, -1, 1, NAN, {}));
        std::vector<Brick> bricks(2);
        for (unsigned id = 0; id < 2; ++id) {
            bricks[id].id = id;
            bricks[id].data.resize(4 * std::size_t(size) * size * size);
            for (std::size_t e = 0; e < std::size_t(size) * size * size; ++e) {
                std::uint32_t const v = id == 0 ? std::bit_cast<std::uint32_t>(static_cast<float>(e % size) * 0.25f - 3.0f)
                                                : static_cast<std::uint32_t>(rng());
                std::memcpy(bricks[id].data.data() + 4 * e, &v, 4);
            }
        }
        w->add_bricks(bricks);
        ASSERT_TRUE(w->finish());
        auto r = Tolmar::open_3dgrid_reader(dir.path("c.tmf"));
        std::vector<Brick> got;
        ASSERT_TRUE(r && r->get_bricks_blocking({{0, 0}, {0, 1}}, got));
        ASSERT_EQ(got.size(), 2u);
        for (Brick const& b : got) EXPECT_TRUE(b.data == bricks[b.id].data) << "brick " << b.id;
    }
}

// Direct appends from an offset inside a block, in pieces that cross the
// writer's buffers: the bytes land where they belong, the rest of the first
// block before them becomes zeros, what lies before that block is left alone,
// and the last block is padded with zeros.
TEST(DirectFileWriter, AppendsFromAnyOffsetAcrossBuffers)
{
    ScratchDir dir;
    std::string const path = dir.path("direct.bin");
    std::size_t const block = Tolmar::DirectFileWriter::kBlock, from = block + 904;
    {
        std::ofstream(path, std::ios::binary) << std::string(3 * block, '\xAB');
    }
    auto w = Tolmar::DirectFileWriter::open(path, from);
    if (!w) GTEST_SKIP() << "the file system of " << dir.dir() << " takes no direct writes";
    std::vector<char> data((std::size_t(9) << 20) + 12345);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>((i * 131) >> 7);
    std::size_t at = 0;
    for (std::size_t piece : {std::size_t(1), std::size_t(4) << 20, std::size_t(777), data.size()}) {
        std::size_t const n = std::min(piece, data.size() - at);
        w->append(data.data() + at, n);
        at += n;
    }
    EXPECT_EQ(w->end(), from + data.size());
    std::string why;
    ASSERT_TRUE(w->finish(why)) << why;
    w.reset();

    std::vector<char> const file = tolmar_test::readFile(path);
    std::size_t const end = (from + data.size() + block - 1) / block * block;
    ASSERT_EQ(file.size(), end);
    EXPECT_EQ(std::count(file.begin(), file.begin() + long(block), '\xAB'), long(block));
    EXPECT_EQ(std::count(file.begin() + long(block), file.begin() + long(from), '\0'), long(from - block));
    EXPECT_TRUE(std::equal(data.begin(), data.end(), file.begin() + long(from)));
    EXPECT_EQ(std::count(file.begin() + long(from + data.size()), file.end(), '\0'), long(end - from - data.size()));
}

} // namespace
