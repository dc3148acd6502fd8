#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <numeric>
#include <sstream>

#include "debug_capture.h"
#include "foundation/Streamer3DGridReader.h"
#include "foundation/StreamerIndexedSEGY3DReader.h"
#include "host/gdal_workspace.h"
#include "segy/FakeSeismic3DTraceReader.h"
#include "segy/SEGYreader3D.h"
#include "segy/Seismic3DTraceReader.h"
#include "segy_test_util.h"

extern "C" {
void c_index_histogram(char const* segy, char const* index, float* low, float* high, unsigned long long* bins, int n);
void c_brick_histogram(char const* path, float* low, float* high, unsigned long long* bins, int n);
void c_ranges(char const* brick, char const* segy, char const* index, float cutLow, float cutHigh, float out[8]);
char const* c_histogram_error(char const* brick);
}

using namespace tolmar_test;
using Tolmar::SEGYreader3D;
using Tolmar::Seismic3DTraceReader;

namespace {

// The linear survey without the trace at inline 120, crossline 230.
Survey holedSurvey()
{
    Survey sv = linearSurvey();
    sv.present = [](int il, int xl) { return !(il == 120 && xl == 230); };
    return sv;
}

double linear(double il, double xl, int k) { return (il - 100) * 3 - (xl - 200) + k * 0.5; }

} // namespace

TEST(CubeReader, BothSourcesAgreeWithTheSurvey)
{
    Imported const im(holedSurvey());
    Seismic3DTraceReader bricks(im.bricks), indexed(im.segy, im.index);
    ASSERT_TRUE(bricks.valid());
    ASSERT_TRUE(indexed.valid());
    for (Seismic3DTraceReader* r : {&bricks, &indexed}) {
        EXPECT_EQ((std::vector<int>{r->inlStart, r->inlStop, r->crlStart, r->crlStop, r->crlStep, r->ninl(), r->ncrl(), r->nt()}),
                  (std::vector<int>{100, 139, 200, 274, 2, 40, 38, 70}));
        EXPECT_NEAR(r->x(110, 230), im.sv.x(110, 230), 1e-6);
        EXPECT_NEAR(r->y(110, 230), im.sv.y(110, 230), 1e-6);
        EXPECT_NEAR(r->inLd(r->xd(110.5, 231.0), r->yd(110.5, 231.0)), 110.5, 1e-6);
        EXPECT_NEAR(r->crLd(r->xd(110.5, 231.0), r->yd(110.5, 231.0)), 231.0, 1e-6);
        EXPECT_NEAR(r->inlSpacing(), std::hypot(10.0, 8.0), 1e-9);
        EXPECT_NEAR(r->crlSpacing(), std::hypot(20.0, 25.0), 1e-9);
    }
    EXPECT_EQ(bricks.bytesPerSample, 4);
    EXPECT_EQ(bricks.undef(), static_cast<float>(bricks.brickReader->get_undef_value()));
    EXPECT_EQ(indexed.undef(), FLT_MAX);

    // Slices from both sources agree, holes included: the tool's tests. The z
    // window: honoured by bricks, ignored by the index.
    std::vector<float> a, b;
    ASSERT_TRUE(bricks.trace(105, 210, 8.0, 20.0, a));
    ASSERT_EQ(a.size(), 4u);
    EXPECT_EQ(a[0], im.sv.amplitude(105, 210, 2));
    ASSERT_TRUE(indexed.trace(105, 210, 8.0, 20.0, b));
    ASSERT_EQ(b.size(), 70u);
    EXPECT_FALSE(indexed.trace(120, 230, 0.0, 276.0, b));
}

TEST(CubeReader, TracedInterpolatesBetweenFourTraces)
{
    Imported const im(holedSurvey());
    Seismic3DTraceReader bricks(im.bricks), indexed(im.segy, im.index);
    std::vector<float> out;
    for (Seismic3DTraceReader* r : {&bricks, &indexed}) {
        ASSERT_TRUE(r->traced(110.25, 221.5, 8.0, 40.0, out)); // interior
        ASSERT_EQ(out.size(), 9u);
        for (int k = 0; k < 9; ++k) EXPECT_NEAR(out[k], linear(110.25, 221.5, k + 2), 1e-4);
        ASSERT_TRUE(r->traced(139.0, 274.0, 0.0, 276.0, out)); // the last lines: a = b = 1
        ASSERT_EQ(out.size(), 70u);
        EXPECT_NEAR(out[69], linear(139, 274, 69), 1e-4);
        EXPECT_FALSE(r->traced(99.5, 220.0, 0.0, 10.0, out)) << "before the first inline";
        EXPECT_FALSE(r->traced(110.0, 220.0, -4.0, 10.0, out)) << "before the first sample";
        EXPECT_FALSE(r->traced(110.0, 220.0, 0.0, 280.0, out)) << "past the last sample";
    }
    // A neighbour of (120, 230) is missing: the index cannot interpolate
    // there; the bricks hold undefined values for it, which stay undefined.
    EXPECT_FALSE(indexed.traced(119.5, 229.0, 0.0, 20.0, out));
    ASSERT_TRUE(bricks.traced(119.5, 229.0, 0.0, 20.0, out));
    EXPECT_EQ(out[0], bricks.undef());
}

