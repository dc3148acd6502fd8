#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <fstream>
#include <set>
#include <sstream>

#include "debug_capture.h"
#include "segy/SEGYreader3D.h"
#include "segy_test_util.h"

using namespace tolmar_test;
using Tolmar::SEGYreader3D;

namespace {

// A reader on one survey file with wide wanted ranges.
struct Scan {
    SEGYreader3D r;
    Layout layout;
    explicit Scan(std::string const& path, bool ibm = true)
    {
        r.setFile(path);
        r.setIbmFloat(ibm);
        r.setInlRange(-100000, 100000, 1);
        r.setCrlRange(-100000, 100000, 1);
        r.setZRange(0, 100000, 0.001);
    }
    int run(bool full = false, bool skipZeroXY = false) { return r.scan(layout.types, layout.positions, skipZeroXY, full); }
    SEGYreader3D::IRange range() const
    {
        SEGYreader3D::IRange i;
        r.iRange(i);
        return i;
    }
    SEGYreader::DRange drange() const
    {
        SEGYreader::DRange d;
        r.dRange(d);
        return d;
    }
    SEGYreader3D::Trans trans() const
    {
        SEGYreader3D::Trans t;
        r.trans(t);
        return t;
    }
};

void expectRange(SEGYreader3D::IRange const& i, std::vector<int> const& want)
{
    EXPECT_EQ((std::vector<int>{i.inlStart, i.inlStop, i.inlStep, i.crlStart, i.crlStop, i.crlStep}), want);
}

// The transform reproduces every trace's coordinates.
void expectTransform(SEGYreader3D::Trans const& t, Survey const& s)
{
    for (auto [il, xl] : s.order()) {
        ASSERT_NEAR(t.x0 + t.xInl * il + t.xCrl * xl, s.x(il, xl), 1e-6);
        ASSERT_NEAR(t.y0 + t.yInl * il + t.yCrl * xl, s.y(il, xl), 1e-6);
    }
}

long long traceBytes(Survey const& s) { return 240LL + 4LL * s.samples; }

} // namespace

TEST(SurveyScan, LearnsRisingFallingAndCrosslineSortedSurveys)
{
    ScratchDir dir;
    for (int kind = 0; kind < 3; ++kind) {
        SCOPED_TRACE(kind);
        Survey sv;
        sv.inlines = 6;
        sv.crosslines = 7;
        sv.delay = 12;
        sv.inlinesFalling = kind == 1;
        sv.crosslineSorted = kind == 2;
        std::string const path = dir.path("s" + std::to_string(kind) + ".sgy");
        ASSERT_TRUE(writeSurvey(path, sv));

        Scan s(path);
        ASSERT_EQ(s.run(), 1);
        expectRange(s.range(), {100, 105, 1, 200, 212, 2});
        EXPECT_EQ(s.r.inlOrder(), kind == 1 ? 0 : 1);
        expectTransform(s.trans(), sv);
        auto const d = s.drange();
        EXPECT_DOUBLE_EQ(d.zMin, 12.0);
        EXPECT_DOUBLE_EQ(d.zMax, 12.0 + 49 * 4.0);
        EXPECT_DOUBLE_EQ(d.zStep, 4.0);
        EXPECT_NEAR(d.inlSpacing, std::hypot(10.0, 8.0), 1e-9);
        EXPECT_NEAR(d.crlSpacing, 2 * std::hypot(10.0, 12.5), 1e-9);
        EXPECT_DOUBLE_EQ(d.xMin, sv.x(100, 200));
        EXPECT_DOUBLE_EQ(d.xMax, sv.x(105, 212));
        EXPECT_DOUBLE_EQ(d.yMin, sv.y(105, 200));
        EXPECT_TRUE(s.r.selected().empty());

        // Every trace is indexed at its header's offset.
        auto const order = sv.order();
        ASSERT_EQ(s.r.traceIndex().num_traces(), static_cast<long long>(order.size()));
        for (std::size_t k = 0; k < order.size(); ++k) {
            long long offset = -1;
            ASSERT_TRUE(s.r.traceIndex().lookup(order[k].first, order[k].second, offset));
            EXPECT_EQ(offset, 3600 + static_cast<long long>(k) * traceBytes(sv));
        }

        // The rectangle runs round the four corners and closes on the first.
        auto const& nav = s.r.navigation();
        ASSERT_EQ(nav.size(), 2u * 6 + 2u * 5 + 1);
        EXPECT_NEAR(nav.front().first.first, sv.x(100, 200), 1e-6);
        EXPECT_NEAR(nav[6].first.first, sv.x(100, 212), 1e-6);
        EXPECT_NEAR(nav[11].first.second, sv.y(105, 212), 1e-6);
        EXPECT_NEAR(nav.back().first.second, sv.y(100, 200), 1e-6);
        EXPECT_EQ(nav.front().second, 12);
    }
}

