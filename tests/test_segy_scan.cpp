#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <fstream>

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
    // The reader's answers as values.
    template <class T, class R>
    T get(void (R::*f)(T&) const) const
    {
        T t;
        (r.*f)(t);
        return t;
    }
    SEGYreader3D::IRange range() const { return get(&SEGYreader3D::iRange); }
    SEGYreader::DRange drange() const { return get(&SEGYreader::dRange); }
    SEGYreader3D::Trans trans() const { return get(&SEGYreader3D::trans); }
    long long selected() const { return std::count(r.selected().begin(), r.selected().end(), true); }
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

// Ranges, order, the grid, z and spacing, the index and the outline, whichever way the traces run.
TEST(SurveyScan, LearnsRisingFallingAndCrosslineSortedSurveys)
{
    ScratchDir dir;
    for (int kind = 0; kind < 3; ++kind) {
        SCOPED_TRACE(kind);
        Survey const sv{.inlines = 6, .crosslines = 7, .delay = 12, .crosslineSorted = kind == 2, .inlinesFalling = kind == 1};
        Scan s(surveyFile(dir, sv));
        ASSERT_EQ(s.run(), 1);
        expectRange(s.range(), {100, 105, 1, 200, 212, 2});
        EXPECT_EQ(s.r.inlOrder(), kind == 1 ? 0 : 1);
        expectTransform(s.trans(), sv);
        auto const d = s.drange();
        EXPECT_EQ((std::vector<double>{d.zMin, d.zMax, d.zStep}), (std::vector<double>{12.0, 12.0 + 49 * 4.0, 4.0}));
        EXPECT_NEAR(d.inlSpacing, std::hypot(10.0, 8.0), 1e-9);
        EXPECT_NEAR(d.crlSpacing, 2 * std::hypot(10.0, 12.5), 1e-9);
        EXPECT_EQ((std::vector<double>{d.xMin, d.xMax, d.yMin}),
                  (std::vector<double>{sv.x(100, 200), sv.x(105, 212), sv.y(105, 200)}));

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
        EXPECT_NEAR(nav[6].first.first, sv.x(100, 212), 1e-6);
        EXPECT_NEAR(nav[11].first.second, sv.y(105, 212), 1e-6);
        EXPECT_NEAR(nav.back().first.second, sv.y(100, 200), 1e-6);
        EXPECT_EQ(nav.front().second, 12);
    }
}

// A full scan finds the amplitude range, clamped when asked, and marks the
// traces it takes. (A top searched from the smallest positive float: SEGYcube.)
TEST(SurveyScan, FullScanFindsAmplitudesAndMarksTraces)
{
    ScratchDir dir;
    // -2.5 at (104, 200), 14.75 at (104, 210) sample 49.
    Survey const sv{.inlines = 5, .crosslines = 6, .amplitude = [](int il, int xl, int k) {
                  return static_cast<float>((il - 102) * (xl - 205) + k) * 0.25f;
              }};
    Scan s(surveyFile(dir, sv));
    ASSERT_EQ(s.run(true), 1);
    expectRange(s.range(), {100, 104, 1, 200, 210, 2});
    EXPECT_DOUBLE_EQ(s.drange().sMin, -2.5);
    EXPECT_DOUBLE_EQ(s.drange().sMax, 14.75);
    EXPECT_EQ(s.selected(), 30);
    s.r.setSTransform(true);
    s.r.setSMin(-2.0);
    s.r.setSMax(3.0);
    ASSERT_EQ(s.run(true), 1);
    EXPECT_DOUBLE_EQ(s.drange().sMin, -2.0);
    EXPECT_DOUBLE_EQ(s.drange().sMax, 3.0);
}

TEST(SurveyScan, WantedStepsRoundUpToMultiplesOfTheFileStep)
{
    ScratchDir dir;
    std::string const path = surveyFile(dir, {.inlineStep = 2, .inlines = 13, .crosslines = 3}); // inlines 100 .. 124
    for (auto [wanted, step] : {std::pair{5, 6}, {4, 4}, {1, 2}}) {
        Scan s(path);
        s.r.setInlRange(100, 124, wanted);
        ASSERT_EQ(s.run(true), 1);
        EXPECT_EQ(s.range().inlStep, step) << wanted;
        EXPECT_EQ(s.range().inlStop, 100 + (24 / step) * step);
        EXPECT_EQ(s.selected(), 3 * (24 / step + 1)) << "only inlines on the learned step";
    }
}

