// The reader core on files made by the project's writer. Samples of every
// format in both byte orders: the segyio oracle, SampleDecode and SynthSurvey.

#include <gtest/gtest.h>

#include <fstream>
#include <list>
#include <map>

#include "foundation/byte_order.h"
#include "segy_test_util.h"

namespace {

using namespace tolmar_test;
using Tolmar::SEGYwriter;
using W = SEGYwriter::Word;
constexpr auto I16 = SEGYreader::Integer16, I32 = SEGYreader::Integer32, F32 = SEGYreader::Float32;

// A file of four-sample traces whose header words are given one vector per
// trace; reel is a list of (offset, value) 16-bit reel header words.
void writeTraces(std::string const& path, std::vector<std::vector<W>> const& headers, bool ibm = true,
                 bool little = false, int format = 1, std::vector<std::pair<int, int>> const& reel = {})
{
    SEGYwriter w;
    w.setFormat(format);
    w.setIbmFloat(ibm);
    w.setLittleEndian(little);
    w.setSampleCount(4);
    for (auto [offset, value] : reel) w.setReelWord(offset, 16, value);
    ASSERT_TRUE(w.open(path));
    for (auto const& h : headers) ASSERT_TRUE(w.writeTrace(h, std::vector<float>(4, 1.0f)));
    ASSERT_TRUE(w.close());
}

// Without a file the headers are empty; a text header of 250 bytes holds
// three complete lines; setFile ignores an empty name and forgets the file
// when given a missing one. (Header contents: the segyio oracle and the
// info command's tests.)
TEST(SEGYreader, FileHeadersAndSetFile)
{
    ScratchDir dir;
    ReaderHarness r;
    int format = 0;
    EXPECT_TRUE(r.EBCDICheader().empty() && r.reelHeader(&format, true).empty());
    std::ofstream(dir.path("short.sgy"), std::ios::binary) << std::string(250, 'x');
    r.setIsAscii(true);
    r.setFile(dir.path("short.sgy"));
    EXPECT_EQ(r.EBCDICheader(), std::list<std::string>(3, std::string(80, 'x')));
    EXPECT_EQ(r.fileSize(), 250);
    r.setFile("");
    EXPECT_EQ(r.filename(), dir.path("short.sgy"));
    r.setFile(dir.path("missing.sgy"));
    EXPECT_EQ(r.filename(), "");
    EXPECT_EQ(r.fileSize(), 0);
}

// The reel header's count against its original count, the first trace
// header (4 samples) deciding between them; no agreement keeps the reel
// header's with a warning.
TEST(SEGYreader, ReelHeaderSampleCounts)
{
    ScratchDir dir;
    struct Case {
        int count, original, expect;
        std::string warning;
    };
    for (Case const& c : {Case{0, 4, 4, ""}, Case{4, 7, 4, ""},
                          Case{6, 5, 6, "SEG-Y 2D import\n# of samples in reel header (6) does not match original # "
                                        "of samples: 5\n"}}) {
        SCOPED_TRACE(c.count);
        writeTraces(dir.path("n.sgy"), {{}}, true, false, 1, {{20, c.count}, {22, c.original}});
        ReaderHarness r;
        testing::internal::CaptureStdout();
        auto s = openAtTraces(r, dir.path("n.sgy"));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.warning);
        EXPECT_EQ(r.nSamples(), c.expect);
        EXPECT_EQ(s.tellg(), 3600) << "left at the first trace header";
    }
}

// Format 4 is refused with a message, at the reel header only when the
// storage comes from the format, and by readTrace always, without consuming
// anything. Format 3 takes 16-bit storage and 2-byte samples; an override
// wins over the file.
TEST(SEGYreader, FormatCodesAndStorage)
{
    ScratchDir dir;
    writeTraces(dir.path("f4.sgy"), {{}}, true, false, 4);
    for (unsigned storage : {0u, 8u}) {
        SCOPED_TRACE(storage);
        ReaderHarness r;
        r.setStorage(storage);
        testing::internal::CaptureStdout();
        auto s = openAtTraces(r, dir.path("f4.sgy"));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), storage ? "" : "Invalid format: 4\n");
        EXPECT_EQ(r.storageMember(), storage ? 8u : 32u);
        readHeader(r, s, Layout{});
        std::streampos const before = s.tellg();
        Tolmar::SEGYtrace t(1, 0, 0, 0, 0, 0, 0, 4);
        testing::internal::CaptureStdout();
        EXPECT_FALSE(r.readTrace(&s, &t, 0, r.sampleRate()));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Invalid format: 4\n");
        EXPECT_EQ(s.tellg(), before) << "nothing consumed";
    }
    writeTraces(dir.path("f3.sgy"), {{}}, true, false, 3);
    ReaderHarness r, over;
    r.setStorage(0);
    r.setStorage(12); // no storage width: ignored
    EXPECT_EQ(std::pair(r.storage(3), r.storage(8)), std::pair(16u, 8u)) << "known before the file is read";
    openAtTraces(r, dir.path("f3.sgy"));
    EXPECT_EQ(r.storageMember(), 16u);
    EXPECT_EQ(r.nBytes(), 2);
    over.setFormatOverride(8);
    openAtTraces(over, dir.path("f3.sgy"));
    EXPECT_EQ(over.format(), 8);
}

