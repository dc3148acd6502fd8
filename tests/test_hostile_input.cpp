// Damaged and crafted files: headers whose checksums agree with nonsense,
// and SEG-Y files with a garbage trace header. Each case is the smallest
// input a fuzzer found to crash, abort or run away before the readers
// checked what they read.

#include <gtest/gtest.h>

#include <xxhash.h>

#include <chrono>
#include <climits>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>

#include "foundation/Streamer3DGridReader.h"
#include "platform/last_error.h"
#include "platform/user_output.h"
#include "segy/SEGYcube.h"
#include "segy/SEGYreader3D.h"
#include "segy/Seismic3DTraceReader.h"
#include "segy_test_util.h"
#include "tool_run.h"

using namespace tolmar_test;

namespace {

template <class T>
void poke(std::vector<char>& bytes, std::size_t at, T v)
{
    std::memcpy(bytes.data() + at, &v, sizeof v);
}

// A big-endian 32-bit word of a SEG-Y file.
void put_be32(std::vector<char>& bytes, std::size_t at, std::int32_t v)
{
    for (int k = 0; k < 4; ++k)
        bytes[at + static_cast<std::size_t>(k)] = static_cast<char>(static_cast<std::uint32_t>(v) >> (24 - 8 * k));
}

// A reader on the file that takes every line and z, as the tool's scan does.
void take_everything(Tolmar::SEGYreader3D& reader, std::string const& path)
{
    reader.setFile(path);
    reader.setIbmFloat(false);
    reader.setInlRange(-2147483647, 2147483647, 1);
    reader.setCrlRange(-2147483647, 2147483647, 1);
    reader.setZRange(-1e9, 1e9, 1e-6);
}

// One field of a header changed and the header's checksum made to agree,
// as a crafted file or one damaged before it was checksummed has it.
struct Case {
    char const* what;
    std::size_t at;            // offset of the field
    std::function<void(std::vector<char>&, std::size_t)> set;
    char const* says;          // what the refusal says of it
};

template <class T>
std::function<void(std::vector<char>&, std::size_t)> put(T v)
{
    return [v](std::vector<char>& b, std::size_t at) { poke(b, at, v); };
}

// A small survey, its index and brick file, written once for all tests.
class HostileInput : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        dir = new ScratchDir;
        ASSERT_EQ(tolmar("synth " + segy() + " --inlines 20 --crosslines 15 --samples 50 --format ieee").status, 0);
        ASSERT_EQ(tolmar("import " + segy() + " --index " + index() + " --bricks " + dir->dir() + " --name cube").status, 0);
    }
    static void TearDownTestSuite()
    {
        delete dir;
        dir = nullptr;
    }
    static std::string segy() { return dir->path("s.sgy"); }
    static std::string index() { return dir->path("s.idx"); }
    static std::string bricks() { return dir->path("cube.tmf"); }

    static ScratchDir* dir;
};

ScratchDir* HostileInput::dir = nullptr;

// A brick file's header: its length at offset 12, its checksum right after it.
void brick_header_sum(std::vector<char>& b)
{
    std::uint32_t n;
    std::memcpy(&n, b.data() + 12, 4);
    poke(b, n, static_cast<std::uint64_t>(XXH64(b.data(), n, 0)));
}

// An index file's header: 220 bytes and their checksum; the survey record at 48.
void index_header_sum(std::vector<char>& b) { poke(b, 220, static_cast<std::uint64_t>(XXH64(b.data(), 220, 0))); }

} // namespace

// The border once wrapped the brick size check and slicing read outside a
// brick; steps of 0 divided by zero; line numbers of INT_MIN overflowed the
// line counts. slice, histogram and render give the same one-line answer.
TEST_F(HostileInput, BrickDescriptionsAreCheckedAfterTheChecksum)
{
    double const inf = std::numeric_limits<double>::infinity();
    for (Case const& c : {
             Case{"border 2^31", 24, put(std::uint32_t{0x80000000u}), "the border 2147483648 leaves no core in a brick of 36"},
             Case{"brick size", 20, put(std::uint32_t{4096}), "the brick size 4096 is above 512"},
             Case{"total size 0", 32, put(std::uint32_t{0}), "the total size along the crosslines is 0"},
             Case{"inline step 0", 100, put(std::int32_t{0}), "the inline step is 0"},
             Case{"crossline start INT_MIN", 104, put(std::int32_t{INT_MIN}), "the crossline range -2147483648..2028"},
             Case{"inline start above stop", 92, put(std::int32_t{5000}), "the inline start 5000 is above its stop 1019"},
             Case{"z step 0", 132, put(0.0), "the z step is 0"},
             Case{"z start -inf", 116, put(-inf), "is not finite"},
             Case{"more inlines than the cube", 96, put(std::int32_t{1020}), "the survey's 21 inlines exceed the cube's 20"},
         }) {
        SCOPED_TRACE(c.what);
        std::vector<char> b = readFile(bricks());
        c.set(b, c.at);
        brick_header_sum(b);
        std::string const path = dir->path("bad.tmf");
        writeFile(path, b);
        std::string const out = dir->path("out.raw");
        for (std::string const& command : {"slice " + path + " --inline 1010 --raw " + out,
                                           "histogram " + path + " --json",
                                           "render " + path + " --inline 1010 --png " + dir->path("out.png")}) {
            SCOPED_TRACE(command);
            ToolRun const r = tolmar(command);
            EXPECT_EQ(r.status, 1);
            EXPECT_EQ(r.err.rfind("tolmar: " + path + ": has a header in which ", 0), 0u) << r.err;
            EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
            EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
            EXPECT_TRUE(r.out.empty());
        }
        EXPECT_FALSE(std::filesystem::exists(out));
    }
}

