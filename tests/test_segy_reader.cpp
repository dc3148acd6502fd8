// The reader core on files made by the project's writer.

#include <gtest/gtest.h>

#include <cfloat>
#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>

#include "foundation/byte_order.h"
#include "segy_test_util.h"

namespace {

using namespace tolmar_test;
using Tolmar::SEGYwriter;
using W = SEGYwriter::Word;

// A file of traces whose header words are given one vector per trace.
void writeTraces(std::string const& path, std::vector<std::vector<W>> const& headers, int samples = 4,
                 bool ibm = true, bool little = false, int format = 1)
{
    SEGYwriter w;
    w.setFormat(format);
    w.setIbmFloat(ibm);
    w.setLittleEndian(little);
    w.setSampleCount(samples);
    ASSERT_TRUE(w.open(path));
    std::vector<float> data(samples, 1.0f);
    for (auto const& h : headers) ASSERT_TRUE(w.writeTrace(h, data));
    ASSERT_TRUE(w.close());
}

TEST(SEGYreader, SettersAndDefaults)
{
    ReaderHarness r;
    EXPECT_DOUBLE_EQ(r.sampleRate(), 1000.0);
    EXPECT_EQ(r.storage(1), 32u);
    r.setStorage(12);
    EXPECT_EQ(r.storage(1), 32u) << "unsupported widths are ignored";
    r.setStorage(0);
    EXPECT_EQ(r.storage(3), 16u);
    EXPECT_EQ(r.storage(8), 8u);
    EXPECT_EQ(r.storage(2), 32u);
    r.setStorage(8);
    EXPECT_EQ(r.storage(3), 8u);

    r.setSampleRateOverride(true, 4.0);
    EXPECT_DOUBLE_EQ(r.sampleRate(), 4000.0);
    r.setSampleRateOverride(true, 0.0);
    EXPECT_DOUBLE_EQ(r.sampleRate(), 4000.0) << "a zero rate only sets the flag";

    r.setZStartOverride(false, 99.0);
    EXPECT_DOUBLE_EQ(r.zStart(), 0.0);
    r.setZStartOverride(true, 12.5);
    EXPECT_DOUBLE_EQ(r.zStart(), 12.5);

    r.setScalerOverride(true, -1.0);
    EXPECT_DOUBLE_EQ(r.scaler(), -1.0);

    Tolmar::IndexedSEGYHeader h;
    r.setSMin(-3.0);
    r.setSMax(4.0);
    r.setSTransform(true);
    r.setIbmFloat(true);
    r.setLittleEndian(true);
    r.setIndexedSEGYHeaderValues(h);
    EXPECT_EQ(h.format, 1);
    EXPECT_EQ(h.nSamples, 0);
    EXPECT_TRUE(h.ibmFloat && h.littleEndian && h.sTransform);
    EXPECT_DOUBLE_EQ(h.sampleRate, 4000.0);
    EXPECT_DOUBLE_EQ(h.sMin, -3.0);
    EXPECT_DOUBLE_EQ(h.sMax, 4.0);

    int size = 0;
    std::string name;
    SEGYreader::intAndStdStringFromType(SEGYreader::Integer16, size, name);
    EXPECT_EQ(size, 2);
    EXPECT_EQ(name, "Integer16 ");
    SEGYreader::intAndStdStringFromType(SEGYreader::Integer32, size, name);
    EXPECT_EQ(name, "Integer32 ");
    SEGYreader::intAndStdStringFromType(static_cast<SEGYreader::Type>(7), size, name);
    EXPECT_EQ(size, 4);
    EXPECT_EQ(name, "Float32 ");
}

TEST(SEGYreader, FileHeaders)
{
    ScratchDir dir;
    Survey s;
    s.littleEndian = true;
    ASSERT_TRUE(writeSurvey(dir.path("a.sgy"), s));
    ReaderHarness r;
    r.setLittleEndian(true);
    EXPECT_TRUE(r.EBCDICheader().empty()) << "no file yet";
    int format = 0;
    EXPECT_TRUE(r.reelHeader(&format, true).empty());
    r.setFile(dir.path("a.sgy"));
    EXPECT_EQ(r.fileSize(), 3600 + 20 * (240 + 4 * 50));

    auto text = r.EBCDICheader();
    ASSERT_EQ(text.size(), 40u);
    EXPECT_EQ(text.front().substr(0, 22), "C 1 TOLMAR TEST SURVEY");
    EXPECT_EQ(text.front().size(), 80u);
    r.setIsAscii(true);
    EXPECT_NE(r.EBCDICheader().front().substr(0, 3), "C 1") << "EBCDIC bytes read as ASCII";

    auto reel = r.reelHeader(&format, false);
    ASSERT_EQ(reel.size(), 12u);
    EXPECT_EQ(format, 1);
    auto it = reel.begin();
    EXPECT_EQ(it->first, "Job identification number");
    std::advance(it, 5);
    EXPECT_EQ(it->first, "Sample interval (microseconds)");
    EXPECT_EQ(it->second, 4000);
    std::advance(it, 2);
    EXPECT_EQ(it->first, "Number of samples per trace");
    EXPECT_EQ(it->second, 50);
    auto shortNames = r.reelHeader(&format, true);
    EXPECT_EQ(shortNames.back().first, "TraceSortingCode");
    EXPECT_EQ(std::next(shortNames.begin(), 9)->first, "DataSampleFormatCode");

    // A file set twice, or an empty name, changes nothing; a missing file clears.
    r.setFile("");
    EXPECT_EQ(r.filename(), dir.path("a.sgy"));
    r.setFile(dir.path("missing.sgy"));
    EXPECT_EQ(r.filename(), "");
    EXPECT_EQ(r.fileSize(), 0);
}

TEST(SEGYreader, TextHeaderInAsciiAndShortFiles)
{
    ScratchDir dir;
    SEGYwriter w;
    w.setAsciiText(true);
    w.setTextHeader({"C 1 ASCII [TEXT] HEADER | !^"});
    ASSERT_TRUE(w.open(dir.path("ascii.sgy")));
    ASSERT_TRUE(w.close());
    ReaderHarness r;
    r.setIsAscii(true);
    r.setFile(dir.path("ascii.sgy"));
    EXPECT_EQ(r.EBCDICheader().front().substr(0, 28), "C 1 ASCII [TEXT] HEADER | !^");

    // 250 bytes: three complete lines.
    std::ofstream(dir.path("short.sgy"), std::ios::binary) << std::string(250, 'x');
    ReaderHarness shortReader;
    shortReader.setIsAscii(true);
    shortReader.setFile(dir.path("short.sgy"));
    EXPECT_EQ(shortReader.EBCDICheader().size(), 3u);
}

TEST(SEGYreader, ReelHeaderSampleCounts)
{
    ScratchDir dir;
    ReaderHarness r;
    // Count 0 while the original count and the first trace agree on 4.
    {
        SEGYwriter w;
        w.setSampleCount(4);
        w.setReelWord(20, 16, 0);
        ASSERT_TRUE(w.open(dir.path("zero.sgy")));
        ASSERT_TRUE(w.writeTrace({}, std::vector<float>(4, 1.0f)));
        ASSERT_TRUE(w.close());
    }
    testing::internal::CaptureStdout();
    auto s = openAtTraces(r, dir.path("zero.sgy"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(r.nSamples(), 4);
    EXPECT_EQ(s.tellg(), 3600) << "left at the first trace header";
    EXPECT_EQ(r.nTraces(), 1);

    // All three counts differ: keep the reel header's with a warning.
    {
        SEGYwriter w;
        w.setSampleCount(4);
        w.setReelWord(20, 16, 6);
        w.setReelWord(22, 16, 5);
        ASSERT_TRUE(w.open(dir.path("three.sgy")));
        ASSERT_TRUE(w.writeTrace({}, std::vector<float>(4, 1.0f)));
        ASSERT_TRUE(w.close());
    }
    ReaderHarness r2;
    testing::internal::CaptureStdout();
    auto s2 = openAtTraces(r2, dir.path("three.sgy"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "SEG-Y 2D import\n# of samples in reel header (6) does not match original # of samples: 5\n");
    EXPECT_EQ(r2.nSamples(), 6);
    EXPECT_EQ(s2.tellg(), 3600);
}

TEST(SEGYreader, FormatCodesAndStorage)
{
    ScratchDir dir;
    writeTraces(dir.path("f4.sgy"), {{}}, 4, true, false, 4);
    {
        ReaderHarness r;
        r.setStorage(0);
        testing::internal::CaptureStdout();
        auto s = openAtTraces(r, dir.path("f4.sgy"));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Invalid format: 4\n");
        EXPECT_EQ(r.storageMember(), 32u);
        Layout l;
        readHeader(r, s, l);
        std::streampos const before = s.tellg();
        Tolmar::SEGYtrace t(1, 0, 0, 0, 0, 0, 0, 4);
        testing::internal::CaptureStdout();
        EXPECT_FALSE(r.readTrace(&s, &t, 0, r.sampleRate()));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Invalid format: 4\n");
        EXPECT_EQ(s.tellg(), before) << "nothing consumed";
    }
    {
        ReaderHarness r;
        r.setStorage(8);
        testing::internal::CaptureStdout();
        openAtTraces(r, dir.path("f4.sgy"));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "a set storage skips the format check";
        EXPECT_EQ(r.storageMember(), 8u);
    }
    writeTraces(dir.path("f3.sgy"), {{}}, 4, true, false, 3);
    ReaderHarness r;
    r.setStorage(0);
    openAtTraces(r, dir.path("f3.sgy"));
    EXPECT_EQ(r.storageMember(), 16u);
    EXPECT_EQ(r.nBytes(), 2);
    ReaderHarness over;
    over.setFormatOverride(8);
    openAtTraces(over, dir.path("f3.sgy"));
    EXPECT_EQ(over.format(), 8) << "the override wins over the file";
}

TEST(SEGYreader, TraceHeaderWordsUnderAnyLayout)
{
    ScratchDir dir;
    // Inline as 16-bit at 9, crossline as a float at 21, x and y as floats
    // at 73 and 77, z at 199, scaler at 71.
    Layout l;
    l.types[SEGYreader::SlotInline] = SEGYreader::Integer16;
    l.positions[SEGYreader::SlotInline] = 9;
    l.types[SEGYreader::SlotCrossline] = SEGYreader::Float32;
    l.positions[SEGYreader::SlotCrossline] = 21;
    l.types[SEGYreader::SlotX] = SEGYreader::Float32;
    l.positions[SEGYreader::SlotX] = 73;
    l.types[SEGYreader::SlotY] = SEGYreader::Float32;
    l.positions[SEGYreader::SlotY] = 77;
    l.types[SEGYreader::SlotZ] = SEGYreader::Integer32;
    l.positions[SEGYreader::SlotZ] = 199;
    for (bool ibm : {true, false})
        for (bool little : {false, true}) {
            std::string const path = dir.path("layout.sgy");
            writeTraces(path,
                        {{{9, SEGYreader::Integer16, -1234}, {21, SEGYreader::Float32, 77.9}, {71, SEGYreader::Integer16, -100},
                          {73, SEGYreader::Float32, 12345.5}, {77, SEGYreader::Float32, -250.25}, {199, SEGYreader::Integer32, 1500}},
                         {{71, SEGYreader::Integer16, 100}, {73, SEGYreader::Float32, 2.5}},
                         {{71, SEGYreader::Integer16, 0}, {73, SEGYreader::Float32, 2.5}}},
                        4, ibm, little);
            ReaderHarness r;
            r.setIbmFloat(ibm);
            r.setLittleEndian(little);
            auto s = openAtTraces(r, path);
            Header h = readHeader(r, s, l);
            s.seekg(16, std::ios::cur);
            EXPECT_EQ(h.tsn, 1);
            EXPECT_EQ(h.inl, -1234);
            EXPECT_EQ(h.crl, 77) << "floats are truncated";
            EXPECT_DOUBLE_EQ(r.scaler(), 0.01);
            EXPECT_DOUBLE_EQ(h.x, 12345.5 * 0.01);
            EXPECT_DOUBLE_EQ(h.y, -250.25 * 0.01);
            EXPECT_DOUBLE_EQ(h.z, 1500.0);
            EXPECT_EQ(h.ns, 4);
            h = readHeader(r, s, l);
            s.seekg(16, std::ios::cur);
            EXPECT_EQ(h.tsn, 2);
            EXPECT_DOUBLE_EQ(r.scaler(), 100.0);
            EXPECT_DOUBLE_EQ(h.x, 250.0);
            h = readHeader(r, s, l);
            EXPECT_DOUBLE_EQ(r.scaler(), 0.0) << "a zero scaler word is not mended";
            EXPECT_DOUBLE_EQ(h.x, 0.0);
        }
}

TEST(SEGYreader, OverridesAndTransforms)
{
    ScratchDir dir;
    Layout l;
    std::string const path = dir.path("t.sgy");
    writeTraces(path, {{{71, SEGYreader::Integer16, -10}, {181, SEGYreader::Integer32, 7200}, {185, SEGYreader::Integer32, 3600},
                        {109, SEGYreader::Integer16, 40}}});
    {
        ReaderHarness r;
        r.setScalerOverride(true, 2.0);
        r.setZStartOverride(true, 8.0);
        auto s = openAtTraces(r, path);
        Header h = readHeader(r, s, l);
        EXPECT_DOUBLE_EQ(h.x, 14400.0) << "the override scaler stands";
        EXPECT_DOUBLE_EQ(h.z, 8.0) << "the forced z start wins";
    }
    {
        ReaderHarness r;
        r.setScalerOverride(true, -1.0); // stored, but the override stays off
        r.setXyTransform(true);
        r.setSecarc(true);
        r.setXMul(2.0);
        r.setXAdd(1.0);
        r.setYMul(-1.0);
        r.setYAdd(0.5);
        auto s = openAtTraces(r, path);
        Header h = readHeader(r, s, l);
        EXPECT_DOUBLE_EQ(r.scaler(), 0.1);
        EXPECT_DOUBLE_EQ(h.x, 720.0 / 360.0 * 2.0 + 1.0);
        EXPECT_DOUBLE_EQ(h.y, 360.0 / 360.0 * -1.0 + 0.5);
        EXPECT_DOUBLE_EQ(h.z, 40.0);
    }
}

TEST(SEGYreader, LineReaderShotPointsAndDepth)
{
    ScratchDir dir;
    Layout l;
    l.types[SEGYreader::SlotShotPoint] = SEGYreader::Float32;
    std::string const path = dir.path("line.sgy");
    // Shot point 41.96 as a float, depth scaler -10 at 69, depth 15000 at 41;
    // inline written as a float 6.97 to show it is truncated without the addend.
    l.types[SEGYreader::SlotInline] = SEGYreader::Float32;
    writeTraces(path, {{{17, SEGYreader::Float32, 41.96}, {69, SEGYreader::Integer16, -10}, {41, SEGYreader::Integer32, 15000},
                        {189, SEGYreader::Float32, 6.97}, {109, SEGYreader::Integer16, 12}}},
                4, false);
    for (int mode = 0; mode < 3; ++mode) {
        ReaderHarness r(2);
        if (mode == 1) r.setZTransform(true, false, 2000);
        if (mode == 2) r.setZTransform(true, true, 3000);
        auto s = openAtTraces(r, path);
        Header h = readHeader(r, s, l);
        EXPECT_EQ(h.sp, 42);
        EXPECT_EQ(h.inl, 6);
        EXPECT_DOUBLE_EQ(r.scalerD(), 0.1);
        EXPECT_DOUBLE_EQ(h.depth, 1500.0);
        double const want[] = {12.0, 1500.0, 1500.0 / 3000.0 * 2000.0};
        EXPECT_DOUBLE_EQ(h.z, want[mode]) << mode;
    }
    // A survey reader leaves the shot point and depth alone and ignores the depth transform.
    ReaderHarness r3(3);
    r3.setZTransform(true, true, 2000);
    auto s = openAtTraces(r3, path);
    Header h = readHeader(r3, s, l);
    EXPECT_EQ(h.sp, 0);
    EXPECT_DOUBLE_EQ(h.depth, 0.0);
    EXPECT_DOUBLE_EQ(h.z, 12.0);
}

// Every format in both byte orders decodes to what was written.
TEST(SEGYreader, SamplesOfEveryFormat)
{
    ScratchDir dir;
    struct Case {
        int format;
        bool ibm;
    };
    for (Case c : {Case{1, true}, Case{1, false}, Case{5, false}, Case{5, true}, Case{2, false}, Case{3, false}, Case{8, false}})
        for (bool little : {false, true}) {
            Survey sv;
            sv.format = c.format;
            sv.ibm = c.ibm;
            sv.littleEndian = little;
            sv.samples = 37;
            std::string const path = dir.path("fmt.sgy");
            ASSERT_TRUE(writeSurvey(path, sv));
            ReaderHarness r;
            r.setIbmFloat(c.ibm);
            r.setLittleEndian(little);
            auto s = openAtTraces(r, path);
            ASSERT_EQ(r.nTraces(), 20);
            for (auto [il, xl] : sv.order()) {
                Header h = readHeader(r, s, sv.layout);
                ASSERT_EQ(h.inl, il);
                ASSERT_EQ(h.crl, xl);
                ASSERT_NEAR(h.x, sv.x(il, xl), 1e-6);
                Tolmar::SEGYtrace t(h.tsn, 0, h.inl, h.crl, float(h.x), float(h.y), h.z, 37);
                ASSERT_TRUE(r.readTrace(&s, &t, 0, r.sampleRate()));
                ASSERT_EQ(t.size(), 37u);
                for (int k = 0; k < 37; ++k) {
                    float const want = sv.amplitude(il, xl, k);
                    // Integer formats round half-steps; 8 bits saturate.
                    float const expect = c.format == 8 ? std::nearbyint(std::clamp(want, -128.0f, 127.0f))
                                       : c.format == 2 || c.format == 3 ? std::nearbyint(want) : want;
                    ASSERT_EQ(t.sample(k), expect) << "format " << c.format << " little " << little << " k " << k;
                }
            }
        }
}

TEST(SEGYreader, StridesClampAndRawRange)
{
    ScratchDir dir;
    Survey sv;
    sv.samples = 1000;
    sv.intervalUs = 2000;
    sv.inlines = 1;
    sv.crosslines = 2;
    sv.amplitude = [](int, int xl, int k) { return static_cast<float>(k - 500 + xl); };
    ASSERT_TRUE(writeSurvey(dir.path("long.sgy"), sv));
    ReaderHarness r;
    r.setIbmFloat(true);
    auto s = openAtTraces(r, dir.path("long.sgy"));
    Header h = readHeader(r, s, sv.layout);
    Tolmar::SEGYtrace t(1, 0, h.inl, h.crl, 0, 0, 0, 500);
    ASSERT_TRUE(r.readTrace(&s, &t, 0, 4000.0));
    EXPECT_EQ(t.size(), 500u);
    EXPECT_EQ(t.sample(1), -498.0f + 200);
    EXPECT_EQ(s.tellg(), 3600 + 240 + 4000) << "the whole trace is consumed";

    // From index 10 with stride 3, 5 samples wanted; then clamp on.
    readHeader(r, s, sv.layout);
    r.setSTransform(true);
    r.setSMin(-100.5);
    r.setSMax(300.25);
    Tolmar::SEGYtrace u(2, 0, 0, 0, 0, 0, 0, 400);
    ASSERT_TRUE(r.readTrace(&s, &u, 10.9, 6000.0));
    ASSERT_EQ(u.size(), 330u) << "ends at the trace's last sample";
    EXPECT_EQ(u.sample(0), -100.5f) << "clamped";
    EXPECT_EQ(u.sample(329), 300.25f);
    EXPECT_EQ(u.sample(100), static_cast<float>(10 + 3 * 100 - 500 + 202));
    SEGYreader::DRange d;
    r.dRange(d);
    EXPECT_DOUBLE_EQ(d.rawMin, -500.0 + 200) << "raw range taken before the clamp";
    EXPECT_DOUBLE_EQ(d.rawMax, 10 + 3 * 329 - 500 + 202);
    EXPECT_DOUBLE_EQ(d.xMin, -1.0);
}

TEST(SEGYreader, IntegerFormatsClampToTruncatedLimits)
{
    ScratchDir dir;
    Survey sv;
    sv.format = 3;
    sv.inlines = sv.crosslines = 1;
    sv.samples = 5;
    sv.amplitude = [](int, int, int k) { return static_cast<float>(k * 2 - 4); }; // -4 -2 0 2 4
    ASSERT_TRUE(writeSurvey(dir.path("i16.sgy"), sv));
    ReaderHarness r;
    r.setSTransform(true);
    r.setSMin(-2.9);
    r.setSMax(3.9);
    auto s = openAtTraces(r, dir.path("i16.sgy"));
    readHeader(r, s, sv.layout);
    Tolmar::SEGYtrace t(1, 0, 0, 0, 0, 0, 0, 5);
    ASSERT_TRUE(r.readTrace(&s, &t, 0, r.sampleRate()));
    EXPECT_EQ(t.samples(), (std::vector<float>{-2, -2, 0, 2, 3}));
}

TEST(SEGYreader, TraceHeaderListing)
{
    ScratchDir dir;
    Survey sv;
    ASSERT_TRUE(writeSurvey(dir.path("s.sgy"), sv));
    ReaderHarness r;
    r.setFile(dir.path("s.sgy"));
    unsigned long long n = 0;
    auto list = r.traceHeader(3, sv.layout.types, sv.layout.positions, n);
    EXPECT_EQ(n, 20u);
    std::map<std::string, int> m(list.begin(), list.end());
    EXPECT_EQ(list.front().first, "1-4");
    EXPECT_EQ(m["1-4"], 4);
    EXPECT_EQ(m["29-30"], 0);
    EXPECT_EQ(m["37-40"], 0);
    EXPECT_EQ(m["69-70"], 0);
    EXPECT_EQ(m["71-72"], -100);
    EXPECT_EQ(m["115-116"], 50);
    EXPECT_EQ(m["189-192"], 100);
    EXPECT_EQ(m["193-196"], 206);
    EXPECT_EQ(m["181-184"], static_cast<int>(sv.x(100, 206) * 100));
    EXPECT_EQ(list.back().first, "239-240");
    EXPECT_EQ(r.nSamples(), 0) << "the listing leaves the reader's state alone";

    // Past the end: the last trace.
    list = r.traceHeader(1000, sv.layout.types, sv.layout.positions, n);
    m = std::map<std::string, int>(list.begin(), list.end());
    EXPECT_EQ(m["1-4"], 20);

    // A configured float word and a configured 16-bit word change the walk.
    Layout l = sv.layout;
    l.types[SEGYreader::SlotInline] = SEGYreader::Integer16;
    l.types[SEGYreader::SlotX] = SEGYreader::Float32;
    list = r.traceHeader(0, l.types, l.positions, n);
    m = std::map<std::string, int>(list.begin(), list.end());
    EXPECT_EQ(m.count("189-190"), 1u);
    EXPECT_EQ(m["189-190"], 0) << "high half of a 32-bit 100";
    EXPECT_EQ(m["191-192"], 100);
    EXPECT_EQ(m.count("181-184"), 1u);
    EXPECT_EQ(m["181-184"], static_cast<int>(Tolmar::bits_float(static_cast<std::uint32_t>(sv.x(100, 200) * 100))));

    ReaderHarness none;
    EXPECT_TRUE(none.traceHeader(0, l.types, l.positions, n).empty());
}

TEST(SEGYreader, TraceCounts)
{
    ScratchDir dir;
    Survey a, b;
    b.inlines = 7;
    ASSERT_TRUE(writeSurvey(dir.path("a.sgy"), a));
    ASSERT_TRUE(writeSurvey(dir.path("b.sgy"), b));
    ReaderHarness r;
    openAtTraces(r, dir.path("a.sgy"));
    EXPECT_EQ(r.nTraces(), 20);
    EXPECT_EQ(r.nTraces({dir.path("b.sgy")}), 20 + 35);
    EXPECT_EQ(r.nTraces({dir.path("a.sgy"), dir.path("b.sgy")}), 20 + 20 + 35) << "the current file counts twice";
    EXPECT_EQ(r.nTraces({dir.path("nope.sgy")}), 20);
}

} // namespace