TEST(CubeReader, TimeSliceRowsAndColumns)
{
    Imported const im(holedSurvey());
    Seismic3DTraceReader r(im.bricks);
    std::vector<float> slice, row, column;
    ASSERT_TRUE(r.timeslice(40.0, slice));
    int const ni = r.ninl(), nc = r.ncrl();
    ASSERT_TRUE(r.timesliceRow(slice, 274.0, row)); // the last crossline: exactly its row
    ASSERT_EQ(row.size(), std::size_t(ni));
    for (int i = 0; i < ni; ++i) EXPECT_EQ(row[i], slice[(nc - 1) * ni + i]);
    ASSERT_TRUE(r.timesliceRow(slice, 203.0, row)); // halfway between crosslines 202 and 204
    EXPECT_NEAR(row[5], linear(105, 203, 10), 1e-4);

    // Around the missing trace (inline 120, crossline 230): a column is
    // undefined there, a row mixes the undefined value in.
    ASSERT_TRUE(r.timesliceColumn(slice, 119.5, column));
    ASSERT_EQ(column.size(), std::size_t(nc));
    EXPECT_EQ(column[15], r.undef());
    EXPECT_NEAR(column[14], linear(119.5, 228, 10), 1e-4);
    ASSERT_TRUE(r.timesliceRow(slice, 229.0, row));
    EXPECT_NE(row[20], r.undef());
    EXPECT_GT(std::fabs(row[20]), 1e30f);
}

TEST(CubeReader, GeometryOfAnInvalidReader)
{
    DebugCapture log;
    Seismic3DTraceReader r("/no/such/cube.tmf");
    EXPECT_FALSE(r.valid());
    std::vector<float> out{1.0f};
    EXPECT_FALSE(r.inlslice(1, out));
    EXPECT_FALSE(r.traced(0.0, 0.0, 0.0, 0.0, out));
    float low = 7, high = 8;
    std::vector<unsigned long long> bins;
    EXPECT_FALSE(r.getHistogram(low, high, bins));
    EXPECT_EQ(low, 7);

    bool flip = false;
    double angle = -1;
    r.xInl = 0, r.yInl = 1, r.xCrl = 1, r.yCrl = 0; // mirrored
    r.rotationAndFlip(flip, angle);
    EXPECT_TRUE(flip);
    EXPECT_EQ(angle, 0.0);
    double const c = std::cos(-M_PI / 6), s = std::sin(-M_PI / 6);
    r.xInl = c, r.yInl = s, r.xCrl = -s, r.yCrl = c; // turned by -30 degrees
    r.rotationAndFlip(flip, angle);
    EXPECT_FALSE(flip);
    EXPECT_NEAR(angle, 390.0, 1e-9);

    r.inlStart = 0, r.inlStop = 10, r.crlStart = 0, r.crlStop = 20;
    r.x0 = 100, r.y0 = 50, r.xInl = 1, r.yInl = -1, r.xCrl = 2, r.yCrl = 3;
    double bounds[4];
    r.getBounds(bounds);
    EXPECT_EQ(std::vector<double>(bounds, bounds + 4), (std::vector<double>{100, 150, 40, 110}));
}

TEST(CubeIndex, WritesAndReadsBackWithAHistogramOnTheSparseGrid)
{
    // 10 x 1000 traces: every inline, every hundredth crossline.
    Survey sv;
    sv.inlines = 10;
    sv.crosslines = 1000;
    sv.crosslineStep = 1;
    sv.samples = 4;
    sv.amplitude = [](int il, int xl, int k) { return static_cast<float>(k == 3 ? 1000 : (il + xl) % 50); };
    Imported const im(sv);

    auto reader = Tolmar::open_indexed_segy3d_reader(im.segy, im.index);
    ASSERT_TRUE(reader);
    Tolmar::IndexedSEGYHeader const& h = reader->header();
    EXPECT_EQ((std::vector<double>{double(h.inlStart), double(h.crlStop), double(h.nSamples), double(h.rescale), h.maxAmplitude}),
              (std::vector<double>{100, 1199, 4, 0, 1000}));
    auto const& bins = reader->get_histogram();
    ASSERT_EQ(bins.size(), 65536u);
    EXPECT_EQ(std::accumulate(bins.begin(), bins.end(), 0ULL), 10u * 10u * 4u);
    EXPECT_EQ(bins[65535], 100u) << "the highest amplitude is brought back into the last bin";

    // Summed down from C: 256 bins lose nothing, 1000 bins drop the last 536.
    DebugCapture log;
    float low = 0, high = 0;
    std::vector<unsigned long long> out(1000, 77);
    c_index_histogram(im.segy.c_str(), im.index.c_str(), &low, &high, out.data(), 256);
    EXPECT_EQ(high, 1000.0f);
    EXPECT_EQ(std::accumulate(out.begin(), out.begin() + 256, 0ULL), 400u);
    EXPECT_EQ(out[255], 100u);
    EXPECT_NE(log.text().find("getBrickHistogram(256)\nratio:256\n"), std::string::npos) << log.text();
    c_index_histogram(im.segy.c_str(), im.index.c_str(), &low, &high, out.data(), 1000);
    EXPECT_NE(log.text().find("ratio:65\n"), std::string::npos);
    EXPECT_EQ(std::accumulate(out.begin(), out.end(), 0ULL), 300u) << "the top samples lie in the dropped bins";

    // The brick file carries a histogram of the same sparse grid.
    std::vector<unsigned long long> fromBricks(256, 0);
    c_brick_histogram(im.bricks.c_str(), &low, &high, fromBricks.data(), 256);
    EXPECT_EQ(std::accumulate(fromBricks.begin(), fromBricks.end(), 0ULL), 400u);

    SEGYreader3D unscanned;
    EXPECT_EQ(unscanned.write_index(im.dir.path("missing/dir/x.idx")), 0);
}

