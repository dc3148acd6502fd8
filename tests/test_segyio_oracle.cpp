// segyio, an independent SEG-Y implementation, as the oracle: files it
// writes read the same through our reader, and files our writer makes read
// the same in segyio.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

#include "foundation/byte_order.h"
#include "segy/SEGYcube.h"
#include "segy_test_util.h"

namespace {

using namespace tolmar_test;

struct Dump {
    int interval = 0, samples = 0, format = 0;
    std::string text;
    struct Row {
        int tsn, il, xl, scalco, cdpx, cdpy, delrt, ns;
    };
    std::vector<Row> rows;
    std::vector<float> data; // trace after trace
};

Dump runDump(std::string const& sgy, std::string const& prefix, bool little)
{
    Dump d;
    EXPECT_EQ(runOracle("segyio_dump.py", {sgy, prefix, little ? "little" : "big"}), 0);
    std::ifstream txt(prefix + ".txt");
    std::string tag;
    txt >> tag >> d.interval >> d.samples >> d.format >> tag;
    std::getline(txt, d.text);
    d.text = d.text.substr(d.text.find_first_not_of(' '));
    Dump::Row r;
    while (txt >> r.tsn >> r.il >> r.xl >> r.scalco >> r.cdpx >> r.cdpy >> r.delrt >> r.ns) d.rows.push_back(r);
    auto const bytes = readFile(prefix + ".f32");
    d.data.resize(bytes.size() / 4);
    for (std::size_t i = 0; i < d.data.size(); ++i) d.data[i] = Tolmar::bits_float(Tolmar::load_u32(&bytes[4 * i], true));
    return d;
}

// Everything our reader decodes from a file, trace by trace.
struct OurRead {
    std::vector<Header> headers;
    std::vector<float> data;
    std::list<std::string> text;
    int format = 0;
    double interval = 0;
    int samples = 0;
};

OurRead readAll(std::string const& path, bool ibm, bool little, Layout const& l, Tolmar::SEGYcube* cube = nullptr)
{
    OurRead o;
    ReaderHarness r;
    r.setIbmFloat(ibm);
    r.setLittleEndian(little);
    r.setFile(path);
    o.text = r.EBCDICheader();
    std::ifstream s(path, std::ios::binary);
    r.skipEBCDICheader(&s);
    r.readReelHeader(&s);
    o.format = r.format();
    o.interval = r.sampleRate();
    o.samples = r.nSamples();
    for (long long i = 0; i < r.nTraces(); ++i) {
        Header h = readHeader(r, s, l);
        Tolmar::SEGYtrace t(h.tsn, 0, h.inl, h.crl, float(h.x), float(h.y), h.z, r.nSamples());
        EXPECT_TRUE(r.readTrace(&s, &t, 0, r.sampleRate()));
        o.headers.push_back(h);
        o.data.insert(o.data.end(), t.samples().begin(), t.samples().end());
        if (cube) cube->addTrace(t);
    }
    EXPECT_TRUE(s.good());
    return o;
}

void expectBitEqual(std::vector<float> const& a, std::vector<float> const& b)
{
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i)
        ASSERT_EQ(Tolmar::float_bits(a[i]), Tolmar::float_bits(b[i])) << "sample " << i << ": " << a[i] << " vs " << b[i];
}

