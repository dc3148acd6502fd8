// 2D lines: shot points that repeat, jump and fall become one trace per SP
// step, on files from our writer and from segyio.

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <fstream>

#include "foundation/byte_order.h"
#include "platform/user_output.h"
#include "segy/SEGYreader2D.h"
#include "segy_test_util.h"

namespace {

using namespace tolmar_test;
using Tolmar::SEGYreader2D;
using Tolmar::SEGYtrace;

struct Shot {
    int sp;
    double x, y;
    int delay = 0;
};

// Positions along a straight track, by shot point.
double trackX(double sp) { return 500000.0 + 25.0 * sp; }
double trackY(double sp) { return 6000000.0 - 10.0 * sp; }

std::vector<Shot> onTrack(std::vector<int> const& sps)
{
    std::vector<Shot> shots;
    for (int sp : sps) shots.push_back({sp, trackX(sp), trackY(sp)});
    return shots;
}

float amplitude(int trace, int k)
{
    return std::sin(0.3f * static_cast<float>(k) + static_cast<float>(trace)) * 100.0f * static_cast<float>(1 + k % 5);
}

constexpr int kSamples = 40;

// IEEE floats, 4 ms, every sequence number 0: the reader must not lean on them.
std::string writeLine(ScratchDir const& dir, std::vector<Shot> const& shots, int scaler = -100)
{
    Tolmar::SEGYwriter w;
    w.setFormat(5);
    w.setIbmFloat(false);
    w.setSampleCount(kSamples);
    std::string const path = dir.path("line.sgy");
    EXPECT_TRUE(w.open(path));
    double const mul = scaler < 0 ? -scaler : 1.0 / scaler;
    std::vector<float> samples(kSamples);
    for (int t = 0; t < static_cast<int>(shots.size()); ++t) {
        for (int k = 0; k < kSamples; ++k) samples[k] = amplitude(t, k);
        Shot const& s = shots[t];
        EXPECT_TRUE(w.writeTrace({{1, SEGYreader::Integer32, 0},
                                  {17, SEGYreader::Integer32, double(s.sp)},
                                  {189, SEGYreader::Integer32, 1},
                                  {193, SEGYreader::Integer32, 1000.0 + t},
                                  {71, SEGYreader::Integer16, double(scaler)},
                                  {181, SEGYreader::Integer32, s.x * mul},
                                  {185, SEGYreader::Integer32, s.y * mul},
                                  {109, SEGYreader::Integer16, double(s.delay)}},
                                 samples));
    }
    EXPECT_TRUE(w.close());
    return path;
}

// A line analysed and read as the add-in does.
struct Line {
    SEGYreader2D r;
    std::vector<SEGYtrace> list;
    int sp[9] = {-1000000, 1000000, 1};
    double ranges[13] = {0, 0, 0, 0, 0, 0, 0, 1e6, 0};
    int analyzed = 0, read = 0;
    Layout layout;

    explicit Line(std::string const& path) { r.setFile(path); }
    Line& import(int spStep = 1, bool headersOnly = false)
    {
        sp[2] = spStep;
        analyzed = r.analyze(layout.types, layout.positions, sp, ranges, list);
        read = r.read(layout.types, layout.positions, sp, ranges, list, headersOnly);
        return *this;
    }
    std::vector<int> shotPoints() const
    {
        std::vector<int> out;
        for (auto const& n : r.navigation()) out.push_back(n.second);
        return out;
    }
    float at(int trace, int k) const { return r.amplitudes()[static_cast<std::size_t>(trace * r.nSamplesUsed() + k)]; }
};

void expectUndefined(Line const& l, int lineTrace, float undef)
{
    for (int k = 0; k < l.r.nSamplesUsed(); ++k) ASSERT_EQ(l.at(lineTrace, k), undef) << "sample " << k;
}

// The user's lines while it lives.
struct Said {
    std::vector<std::string> lines;
    Tolmar::platform::OutputSink old =
        Tolmar::platform::set_output_sink([this](std::string_view s) { lines.emplace_back(s); });
    ~Said() { Tolmar::platform::set_output_sink(old); }
    bool has(std::string const& s) const { return std::find(lines.begin(), lines.end(), s) != lines.end(); }
};

TEST(SegyLine, RunsOfEqualShotPointsLeaveTheirMiddleTrace)
{
    ScratchDir dir;
    // Distinct positions for every trace, so that the one kept shows.
    std::vector<Shot> shots;
    for (int sp : {1, 2, 2, 3, 3, 3, 4}) shots.push_back({sp, 1000.0 + static_cast<double>(shots.size()), 2000.0});
    Line l(writeLine(dir, shots));
    l.import();
    ASSERT_EQ(l.analyzed, 1);
    ASSERT_EQ(l.read, 1);
    // Pairs keep their second trace, a run of three its middle one; positions count from 1.
    std::vector<int> kept;
    for (auto const& t : l.list) {
        EXPECT_FALSE(t.taperOff() || t.taperOn() || t.insert());
        kept.push_back(t.tsn());
    }
    EXPECT_EQ(kept, (std::vector<int>{1, 3, 5, 7}));
    EXPECT_EQ(l.shotPoints(), (std::vector<int>{1, 2, 3, 4}));
    ASSERT_EQ(l.r.nTracesUsed(), 4);
    ASSERT_EQ(l.r.amplitudes().size(), 4u * kSamples);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(l.r.navigation()[i].first.first, 1000.0 + kept[i] - 1);
        for (int k = 0; k < kSamples; ++k) ASSERT_EQ(l.at(i, k), amplitude(kept[i] - 1, k));
    }
}

