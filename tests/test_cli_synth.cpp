#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <numbers>

#include "cli/synthetic_survey.h"
#include "foundation/ibm_float.h"
#include "segy/SEGYreader3D.h"
#include "segy_test_util.h"

using namespace tolmar_test;
using tolmar_cli::SynthOptions;
using Tolmar::SEGYreader3D;

namespace {

SynthOptions small(std::string format = "ibm")
{
    return {.inlines = 5, .crosslines = 4, .samples = 40, .inlineStart = 10, .inlineStep = 2, .crosslineStart = 300,
            .crosslineStep = 3, .intervalUs = 2000, .format = std::move(format), .seed = 7};
}

// Scans a written survey with the project's reader, samples as floats.
struct Scanned {
    SEGYreader3D r;
    SEGYreader3D::IRange range;
    Scanned(std::string const& path, SynthOptions const& o)
    {
        r.setScalarRange(-FLT_MAX, FLT_MAX);
        scanWhole(r, path, 32, o.format == "ibm", o.littleEndian);
        r.iRange(range);
        auto& h = r.traceIndex().header;
        r.setIndexedSEGYHeaderValues(h);
        h.crlStart = range.crlStart;
        h.crlStop = range.crlStop;
        h.crlStep = range.crlStep;
    }
};

} // namespace

// Every format in both byte orders, some crossline-sorted, with scalers of
// both signs, reads back through the project's reader.
TEST(SynthSurvey, EveryFormatAndByteOrderReadsBackOnTheRotatedGrid)
{
    ScratchDir dir;
    int n = 0;
    for (std::string format : {"ibm", "ieee", "int32", "int16", "int8"})
        for (bool little : {false, true}) {
            SynthOptions o = small(format);
            o.littleEndian = little;
            o.crosslineSorted = n++ % 3 == 1;
            o.scaler = little ? 10 : -100;
            o.azimuthDeg = 35;
            SCOPED_TRACE(format + (little ? " little" : " big") + (o.crosslineSorted ? " crossline" : ""));
            std::string const path = dir.path("s.sgy");
            std::string error;
            ASSERT_TRUE(tolmar_cli::write_synthetic_survey(path, o, error)) << error;
            int const bytes = format == "int16" ? 2 : format == "int8" ? 1 : 4;
            long long const traceBytes = 240 + bytes * o.samples;
            EXPECT_EQ(std::filesystem::file_size(path), 3600 + 20 * traceBytes);

            Scanned s(path, o);
            EXPECT_EQ(s.r.format(), tolmar_cli::synth_format_code(format));
            EXPECT_EQ(s.r.nSamples(), 40);
            EXPECT_EQ(s.r.sampleRate(), 2000);
            auto const& i = s.range;
            EXPECT_EQ((std::vector<int>{i.inlStart, i.inlStop, i.inlStep, i.crlStart, i.crlStop, i.crlStep}),
                      (std::vector<int>{10, 18, 2, 300, 309, 3}));
            ASSERT_EQ(s.r.traceIndex().num_traces(), 20);
            // The second trace in the file is the next crossline, or the next inline when crossline-sorted.
            long long offset = -1;
            ASSERT_TRUE(s.r.traceIndex().lookup(o.crosslineSorted ? 12 : 10, o.crosslineSorted ? 300 : 303, offset));
            EXPECT_EQ(offset, 3600 + traceBytes);

            // The grid, rotated 35 degrees, through the scaler either way.
            SEGYreader3D::Trans t;
            s.r.trans(t);
            double const a = 35 * std::numbers::pi / 180, tolerance = little ? 5.0 : 0.01;

            std::ifstream in(path, std::ios::binary);
            std::vector<float> line;
            for (int il = 0; il < o.inlines; ++il) {
                s.r.getInl(in, 10 + 2 * il, line);
                ASSERT_EQ(line.size(), 4u * 40);
                for (int xl = 0; xl < o.crosslines; ++xl) {
                    int const inl = 10 + 2 * il, crl = 300 + 3 * xl;
                    EXPECT_NEAR(t.x0 + t.xInl * inl + t.xCrl * crl, 500000 + 12.5 * (il * std::sin(a) + xl * std::cos(a)), tolerance);
                    EXPECT_NEAR(t.y0 + t.yInl * inl + t.yCrl * crl, 6700000 + 12.5 * (il * std::cos(a) - xl * std::sin(a)), tolerance);
                    for (int k = 0; k < o.samples; ++k) {
                        float want = tolmar_cli::synthetic_amplitude(o, il, xl, k);
                        if (format == "ibm") want = Tolmar::ibm_bits_to_float(Tolmar::float_to_ibm(want));
                        float const got = line[static_cast<std::size_t>(xl * 40 + k)];
                        if (bytes == 4 && format != "int32") ASSERT_EQ(got, want) << il << " " << xl << " " << k;
                        else ASSERT_NEAR(got, want, 0.5 + std::abs(want) * 1.2e-7) << il << " " << xl << " " << k;
                    }
                }
            }
        }
}

