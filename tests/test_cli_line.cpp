// 2D lines through the tool: a synthetic line with repeated and missing
// shot points imported as a raster and a navigation file, its curtain drawn
// offscreen, and a horizon tracked between seeds and written as a feature.

#include <gtest/gtest.h>

#include <gdal_priv.h>
#include <ogrsf_frmts.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

#include "cli/synthetic_line.h"
#include "segy_test_util.h"
#include "tool_run.h"

namespace {

using tolmar_test::ScratchDir;
using tolmar_test::tolmar;

// 240 shot points on a straight track from 1000 by 1, every 10th written
// twice and three missing after every 50th; 4 ms samples.
class Line : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        GDALAllRegister();
        dir = new ScratchDir;
        options.traces = 240;
        options.samples = 300;
        options.repeatEvery = 10;
        options.gapEvery = 50;
        options.bendDeg = 0;
        options.reflectorMs = 300;
        options.dipMsPerTrace = 1.3;
        std::string error;
        ASSERT_TRUE(tolmar_cli::write_synthetic_line(dir->path("l.sgy"), options, error)) << error;
        import = new tolmar_test::ToolRun(tolmar("line import " + dir->path("l.sgy") + " --raster " + raster() +
                                                 " --navigation " + navigation() + " --json"));
    }
    static void TearDownTestSuite()
    {
        delete import;
        delete dir;
    }
    static std::string raster() { return dir->path("l.tif"); }
    static std::string navigation() { return dir->path("l.gpkg"); }

    static ScratchDir* dir;
    static tolmar_cli::LineSynthOptions options;
    static tolmar_test::ToolRun* import;
};

ScratchDir* Line::dir = nullptr;
tolmar_cli::LineSynthOptions Line::options;
tolmar_test::ToolRun* Line::import = nullptr;

TEST_F(Line, ImportGivesOneTracePerShotPointAndItsNavigation)
{
    auto const j = tolmar_test::json_of(*import);
    EXPECT_EQ(j.GetInteger("traces"), options.traces);
    EXPECT_EQ(j.GetInteger("inserted"), options.traces - tolmar_cli::line_shot_count(options));
    EXPECT_EQ(j.GetInteger("samples"), options.samples);

    // The raster: traces as columns, samples as rows, the file's samples
    // where the file had the shot point.
    GDALDatasetUniquePtr ds(GDALDataset::Open(raster().c_str(), GDAL_OF_RASTER));
    ASSERT_TRUE(ds);
    ASSERT_EQ(ds->GetRasterXSize(), options.traces);
    ASSERT_EQ(ds->GetRasterYSize(), options.samples);
    std::vector<float> values(static_cast<std::size_t>(options.traces) * options.samples);
    ASSERT_EQ(ds->GetRasterBand(1)->RasterIO(GF_Read, 0, 0, options.traces, options.samples, values.data(),
                                             options.traces, options.samples, GDT_Float32, 0, 0),
              CE_None);
    auto at = [&](int trace, int sample) { return values[static_cast<std::size_t>(sample) * options.traces + trace]; };
    // The peak of the dipping reflector lies where the model puts it.
    for (int trace : {0, 9, 10, 49, 120, 239}) {
        ASSERT_TRUE(tolmar_cli::line_shot_present(options, trace));
        int const expected = static_cast<int>(std::lround(tolmar_cli::line_reflector_time(options, trace) / 4));
        int best = expected - 3;
        for (int s = expected - 3; s <= expected + 3; ++s)
            if (at(trace, s) > at(trace, best)) best = s;
        EXPECT_EQ(best, expected) << trace;
    }

    // The navigation: a point a trace with its shot point; the missing ones
    // placed between their neighbours, in single precision.
    GDALDatasetUniquePtr nav(GDALDataset::Open(navigation().c_str(), GDAL_OF_VECTOR));
    ASSERT_TRUE(nav);
    OGRLayer* points = nav->GetLayerByName("shotpoints");
    ASSERT_TRUE(points);
    ASSERT_EQ(points->GetFeatureCount(), options.traces);
    for (auto const& f : *points) {
        int const trace = f->GetFieldAsInteger("trace");
        EXPECT_EQ(f->GetFieldAsInteger("sp"), options.spStart + trace);
        double x = 0, y = 0;
        tolmar_cli::line_position(options, trace, x, y);
        OGRPoint const* p = f->GetGeometryRef()->toPoint();
        double const tolerance = tolmar_cli::line_shot_present(options, trace) ? 0.011 : 0.5;
        EXPECT_NEAR(p->getX(), x, tolerance) << trace;
        EXPECT_NEAR(p->getY(), y, tolerance) << trace;
    }
    OGRLayer* track = nav->GetLayerByName("track");
    ASSERT_TRUE(track);
    EXPECT_EQ(track->GetFeatureCount(), 1);
}