TEST(SegyLine, GapsAreFilledEvenlyBetweenTheirNeighbours)
{
    ScratchDir dir;
    struct Case {
        std::vector<int> file;
        int step;
        std::vector<int> line;
    };
    for (Case const& c : {Case{{10, 11, 15, 16}, 1, {10, 11, 12, 13, 14, 15, 16}},
                          Case{{120, 119, 119, 118, 114, 113}, 1, {120, 119, 118, 117, 116, 115, 114, 113}},
                          Case{{10, 11, 12, 13, 18, 19, 20}, 2, {10, 12, 14, 16, 18, 20}}}) {
        SCOPED_TRACE("step " + std::to_string(c.step) + " from SP " + std::to_string(c.file[0]));
        Line l(writeLine(dir, onTrack(c.file)));
        l.import(c.step);
        ASSERT_EQ(l.read, 1);
        ASSERT_EQ(l.shotPoints(), c.line);
        EXPECT_EQ(l.r.nTracesUsed(), static_cast<int>(c.line.size()));
        EXPECT_EQ(l.sp[0], std::min(c.line.front(), c.line.back()));
        EXPECT_EQ(l.sp[1], std::max(c.line.front(), c.line.back()));
        for (std::size_t i = 0; i < c.line.size(); ++i) {
            // On a straight track an inserted trace's place is its shot point's.
            EXPECT_NEAR(l.r.navigation()[i].first.first, trackX(c.line[i]), 1e-6);
            EXPECT_NEAR(l.r.navigation()[i].first.second, trackY(c.line[i]), 1e-6);
            bool const inserted = std::find(c.file.begin(), c.file.end(), c.line[i]) == c.file.end();
            if (inserted) expectUndefined(l, static_cast<int>(i), FLT_MAX);
        }
    }
    // A gap of four: three inserted entries at a quarter, a half and three quarters.
    Line l(writeLine(dir, {{1, 0, 0}, {5, 400, -80}}));
    l.import();
    ASSERT_EQ(l.list.size(), 5u);
    for (int k = 1; k <= 3; ++k) {
        SEGYtrace const& t = l.list[static_cast<std::size_t>(k)];
        EXPECT_TRUE(t.insert());
        EXPECT_EQ(t.tsn(), 0);
        EXPECT_EQ(t.sP(), 1 + k);
        EXPECT_EQ(t.utmX(), 100.0f * k);
        EXPECT_EQ(t.utmY(), -20.0f * k);
        EXPECT_EQ(t.samples(), std::vector<float>{0.0f});
    }
}

