// Vector layers written as a GeoPackage and read back through OGR: points,
// 3D lines and triangulated surfaces with their fields and coordinate system.

#include <gtest/gtest.h>

#include <ogrsf_frmts.h>

#include <fstream>

#include "host/gdal_spatial_reference.h"
#include "host/gdal_vector_file.h"
#include "segy_test_util.h"

namespace {

using namespace Tolmar::host;
using Tolmar::vec;

TEST(VectorFile, LayersRoundTripThroughAGeoPackage)
{
    tolmar_test::ScratchDir dir;
    std::string const path = dir.path("out.gpkg");
    VectorLayer points{"shotpoints", GeometryKind::Point, spatial_reference_from_text("32631"), {}};
    for (int i = 0; i < 3; ++i)
        points.features.push_back(VectorFeature{{vec<double, 3>{{500000.0 + i, 6700000.0, 0}}},
                                                {{"sp", FieldValue(100LL + i)}, {"trace", FieldValue(i * 1LL)}}});
    VectorLayer line{"horizon", GeometryKind::Line, nullptr,
                     {VectorFeature{{vec<double, 3>{{1, 2, -100}}, vec<double, 3>{{3, 4, -120.5}}},
                                    {{"name", FieldValue(std::string("TEST"))}, {"rms", FieldValue(0.25)}}}}};
    VectorLayer surface{"curtain", GeometryKind::Surface, nullptr,
                        {VectorFeature{{vec<double, 3>{{0, 0, 0}}, vec<double, 3>{{1, 0, 0}}, vec<double, 3>{{1, 0, -1}},
                                        vec<double, 3>{{1, 0, -1}}, vec<double, 3>{{0, 0, -1}}, vec<double, 3>{{0, 0, 0}}},
                                       {{"texture", FieldValue(std::string("t0.tga"))}}}}};
    std::string why;
    ASSERT_TRUE(write_vector_layers(path, {points, line, surface}, &why)) << why;

    // OGR itself sees the layers and their geometry types.
    {
        GDALDatasetUniquePtr ds(GDALDataset::Open(path.c_str(), GDAL_OF_VECTOR));
        ASSERT_TRUE(ds);
        EXPECT_EQ(ds->GetLayerCount(), 3);
        EXPECT_EQ(ds->GetLayerByName("horizon")->GetGeomType(), wkbLineString25D);
        EXPECT_EQ(ds->GetLayerByName("curtain")->GetGeomType(), wkbTINZ);
    }
    VectorLayer back;
    ASSERT_TRUE(read_vector_layer(path, "shotpoints", back, &why)) << why;
    ASSERT_EQ(back.features.size(), 3u);
    EXPECT_EQ(back.kind, GeometryKind::Point);
    ASSERT_TRUE(back.spatial_reference);
    EXPECT_TRUE(back.spatial_reference->is_same(*points.spatial_reference));
    EXPECT_EQ(std::get<long long>(*back.features[2].field("sp")), 102);
    EXPECT_DOUBLE_EQ(back.features[2].points.at(0)[0], 500002);

    ASSERT_TRUE(read_vector_layer(path, "horizon", back, &why)) << why;
    ASSERT_EQ(back.features.at(0).points.size(), 2u);
    EXPECT_DOUBLE_EQ(back.features[0].points[1][2], -120.5);
    EXPECT_EQ(std::get<std::string>(*back.features[0].field("name")), "TEST");
    EXPECT_DOUBLE_EQ(std::get<double>(*back.features[0].field("rms")), 0.25);

    ASSERT_TRUE(read_vector_layer(path, "curtain", back, &why)) << why;
    EXPECT_EQ(back.kind, GeometryKind::Surface);
    EXPECT_EQ(back.features.at(0).points.size(), 6u);

    EXPECT_FALSE(read_vector_layer(path, "nothing", back, &why));
    EXPECT_NE(why.find("has no layer nothing"), std::string::npos) << why;
    // A failed write leaves the old file.
    EXPECT_FALSE(write_vector_layers(dir.path("missing/out.gpkg"), {line}, &why));
    EXPECT_TRUE(std::ifstream(path).good());
}

} // namespace