TEST(SurveyScan, FullScanFindsAmplitudesAndMarksTraces)
{
    ScratchDir dir;
    Survey sv;
    sv.inlines = 5;
    sv.crosslines = 6;
    sv.amplitude = [](int il, int xl, int k) { return static_cast<float>((il - 102) * (xl - 205) + k) * 0.25f; };
    std::string const path = dir.path("a.sgy");
    ASSERT_TRUE(writeSurvey(path, sv));
    float lo = FLT_MAX, hi = -FLT_MAX;
    for (auto [il, xl] : sv.order())
        for (int k = 0; k < sv.samples; ++k) {
            lo = std::min(lo, sv.amplitude(il, xl, k));
            hi = std::max(hi, sv.amplitude(il, xl, k));
        }

    // The header-only scan answers the same ranges without the amplitudes.
    Scan s(path);
    ASSERT_EQ(s.run(false), 1);
    auto const quick = s.range();
    ASSERT_EQ(s.run(true), 1);
    expectRange(s.range(), {quick.inlStart, quick.inlStop, quick.inlStep, quick.crlStart, quick.crlStop, quick.crlStep});
    EXPECT_DOUBLE_EQ(s.drange().sMin, lo);
    EXPECT_DOUBLE_EQ(s.drange().sMax, hi);
    EXPECT_EQ(std::count(s.r.selected().begin(), s.r.selected().end(), true), 30);

    // Clamped amplitudes bound the range.
    s.r.setSTransform(true);
    s.r.setSMin(-2.0);
    s.r.setSMax(3.0);
    ASSERT_EQ(s.run(true), 1);
    EXPECT_DOUBLE_EQ(s.drange().sMin, -2.0);
    EXPECT_DOUBLE_EQ(s.drange().sMax, 3.0);

    // A trace's top is searched from the smallest positive float, as SEGYtrace does.
    sv.amplitude = [](int, int, int k) { return -1.0f - static_cast<float>(k); };
    ASSERT_TRUE(writeSurvey(path, sv));
    Scan negative(path);
    ASSERT_EQ(negative.run(true), 1);
    EXPECT_DOUBLE_EQ(negative.drange().sMin, -50.0);
    EXPECT_DOUBLE_EQ(negative.drange().sMax, FLT_MIN);
}

TEST(SurveyScan, WantedStepsRoundUpToMultiplesOfTheFileStep)
{
    ScratchDir dir;
    Survey sv;
    sv.inlineStep = 2;
    sv.inlines = 13; // 100 .. 124
    sv.crosslines = 3;
    std::string const path = dir.path("steps.sgy");
    ASSERT_TRUE(writeSurvey(path, sv));
    for (auto [wanted, step] : {std::pair{5, 6}, {4, 4}, {1, 2}}) {
        Scan s(path);
        s.r.setInlRange(100, 124, wanted);
        ASSERT_EQ(s.run(true), 1);
        EXPECT_EQ(s.range().inlStep, step) << wanted;
        EXPECT_EQ(s.range().inlStop, 100 + (24 / step) * step);
        // Only inlines on the learned step are accepted.
        EXPECT_EQ(std::count(s.r.selected().begin(), s.r.selected().end(), true), 3 * (24 / step + 1));
    }
}

TEST(SurveyScan, SubRangesAndIrregularOutline)
{
    ScratchDir dir;
    Survey sv;
    sv.inlines = 10;
    sv.crosslines = 10;
    // A corner cut off and a hole in the middle.
    sv.present = [](int il, int xl) { return !(il + (xl - 200) / 2 > 115) && !(il == 104 && xl == 208); };
    std::string const path = dir.path("irregular.sgy");
    ASSERT_TRUE(writeSurvey(path, sv));

    Scan s(path);
    s.r.setInlRange(102, 107, 1);
    s.r.setCrlRange(204, 216, 1);
    ASSERT_EQ(s.run(true), 1);
    expectRange(s.range(), {102, 107, 1, 204, 216, 2});
    expectTransform(s.trans(), sv);
    EXPECT_FALSE(s.r.traceIndex().lookup(104, 208));
    int accepted = 0;
    for (auto [il, xl] : sv.order()) accepted += il >= 102 && il <= 107 && xl >= 204 && xl <= 216;
    EXPECT_EQ(std::count(s.r.selected().begin(), s.r.selected().end(), true), accepted);

    Scan single(path);
    single.r.setInlRange(10, 5, 1); // ignored
    single.r.setInlRange(103, 103, 1);
    EXPECT_EQ(single.run(), 0) << "one inline does not span a plane";
}