// segyio writes, we read: formats 1 (IBM) and 5 (IEEE), both byte orders.
TEST(SegyioOracle, FilesWrittenBySegyioReadTheSame)
{
    ScratchDir dir;
    for (int format : {1, 5})
        for (bool little : {false, true}) {
            SCOPED_TRACE("format " + std::to_string(format) + (little ? " little" : " big"));
            std::string const path = dir.path("segyio.sgy");
            ASSERT_EQ(runOracle("segyio_write.py", {path, std::to_string(format), little ? "little" : "big"}), 0);
            Dump const d = runDump(path, dir.path("dump"), little);
            ASSERT_EQ(d.rows.size(), 48u);

            Tolmar::SEGYcube cube(static_cast<int>(d.interval), 0);
            OurRead const o = readAll(path, format == 1, little, Layout{}, &cube);
            EXPECT_EQ(o.format, format);
            EXPECT_EQ(o.samples, 75);
            EXPECT_DOUBLE_EQ(o.interval, 2000.0);
            EXPECT_EQ(o.text.front().substr(0, 24), d.text.substr(0, 24));
            ASSERT_EQ(o.headers.size(), d.rows.size());
            for (std::size_t i = 0; i < d.rows.size(); ++i) {
                auto const& row = d.rows[i];
                auto const& h = o.headers[i];
                EXPECT_EQ(h.tsn, row.tsn);
                EXPECT_EQ(h.inl, row.il);
                EXPECT_EQ(h.crl, row.xl);
                EXPECT_EQ(h.ns, row.ns);
                EXPECT_DOUBLE_EQ(h.x, row.cdpx / 100.0);
                EXPECT_DOUBLE_EQ(h.y, row.cdpy / 100.0);
                EXPECT_DOUBLE_EQ(h.z, row.delrt);
            }
            expectBitEqual(o.data, d.data);

            // The survey geometry the cube learns matches the file's.
            cube.setBbox();
            EXPECT_EQ(cube.inlineStart(), 10);
            EXPECT_EQ(cube.inlineStop(), 15);
            EXPECT_EQ(cube.crlineStep(), 2);
            EXPECT_EQ(cube.crlineStop(), 114);
            double x0, xInl, xCrl, y0, yInl, yCrl;
            cube.trans(&x0, &xInl, &xCrl, &y0, &yInl, &yCrl);
            EXPECT_NEAR(xInl, 12.5, 1e-2);
            EXPECT_NEAR(xCrl, -7.0, 1e-2);
            EXPECT_NEAR(yCrl, 13.0, 1e-2);
            EXPECT_NEAR(x0 + 13 * xInl + 110 * xCrl, (45000000 + 1250 * 13 - 700 * 110) / 100.0, 0.1);
        }
}

// We write, segyio reads: IBM big-endian, IEEE little-endian, 32- and 16-bit integers.
TEST(SegyioOracle, FilesWeWriteReadTheSameInSegyio)
{
    ScratchDir dir;
    struct Case {
        int format;
        bool ibm, little;
    };
    for (Case c : {Case{1, true, false}, Case{5, false, true}, Case{2, false, false}, Case{3, false, true}}) {
        SCOPED_TRACE("format " + std::to_string(c.format));
        Survey sv;
        sv.format = c.format;
        sv.ibm = c.ibm;
        sv.littleEndian = c.little;
        sv.inlines = 5;
        sv.crosslines = 7;
        sv.samples = 60;
        sv.delay = 24;
        sv.scaler = -10;
        sv.crosslineSorted = c.format == 5;
        sv.amplitude = [&](int il, int xl, int k) {
            if (c.format == 2 || c.format == 3) return std::nearbyint(static_cast<float>(std::sin(0.2 * k + il) * 20000.0 + xl));
            return static_cast<float>(std::sin(0.2 * k + il) * std::pow(10.0, (k % 9) - 3) + xl * 1e-3);
        };
        std::string const path = dir.path("ours.sgy");
        ASSERT_TRUE(writeSurvey(path, sv));
        Dump const d = runDump(path, dir.path("dump"), c.little);
        EXPECT_EQ(d.format, c.format);
        EXPECT_EQ(d.samples, 60);
        EXPECT_EQ(d.interval, 4000);
        EXPECT_EQ(d.text, "C 1 TOLMAR TEST SURVEY");
        auto const order = sv.order();
        ASSERT_EQ(d.rows.size(), order.size());
        for (std::size_t i = 0; i < order.size(); ++i) {
            auto const [il, xl] = order[i];
            EXPECT_EQ(d.rows[i].tsn, static_cast<int>(i + 1));
            EXPECT_EQ(d.rows[i].il, il);
            EXPECT_EQ(d.rows[i].xl, xl);
            EXPECT_EQ(d.rows[i].scalco, -10);
            EXPECT_NEAR(d.rows[i].cdpx / 10.0, sv.x(il, xl), 0.05);
            EXPECT_NEAR(d.rows[i].cdpy / 10.0, sv.y(il, xl), 0.05);
            EXPECT_EQ(d.rows[i].delrt, 24);
            EXPECT_EQ(d.rows[i].ns, 60);
            for (int k = 0; k < 60; ++k) {
                float const want = sv.amplitude(il, xl, k);
                float const got = d.data[i * 60 + k];
                // IBM keeps 21 to 24 significant bits: within one part in 2^20.
                if (c.ibm) ASSERT_NEAR(got, want, std::abs(want) * 1e-6f);
                else ASSERT_EQ(got, want);
            }
        }
        OurRead const o = readAll(path, c.ibm, c.little, sv.layout);
        expectBitEqual(o.data, d.data);
    }
}

} // namespace
