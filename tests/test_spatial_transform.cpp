// Spatial references on GDAL and the four transform functions: answers
// against PROJ's own, the subdivision counts, and what an unknown or a
// failing system does.

#include <gtest/gtest.h>
#include <proj.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/gdal_spatial_reference.h"
#include "host/spatial_transform.h"

namespace {

using Tolmar::vec;
using Tolmar::host::spatial_reference_from_text;
using V2 = vec<double, 2>;

// PROJ itself, x then y, as the oracle.
V2 proj_answer(char const* from, char const* to, V2 p)
{
    PJ_CONTEXT* ctx = proj_context_create();
    PJ* raw = proj_create_crs_to_crs(ctx, from, to, nullptr);
    PJ* pj = proj_normalize_for_visualization(ctx, raw);
    PJ_COORD const c = proj_trans(pj, PJ_FWD, proj_coord(p[0], p[1], 0, 0));
    proj_destroy(pj);
    proj_destroy(raw);
    proj_context_destroy(ctx);
    return V2{{c.xy.x, c.xy.y}};
}

TEST(SpatialTransform, AgreesWithProjOnKnownSystems)
{
    struct Case {
        char const *from, *to;
        V2 point;
        double tolerance;
    };
    for (Case const& c : {Case{"EPSG:32631", "EPSG:4326", V2{{500000, 6700000}}, 1e-9},
                          Case{"EPSG:4326", "EPSG:32631", V2{{3.5, 60.2}}, 1e-4},
                          Case{"EPSG:32631", "EPSG:32632", V2{{700000, 6650000}}, 1e-4},
                          Case{"EPSG:4326", "EPSG:27700", V2{{-1.5, 52.5}}, 1e-4}}) {
        auto const from = spatial_reference_from_text(c.from), to = spatial_reference_from_text(c.to);
        ASSERT_TRUE(from && to) << c.from << " " << c.to;
        V2 p = c.point;
        ASSERT_EQ(Tolmar::spatial_transform(from, to, p), 0);
        V2 const expected = proj_answer(c.from, c.to, c.point);
        EXPECT_NEAR(p[0], expected[0], c.tolerance) << c.from << " to " << c.to;
        EXPECT_NEAR(p[1], expected[1], c.tolerance) << c.from << " to " << c.to;
    }
    // The central meridian of zone 31 at the equator, longitude first.
    V2 p{{500000, 0}};
    Tolmar::spatial_transform(spatial_reference_from_text("32631"), spatial_reference_from_text("EPSG:4326"), p);
    EXPECT_LT(p.dist(V2{{3.0, 0.0}}), 1e-9);
}

TEST(SpatialTransform, BatchesRoundTripAndFailWhole)
{
    auto const utm = spatial_reference_from_text("EPSG:32631");
    auto const geo = spatial_reference_from_text("+proj=longlat +datum=WGS84 +no_defs");
    std::vector<V2> points{V2{{450000, 6600000}}, V2{{520000, 6720000}}, V2{{610000, 6800000}}};
    auto const original = points;
    ASSERT_EQ(Tolmar::spatial_transform(utm, geo, points), 0);
    EXPECT_LT(points[0][0], 10.0); // degrees now
    ASSERT_EQ(Tolmar::spatial_transform(geo, utm, points), 0);
    for (std::size_t i = 0; i < points.size(); ++i) EXPECT_LT(points[i].dist(original[i]), 1e-6);

    std::vector<V2> empty;
    EXPECT_EQ(Tolmar::spatial_transform(utm, geo, empty), 1);
    // A latitude past the pole cannot be projected: a negative status, points kept.
    std::vector<V2> bad{V2{{3, 45}}, V2{{3, 95}}};
    EXPECT_LT(Tolmar::spatial_transform(geo, utm, bad), 0);
    EXPECT_EQ(bad[1][1], 95);
}

TEST(SpatialTransform, ReferencesFromTextAndEquality)
{
    std::string why;
    auto const unknown = spatial_reference_from_text("  ");
    ASSERT_TRUE(unknown);
    EXPECT_TRUE(unknown->is_unknown());
    EXPECT_FALSE(spatial_reference_from_text("not a system", &why));
    EXPECT_NE(why.find("defines no coordinate system"), std::string::npos) << why;
    EXPECT_FALSE(spatial_reference_from_text("99999", &why));
    EXPECT_NE(why.find("EPSG:99999"), std::string::npos) << why;

    auto const byCode = spatial_reference_from_text("4326");
    auto const byWkt = spatial_reference_from_text(byCode->wkt());
    EXPECT_TRUE(byCode->is_same(*byWkt)); // the same system written two ways
    EXPECT_FALSE(byCode->is_same(*spatial_reference_from_text("EPSG:32631")));
    EXPECT_FALSE(byCode->is_same(*unknown));
    EXPECT_TRUE(Tolmar::host::same_spatial_reference(nullptr, unknown));

    // Unknown on either side leaves points as they are.
    V2 p{{1, 2}};
    EXPECT_EQ(Tolmar::spatial_transform(unknown, byCode, p), 0);
    EXPECT_EQ(Tolmar::spatial_transform(nullptr, byCode, p), 0);
    EXPECT_EQ(p[0], 1);
}

TEST(SpatialTransform, SubdivisionsGrowWithTheBend)
{
    auto const z31 = spatial_reference_from_text("EPSG:32631"), z32 = spatial_reference_from_text("EPSG:32632");
    V2 const a{{400000, 6600000}}, b{{700000, 6900000}};
    int count = 0;
    ASSERT_EQ(Tolmar::spatial_transform_calculate_subdivisions(z31, z31, 1e-4, a, b, count), 0);
    EXPECT_EQ(count, 3); // identity: no deviation in the first round
    ASSERT_EQ(Tolmar::spatial_transform_calculate_subdivisions(z31, z32, 1e-4, a, b, count), 0);
    EXPECT_GT(count, 3);
    EXPECT_LE(count, 65);
    int tighter = 0;
    Tolmar::spatial_transform_calculate_subdivisions(z31, z32, 1e-7, a, b, tighter);
    EXPECT_GT(tighter, count);
    // A segment with no length never meets the tolerance (0 / 0).
    Tolmar::spatial_transform_calculate_subdivisions(z31, z32, 1e-4, a, a, count);
    EXPECT_EQ(count, 65);

    std::vector<V2> points;
    std::vector<double> params;
    ASSERT_EQ(Tolmar::spatial_transform_line(z31, z32, a, b, points, params), 0);
    ASSERT_EQ(points.size(), 11u);
    EXPECT_DOUBLE_EQ(params[5], 0.5);
}

} // namespace