TEST(SurveyScan, BadSurveysGiveTheirCodes)
{
    ScratchDir dir;
    Survey sv;
    std::string const path = dir.path("bad.sgy");
    Layout const l;

    // The second trace repeats the first: found before it is indexed.
    ASSERT_TRUE(writeSurvey(path, sv));
    patchTraceWord(path, sv, 1, l.positions[SEGYreader::SlotCrossline], 4, 200);
    Scan dup(path);
    testing::internal::CaptureStdout();
    EXPECT_EQ(dup.run(), -5);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "SEG-Y 3D import\nMultiple instances of crossline 200on inline 100\n");
    EXPECT_EQ(dup.r.traceIndex().num_traces(), 1);

    ASSERT_TRUE(writeSurvey(path, sv));
    patchTraceWord(path, sv, 3, 115, 2, 49);
    Scan count(path);
    testing::internal::CaptureStdout();
    EXPECT_EQ(count.run(), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "SEG-Y 3D import\n# of samples in reel header (50) does not match # of samples in trace header: 49\n");

    ASSERT_TRUE(writeSurvey(path, sv));
    Scan lines(path);
    lines.r.setInlCrlVerify(true);
    lines.r.setInlVerify({100, 200});
    lines.r.setCrlVerify({0, 1000});
    EXPECT_EQ(lines.run(), -4) << "the limits are strict";
    lines.r.setInlVerify({99, 200});
    EXPECT_EQ(lines.run(), 1);

    Scan xy(path);
    xy.r.setXyVerify(true);
    xy.r.setXVerify({0, 1e7});
    xy.r.setYVerify({0, sv.y(100, 200)});
    EXPECT_EQ(xy.run(), -3);
    xy.r.setYVerify({0, 1e8});
    EXPECT_EQ(xy.run(), 1);

    Scan missing(dir.path("none.sgy"));
    EXPECT_EQ(missing.run(), 0);
}

TEST(SurveyScan, SkipZeroXYTestsIntegerParts)
{
    ScratchDir dir;
    Survey sv;
    std::string const path = dir.path("zero.sgy");
    ASSERT_TRUE(writeSurvey(path, sv));
    // Trace 7 at (0.7, -0.9) with scaler -100.
    patchTraceWord(path, sv, 7, 181, 4, 70);
    patchTraceWord(path, sv, 7, 185, 4, -90);
    auto const [il, xl] = sv.order()[7];

    Scan keep(path);
    ASSERT_EQ(keep.run(true, false), 1);
    EXPECT_TRUE(keep.r.selected()[7]);
    Scan skip(path);
    ASSERT_EQ(skip.run(true, true), 1);
    EXPECT_FALSE(skip.r.selected()[7]);
    EXPECT_TRUE(skip.r.traceIndex().lookup(il, xl)) << "read traces are indexed before any test";
    EXPECT_EQ(std::count(skip.r.selected().begin(), skip.r.selected().end(), true), 19);
}

TEST(SurveyScan, ZWindowsRoundToTheSampleGrid)
{
    ScratchDir dir;
    Survey sv;
    sv.intervalUs = 2000;
    std::string const path = dir.path("z.sgy");
    ASSERT_TRUE(writeSurvey(path, sv));
    Scan s(path);
    s.r.setZRange(3.0, 9.0, 2.0);
    ASSERT_EQ(s.run(), 1);
    EXPECT_DOUBLE_EQ(s.drange().zMin, 4.0);
    EXPECT_DOUBLE_EQ(s.drange().zMax, 8.0);
    EXPECT_DOUBLE_EQ(s.drange().zStep, 2.0);

    s.r.setZRange(0.0, 1000.0, 3.0); // a step between two multiples of the interval
    ASSERT_EQ(s.run(), 1);
    EXPECT_DOUBLE_EQ(s.drange().zStep, 4.0);
    EXPECT_DOUBLE_EQ(s.drange().zMax, 98.0);
    EXPECT_DOUBLE_EQ(s.r.zSkip(-6.0), 3.0);
}

