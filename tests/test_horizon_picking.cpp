// Horizon picking on a line: clicks snap to the nearest peak or trough of
// their trace, the horizon is tracked between clicks, and the result goes
// to a line feature; the TGA writer the textured export uses.

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <fstream>
#include <functional>
#include <iterator>

#include "graphics/LineInterpreter.h"
#include "graphics/tga_image.h"
#include "platform/text_encoding.h"
#include "segy_test_util.h"

namespace {

using Tolmar::LineInterpreter;
using Tolmar::vec;

// A section whose amplitude at (trace, sample) is given by a function;
// samples outside 0..nsamples-1 read as 0.
class FunctionSection : public Tolmar::ISeismicAmplitudesReader {
public:
    FunctionSection(int samples, std::function<float(int, int)> f) : nsamples(samples), amplitude(std::move(f)) {}
    void getAmplitudes(int trace, int first, int last, std::vector<float>& out) override
    {
        out.assign(static_cast<std::size_t>(last - first + 1), 0.0f);
        for (int s = first; s <= last; ++s)
            if (s >= 0 && s < nsamples) out[static_cast<std::size_t>(s - first)] = amplitude(trace, s);
        ++reads;
    }
    int nsamples;
    std::function<float(int, int)> amplitude;
    int reads = 0;
};

// A Gaussian pulse of a few samples' width centred at `at`.
float pulse(double s, double at) { return static_cast<float>(std::exp(-std::pow((s - at) / 3.0, 2))); }

struct RecordedFeature : Tolmar::host::IPolylineFeature {
    bool store(std::vector<vec<double, 3>> const& v) override
    {
        vertices = v;
        ++stores;
        return true;
    }
    std::vector<vec<double, 3>> vertices;
    int stores = 0;
};

// A straight line of `n` traces from (1000, 2000) one metre apart in x,
// samples from z 0 down to z -(nsamples-1)*4.
struct Line {
    explicit Line(int n, int nsamples, std::function<float(int, int)> f) : section(nsamples, std::move(f))
    {
        for (int i = 0; i < n; ++i) {
            x.push_back(1000 + i);
            y.push_back(2000);
        }
        tool = std::make_unique<LineInterpreter>(x, y, 0.0, -(nsamples - 1) * 4.0, nsamples, &section);
    }
    std::vector<double> x, y;
    FunctionSection section;
    std::unique_ptr<LineInterpreter> tool;
};

TEST(HorizonPicking, ClicksSnapToTheNearestPeakOrTroughOneSampleBelow)
{
    // A peak at 50 and a trough at 62 on every trace.
    Line line(10, 200, [](int, int s) { return pulse(s, 50) - pulse(s, 62); });
    auto& tool = *line.tool;
    tool.addHorizon("peaks", Tolmar::SnapPeak, 20);
    tool.setActiveHorizon("peaks");
    tool.mouseClick(3.4, 55.2);                       // rounds to trace 3, sample 55
    ASSERT_EQ(tool.activeHorizon().picks.size(), 1u);
    EXPECT_EQ(tool.activeHorizon().picks[0][0], 3);
    EXPECT_NEAR(tool.activeHorizon().picks[0][1], 51, 1e-4); // the peak, and the one below it
    EXPECT_NEAR(tool.activeHorizon().samples[3], 51, 1e-4);

    tool.addHorizon("troughs", Tolmar::SnapTrough, 20);
    tool.setActiveHorizon("troughs");
    tool.mouseClick(3, 55);
    EXPECT_NEAR(tool.activeHorizon().picks[0][1], 63, 1e-4);

    // A window that holds no peak leaves the click where it was.
    tool.addHorizon("narrow", Tolmar::SnapPeak, 3);
    tool.setActiveHorizon("narrow");
    tool.mouseClick(3, 150);
    EXPECT_EQ(tool.activeHorizon().picks[0][1], 150);
}

TEST(HorizonPicking, TheShallowerOfTwoPeaksAsFarWins)
{
    Line line(4, 100, [](int, int s) { return pulse(s, 40) + pulse(s, 60); });
    line.tool->addHorizon("h", Tolmar::SnapPeak, 20);
    line.tool->setActiveHorizon("h");
    line.tool->mouseClick(1, 50);
    EXPECT_NEAR(line.tool->activeHorizon().picks[0][1], 41, 0.05);
}

TEST(HorizonPicking, TracksADippingReflectorBetweenClicksAndWritesTheFeature)
{
    // The reflector falls 0.37 samples a trace from sample 80, with another
    // one 25 samples below it.
    auto depth = [](int t) { return 80 + 0.37 * t; };
    Line line(300, 400, [&depth](int t, int s) { return pulse(s, depth(t)) + 0.6f * pulse(s, depth(t) + 25); });
    auto& tool = *line.tool;
    auto feature = std::make_shared<RecordedFeature>();
    tool.addHorizon("TEST", Tolmar::SnapPeak, 20);
    tool.setActiveHorizon("TEST");
    tool.setFeature(feature);
    tool.mouseClick(10, depth(10) + 4);
    EXPECT_EQ(feature->stores, 0); // one pick is no line yet
    line.section.reads = 0;
    tool.mouseClick(250, depth(250) - 3);
    EXPECT_EQ(line.section.reads, 240); // the click and the 239 traces between, one window each

    auto const& samples = tool.activeHorizon().samples;
    for (int t = 10; t <= 250; ++t) ASSERT_NEAR(samples[static_cast<std::size_t>(t)], depth(t) + 1, 0.15) << t;
    EXPECT_EQ(samples[9], DBL_MAX);
    EXPECT_EQ(samples[251], DBL_MAX);

    // One vertex a trace from the first pick to the last, in map
    // coordinates and z, after each click.
    ASSERT_EQ(feature->stores, 1);
    ASSERT_EQ(feature->vertices.size(), 241u);
    EXPECT_DOUBLE_EQ(feature->vertices[0][0], 1010);
    EXPECT_DOUBLE_EQ(feature->vertices[0][1], 2000);
    EXPECT_NEAR(feature->vertices[0][2], -samples[10] * 4, 1e-9);

    // A click before the last pick adds it and tracks nothing.
    tool.mouseClick(5, depth(5));
    EXPECT_EQ(tool.activeHorizon().picks.size(), 3u);
    EXPECT_NE(samples[5], DBL_MAX);
    EXPECT_EQ(samples[6], DBL_MAX);
    EXPECT_EQ(feature->stores, 1); // the picks now run backwards: nothing written

    // The preview tracks on from the last pick to the cursor.
    tool.mouseMove(9.6, 0);
    EXPECT_EQ(tool.cursorTrace(), 10);
    auto const track = tool.preview(tool.cursorTrace());
    ASSERT_EQ(track.size(), 5u);
    EXPECT_NEAR(track.back(), depth(10) + 1, 0.15);
}

TEST(HorizonPicking, AHorizonOfTheSameNameReplacesTheOld)
{
    Line line(20, 100, [](int, int s) { return pulse(s, 30); });
    auto& tool = *line.tool;
    tool.addHorizon("h", Tolmar::SnapPeak, 10);
    tool.setActiveHorizon("h");
    tool.mouseClick(2, 30);
    tool.addHorizon("h", Tolmar::SnapTrough, 5);
    tool.setActiveHorizon("h");
    EXPECT_TRUE(tool.activeHorizon().picks.empty());
    EXPECT_EQ(tool.activeHorizon().mode, Tolmar::SnapTrough);
    EXPECT_EQ(tool.activeHorizon().buffer.size(), 11u);
    tool.setActiveHorizon("never added");
    EXPECT_EQ(tool.activeHorizon().samples.size(), 20u);
}

TEST(HorizonPicking, SectionPositionsInterpolateAlongTheLine)
{
    Line line(5, 11, [](int, int) { return 0.0f; });
    double x = 0, y = 0, z = 0;
    line.tool->plane2world(4, 10, x, y, z); // the last trace: between traces 3 and 4 at t = 1
    EXPECT_DOUBLE_EQ(x, 1004);
    EXPECT_DOUBLE_EQ(z, -40);
    line.tool->plane2world(1.25, 5, x, y, z);
    EXPECT_DOUBLE_EQ(x, 1001.25);
    EXPECT_DOUBLE_EQ(y, 2000);
    EXPECT_DOUBLE_EQ(z, -20);
}

TEST(TgaImage, WritesBgraRowsAsGivenAndRefusesAMismatchedSize)
{
    tolmar_test::ScratchDir dir;
    std::wstring const path = Tolmar::platform::from_utf8(dir.path("t.tga"));
    std::vector<vec<unsigned char, 4>> pixels{{{1, 2, 3, 4}}, {{5, 6, 7, 8}}, {{9, 10, 11, 12}}};
    EXPECT_FALSE(Tolmar::WriteTGAImage(path, 2, 2, pixels));
    EXPECT_FALSE(std::ifstream(dir.path("t.tga")).good());
    EXPECT_FALSE(Tolmar::WriteTGAImage(path, 0, 3, pixels));

    ASSERT_TRUE(Tolmar::WriteTGAImage(path, 3, 1, pixels));
    std::ifstream in(dir.path("t.tga"), std::ios::binary);
    std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), {});
    ASSERT_EQ(bytes.size(), 18u + 12u);
    std::vector<unsigned char> const header{0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 1, 0, 32, 0};
    EXPECT_EQ(std::vector<unsigned char>(bytes.begin(), bytes.begin() + 18), header);
    std::vector<unsigned char> const body{3, 2, 1, 4, 7, 6, 5, 8, 11, 10, 9, 12};
    EXPECT_EQ(std::vector<unsigned char>(bytes.begin() + 18, bytes.end()), body);
}

} // namespace