// Negative and enormous counts once aborted `slice` with an uncaught
// length_error or bad_alloc.
TEST_F(HostileInput, IndexDescriptionsAreCheckedAfterTheChecksum)
{
    std::size_t const record = 48;
    for (Case const& c : {
             Case{"inline step 0", record + 76, put(std::int32_t{0}), "the inline step is 0"},
             Case{"crossline step -1", record + 88, put(std::int32_t{-1}), "the crossline step is -1"},
             Case{"inline start INT_MIN", record + 68, put(std::int32_t{INT_MIN}), "the inline range -2147483648..1019"},
             Case{"inline start above stop", record + 68, put(std::int32_t{1500}), "the inline start 1500 is above its stop"},
             Case{"z start above stop", record + 92, put(65536.0), "the z start 65536 is above its stop 196"},
             Case{"z start -inf", record + 92, put(-std::numeric_limits<double>::infinity()), "is not finite"},
             Case{"z start -2147483649", record + 92, put(-2147483649.0), "holds more than 1048576 samples"},
             Case{"crossline stop far out", record + 84, put(std::int32_t{2000000}), "make a grid of"},
             Case{"samples", record + 4, put(std::int32_t{0}), "the sample count 0"},
         }) {
        SCOPED_TRACE(c.what);
        std::vector<char> b = readFile(index());
        c.set(b, c.at);
        index_header_sum(b);
        std::string const path = dir->path("bad.idx");
        writeFile(path, b);
        for (char const* choice : {"--inline 1010", "--crossline 2010", "--time 100"}) {
            ToolRun const r = tolmar("slice " + segy() + " --index " + path + " " + std::string(choice) + " --raw " + dir->path("o.raw"));
            EXPECT_EQ(r.status, 1);
            EXPECT_EQ(r.err.rfind("tolmar: " + path + ": has a header in which ", 0), 0u) << r.err;
            EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
            EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        }
    }
}

// One trace whose inline (or crossline) reads 2147483647 once widened the
// survey to two billion lines: the outline took memory without bound and
// import ran for minutes. Now the tool stops at once and names the trace;
// the range option cuts it off and the rest imports.
TEST_F(HostileInput, OneGarbageTraceHeaderIsNamedAndCanBeCutOff)
{
    struct Garbage {
        int byte;            // 189 inline, 193 crossline
        char const* option;  // what the tool suggests
        char const* keep;
    };
    for (Garbage const& g : {Garbage{189, "--inline-range", "1000 1019"}, Garbage{193, "--crossline-range", "2000 2028"}}) {
        SCOPED_TRACE(g.option);
        std::vector<char> b = readFile(segy());
        long long const traceBytes = 240 + 50 * 4, at = 3600 + 37 * traceBytes + g.byte - 1;
        put_be32(b, static_cast<std::size_t>(at), INT_MAX);
        std::string const bad = dir->path("garbage.sgy");
        writeFile(bad, b);

        auto const t0 = std::chrono::steady_clock::now();
        ToolRun const scan = tolmar("scan " + bad);
        EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(20));
        EXPECT_EQ(scan.status, 1);
        EXPECT_NE(scan.err.find("tolmar: " + bad + ": trace 38 (header at byte " + std::to_string(at - g.byte + 1) +
                                ") has inline "),
                  std::string::npos)
            << scan.err;
        EXPECT_NE(scan.err.find(std::string(g.option) + " " + g.keep), std::string::npos) << scan.err;
        ToolRun const import = tolmar("import " + bad + " --index " + dir->path("g.idx") + " --bricks " + dir->dir() +
                                      " --name g --force");
        EXPECT_EQ(import.status, 1);
        EXPECT_FALSE(std::filesystem::exists(dir->path("g.tmf")));

        ToolRun const cut = tolmar("import " + bad + " " + g.option + " " + g.keep + " --index " + dir->path("g.idx") +
                                   " --bricks " + dir->dir() + " --name g --force --json");
        ASSERT_EQ(cut.status, 0) << cut.err;
        CPLJSONObject const o = json_of(cut);
        EXPECT_EQ(numbers(o, "inline"), (std::vector<double>{1000, 1019, 1}));
        EXPECT_EQ(numbers(o, "crossline"), (std::vector<double>{2000, 2028, 2}));
        EXPECT_EQ(tolmar("slice " + dir->path("g.tmf") + " --inline 1001 --raw " + dir->path("g.raw") + " --force").status, 0);
        std::filesystem::remove(dir->path("g.tmf"));
    }
}