TEST(CubeIndex, EffectiveRangesAndPercentCutsInvert)
{
    Imported const im(linearSurvey());
    DebugCapture log;
    float r[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    c_ranges(im.bricks.c_str(), im.segy.c_str(), im.index.c_str(), 5.0f, 10.0f, r);
    float const binWidth = (144.5f + 130.0f) / 65536.0f; // the survey's amplitudes run from -130 to 144.5
    EXPECT_LT(r[0], r[1]);
    EXPECT_GT(r[0], -130.0f);
    EXPECT_NEAR(r[2], r[0], binWidth);
    EXPECT_NEAR(r[3], r[1], binWidth);
    EXPECT_NEAR(r[4], 5.0f, 0.5f);
    EXPECT_NEAR(r[5], 10.0f, 0.5f);

    float untouched[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    c_ranges("/no/cube.tmf", "/no/s.sgy", "/no/s.idx", 5.0f, 10.0f, untouched);
    EXPECT_EQ(untouched[0], 1.0f);
    EXPECT_EQ(untouched[3], 4.0f);
    EXPECT_EQ(untouched[5], 6.0f);

    // C reads why: the file and its reason, and no reason after a success.
    char const* why = c_histogram_error("/no/cube.tmf");
    ASSERT_NE(why, nullptr);
    EXPECT_EQ(std::string(why).rfind("/no/cube.tmf: cannot be opened", 0), 0u) << why;
    EXPECT_EQ(c_histogram_error(im.bricks.c_str()), nullptr);
}

namespace {
class Fake : public Tolmar::FakeSeismic3DTraceReader {
public:
    using FakeSeismic3DTraceReader::FakeSeismic3DTraceReader;
    float undef() override { return -1.0f; }
};
} // namespace

TEST(FakeCubeReader, SlicesFromValuesAndATimeSliceThatNamesItsElements)
{
    auto values = std::make_unique<Tolmar::RandomFakeValues>();
    Tolmar::RandomFakeValues const* v = values.get();
    Fake f(std::move(values));
    std::vector<float> out;
    ASSERT_TRUE(f.inlslice(5, out));
    ASSERT_EQ(out.size(), 10000u);
    EXPECT_EQ(out[7 * 100 + 3], v->value(4, 7, 3));
    ASSERT_TRUE(f.timeslice(50.0, out));
    EXPECT_EQ(out[3 * 100 + 9], 4010.0f);

    std::stringstream s;
    v->save(s);
    Tolmar::RandomFakeValues again;
    ASSERT_TRUE(again.load(s));
    EXPECT_EQ(again.value(4, 7, 3), v->value(4, 7, 3));
}

TEST(CubeFromFeature, OpensTheCubeAFeatureNames)
{
    Imported const im(holedSurvey());
    // A GeoPackage beside the cube, naming it with paths relative to its folder:
    // the first feature by its brick file, the second by SEG-Y and index file.
    std::string const gpkg = im.dir.path("project.gpkg");
    ASSERT_TRUE(writeCubesWorkspace("GPKG", gpkg, {{"survey", "s.sgy", "cube.tmf", "s.idx"}, {"survey", "s.sgy", "", "s.idx"}}));
    std::string error;
    auto ws = Tolmar::host::open_workspace(gpkg, error);
    ASSERT_TRUE(ws) << error;
    auto cubes = ws->open_feature_class("cubes");
    ASSERT_TRUE(cubes);

    DebugCapture log;
    std::unique_ptr<Seismic3DTraceReader> fromBricks(Seismic3DTraceReader::CreateSeismic3DTraceReader(*cubes->next()));
    std::unique_ptr<Seismic3DTraceReader> fromIndex(Seismic3DTraceReader::CreateSeismic3DTraceReader(*cubes->next()));
    ASSERT_TRUE(fromBricks && fromIndex);
    EXPECT_TRUE(fromBricks->valid() && fromBricks->brickReader);
    EXPECT_TRUE(fromIndex->valid() && fromIndex->indexedReader);
    std::string const t = log.text();
    EXPECT_NE(t.find("Brick file=" + im.bricks), std::string::npos) << t;
    EXPECT_NE(t.find("Index file=" + im.index), std::string::npos);
    EXPECT_NE(t.find("SEGY file=" + im.segy), std::string::npos);
}
