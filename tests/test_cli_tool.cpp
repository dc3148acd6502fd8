// The tolmar tool run as a user runs it: its JSON, files, pictures and errors.

#include <gtest/gtest.h>

#include <cpl_json.h>
#include <png.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>

#include "cli/synthetic_survey.h"
#include "segy_test_util.h"
#include "tool_run.h"

using namespace tolmar_test;
using tolmar_cli::SynthOptions;

namespace {

// A small irregular IEEE survey, imported both ways once for all tests.
class Tool : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        dir = new ScratchDir;
        o.inlines = 12;
        o.crosslines = 10;
        o.samples = 60;
        o.format = "ieee";
        o.littleEndian = true;
        o.irregular = true;
        std::string const args = "--inlines 12 --crosslines 10 --samples 60 --format ieee --byte-order little --irregular ";
        ASSERT_EQ(tolmar("synth " + args + segy()).status, 0);
        ASSERT_EQ(tolmar("import " + segy() + " --index " + index() + " --bricks " + dir->dir() + " --name cube").status, 0);
    }
    static void TearDownTestSuite() { delete dir; }
    static std::string segy() { return dir->path("s.sgy"); }
    static std::string index() { return dir->path("s.idx"); }
    static std::string bricks() { return dir->path("cube.tmf"); }

    static ScratchDir* dir;
    static SynthOptions o;
};
ScratchDir* Tool::dir = nullptr;
SynthOptions Tool::o;

TEST_F(Tool, InfoDetectsByteOrderAndFloatKind)
{
    CPLJSONObject j = json_of(tolmar("info --json " + segy()));
    EXPECT_EQ(j.GetLong("traces"), tolmar_cli::synthetic_trace_count(o));
    EXPECT_EQ(j.GetInteger("samples"), 60);
    EXPECT_EQ(j.GetInteger("sample_interval_us"), 4000);
    EXPECT_EQ(j.GetString("format"), "ieee");
    EXPECT_EQ(j.GetString("byte_order"), "little");
    EXPECT_EQ(j.GetObj("trace_header").GetInteger("189-192"), o.inlineStart);

    // A big-endian IBM file, and the float kind forced against the code.
    std::string const ibm = dir->path("ibm.sgy");
    ASSERT_EQ(tolmar("synth --inlines 3 --crosslines 3 --samples 10 " + ibm).status, 0);
    j = json_of(tolmar("info --json " + ibm));
    EXPECT_EQ(j.GetString("format"), "ibm");
    EXPECT_EQ(j.GetString("byte_order"), "big");
    EXPECT_EQ(json_of(tolmar("info --json --float ieee " + ibm)).GetString("format"), "ieee");

    ToolRun const text = tolmar("info " + ibm);
    EXPECT_NE(text.out.find("Text header (EBCDIC)"), std::string::npos);
    EXPECT_NE(text.out.find("9 traces of 10 samples every 4000 us, format 1 (ibm), big-endian"), std::string::npos);
}

// Ranges, amplitudes and the map against segyio: SegyFromElsewhere.
TEST_F(Tool, ScanReportsTheSurvey)
{
    CPLJSONObject const j = json_of(tolmar("scan --full --json " + segy()));
    EXPECT_EQ(j.GetLong("indexed_traces"), tolmar_cli::synthetic_trace_count(o));
    // Inline numbers step 12.5 m along 30 degrees east of north.
    EXPECT_NEAR(j.GetObj("transform").GetDouble("xInl"), 12.5 * 0.5, 1e-3);
    EXPECT_EQ(json_of(tolmar("scan --json " + segy())).GetObj("amplitude").GetType(), CPLJSONObject::Type::Null);
}

TEST_F(Tool, SlicesAgreeFromBricksAndIndexAndHoldTheSamples)
{
    for (std::string const which : {"--inline 1005", "--crossline 2010", "--time 100"}) {
        std::string const a = dir->path("a.f32"), b = dir->path("b.f32");
        ASSERT_EQ(tolmar("slice --force " + bricks() + " " + which + " --raw " + a).status, 0) << which;
        ASSERT_EQ(tolmar("slice --force " + segy() + " --index " + index() + " " + which + " --raw " + b).status, 0);
        std::vector<float> const x = read_floats(a), y = read_floats(b);
        ASSERT_EQ(x.size(), y.size()) << which;
        int holes = 0;
        for (std::size_t i = 0; i < x.size(); ++i) {
            if (std::isnan(x[i]) || std::isnan(y[i])) {
                EXPECT_TRUE(std::isnan(x[i]) && std::isnan(y[i])) << which << " " << i;
                ++holes;
            } else {
                EXPECT_EQ(x[i], y[i]) << which << " " << i;
            }
        }
        EXPECT_GT(holes, 0) << which << " crosses the hole of the outline";
    }
    // The loop's last slice, at 100 ms (sample 25): inlines across, crosslines down. (Inlines: SegyFromElsewhere.)
    std::vector<float> const time = read_floats(dir->path("a.f32"));
    ASSERT_EQ(time.size(), 12u * 10u);
    for (int c = 0; c < 10; ++c)
        for (int i = 0; i < 12; ++i)
            if (tolmar_cli::trace_present(o, i, c)) {
                EXPECT_EQ(time[static_cast<std::size_t>(c * 12 + i)], tolmar_cli::synthetic_amplitude(o, i, c, 25));
            }
}