// The library itself, without the tool's guard: the outline is bounded by
// the traces present and the brick writer refuses the absurd grid.
TEST_F(HostileInput, TheLibraryBoundsWorkByTheTracesPresent)
{
    std::vector<char> b = readFile(segy());
    put_be32(b, 3600 + 37 * (240 + 50 * 4) + 188, INT_MAX);
    std::string const bad = dir->path("garbage.sgy");
    writeFile(bad, b);

    Tolmar::SEGYreader3D reader;
    take_everything(reader, bad);
    Layout const l;
    ASSERT_EQ(reader.scan(l.types, l.positions, false, false), 1);
    EXPECT_LE(reader.navigation().size(), 4u * (300 + 2));
    EXPECT_EQ(reader.read_brick(dir->dir() + "/", "absurd", l.types, l.positions, false), 0);
    EXPECT_FALSE(std::filesystem::exists(dir->path("absurd.tmf")));
}

// Fuzzer finding: inline numbers 1770258432 and -1044068903 in one survey
// overflowed the line count of the index's histogram sample.
TEST_F(HostileInput, LineSpansBeyondAnIntAreCountedWide)
{
    std::string const path = dir->path("wide.sgy");
    ASSERT_EQ(tolmar("synth " + path + " --inlines 4 --crosslines 3 --samples 8 --format int32 --force").status, 0);
    std::vector<char> b = readFile(path);
    put_be32(b, 3600 + 5 * (240 + 8 * 4) + 188, 1770258432);
    put_be32(b, 3600 + 7 * (240 + 8 * 4) + 188, -1044068903);
    writeFile(path, b);

    Tolmar::SEGYreader3D reader;
    take_everything(reader, path);
    reader.setFallbackGrid(true);
    Layout const l;
    ASSERT_EQ(reader.scan(l.types, l.positions, false, true), 1);
    EXPECT_EQ(reader.write_index(dir->path("wide.idx")), 1);
    // The cube reader refuses the index: its grid is absurd for 12 traces.
    Tolmar::Seismic3DTraceReader cube(path, dir->path("wide.idx"));
    EXPECT_FALSE(cube.valid());
    EXPECT_NE(cube.error().find("spans more than"), std::string::npos) << cube.error();
}

// Two garbage crossline numbers of a 2D line, further apart than an int reaches.
TEST_F(HostileInput, CubeStepsBeyondAnIntSaturate)
{
    Tolmar::SEGYcube cube(4000, 1);
    cube.addTrace(Tolmar::SEGYtrace(1, 0, 7, -1677721600, 0.0f, 0.0f, 0.0, 10));
    cube.addTrace(Tolmar::SEGYtrace(2, 0, 7, 939524096, 10.0f, 0.0f, 0.0, 10));
    cube.setBbox();
    EXPECT_EQ(cube.crlineStep(), INT_MAX);
}

// An embedding program reads why an open or a scan failed from the calling
// thread's last error, and may take the lines the scan addresses to its user.
TEST_F(HostileInput, TheCallerReadsWhyAnOpenOrAScanFailed)
{
    Tolmar::platform::clear_last_error_info();
    EXPECT_FALSE(Tolmar::open_3dgrid_reader(dir->path("none.tmf")));
    auto why = Tolmar::platform::take_last_error_info();
    ASSERT_TRUE(why);
    EXPECT_EQ(why->rfind(dir->path("none.tmf") + ": cannot be opened", 0), 0u) << *why;

    // Two traces in a row at one position: the second repeats the first's crossline.
    std::vector<char> b = readFile(segy());
    std::size_t const second = 3600 + 240 + 50 * 4 + 192, first = 3600 + 192;
    std::copy(b.begin() + static_cast<long>(first), b.begin() + static_cast<long>(first) + 4,
              b.begin() + static_cast<long>(second));
    std::string const path = dir->path("twice.sgy");
    writeFile(path, b);
    std::vector<std::string> said;
    auto const old = Tolmar::platform::set_output_sink([&](std::string_view line) { said.emplace_back(line); });
    Tolmar::SEGYreader3D reader;
    take_everything(reader, path);
    Layout const l;
    EXPECT_EQ(reader.scan(l.types, l.positions, false, false), -5);
    Tolmar::platform::set_output_sink(old);
    why = Tolmar::platform::take_last_error_info();
    ASSERT_TRUE(why);
    EXPECT_EQ(*why, "Multiple instances of crossline 2000on inline 1000");
    EXPECT_EQ(said, (std::vector<std::string>{"SEG-Y 3D import", *why}));
}