TEST_F(Line, TheCurtainFromTheFrontShowsTheRastersSamples)
{
    ASSERT_EQ(import->status, 0) << import->err;
    std::string const png = dir->path("curtain.png");
    auto const r = tolmar("line render " + raster() + " --navigation " + navigation() + " --png " + png +
                          " --size 600 600 --exaggeration 5 --colour-table grey --range -1000 1000 --json");
    ASSERT_EQ(r.status, 0) << r.err;
    auto const pic = tolmar_test::read_png(png);
    ASSERT_EQ(pic.width, 600);
    // The curtain's box in the picture.
    int x0 = pic.width, x1 = -1, y0 = pic.height, y1 = -1;
    for (int y = 0; y < pic.height; ++y)
        for (int x = 0; x < pic.width; ++x)
            if (pic.at(x, y)[3] == 255) {
                x0 = std::min(x0, x), x1 = std::max(x1, x), y0 = std::min(y0, y), y1 = std::max(y1, y);
            }
    // About two pixels a trace and a sample.
    ASSERT_GT(x1 - x0, 450);
    ASSERT_GT(y1 - y0, 450);
    // Each pixel's grey against the raster's sample under it; the edges and
    // the outline are left out.
    GDALDatasetUniquePtr ds(GDALDataset::Open(raster().c_str(), GDAL_OF_RASTER));
    std::vector<float> values(static_cast<std::size_t>(options.traces) * options.samples);
    ASSERT_EQ(ds->GetRasterBand(1)->RasterIO(GF_Read, 0, 0, options.traces, options.samples, values.data(),
                                             options.traces, options.samples, GDT_Float32, 0, 0),
              CE_None);
    std::vector<int> errors;
    for (int y = y0 + 4; y <= y1 - 4; y += 3)
        for (int x = x0 + 4; x <= x1 - 4; x += 3) {
            double const trace = (x - x0) * (options.traces - 1.0) / (x1 - x0);
            double const sample = (y - y0) * (options.samples - 1.0) / (y1 - y0);
            float const v = values[static_cast<std::size_t>(std::lround(sample)) * options.traces +
                                   static_cast<std::size_t>(std::lround(trace))];
            if (v > 1e30f) continue; // an inserted trace
            int const grey = static_cast<int>(std::clamp((v + 1000.0) / 2000.0, 0.0, 1.0) * 255);
            errors.push_back(std::abs(pic.at(x, y)[0] - grey));
        }
    ASSERT_GT(errors.size(), 1000u);
    std::sort(errors.begin(), errors.end());
    EXPECT_LT(errors[errors.size() / 2], 12);
    EXPECT_LT(errors[errors.size() * 9 / 10], 45);
}