TEST(SurveyScan, SubRangesAndIrregularOutline)
{
    ScratchDir dir;
    // A corner cut off and a hole in the middle.
    Survey const sv{.inlines = 10, .crosslines = 10, .present = [](int il, int xl) {
                        return !(il + (xl - 200) / 2 > 115) && !(il == 104 && xl == 208);
                    }};
    std::string const path = surveyFile(dir, sv);
    Scan s(path);
    s.r.setInlRange(102, 107, 1);
    s.r.setCrlRange(204, 216, 1);
    ASSERT_EQ(s.run(true), 1);
    expectRange(s.range(), {102, 107, 1, 204, 216, 2});
    expectTransform(s.trans(), sv);
    EXPECT_FALSE(s.r.traceIndex().lookup(104, 208));
    int accepted = 0;
    for (auto [il, xl] : sv.order()) accepted += il >= 102 && il <= 107 && xl >= 204 && xl <= 216;
    EXPECT_EQ(s.selected(), accepted);

    Scan single(path);
    single.r.setInlRange(103, 103, 1);
    EXPECT_EQ(single.run(), 0) << "one inline does not span a plane";
}

TEST(SurveyScan, BadSurveysGiveTheirCodes)
{
    ScratchDir dir;
    Survey const sv;
    std::string const path = dir.path("bad.sgy");

    // The second trace repeats the first: found before it is indexed. (Its message: HostileInput.)
    ASSERT_TRUE(writeSurvey(path, sv));
    patchTraceWord(path, sv, 1, 193, 4, 200);
    Scan dup(path);
    EXPECT_EQ(dup.run(), -5);
    EXPECT_EQ(dup.r.traceIndex().num_traces(), 1);

    ASSERT_TRUE(writeSurvey(path, sv));
    patchTraceWord(path, sv, 3, 115, 2, 49);
    Scan count(path);
    testing::internal::CaptureStdout();
    EXPECT_EQ(count.run(), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "SEG-Y 3D import\n# of samples in reel header (50) does not match # of samples in trace header: 49\n");

    // Verification limits are strict.
    ASSERT_TRUE(writeSurvey(path, sv));
    Scan lines(path), xy(path);
    lines.r.setInlCrlVerify(true);
    lines.r.setInlVerify({100, 200});
    lines.r.setCrlVerify({0, 1000});
    EXPECT_EQ(lines.run(), -4);
    lines.r.setInlVerify({99, 200});
    EXPECT_EQ(lines.run(), 1);
    xy.r.setXyVerify(true);
    xy.r.setXVerify({0, 1e7});
    xy.r.setYVerify({0, sv.y(100, 200)});
    EXPECT_EQ(xy.run(), -3);
    xy.r.setYVerify({0, 1e8});
    EXPECT_EQ(xy.run(), 1);

    EXPECT_EQ(Scan(dir.path("none.sgy")).run(), 0);
}

// Trace 7 at (0.7, -0.9): no coordinates when only the integer parts count.
TEST(SurveyScan, SkipZeroXYTestsIntegerParts)
{
    ScratchDir dir;
    Survey const sv;
    std::string const path = surveyFile(dir, sv);
    patchTraceWord(path, sv, 7, 181, 4, 70);
    patchTraceWord(path, sv, 7, 185, 4, -90);
    Scan keep(path), skip(path);
    ASSERT_EQ(keep.run(true, false), 1);
    EXPECT_TRUE(keep.r.selected()[7]);
    ASSERT_EQ(skip.run(true, true), 1);
    EXPECT_FALSE(skip.r.selected()[7]);
    EXPECT_EQ(skip.selected(), 19);
    EXPECT_TRUE(skip.r.traceIndex().lookup(sv.order()[7].first, sv.order()[7].second)) << "indexed before any test";
}

TEST(SurveyScan, ZWindowsRoundToTheSampleGrid)
{
    ScratchDir dir;
    Scan s(surveyFile(dir, {.intervalUs = 2000}));
    s.r.setZRange(3.0, 9.0, 2.0);
    ASSERT_EQ(s.run(), 1);
    EXPECT_EQ((std::vector<double>{s.drange().zMin, s.drange().zMax, s.drange().zStep}), (std::vector<double>{4, 8, 2}));
    s.r.setZRange(0.0, 1000.0, 3.0); // a step between two multiples of the interval
    ASSERT_EQ(s.run(), 1);
    EXPECT_EQ((std::vector<double>{s.drange().zMin, s.drange().zMax, s.drange().zStep}), (std::vector<double>{0, 98, 4}));
}

TEST(SurveyScan, SecondFileIsReadOnlyPastTheTracesOfTheFirst)
{
    ScratchDir dir;
    // 10 traces, then 25.
    std::string const a = surveyFile(dir, {.inlines = 2}, "a.sgy"), b = surveyFile(dir, {.inlineStart = 102, .inlines = 5}, "b.sgy");
    Scan s(a);
    s.r.setFileNames({a, b});
    ASSERT_EQ(s.run(true), 1);
    // The counter runs on: of b's 25 traces only the first 15 are read.
    EXPECT_EQ(s.r.traceIndex().num_traces(), 10 + 15);
    expectRange(s.range(), {100, 104, 1, 200, 208, 2});
    EXPECT_EQ(s.r.filename(), a);
    EXPECT_EQ(s.r.selected().size(), 10u + 10u + 25u) << "the first file counts twice in the bound";
}

