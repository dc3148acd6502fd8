// Broken and hostile files: each gets its defined outcome and nothing crashes.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "segy_test_util.h"

namespace {

using namespace tolmar_test;

TEST(SEGYbadInput, EmptyAndShortFiles)
{
    ScratchDir dir;
    writeFile(dir.path("empty.sgy"), {});
    writeFile(dir.path("short.sgy"), std::vector<char>(3500, 0x40));
    for (char const* name : {"empty.sgy", "short.sgy"}) {
        ReaderHarness r;
        r.setFile(dir.path(name));
        EXPECT_EQ(r.filename(), dir.path(name)) << "the file exists and opens";
        std::ifstream s(dir.path(name), std::ios::binary);
        r.skipEBCDICheader(&s);
        testing::internal::CaptureStdout();
        EXPECT_TRUE(r.readReelHeader(&s));
        testing::internal::GetCapturedStdout();
        EXPECT_FALSE(s.good()) << "the short read shows in the stream state";
        EXPECT_EQ(r.nTraces(), 0);
        unsigned long long n = 99;
        Layout l;
        EXPECT_TRUE(r.traceHeader(0, l.types, l.positions, n).empty());
        EXPECT_EQ(n, 0u);
        int format = -1;
        auto reel = r.reelHeader(&format, true);
        if (std::string(name) == "empty.sgy") EXPECT_TRUE(reel.empty());
        else EXPECT_EQ(format, 0x4040);
        Tolmar::SEGYtrace t(1, 0, 0, 0, 0, 0, 0, 10);
        r.setStorage(32);
        EXPECT_FALSE(r.readTrace(&s, &t, 0, 1000)) << "format 0 is unknown";
    }
    ReaderHarness r;
    r.setFile(dir.path("empty.sgy"));
    EXPECT_TRUE(r.EBCDICheader().empty());
    r.setFile(dir.dir()); // a folder is not a file
    EXPECT_EQ(r.filename(), "");
}

TEST(SEGYbadInput, ZeroSamplesAndTruncatedLastTrace)
{
    ScratchDir dir;
    Survey sv;
    ASSERT_TRUE(writeSurvey(dir.path("s.sgy"), sv));
    // Cut the last trace in half.
    std::filesystem::resize_file(dir.path("s.sgy"), 3600 + 19 * 440 + 300);
    ReaderHarness r;
    r.setIbmFloat(true);
    auto s = openAtTraces(r, dir.path("s.sgy"));
    EXPECT_EQ(r.nTraces(), 19) << "the partial trace is not counted";
    unsigned long long n = 0;
    auto list = r.traceHeader(100, sv.layout.types, sv.layout.positions, n);
    EXPECT_EQ(n, 19u);
    EXPECT_EQ(list.front().second, 19) << "past the end shows the last whole trace";
    // Reading into the cut trace: what is missing reads as zeros, the stream reports it.
    r.skipTraceHeadersAndTraces(&s, 19);
    Header h = readHeader(r, s, sv.layout);
    EXPECT_EQ(h.tsn, 20);
    Tolmar::SEGYtrace t(1, 0, 0, 0, 0, 0, 0, 50);
    EXPECT_TRUE(r.readTrace(&s, &t, 0, r.sampleRate()));
    EXPECT_EQ(t.size(), 50u);
    EXPECT_EQ(t.sample(49), 0.0f);
    EXPECT_TRUE(s.fail());

    // A reel header of 0 samples with nothing to correct it: 240-byte traces.
    Tolmar::SEGYwriter w;
    w.setSampleCount(0);
    ASSERT_TRUE(w.open(dir.path("zero.sgy")));
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(w.writeTrace({}, nullptr));
    ASSERT_TRUE(w.close());
    ReaderHarness z;
    auto zs = openAtTraces(z, dir.path("zero.sgy"));
    EXPECT_EQ(z.nSamples(), 0);
    EXPECT_EQ(z.nTraces(), 3);
    readHeader(z, zs, sv.layout);
    Tolmar::SEGYtrace e(1, 0, 0, 0, 0, 0, 0, 10);
    EXPECT_TRUE(z.readTrace(&zs, &e, 0, z.sampleRate()));
    EXPECT_EQ(e.size(), 0u);
    EXPECT_EQ(zs.tellg(), 3600 + 240);
}

TEST(SEGYbadInput, HostileHeaderValues)
{
    ScratchDir dir;
    // A negative sample count (0xFFF0 as signed 16 bits), a float inline of
    // 1e30, and a configured position running off the header's end.
    Tolmar::SEGYwriter w;
    w.setSampleCount(4);
    w.setIbmFloat(false);
    w.setReelWord(20, 16, -16);
    w.setReelWord(22, 16, -16);
    ASSERT_TRUE(w.open(dir.path("h.sgy")));
    ASSERT_TRUE(w.writeTrace({{189, SEGYreader::Float32, 1e30}, {193, SEGYreader::Float32, -1e30}}, std::vector<float>(4, 2.0f)));
    ASSERT_TRUE(w.close());
    ReaderHarness r;
    auto s = openAtTraces(r, dir.path("h.sgy"));
    EXPECT_EQ(r.nSamples(), -16);
    EXPECT_GE(r.nTraces(), 0);
    Layout l;
    l.types[SEGYreader::SlotInline] = SEGYreader::Float32;
    l.types[SEGYreader::SlotCrossline] = SEGYreader::Float32;
    l.positions[SEGYreader::SlotX] = 239; // a 4-byte word cannot start here
    l.positions[SEGYreader::SlotY] = -5;
    Header h = readHeader(r, s, l);
    EXPECT_EQ(h.inl, std::numeric_limits<int>::max());
    EXPECT_EQ(h.crl, std::numeric_limits<int>::min());
    EXPECT_DOUBLE_EQ(h.x, 0.0);
    EXPECT_DOUBLE_EQ(h.y, 0.0);
    Tolmar::SEGYtrace t(1, 0, 0, 0, 0, 0, 0, 4);
    EXPECT_TRUE(r.readTrace(&s, &t, 0, r.sampleRate()));
    EXPECT_EQ(t.size(), 0u);
    unsigned long long n = 0;
    l.positions[SEGYreader::SlotZ] = 239;
    l.types[SEGYreader::SlotZ] = SEGYreader::Integer32;
    auto list = r.traceHeader(0, l.types, l.positions, n);
    EXPECT_FALSE(list.empty());
    // Stride and start that make no sense give nothing, never a hang.
    ReaderHarness g;
    auto gs = openAtTraces(g, dir.path("h.sgy"));
    Tolmar::SEGYtrace u(1, 0, 0, 0, 0, 0, 0, 4);
    EXPECT_TRUE(g.readTrace(&gs, &u, -7.0, 0.0));
    EXPECT_TRUE(g.readTrace(&gs, &u, 1e300, 1e300));
    EXPECT_EQ(u.size(), 0u);
}

TEST(SEGYbadInput, NegativeStartSkipsMissingSamples)
{
    ScratchDir dir;
    Survey sv;
    sv.inlines = sv.crosslines = 1;
    sv.samples = 10;
    sv.amplitude = [](int, int, int k) { return float(k); };
    ASSERT_TRUE(writeSurvey(dir.path("n.sgy"), sv));
    ReaderHarness r;
    r.setIbmFloat(true);
    auto s = openAtTraces(r, dir.path("n.sgy"));
    readHeader(r, s, sv.layout);
    Tolmar::SEGYtrace t(1, 0, 0, 0, 0, 0, 0, 6);
    EXPECT_TRUE(r.readTrace(&s, &t, -3.0, 2 * r.sampleRate()));
    EXPECT_EQ(t.samples(), (std::vector<float>{1, 3, 5, 7}));
}

} // namespace