TEST_F(Line, PickingFollowsTheDippingReflectorBetweenSeedsAndWritesIt)
{
    ASSERT_EQ(import->status, 0) << import->err;
    std::string const out = dir->path("h.gpkg");
    double const t20 = tolmar_cli::line_reflector_time(options, 20), t220 = tolmar_cli::line_reflector_time(options, 220);
    auto const r = tolmar("line pick " + raster() + " --navigation " + navigation() + " --seed 20 " +
                          std::to_string(t20 + 8) + " --seed 220 " + std::to_string(t220 - 8) + " --out " + out +
                          " --name top --json");
    auto const j = tolmar_test::json_of(r);
    EXPECT_EQ(j.GetInteger("first_trace"), 20);
    EXPECT_EQ(j.GetInteger("last_trace"), 220);
    auto const times = tolmar_test::numbers(j, "times");
    ASSERT_EQ(times.size(), 201u);
    // One sample (4 ms) below the reflector, as the snap places it; where
    // the file had no shot point the track holds its last place.
    for (int t = 20; t <= 220; ++t) {
        if (!tolmar_cli::line_shot_present(options, t)) continue;
        EXPECT_NEAR(times[static_cast<std::size_t>(t - 20)], tolmar_cli::line_reflector_time(options, t) + 4, 2.0) << t;
    }

    GDALDatasetUniquePtr ds(GDALDataset::Open(out.c_str(), GDAL_OF_VECTOR));
    ASSERT_TRUE(ds);
    OGRLayer* layer = ds->GetLayerByName("horizons");
    ASSERT_TRUE(layer);
    EXPECT_EQ(layer->GetGeomType(), wkbLineString25D);
    auto f = std::unique_ptr<OGRFeature>(layer->GetNextFeature());
    ASSERT_TRUE(f);
    EXPECT_STREQ(f->GetFieldAsString("name"), "top");
    EXPECT_STREQ(f->GetFieldAsString("mode"), "peak");
    OGRLineString const* line = f->GetGeometryRef()->toLineString();
    ASSERT_EQ(line->getNumPoints(), 201);
    double x = 0, y = 0;
    tolmar_cli::line_position(options, 20, x, y);
    EXPECT_NEAR(line->getX(0), x, 0.011);
    EXPECT_NEAR(line->getZ(0), -times[0], 1e-6);

    // Seeds that run backwards leave nothing to write.
    auto const back = tolmar("line pick " + raster() + " --navigation " + navigation() +
                             " --seed 200 400 --seed 100 400 --out " + dir->path("b.gpkg"));
    EXPECT_EQ(back.status, 1);
    EXPECT_NE(back.err.find("the seeds run backwards"), std::string::npos) << back.err;
}

TEST_F(Line, ExportWritesTheCurtainAsTexturedSurfaces)
{
    ASSERT_EQ(import->status, 0) << import->err;
    std::string const out = dir->path("curtain.gpkg");
    auto const r = tolmar("line export " + raster() + " --navigation " + navigation() + " --out " + out);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    GDALDatasetUniquePtr ds(GDALDataset::Open(out.c_str(), GDAL_OF_VECTOR));
    ASSERT_TRUE(ds);
    OGRLayer* layer = ds->GetLayerByName("curtain");
    ASSERT_TRUE(layer);
    EXPECT_EQ(layer->GetGeomType(), wkbTINZ);
    ASSERT_EQ(layer->GetFeatureCount(), 1); // one tile holds 240 traces of 300 samples
    auto f = std::unique_ptr<OGRFeature>(layer->GetNextFeature());
    // Two triangles a trace step, each vertex with its texture coordinates.
    auto const* tin = f->GetGeometryRef()->toTriangulatedSurface();
    EXPECT_EQ(tin->getNumGeometries(), 2 * (options.traces - 1));
    std::istringstream uv(f->GetFieldAsString("uv"));
    int n = 0;
    for (double v; uv >> v;) ++n;
    EXPECT_EQ(n, 2 * 3 * tin->getNumGeometries());
    std::string const texture = f->GetFieldAsString("texture");
    EXPECT_EQ(texture, "curtain_textures/tile0.tga");
    std::ifstream image(dir->path(texture), std::ios::binary | std::ios::ate);
    EXPECT_EQ(static_cast<long>(image.tellg()), 18 + 256 * 512 * 4); // a texture of powers of two
}

} // namespace