TEST(SynthSurvey, AmplitudesFillIntegerRangesAndFollowTheSeed)
{
    SynthOptions o = small();
    o.inlines = 60;
    o.crosslines = 50;
    o.samples = 150;
    auto peak = [&](SynthOptions const& p) {
        double m = 0;
        for (int il = 0; il < p.inlines; il += 6)
            for (int xl = 0; xl < p.crosslines; xl += 5)
                for (int k = 0; k < p.samples; ++k) m = std::max(m, double(std::abs(tolmar_cli::synthetic_amplitude(p, il, xl, k))));
        return m;
    };
    for (std::string format : {"ibm", "int32", "int16", "int8"}) {
        SCOPED_TRACE(format);
        o.format = format;
        double const m = peak(o), limit = format == "int8" ? 127 : format == "int16" ? 32767 : format == "int32" ? INT_MAX : 0;
        if (limit == 0) {
            EXPECT_GT(m, 800);
            EXPECT_LT(m, 1100);
        } else {
            EXPECT_GT(m, 0.8 * limit);
            EXPECT_LE(m, limit);
        }
    }
}

TEST(SynthSurvey, FailuresLeaveNoFileAndSayWhy)
{
    ScratchDir dir;
    std::string error;
    std::string const missing = dir.path("no/such/folder/out.sgy");
    EXPECT_FALSE(tolmar_cli::write_synthetic_survey(missing, small(), error));
    EXPECT_NE(error.find("does not exist"), std::string::npos) << error;
    EXPECT_FALSE(std::filesystem::exists(dir.path("no")));

    // A folder in the way fails only at the rename; the temporary file must go.
    std::filesystem::create_directories(dir.path("taken/inner"));
    error.clear();
    EXPECT_FALSE(tolmar_cli::write_synthetic_survey(dir.path("taken"), small(), error));
    EXPECT_FALSE(error.empty());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.dir()), {}), 1);

    auto bad = [&](auto change, std::string const& words) {
        SynthOptions o = small();
        change(o);
        std::string e;
        EXPECT_FALSE(tolmar_cli::write_synthetic_survey(dir.path("bad.sgy"), o, e));
        EXPECT_NE(e.find(words), std::string::npos) << e;
        EXPECT_FALSE(std::filesystem::exists(dir.path("bad.sgy")));
    };
    bad([](SynthOptions& o) { o.crosslines = 0; }, "at least 1");
    bad([](SynthOptions& o) { o.inlineStep = 0; }, "steps");
    bad([](SynthOptions& o) { o.format = "float"; }, "unknown sample format 'float'");
    bad([](SynthOptions& o) { o.samples = 32768; }, "32767");
    bad([](SynthOptions& o) { o.intervalUs = 0; }, "interval");
    bad([](SynthOptions& o) { o.intervalUs = 65536; }, "interval");
    bad([](SynthOptions& o) { o.scaler = -10000; }, "coordinates do not fit");
}
