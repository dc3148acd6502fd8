// SEG-Y files as other programs write them: a corpus made with segyio, one
// quirk a file, read through the library and the tool and held against what
// segyio reads from the same file.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "segy_test_util.h"
#include "tool_run.h"

using namespace tolmar_test;

namespace {

// What segyio reads from a corpus file.
struct Oracle {
    bool ok = false;
    std::string error;
    std::vector<int> ilines, xlines;
    double z0 = 0, dz = 0;
    int ns = 0;
    struct Trace {
        int il, xl;
        double x, y;
    };
    std::vector<Trace> traces;
    std::vector<float> data; // trace after trace

    int step(std::vector<int> const& lines) const { return lines.size() > 1 ? lines[1] - lines[0] : 1; }
    // The samples of one inline, samples down and crosslines across, as `tolmar slice --raw` writes them.
    std::vector<float> inlineSlice(int il) const
    {
        std::vector<float> out(xlines.size() * static_cast<std::size_t>(ns));
        for (std::size_t t = 0; t < traces.size(); ++t) {
            if (traces[t].il != il) continue;
            auto const j = static_cast<std::size_t>((traces[t].xl - xlines.front()) / step(xlines));
            for (int k = 0; k < ns; ++k) out[k * xlines.size() + j] = data[t * ns + k];
        }
        return out;
    }
};

Oracle segyioReads(std::string const& prefix);

// Writes the corpus file `name` with segyio, and reads it back with segyio.
Oracle corpusFile(ScratchDir const& dir, std::string const& name)
{
    std::string const prefix = dir.path(name);
    EXPECT_EQ(runOracle("segyio_quirks.py", {name, prefix + ".sgy", prefix}), 0);
    return segyioReads(prefix);
}

// What segyio made of the file it last read under prefix.
Oracle segyioReads(std::string const& prefix)
{
    CPLJSONDocument doc;
    EXPECT_TRUE(doc.Load(prefix + ".json"));
    CPLJSONObject const j = doc.GetRoot();
    Oracle o;
    o.ok = j.GetBool("ok");
    o.error = j.GetString("error");
    if (!o.ok) return o;
    for (double v : numbers(j, "ilines")) o.ilines.push_back(static_cast<int>(v));
    for (double v : numbers(j, "xlines")) o.xlines.push_back(static_cast<int>(v));
    auto const z = numbers(j, "samples");
    o.z0 = z[0], o.dz = z[1], o.ns = static_cast<int>(z[2]);
    CPLJSONArray const traces = j.GetArray("traces");
    for (int i = 0; i < traces.Size(); ++i) {
        CPLJSONArray const t = traces[i].ToArray();
        o.traces.push_back({t[0].ToInteger(), t[1].ToInteger(), t[2].ToDouble(), t[3].ToDouble()});
    }
    o.data = read_floats(prefix + ".f32");
    return o;
}

// One line on standard error naming the tool, and a failing exit status.
void expectOneLineError(ToolRun const& r)
{
    EXPECT_EQ(r.status, 1) << r.out;
    EXPECT_EQ(r.err.rfind("tolmar: ", 0), 0u) << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
}

// Scan, import and slices of the tool against segyio's reading of the file.
void expectToolReadsAsSegyio(ScratchDir const& dir, std::string const& name, Oracle const& o, double coordTolerance)
{
    std::string const sgy = dir.path(name + ".sgy");
    ToolRun const scan = tolmar("scan " + sgy + " --full --json");
    CPLJSONObject const j = json_of(scan);
    EXPECT_EQ(numbers(j, "inline"), (std::vector<double>{double(o.ilines.front()), double(o.ilines.back()),
                                                         double(o.step(o.ilines))}));
    EXPECT_EQ(numbers(j, "crossline"), (std::vector<double>{double(o.xlines.front()), double(o.xlines.back()),
                                                            double(o.step(o.xlines))}));
    EXPECT_EQ(numbers(j, "z"), (std::vector<double>{o.z0, o.z0 + (o.ns - 1) * o.dz, o.dz}));
    auto const [lo, hi] = std::minmax_element(o.data.begin(), o.data.end());
    EXPECT_EQ(numbers(j, "amplitude"), (std::vector<double>{*lo, *hi}));
    EXPECT_EQ(j.GetDouble("indexed_traces"), double(o.traces.size()));

    // The affine map puts every trace where its coordinates say, and reports how far it is off.
    CPLJSONObject const t = j.GetObj("transform");
    double worst = 0;
    for (auto const& tr : o.traces) {
        double const x = t.GetDouble("x0") + t.GetDouble("xInl") * tr.il + t.GetDouble("xCrl") * tr.xl;
        double const y = t.GetDouble("y0") + t.GetDouble("yInl") * tr.il + t.GetDouble("yCrl") * tr.xl;
        worst = std::max(worst, std::hypot(x - tr.x, y - tr.y));
    }
    EXPECT_LE(worst, coordTolerance);
    EXPECT_NEAR(j.GetDouble("transform_max_error"), worst, 1e-3 + 1e-6 * worst);

    // One inline from the index and from the bricks holds segyio's samples.
    ToolRun const imported = tolmar("import " + sgy + " --index " + dir.path(name + ".idx") + " --bricks " +
                                    dir.dir() + " --name " + name + " --force");
    ASSERT_EQ(imported.status, 0) << imported.err;
    int const il = o.ilines[o.ilines.size() / 2];
    std::vector<float> const want = o.inlineSlice(il);
    std::string const raw = dir.path(name + ".f32");
    for (std::string const& source : {sgy + " --index " + dir.path(name + ".idx"), dir.path(name + ".tmf")}) {
        ToolRun const slice = tolmar("slice " + source + " --inline " + std::to_string(il) + " --raw " + raw + " --force");
        ASSERT_EQ(slice.status, 0) << slice.err;
        EXPECT_EQ(read_floats(raw), want) << source;
    }
}

TEST(SegyFromElsewhere, EveryQuirkReadsAsSegyioReadsIt)
{
    ScratchDir dir;
    struct Case {
        char const* name;
        double coordTolerance; // from the rounding of the coordinate words
        char const* note;      // a line the tool must say on standard error, or ""
    };
    Case const cases[] = {
        {"trace_ns_zero", 0.02, "trace headers give 0 samples, the reel header 30: using 30, as the file size agrees"},
        {"trace_ns_stale", 0.02, "trace headers give 462 samples, the reel header 30: using 30, as the file size agrees"},
        {"scaler_zero", 1.0, "the coordinate scaler (byte 71) is 0 in 20 trace headers: read as 1, no scaling"},
        // Coordinates in whole multiples of 7 or 21 m on 12.5 m bins: the
        // three traces the map is fitted through carry the rounding outwards.
        {"scaler_2", 4.0, ""},
        {"scaler_7", 14.0, "the affine map misses trace coordinates by up to"},
        {"scaler_21", 42.0, "the affine map misses trace coordinates by up to"},
        {"delay_scaled", 0.02, ""},
        {"text_junk", 0.02, ""},
        {"be_ibm", 0.02, ""},
        {"le_ibm", 0.02, ""},
        {"le_int32", 0.02, ""},
        {"le_int16", 0.02, ""},
        {"le_ieee", 0.02, ""},
        {"le_int8", 0.02, ""},
        {"be_int8", 0.02, ""},
        {"be_int16", 0.02, ""},
        {"extended_text", 0.02, ""},
        {"one_inline", 0.02, "the survey has one inline"},
        {"one_crossline", 0.02, "the survey has one crossline"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        Oracle const o = corpusFile(dir, c.name);
        ASSERT_TRUE(o.ok) << o.error;
        expectToolReadsAsSegyio(dir, c.name, o, c.coordTolerance);
        ToolRun const scan = tolmar("scan " + dir.path(std::string(c.name) + ".sgy"));
        EXPECT_EQ(scan.status, 0);
        if (*c.note) EXPECT_NE(scan.err.find(c.note), std::string::npos) << scan.err;
        else EXPECT_EQ(scan.err, "");
    }
}

// Where segyio cannot read a file the tool either reads what is there and
// says what it left, or fails with one line.
TEST(SegyFromElsewhere, FilesSegyioRefusesReadOrFailCleanly)
{
    ScratchDir dir;
    EXPECT_FALSE(corpusFile(dir, "cut_short").ok);
    ToolRun const cut = tolmar("scan " + dir.path("cut_short.sgy") + " --json");
    EXPECT_EQ(json_of(cut).GetDouble("indexed_traces"), 19.0);
    EXPECT_NE(cut.err.find("the file ends 350 bytes into its last trace (of 360 bytes); that trace is left out"), std::string::npos) << cut.err;

    // segyio reads the count as a signed word and aborts; it is 40000 samples.
    EXPECT_FALSE(corpusFile(dir, "reel_ns_40000").ok);
    CPLJSONObject const big = json_of(tolmar("scan " + dir.path("reel_ns_40000.sgy") + " --full --json"));
    EXPECT_EQ(numbers(big, "z"), (std::vector<double>{0, 39999 * 4.0, 4}));
    EXPECT_EQ(numbers(big, "amplitude"), (std::vector<double>{-128, 127}));
    EXPECT_EQ(numbers(big, "inline"), (std::vector<double>{1, 2, 1}));

    EXPECT_FALSE(corpusFile(dir, "no_traces").ok);
    ToolRun const none = tolmar("scan " + dir.path("no_traces.sgy"));
    expectOneLineError(none);
    EXPECT_NE(none.err.find("holds no traces"), std::string::npos) << none.err;
    expectOneLineError(tolmar("info " + dir.path("no_traces.sgy")));

    // One trace: there is no grid to fit, so line numbers stand in for it.
    ASSERT_TRUE(corpusFile(dir, "one_trace").ok);
    ToolRun const one = tolmar("scan " + dir.path("one_trace.sgy") + " --json");
    CPLJSONObject const j = json_of(one);
    EXPECT_EQ(numbers(j, "inline"), (std::vector<double>{7, 7, 1}));
    EXPECT_EQ(j.GetObj("transform").GetDouble("xInl"), 1.0);
    EXPECT_NE(one.err.find("do not span the survey"), std::string::npos) << one.err;
}

TEST(SegyFromElsewhere, ShearedSurveyShowsHowFarTheMapMissesTheTraces)
{
    ScratchDir dir;
    Oracle const o = corpusFile(dir, "sheared");
    ASSERT_TRUE(o.ok);
    ToolRun const scan = tolmar("scan " + dir.path("sheared.sgy") + " --json");
    // Crosslines 12.5 m apart at 60 degrees to the inlines: over 8 crosslines
    // an orthogonal grid strays by tens of metres.
    EXPECT_GT(json_of(scan).GetDouble("transform_max_error"), 10.0);
    EXPECT_NE(scan.err.find("the inline and crossline axes are not at right angles"), std::string::npos) << scan.err;
}

TEST(SegyFromElsewhere, InfoPrintsAnyTextHeaderAsValidText)
{
    ScratchDir dir;
    corpusFile(dir, "text_junk");
    ToolRun const plain = tolmar("info " + dir.path("text_junk.sgy"));
    ASSERT_EQ(plain.status, 0) << plain.err;
    EXPECT_TRUE(std::all_of(plain.out.begin(), plain.out.end(),
                            [](char c) { return c == '\n' || (c >= 0x20 && c < 0x7f); }));
    CPLJSONObject const j = json_of(tolmar("info " + dir.path("text_junk.sgy") + " --json"));
    std::string const text = j.GetString("text_header");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 39);
    EXPECT_NE(text.find('.'), std::string::npos);
}

// The library, and the tool with --strict, keep the letter of the format unless asked for more.
TEST(SegyFromElsewhere, LibraryLenienceIsOptIn)
{
    ScratchDir dir;
    Layout const l;
    auto const scan = [&](std::string const& name, bool lenient, Tolmar::SEGYreader3D& r) {
        r.setIbmFloat(false);
        r.setTrustReelSampleCount(lenient);
        r.setZeroScalerAsOne(lenient);
        r.setFallbackGrid(lenient);
        r.setFile(dir.path(name + ".sgy"));
        r.setInlRange(0, 100000, 1);
        r.setCrlRange(0, 100000, 1);
        r.setZRange(-1e6, 1e6, 1e-6);
        return r.scan(l.types, l.positions, false, false);
    };
    // A scaler word of 0 is the multiplier 0 by the letter: every trace at the origin.
    std::string const names[] = {"trace_ns_stale", "scaler_zero", "one_inline"};
    int const strictCodes[] = {-1, 0, 0};
    Tolmar::SEGYreader3D strict[3], lenient[3];
    for (int i = 0; i < 3; ++i) {
        corpusFile(dir, names[i]);
        EXPECT_EQ(scan(names[i], false, strict[i]), strictCodes[i]) << names[i];
        EXPECT_EQ(scan(names[i], true, lenient[i]), 1) << names[i];
        expectOneLineError(tolmar("scan --strict " + dir.path(names[i] + ".sgy")));
    }
    EXPECT_EQ(lenient[0].corrections().overruledTraces, 20);
    EXPECT_EQ(lenient[0].corrections().traceSampleCount, 462);
    EXPECT_EQ(strict[1].scaler(), 0.0);
    EXPECT_EQ(lenient[1].gridKind(), Tolmar::SEGYreader3D::GridFitted);
    EXPECT_EQ(lenient[1].corrections().zeroScalerTraces, 20);
    EXPECT_EQ(lenient[2].gridKind(), Tolmar::SEGYreader3D::GridOneInline);
    Tolmar::SEGYreader3D::IRange r;
    lenient[2].iRange(r);
    EXPECT_EQ(r.inlStep, 1);
    EXPECT_EQ(r.crlStep, 2);
    // The made-up inline axis is at right angles to the crosslines and as long.
    Tolmar::SEGYreader3D::Trans t;
    lenient[2].trans(t);
    EXPECT_NEAR(t.xInl * t.xCrl + t.yInl * t.yCrl, 0.0, 1e-9);
    EXPECT_NEAR(std::hypot(t.xInl, t.yInl), std::hypot(t.xCrl, t.yCrl), 1e-9);
}

} // namespace