TEST(SurveyScan, SecondFileIsReadOnlyPastTheTracesOfTheFirst)
{
    ScratchDir dir;
    Survey a, b;
    a.inlines = 2; // 10 traces
    b.inlineStart = 102;
    b.inlines = 5; // 25 traces
    ASSERT_TRUE(writeSurvey(dir.path("a.sgy"), a));
    ASSERT_TRUE(writeSurvey(dir.path("b.sgy"), b));
    Scan s(dir.path("a.sgy"));
    s.r.setFileNames({dir.path("a.sgy"), dir.path("b.sgy")});
    ASSERT_EQ(s.run(true), 1);
    // The counter runs on: of b's 25 traces only the first 15 are read.
    EXPECT_EQ(s.r.traceIndex().num_traces(), 10 + 15);
    expectRange(s.range(), {100, 104, 1, 200, 208, 2});
    EXPECT_EQ(s.r.filename(), dir.path("a.sgy"));
    EXPECT_EQ(s.r.selected().size(), 10u + 10u + 25u) << "the first file counts twice in the bound";
}

TEST(SurveyScan, HopsReadLogarithmicallyManyHeaders)
{
    ScratchDir dir;
    std::vector<long long> rising, falling;
    for (int inlines : {500, 1000, 2000, 4000}) {
        Survey sv;
        sv.inlines = inlines;
        sv.crosslines = 2;
        sv.samples = 1;
        for (bool fall : {false, true}) {
            sv.inlinesFalling = fall;
            std::string const path = dir.path("hop.sgy");
            ASSERT_TRUE(writeSurvey(path, sv));
            Scan s(path);
            int const target = 100 + inlines - 3;
            s.r.setInlRange(target, target + 1, 1);
            // Falling, the hop carries past the first wanted trace, so P4 is never found.
            EXPECT_EQ(s.run(), fall ? 0 : 1);
            (fall ? falling : rising).push_back(s.r.headersRead());
            EXPECT_TRUE(s.r.traceIndex().lookup(target, 200));
            EXPECT_TRUE(s.r.traceIndex().lookup(target, 202));
            EXPECT_LT(s.r.traceIndex().num_traces(), 40);
        }
    }
    for (auto const* counts : {&rising, &falling})
        for (std::size_t k = 1; k < counts->size(); ++k) {
            long long const grew = (*counts)[k] - (*counts)[k - 1];
            EXPECT_GE(grew, 0);
            EXPECT_LE(grew, 4) << "doubling the survey adds a few reads, not twice as many";
        }

    // Without hops every header up to the range is read.
    Survey sv;
    sv.inlines = 500;
    sv.crosslines = 2;
    sv.samples = 1;
    ASSERT_TRUE(writeSurvey(dir.path("walk.sgy"), sv));
    Scan s(dir.path("walk.sgy"));
    s.r.setInlRange(597, 599, 1);
    s.r.setVariableTrace(true);
    s.run();
    EXPECT_EQ(s.r.headersRead(), 1000);
}

TEST(SurveyScan, AgreesWithSegyioGeometry)
{
    ScratchDir dir;
    std::string const path = dir.path("g.sgy"), txt = dir.path("g.txt");
    ASSERT_EQ(runOracle("segyio_geometry.py", {path, txt}), 0);
    std::ifstream in(txt);
    std::string tag;
    int il0, il1, nil, xl0, xl1, nxl, ns;
    double z0, dz;
    in >> tag >> il0 >> il1 >> nil >> tag >> xl0 >> xl1 >> nxl >> tag >> z0 >> dz >> ns;

    Scan s(path, false);
    ASSERT_EQ(s.run(true), 1);
    expectRange(s.range(), {il0, il1, (il1 - il0) / (nil - 1), xl0, xl1, (xl1 - xl0) / (nxl - 1)});
    EXPECT_DOUBLE_EQ(s.drange().zMin, z0);
    EXPECT_DOUBLE_EQ(s.drange().zStep, dz);
    EXPECT_DOUBLE_EQ(s.drange().zMax, z0 + (ns - 1) * dz);
    auto const t = s.trans();
    int il, xl, rows = 0;
    double x, y;
    while (in >> il >> xl >> x >> y) {
        ASSERT_NEAR(t.x0 + t.xInl * il + t.xCrl * xl, x, 1e-3);
        ASSERT_NEAR(t.y0 + t.yInl * il + t.yCrl * xl, y, 1e-3);
        ++rows;
    }
    EXPECT_EQ(rows, nil * nxl);
    EXPECT_EQ(s.r.traceIndex().num_traces(), rows);
}

