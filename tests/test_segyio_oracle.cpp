// segyio, an independent SEG-Y implementation, as the oracle: files our
// writer makes read the same in segyio. (Files segyio writes, read by us:
// SegyFromElsewhere.)

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

#include "foundation/byte_order.h"
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

// Every sample our reader decodes from a file, trace after trace.
std::vector<float> readAll(std::string const& path, bool ibm, bool little, Layout const& l)
{
    std::vector<float> data;
    ReaderHarness r;
    r.setIbmFloat(ibm);
    r.setLittleEndian(little);
    auto s = openAtTraces(r, path);
    for (long long i = 0; i < r.nTraces(); ++i) {
        readHeader(r, s, l);
        Tolmar::SEGYtrace t(1, 0, 0, 0, 0, 0, 0, r.nSamples());
        EXPECT_TRUE(r.readTrace(&s, &t, 0, r.sampleRate()));
        data.insert(data.end(), t.samples().begin(), t.samples().end());
    }
    EXPECT_TRUE(s.good());
    return data;
}

void expectBitEqual(std::vector<float> const& a, std::vector<float> const& b)
{
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i)
        ASSERT_EQ(Tolmar::float_bits(a[i]), Tolmar::float_bits(b[i])) << "sample " << i << ": " << a[i] << " vs " << b[i];
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
        expectBitEqual(readAll(path, c.ibm, c.little, sv.layout), d.data);
    }
}

} // namespace