// The track of every trace as the file has it, then the ranges of the
// repaired line without its samples, under both kinds of coordinate scaler.
TEST(SegyLine, TheTrackAndTheRangesWithoutTheSamples)
{
    ScratchDir dir;
    for (int scaler : {-100, 10}) {
        SCOPED_TRACE("scaler " + std::to_string(scaler));
        std::vector<Shot> shots = onTrack({7, 8, 8, 10});
        for (Shot& s : shots) s.x = std::round(s.x / 10) * 10; // whole words under either scaler
        shots[2].delay = 8;
        Line l(writeLine(dir, shots, scaler));
        ASSERT_EQ(l.r.readNavigation(l.layout.types, l.layout.positions, l.sp, l.ranges), 1);
        ASSERT_EQ(l.r.navigation().size(), 4u);
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_EQ(l.r.navigation()[i].first, std::make_pair(shots[i].x, shots[i].y));
            EXPECT_EQ(l.r.navigation()[i].second, shots[i].sp);
        }
        std::vector<double> const xy{shots[0].x, shots[3].x, shots[3].y, shots[0].y};
        EXPECT_EQ(std::vector<double>(l.ranges, l.ranges + 4), xy);
        EXPECT_EQ(l.ranges[7], 8.0 + 4.0 * (kSamples - 1)); // the delayed trace's end

        l.sp[0] = 0, l.sp[1] = 100, l.ranges[6] = 0, l.ranges[7] = 1000;
        ASSERT_EQ(l.import(1, true).read, 1);
        EXPECT_TRUE(l.r.amplitudes().empty());
        // The run of 8 keeps the delayed trace: crosslines 1000, 1002 and 1003, the step learnt from the first two.
        EXPECT_EQ(std::vector<int>(l.sp, l.sp + 9), (std::vector<int>{7, 10, 1, 1, 1, 0, 1000, 1003, 2}));
        EXPECT_EQ(l.ranges[7], 8.0 + 4.0 * (kSamples - 1));
        EXPECT_EQ(l.ranges[0], shots[0].x);
        EXPECT_EQ(l.ranges[8], 4.0);
        float lo = FLT_MAX, hi = -FLT_MAX;
        for (int t : {0, 2, 3})
            for (int k = 0; k < kSamples; ++k) lo = std::min(lo, amplitude(t, k)), hi = std::max(hi, amplitude(t, k));
        EXPECT_EQ(l.ranges[9], lo);
        EXPECT_EQ(l.ranges[10], hi);
    }
}

TEST(SegyLine, LineWrittenBySegyio)
{
    ScratchDir dir;
    std::vector<int> const file{200, 201, 201, 202, 206, 207, 207, 207, 215, 216};
    std::vector<int> const line{200, 201, 202, 203, 204, 205, 206, 207, 208, 209, 210, 211, 212, 213, 214, 215, 216};
    // The file trace at each trace of the line, -1 where one is inserted.
    std::vector<int> const source{0, 2, 3, -1, -1, -1, 4, 6, -1, -1, -1, -1, -1, -1, -1, 8, 9};
    {
        std::ofstream d(dir.path("line.txt"));
        d << kSamples << " 2000 -10\n";
        for (int sp : file)
            d << sp << ' ' << std::lround(trackX(sp) * 10) << ' ' << std::lround(trackY(sp) * 10) << '\n';
    }
    ASSERT_EQ(runOracle("segyio_line.py", {dir.path("line.txt"), dir.path("line.sgy"), dir.path("line.f32")}), 0);
    auto const bytes = readFile(dir.path("line.f32"));
    ASSERT_EQ(bytes.size(), file.size() * kSamples * 4);
    Line l(dir.path("line.sgy"));
    l.r.setIbmFloat(true);
    l.layout = l.layout.with(SEGYreader::SlotShotPoint, SEGYreader::Integer32, 197);
    ASSERT_EQ(l.import().read, 1);
    SEGYreader2D const& ibm = l.r;
    ASSERT_EQ(ibm.nTracesUsed(), static_cast<int>(line.size()));
    EXPECT_EQ(ibm.nSamplesUsed(), kSamples);
    EXPECT_DOUBLE_EQ(ibm.zStopUsed(), 2.0 * (kSamples - 1));
    for (std::size_t i = 0; i < line.size(); ++i) {
        SCOPED_TRACE("line trace " + std::to_string(i));
        EXPECT_EQ(ibm.navigation()[i].second, line[i]);
        EXPECT_NEAR(ibm.navigation()[i].first.first, trackX(line[i]), 1e-6);
        EXPECT_NEAR(ibm.navigation()[i].first.second, trackY(line[i]), 1e-6);
        for (int k = 0; k < kSamples; ++k) {
            float const got = ibm.amplitudes()[i * kSamples + k];
            std::size_t const at = static_cast<std::size_t>(source[i] * kSamples + k) * 4;
            float const want = source[i] < 0 ? FLT_MAX : Tolmar::bits_float(Tolmar::load_u32(&bytes[at], true));
            ASSERT_EQ(got, want) << "sample " << k;
        }
    }
}

TEST(SegyLine, ShotPointsBeyondFiveDigitsAreNamedAndStillRead)
{
    ScratchDir dir;
    std::string const path = writeLine(dir, onTrack({100000, 100001, 100003}));
    Said said;
    Line l(path);
    l.import();
    EXPECT_TRUE(said.has("SP settings may be wrong."));
    EXPECT_EQ(l.read, 1);
    EXPECT_EQ(l.shotPoints(), (std::vector<int>{100000, 100001, 100002, 100003}));
}