TEST(SurveyScan, HopsReadLogarithmicallyManyHeaders)
{
    ScratchDir dir;
    std::vector<long long> rising, falling;
    for (int inlines : {500, 1000, 2000, 4000})
        for (bool fall : {false, true}) {
            Scan s(surveyFile(dir, {.inlines = inlines, .crosslines = 2, .samples = 1, .inlinesFalling = fall}));
            int const target = 100 + inlines - 3;
            s.r.setInlRange(target, target + 1, 1);
            // Falling, the hop carries past the first wanted trace, so P4 is never found.
            EXPECT_EQ(s.run(), fall ? 0 : 1);
            (fall ? falling : rising).push_back(s.r.headersRead());
            EXPECT_TRUE(s.r.traceIndex().lookup(target, 200) && s.r.traceIndex().lookup(target, 202));
            EXPECT_LT(s.r.traceIndex().num_traces(), 40);
        }
    for (auto const* counts : {&rising, &falling})
        for (std::size_t k = 1; k < counts->size(); ++k) {
            long long const grew = (*counts)[k] - (*counts)[k - 1];
            EXPECT_GE(grew, 0);
            EXPECT_LE(grew, 4) << "doubling the survey adds a few reads, not twice as many";
        }

    // Without hops every header up to the range is read.
    Scan s(surveyFile(dir, {.inlines = 500, .crosslines = 2, .samples = 1}));
    s.r.setInlRange(597, 599, 1);
    s.r.setVariableTrace(true);
    s.run();
    EXPECT_EQ(s.r.headersRead(), 1000);
}

// Dead traces come from the samples of a full scan; a traced outline is not
// available and says so.
TEST(SurveyScan, DeadTracesAndTheOutline)
{
    ScratchDir dir;
    Survey const sv{.amplitude = [](int il, int xl, int k) { return il == 101 && xl >= 204 ? 0.0f : 1.0f + k; }};
    Scan s(surveyFile(dir, sv));
    s.r.setNavigationType(SEGYreader3D::NavOutlineLive);
    ASSERT_EQ(s.run(false), 1);
    EXPECT_TRUE(s.r.deadTraces().empty()) << "dead traces need the samples";
    DebugCapture log;
    ASSERT_EQ(s.run(true), 1);
    ASSERT_EQ(s.r.deadTraces().size(), 3u);
    EXPECT_EQ(s.r.deadTraces().begin()->first, std::make_pair(101, 204));
    EXPECT_EQ(s.r.deadTraces().begin()->second, 3600 + 7 * traceBytes(sv));
    EXPECT_NE(log.text().find("using the rectangle"), std::string::npos);
    EXPECT_FALSE(s.r.navigation().empty());
}

// After a full scan, inlines read one after the other, and by the index
// with missing traces as the undefined value.
TEST(SurveyScan, InlinesReadDirectlyAndThroughTheIndex)
{
    ScratchDir dir;
    Survey const sv{.inlines = 3, .crosslines = 4, .present = [](int il, int xl) { return !(il == 101 && xl == 202); }};
    std::string const path = surveyFile(dir, sv);
    Scan s(path);
    s.r.setStorage(32);
    s.r.setScalarRange(-FLT_MAX, FLT_MAX);
    ASSERT_EQ(s.run(true), 1);

    std::ifstream in(path, std::ios::binary);
    ASSERT_EQ(s.r.skipInitial(&in), 1);
    EXPECT_EQ(s.r.skipInitial(nullptr), 0);
    int inl = -1;
    long long counter = -1;
    auto next = [&] {
        return s.r.readNextInl(&in, s.layout.types, s.layout.positions, sv.samples, 4LL * sv.samples, inl, counter);
    };
    for (int expect = 100; expect <= 102; ++expect) {
        int const before = inl;
        ASSERT_EQ(next(), 1);
        EXPECT_EQ(before == -1 ? 100 : before, expect);
        for (int k = 0; k < 4; ++k) {
            int const xl = 200 + 2 * k;
            float const want = sv.present(expect, xl) ? sv.amplitude(expect, xl, 5) : FLT_MAX;
            EXPECT_EQ(s.r.amplitudes()[static_cast<std::size_t>(k * sv.samples + 5)], want) << expect << " " << xl;
        }
    }
    EXPECT_EQ(next(), 0);

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