// Words at moved positions as 16-bit, 32-bit and float words, in both float
// kinds and byte orders; negative, positive and zero scaler words.
TEST(SEGYreader, TraceHeaderWordsUnderAnyLayout)
{
    ScratchDir dir;
    Layout const l = Layout{}
                         .with(SEGYreader::SlotInline, I16, 9)
                         .with(SEGYreader::SlotCrossline, F32, 21)
                         .with(SEGYreader::SlotX, F32, 73)
                         .with(SEGYreader::SlotY, F32, 77)
                         .with(SEGYreader::SlotZ, I32, 199);
    for (bool ibm : {true, false})
        for (bool little : {false, true}) {
            SCOPED_TRACE(testing::Message() << "ibm " << ibm << " little " << little);
            std::string const path = dir.path("layout.sgy");
            writeTraces(path,
                        {{{9, I16, -1234}, {21, F32, 77.9}, {71, I16, -100}, {73, F32, 12345.5}, {77, F32, -250.25},
                          {199, I32, 1500}},
                         {{71, I16, 100}, {73, F32, 2.5}},
                         {{71, I16, 0}, {73, F32, 2.5}}},
                        ibm, little);
            ReaderHarness r;
            r.setIbmFloat(ibm);
            r.setLittleEndian(little);
            auto s = openAtTraces(r, path);
            Header const h = readHeader(r, s, l);
            EXPECT_EQ((std::vector<int>{h.tsn, h.inl, h.crl, h.ns}), (std::vector<int>{1, -1234, 77, 4})) << "floats are truncated";
            EXPECT_DOUBLE_EQ(h.x, 12345.5 * 0.01);
            EXPECT_DOUBLE_EQ(h.y, -250.25 * 0.01);
            EXPECT_DOUBLE_EQ(h.z, 1500.0);
            for (double want : {250.0, 0.0}) { // scaler 100 multiplies; a zero scaler is not mended
                s.seekg(16, std::ios::cur);
                EXPECT_DOUBLE_EQ(readHeader(r, s, l).x, want);
            }
        }
}

TEST(SEGYreader, OverridesAndTransforms)
{
    ScratchDir dir;
    Layout const l;
    std::string const path = dir.path("t.sgy");
    writeTraces(path, {{{71, I16, -10}, {181, I32, 7200}, {185, I32, 3600}, {109, I16, 40}}});
    {
        ReaderHarness r;
        r.setScalerOverride(true, 2.0);
        r.setZStartOverride(true, 8.0);
        r.setSampleRateOverride(true, 0.0);
        auto s = openAtTraces(r, path);
        EXPECT_DOUBLE_EQ(r.sampleRate(), 1000.0) << "a zero rate override keeps the file's interval out";
        Header const h = readHeader(r, s, l);
        EXPECT_DOUBLE_EQ(h.x, 14400.0) << "the override scaler stands";
        EXPECT_DOUBLE_EQ(h.z, 8.0) << "the forced z start wins";
    }
    ReaderHarness r;
    r.setScalerOverride(true, -1.0); // stored, but the override stays off
    r.setSampleRateOverride(true, 2.0);
    r.setXyTransform(true);
    r.setSecarc(true);
    r.setXMul(2.0);
    r.setXAdd(1.0);
    r.setYMul(-1.0);
    r.setYAdd(0.5);
    auto s = openAtTraces(r, path);
    EXPECT_DOUBLE_EQ(r.sampleRate(), 2000.0);
    Header const h = readHeader(r, s, l);
    EXPECT_DOUBLE_EQ(h.x, 720.0 / 360.0 * 2.0 + 1.0);
    EXPECT_DOUBLE_EQ(h.y, 360.0 / 360.0 * -1.0 + 0.5);
    EXPECT_DOUBLE_EQ(h.z, 40.0);
}

// A line reader rounds a float shot point, where inlines are truncated,
// scales the depth and may make it z; a survey reader reads neither.
TEST(SEGYreader, LineReaderShotPointsAndDepth)
{
    ScratchDir dir;
    Layout const l = Layout{}.with(SEGYreader::SlotShotPoint, F32, 17).with(SEGYreader::SlotInline, F32, 189);
    std::string const path = dir.path("line.sgy");
    writeTraces(path, {{{17, F32, 41.96}, {69, I16, -10}, {41, I32, 15000}, {189, F32, 6.97}, {109, I16, 12}}}, false);
    struct Case {
        int dimension;
        bool transform, toTime;
        int sp;
        double depth, z;
    };
    for (Case c : {Case{2, false, false, 42, 1500, 12}, Case{2, true, false, 42, 1500, 1500},
                   Case{2, true, true, 42, 1500, 1500.0 / 3000 * 2000}, Case{3, true, true, 0, 0, 12}}) {
        SCOPED_TRACE(testing::Message() << c.dimension << c.transform << c.toTime);
        ReaderHarness r(c.dimension);
        r.setZTransform(c.transform, c.toTime, 3000);
        auto s = openAtTraces(r, path);
        Header const h = readHeader(r, s, l);
        EXPECT_EQ(h.sp, c.sp);
        EXPECT_EQ(h.inl, 6);
        EXPECT_DOUBLE_EQ(h.depth, c.depth);
        EXPECT_DOUBLE_EQ(h.z, c.z);
    }
}