// Writing the index once turned the reader's amplitude range into the mapped
// one, and bricks written after it in 8 or 16 bits came out unscaled.
TEST_F(Tool, NarrowBricksAreTheSameWithOrWithoutTheIndex)
{
    for (std::string const storage : {"8", "16"}) {
        std::string const both = dir->path("both"), alone = dir->path("alone");
        std::filesystem::create_directories(both);
        std::filesystem::create_directories(alone);
        std::string const import = "import --force --name cube --storage " + storage + " " + segy();
        ASSERT_EQ(tolmar(import + " --index " + both + "/s.idx --bricks " + both).status, 0);
        ASSERT_EQ(tolmar(import + " --bricks " + alone).status, 0);
        std::string const a = dir->path("a.f32"), b = dir->path("b.f32");
        ASSERT_EQ(tolmar("slice --force " + both + "/cube.tmf --inline 1005 --raw " + a).status, 0);
        ASSERT_EQ(tolmar("slice --force " + alone + "/cube.tmf --inline 1005 --raw " + b).status, 0);
        std::vector<float> const x = read_floats(a), y = read_floats(b);
        ASSERT_EQ(x.size(), y.size());
        for (std::size_t i = 0; i < x.size(); ++i)
            ASSERT_TRUE(x[i] == y[i] || (std::isnan(x[i]) && std::isnan(y[i]))) << storage << " bits, sample " << i;
    }
}

TEST_F(Tool, SlicePictureColoursAmplitudesRedWhiteBlack)
{
    std::string const png = dir->path("inline.png"), raw = dir->path("inline.f32");
    ASSERT_EQ(tolmar("slice --force " + bricks() + " --inline 1000 --png " + png + " --raw " + raw +
                     " --range -1e-6 1e-6 --scale 3").status, 0);
    Png const p = read_png(png);
    ASSERT_EQ(p.width, 30);
    ASSERT_EQ(p.height, 180);
    std::vector<float> const v = read_floats(raw);
    int seen[3] = {};
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 10; ++x) {
            float const a = v[static_cast<std::size_t>(y * 10 + x)];
            std::array<int, 4> const want = std::isnan(a) ? std::array{0, 0, 0, 0}
                                           : a < 0        ? std::array{255, 0, 0, 255}
                                           : a > 0        ? std::array{0, 0, 0, 255}
                                                          : p.at(3 * x, 3 * y);
            seen[std::isnan(a) ? 0 : a < 0 ? 1 : 2]++;
            EXPECT_EQ(p.at(3 * x + 2, 3 * y + 1), want) << x << " " << y;
        }
    EXPECT_GT(seen[1], 0);
    EXPECT_GT(seen[2], 0);

    // The effective range by default: the middle amplitude is near white.
    ASSERT_EQ(tolmar("slice --force " + bricks() + " --time 120 --png " + png).status, 0);
    EXPECT_EQ(read_png(png).width, 12);
}

TEST_F(Tool, HistogramGivesRangesAndAPlot)
{
    CPLJSONObject const scan = json_of(tolmar("scan --full --json " + segy()));
    std::string const png = dir->path("h.png");
    CPLJSONObject const j = json_of(tolmar("histogram --json --force --png " + png + " " + bricks()));
    std::vector<double> const range = numbers(j, "range"), effective = numbers(j, "effective");
    EXPECT_EQ(range, numbers(scan, "amplitude"));
    ASSERT_EQ(effective.size(), 2u);
    EXPECT_LT(range[0], effective[0]);
    EXPECT_LT(effective[0], effective[1]);
    EXPECT_LT(effective[1], range[1]);
    Png const p = read_png(png);
    ASSERT_EQ(p.width, 512);
    ASSERT_EQ(p.height, 256);
    EXPECT_EQ(p.at(1, 0), (std::array{255, 255, 255, 255}));
    int const lowLine = static_cast<int>((effective[0] - range[0]) / (range[1] - range[0]) * 512);
    EXPECT_EQ(p.at(lowLine, 0), (std::array{255, 0, 0, 255}));

    std::vector<double> const all = numbers(json_of(tolmar("histogram --json --cut 0 0 " + segy() + " --index " + index())), "effective");
    EXPECT_NEAR(all[0], range[0], (range[1] - range[0]) * 1e-3);
    EXPECT_NEAR(all[1], range[1], (range[1] - range[0]) * 1e-3);
}

TEST_F(Tool, ErrorsAreOneLineNamingTheFileAndOverwritesNeedForce)
{
    auto const failsWith = [](std::string const& args, std::string const& text) {
        ToolRun const r = tolmar(args);
        EXPECT_NE(r.status, 0) << args;
        EXPECT_NE(r.err.find(text), std::string::npos) << args << ": " << r.err;
        EXPECT_TRUE(r.out.empty()) << args;
    };
    failsWith("info " + dir->path("missing.sgy"), "tolmar: " + dir->path("missing.sgy") + ": ");
    std::string const junk = dir->path("junk.sgy");
    std::ofstream(junk) << std::string(4000, 'x');
    failsWith("scan " + junk, junk + ": the reel header's format code");
    failsWith("slice " + segy() + " --inline 1000 --raw " + dir->path("x.f32"), "needs --index");
    failsWith("slice --force " + bricks() + " --inline 999 --raw " + dir->path("x.f32"), "there is no inline 999");
    failsWith("slice " + bricks() + " --inline 1000 --crossline 2000 --raw " + dir->path("x.f32"), "excludes");
    failsWith("import " + segy() + " --index " + index(), index() + ": exists; use --force to overwrite");
    failsWith("scan --no-such-option " + segy(), "Usage:");
    EXPECT_EQ(tolmar("import --force --json " + segy() + " --index " + index()).status, 0);
    EXPECT_EQ(tolmar("scan --help").status, 0);
}

} // namespace