TEST(SegyLine, NarrowStorageMapsAmplitudesAndMarksInsertedTraces)
{
    ScratchDir dir;
    std::string const path = writeLine(dir, onTrack({1, 2, 4}));
    for (unsigned storage : {8u, 16u}) {
        SCOPED_TRACE("storage " + std::to_string(storage));
        Line l(path);
        l.r.setStorage(storage);
        l.import();
        ASSERT_EQ(l.read, 1);
        double const top = storage == 8 ? 127 : 32767;
        expectUndefined(l, 2, static_cast<float>(top));
        EXPECT_EQ(l.ranges[9], std::trunc(l.ranges[9]));
        EXPECT_GE(l.ranges[9], -(top - 1));
        EXPECT_LE(l.ranges[10], top - 1);
        for (int trace : {0, 1, 3})
            for (int k = 0; k < kSamples; ++k) {
                float const v = l.at(trace, k), raw = amplitude(trace == 3 ? 2 : trace, k);
                ASSERT_GE(v, -(top - 1));
                ASSERT_LE(v, top - 1);
                ASSERT_EQ(v > 0, raw > 0); // linear through zero keeps signs
            }
    }
}

TEST(SegyLine, TheZWindowLinesUpTracesOfDifferentDelays)
{
    ScratchDir dir;
    std::vector<Shot> shots = onTrack({1, 2, 3});
    shots[1].delay = 8;
    Line l(writeLine(dir, shots));
    l.ranges[6] = 6;
    l.ranges[7] = 100;
    ASSERT_EQ(l.import().read, 1);
    SEGYreader2D const& r = l.r;
    // Traces from 0 start the window at 8 ms, their third sample; the delayed one at its first.
    EXPECT_EQ(r.zStart(), 8.0);
    EXPECT_EQ(r.zStopUsed(), 100.0);
    ASSERT_EQ(r.nSamplesUsed(), 24);
    for (int k = 0; k < 24; ++k) {
        ASSERT_EQ(l.at(0, k), amplitude(0, k + 2));
        ASSERT_EQ(l.at(1, k), amplitude(1, k));
    }
}

TEST(SegyLine, BadInputIsRefusedOrReadAsFarAsItGoes)
{
    ScratchDir dir;
    // What analyze, readNavigation and read answer, and the traces read.
    auto const results = [](std::string const& path) {
        Line l(path);
        l.sp[0] = -2147483647, l.sp[1] = 2147483647, l.ranges[6] = -1e9, l.ranges[7] = 1e9;
        l.import();
        EXPECT_LE(l.list.size(), 2 * static_cast<std::size_t>(l.r.nTraces()));
        int const navigated = l.r.readNavigation(l.layout.types, l.layout.positions, l.sp, l.ranges);
        return std::vector<int>{l.analyzed, navigated, l.read, l.r.nTracesUsed()};
    };
    std::string const path = writeLine(dir, onTrack({1, 2, 3, 4}));
    auto const whole = readFile(path);
    auto const cut = [&](std::size_t bytes) {
        writeFile(path, std::vector<char>(whole.begin(), whole.begin() + static_cast<long>(bytes)));
    };

    // Shorter than the headers; the headers alone; a last trace cut short.
    cut(1000);
    EXPECT_EQ(results(path), (std::vector<int>{0, 0, 0, 0}));
    cut(3600);
    EXPECT_EQ(results(path), (std::vector<int>{1, 1, 0, 0}));
    cut(whole.size() - 50);
    EXPECT_EQ(results(path), (std::vector<int>{1, 1, 1, 3}));

    // Shot points that leap across the whole int range fill no gap.
    writeLine(dir, onTrack({-2147483647, 2147483647, 0, 2147483647, 5}));
    Said said;
    EXPECT_EQ(results(path), (std::vector<int>{1, 1, 1, 5}));

    // A trace starting far from the others; a trace header disagreeing with the reel header.
    Survey sv;
    sv.samples = kSamples;
    sv.format = 5;
    for (int word : {109, 115}) {
        writeLine(dir, onTrack({1, 2, 3}));
        patchTraceWord(path, sv, word == 109 ? 1 : 0, word, 2, 30000);
        EXPECT_EQ(results(path), (std::vector<int>{1, 1, 0, 0}));
    }
    EXPECT_TRUE(said.has("# of samples in reel header (40) does not match # of samples in trace header: 30000"));
}

} // namespace