// The samples readTrace takes from the trace at the stream; step 0 is the sample rate.
std::vector<float> readSamples(ReaderHarness& r, std::istream& s, int wanted, double first = 0, double step = 0)
{
    Tolmar::SEGYtrace t(1, 0, 0, 0, 0, 0, 0, wanted);
    EXPECT_TRUE(r.readTrace(&s, &t, first, step > 0 ? step : r.sampleRate()));
    return t.samples();
}

TEST(SEGYreader, StridesClampAndRawRange)
{
    ScratchDir dir;
    Survey const sv{.inlines = 1, .crosslines = 2, .samples = 1000, .intervalUs = 2000,
                    .amplitude = [](int, int xl, int k) { return static_cast<float>(k - 500 + xl); }};
    ReaderHarness r;
    r.setIbmFloat(true);
    auto s = openAtTraces(r, surveyFile(dir, sv));
    readHeader(r, s, sv.layout);
    auto const every2nd = readSamples(r, s, 500, 0, 4000.0);
    EXPECT_EQ(every2nd.size(), 500u);
    EXPECT_EQ(every2nd[1], -498.0f + 200);
    EXPECT_EQ(s.tellg(), 3600 + 240 + 4000) << "the whole trace is consumed";

    // From index 10 with stride 3, 400 samples wanted; then clamp on.
    readHeader(r, s, sv.layout);
    r.setSTransform(true);
    r.setSMin(-100.5);
    r.setSMax(300.25);
    auto const u = readSamples(r, s, 400, 10.9, 6000.0);
    ASSERT_EQ(u.size(), 330u) << "ends at the trace's last sample";
    EXPECT_EQ(u[0], -100.5f) << "clamped";
    EXPECT_EQ(u[329], 300.25f);
    EXPECT_EQ(u[100], static_cast<float>(10 + 3 * 100 - 500 + 202));
    SEGYreader::DRange d;
    r.dRange(d);
    EXPECT_DOUBLE_EQ(d.rawMin, -500.0 + 200) << "raw range taken before the clamp";
    EXPECT_DOUBLE_EQ(d.rawMax, 10 + 3 * 329 - 500 + 202);
}

// Integer samples clamp to the clamp limits truncated towards zero.
TEST(SEGYreader, IntegerFormatsClampToTruncatedLimits)
{
    ScratchDir dir;
    Survey const sv{.inlines = 1, .crosslines = 1, .samples = 5, .format = 3,
                    .amplitude = [](int, int, int k) { return static_cast<float>(k * 2 - 4); }}; // -4 -2 0 2 4
    ReaderHarness r;
    r.setSTransform(true);
    r.setSMin(-2.9);
    r.setSMax(3.9);
    auto s = openAtTraces(r, surveyFile(dir, sv));
    readHeader(r, s, sv.layout);
    EXPECT_EQ(readSamples(r, s, 5), (std::vector<float>{-2, -2, 0, 2, 3}));
}

// The listing walks the standard word widths, or the configured ones, of the
// numbered trace (the last one past the end) and leaves the reader's state
// alone. (The standard listing of a first trace: the info command's tests.)
TEST(SEGYreader, TraceHeaderListing)
{
    ScratchDir dir;
    Survey const sv;
    ReaderHarness r;
    unsigned long long n = 0;
    EXPECT_TRUE(r.traceHeader(0, sv.layout.types, sv.layout.positions, n).empty()) << "no file";
    r.setFile(surveyFile(dir, sv));
    auto listing = [&](unsigned long long trace, Layout const& l) {
        auto const list = r.traceHeader(trace, l.types, l.positions, n);
        EXPECT_EQ(list.back().first, "239-240");
        return std::map<std::string, int>(list.begin(), list.end());
    };
    auto m = listing(3, sv.layout);
    EXPECT_EQ(n, 20u);
    EXPECT_EQ(m["1-4"], 4);
    EXPECT_EQ(m["71-72"], -100);
    EXPECT_EQ(m["193-196"], 206);
    EXPECT_EQ(r.nSamples(), 0);
    EXPECT_EQ(listing(1000, sv.layout)["1-4"], 20);

    m = listing(0, sv.layout.with(SEGYreader::SlotInline, I16, 189).with(SEGYreader::SlotX, F32, 181));
    EXPECT_EQ(m["189-190"], 0) << "high half of a 32-bit 100";
    EXPECT_EQ(m["191-192"], 100);
    EXPECT_EQ(m["181-184"], static_cast<int>(Tolmar::bits_float(static_cast<std::uint32_t>(sv.x(100, 200) * 100))));
}

} // namespace