TEST(SurveyScan, DeadTracesAndReportLines)
{
    ScratchDir dir;
    Survey sv;
    sv.amplitude = [](int il, int xl, int k) { return il == 101 && xl >= 204 ? 0.0f : 1.0f + k; };
    std::string const path = dir.path("dead.sgy");
    ASSERT_TRUE(writeSurvey(path, sv));
    Scan s(path);
    s.r.setNavigationType(SEGYreader3D::NavOutlineLive);
    ASSERT_EQ(s.run(false), 1);
    EXPECT_TRUE(s.r.deadTraces().empty()) << "dead traces need the samples";
    DebugCapture log;
    ASSERT_EQ(s.run(true), 1);
    ASSERT_EQ(s.r.deadTraces().size(), 3u);
    EXPECT_EQ(s.r.deadTraces().begin()->first, std::make_pair(101, 204));
    EXPECT_EQ(s.r.deadTraces().begin()->second, 3600 + 7 * traceBytes(sv));
    std::string const text = log.text();
    EXPECT_NE(text.find("SEGYreader3D::scan START"), std::string::npos);
    EXPECT_NE(text.find("trace_idx_.size(20) key_size(8) value_size(16)"), std::string::npos);
    EXPECT_NE(text.find("total_time("), std::string::npos);
    EXPECT_NE(text.find("SEGYreader3D::scan DONE"), std::string::npos);
    EXPECT_NE(text.find("using the rectangle"), std::string::npos);
    EXPECT_FALSE(s.r.navigation().empty());
}

TEST(SurveyScan, InlinesReadDirectlyAndThroughTheIndex)
{
    ScratchDir dir;
    Survey sv;
    sv.inlines = 3;
    sv.crosslines = 4;
    sv.present = [](int il, int xl) { return !(il == 101 && xl == 202); };
    std::string const path = dir.path("inl.sgy");
    ASSERT_TRUE(writeSurvey(path, sv));
    Scan s(path);
    s.r.setStorage(32);
    s.r.setScalarRange(-FLT_MAX, FLT_MAX);
    ASSERT_EQ(s.run(true), 1);

    // Inline after inline, without bricks.
    std::ifstream in(path, std::ios::binary);
    ASSERT_EQ(s.r.skipInitial(&in), 1);
    int inl = -1;
    long long counter = -1;
    for (int expect = 100; expect <= 102; ++expect) {
        int const before = inl;
        ASSERT_EQ(s.r.readNextInl(&in, s.layout.types, s.layout.positions, sv.samples, 4LL * sv.samples, inl, counter), 1);
        EXPECT_EQ(before == -1 ? 100 : before, expect);
        auto const& a = s.r.amplitudes();
        for (int k = 0; k < 4; ++k) {
            int const xl = 200 + 2 * k;
            float const want = sv.present(expect, xl) ? sv.amplitude(expect, xl, 5) : FLT_MAX;
            EXPECT_EQ(a[static_cast<std::size_t>(k * sv.samples + 5)], want) << expect << " " << xl;
        }
    }
    EXPECT_EQ(s.r.readNextInl(&in, s.layout.types, s.layout.positions, sv.samples, 4LL * sv.samples, inl, counter), 0);
    EXPECT_EQ(s.r.skipInitial(nullptr), 0);

    // Through the index, missing traces as the undefined value.
    auto& h = s.r.traceIndex().header;
    s.r.setIndexedSEGYHeaderValues(h);
    h.crlStart = 200;
    h.crlStop = 206;
    h.crlStep = 2;
    std::vector<float> out;
    s.r.getInl(in, 101, out);
    ASSERT_EQ(out.size(), 4u * sv.samples);
    EXPECT_EQ(out[0], sv.amplitude(101, 200, 0));
    EXPECT_EQ(out[static_cast<std::size_t>(sv.samples)], FLT_MAX);
    EXPECT_EQ(out.back(), sv.amplitude(101, 206, sv.samples - 1));
}

TEST(SurveyScan, UndefinedValueFollowsStorage)
{
    SEGYreader3D r;
    r.setStorage(8);
    EXPECT_EQ(r.undef(), 127);
    r.setStorage(16);
    EXPECT_EQ(r.undef(), 32767);
    r.setStorage(32);
    EXPECT_EQ(r.undef(), FLT_MAX);
}
