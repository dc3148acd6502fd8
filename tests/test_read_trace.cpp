// Reading one indexed trace into the cube's storage range, and the rescaling rule.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "foundation/SEGY3D_read_trace.h"
#include "foundation/rescale.h"
#include "platform/mapped_file.h"
#include "segy_test_util.h"

namespace {

using namespace tolmar_test;

TEST(Rescale, ZeroStaysAndNothingLandsNearIt)
{
    // Storage of 8 bits: limits -126..126, m = 1000.
    double const m = 1000.0, low = -126.0, high = 126.0, s = Tolmar::rescale_factor(low, high, m);
    EXPECT_DOUBLE_EQ(s, 0.126);
    // Zero and values below 1e-6 stay; beyond m they clamp; (v + m) * s + low
    // near zero for v near zero is pushed out to +-1.
    for (auto [v, want] : {std::pair{0.0, 0.0}, {5e-7, 5e-7}, {1000.0, 126.0}, {-1000.0, -126.0}, {5000.0, 126.0},
                           {-5000.0, -126.0}, {0.001, 1.0}, {-3.0, -1.0}, {500.0, 63.0}})
        EXPECT_DOUBLE_EQ(Tolmar::rescale_amplitude(v, m, s, low, high), want) << v;
}

struct IndexedFile {
    Survey survey;
    std::string path;
    Tolmar::IndexedSEGYHeader header;
    long long traceBytes() const { return 240 + 4LL * survey.samples; }
    long long offset(std::size_t i) const { return 3600 + static_cast<long long>(i) * traceBytes(); }
};

IndexedFile makeFile(ScratchDir const& dir, int format, bool little)
{
    IndexedFile f;
    f.survey.format = format;
    f.survey.littleEndian = little;
    f.survey.ibm = format == 1;
    f.survey.samples = 40;
    f.path = dir.path("t.sgy");
    EXPECT_TRUE(writeSurvey(f.path, f.survey));
    f.header.format = format;
    f.header.nSamples = 40;
    f.header.ibmFloat = format == 1;
    f.header.littleEndian = little;
    f.header.sampleRate = f.survey.intervalUs;
    return f;
}

// Decoding of every format through the tool: SegyFromElsewhere.
TEST(SEGY3DReadTrace, WindowClampAndRescale)
{
    ScratchDir dir;
    IndexedFile f = makeFile(dir, 1, false);
    auto in = Tolmar::platform::open_binary_input(f.path);
    // Plain names, not a structured binding: the lambda captures them.
    int const il = f.survey.order()[3].first, xl = f.survey.order()[3].second;
    auto amp = [&](int k) { return f.survey.amplitude(il, xl, k); };

    // Every second sample (8 ms on a 4 ms file), ten of them.
    Tolmar::IndexedSEGYHeader h = f.header;
    h.zStart = 0.0;
    h.zStop = 72.0;
    h.zStep = 8.0;
    std::vector<float> out;
    ASSERT_TRUE(Tolmar::SEGY3D_read_trace(*in, f.offset(3), h, out));
    ASSERT_EQ(out.size(), 10u);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(out[i], amp(2 * i));
    // A window longer than the trace stops at its end.
    h.zStop = 1000.0;
    ASSERT_TRUE(Tolmar::SEGY3D_read_trace(*in, f.offset(3), h, out));
    EXPECT_EQ(out.size(), 20u);

    h = f.header;
    h.sTransform = true;
    h.sMin = -10.0;
    h.sMax = 20.0;
    h.rescale = true;
    h.maxAbsAmplitude = 20.0;
    h.lowValue = -126.0;
    h.highValue = 126.0;
    h.scale = Tolmar::rescale_factor(-126.0, 126.0, 20.0);
    ASSERT_TRUE(Tolmar::SEGY3D_read_trace(*in, f.offset(3), h, out));
    ASSERT_EQ(out.size(), 40u);
    for (int k = 0; k < 40; ++k) {
        double const clamped = std::clamp<double>(amp(k), -10.0, 20.0);
        EXPECT_FLOAT_EQ(out[k], static_cast<float>(Tolmar::rescale_amplitude(clamped, 20.0, h.scale, -126.0, 126.0)));
    }
}

TEST(SEGY3DReadTrace, BadFormatsAndShortFiles)
{
    ScratchDir dir;
    IndexedFile f = makeFile(dir, 1, false);
    auto in = Tolmar::platform::open_binary_input(f.path);
    std::vector<float> out{1.0f};
    Tolmar::IndexedSEGYHeader h = f.header;
    h.format = 4;
    EXPECT_FALSE(Tolmar::SEGY3D_read_trace(*in, f.offset(0), h, out));
    EXPECT_TRUE(out.empty());
    EXPECT_FALSE(Tolmar::SEGY3D_read_trace(*in, f.offset(20), f.header, out)) << "past the last trace";
    EXPECT_FALSE(Tolmar::SEGY3D_read_trace(*in, -5, f.header, out));
    std::filesystem::resize_file(f.path, static_cast<std::uintmax_t>(f.offset(19) + 100));
    std::ifstream cut(f.path, std::ios::binary);
    EXPECT_FALSE(Tolmar::SEGY3D_read_trace(cut, f.offset(19), f.header, out)) << "truncated last trace";
    EXPECT_TRUE(Tolmar::SEGY3D_read_trace(cut, f.offset(18), f.header, out)) << "the stream recovers";
}

} // namespace
