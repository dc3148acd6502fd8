#include "raster_test_files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include <cpl_string.h>
#include <gdal_priv.h>
#include <ogr_spatialref.h>

namespace tolmar_test {

void write_raster(RasterSpec const& spec)
{
    GDALAllRegister();
    GDALDataType const type = GDALGetDataTypeByName(spec.pixel_type.c_str());
    GDALDriver* mem = GetGDALDriverManager()->GetDriverByName("MEM");
    std::unique_ptr<GDALDataset> ds(mem->Create("", spec.width, spec.height, spec.bands, type, nullptr));
    ASSERT_TRUE(ds);
    double gt[6];
    std::copy(spec.geotransform.begin(), spec.geotransform.end(), gt);
    ds->SetGeoTransform(gt);
    if (!spec.srs.empty()) {
        OGRSpatialReference srs;
        ASSERT_EQ(srs.SetFromUserInput(spec.srs.c_str()), OGRERR_NONE);
        ds->SetSpatialRef(&srs);
    }
    std::vector<double> row(static_cast<std::size_t>(spec.width));
    for (int b = 0; b < spec.bands; ++b) {
        GDALRasterBand* band = ds->GetRasterBand(b + 1);
        for (int y = 0; y < spec.height; ++y) {
            for (int x = 0; x < spec.width; ++x) row[static_cast<std::size_t>(x)] = spec.value(b, x, y);
            ASSERT_EQ(band->RasterIO(GF_Write, 0, y, spec.width, 1, row.data(), spec.width, 1, GDT_Float64, 0, 0,
                                     nullptr),
                      CE_None);
        }
        if (spec.nodata) band->SetNoDataValue(*spec.nodata);
        if (static_cast<std::size_t>(b) < spec.band_names.size()) band->SetDescription(spec.band_names[b].c_str());
        if (spec.alpha_last && b == spec.bands - 1) band->SetColorInterpretation(GCI_AlphaBand);
    }
    if (!spec.palette.empty()) {
        GDALColorTable table;
        for (std::size_t i = 0; i < spec.palette.size(); ++i) {
            auto const& c = spec.palette[i];
            GDALColorEntry e{c[0], c[1], c[2], c[3]};
            table.SetColorEntry(static_cast<int>(i), &e);
        }
        ds->GetRasterBand(1)->SetColorTable(&table);
    }
    if (spec.statistics) {
        auto const& s = *spec.statistics;
        ds->GetRasterBand(1)->SetStatistics(s[0], s[1], s[2], s[3]);
    }
    CPLStringList options;
    if (!spec.table.empty()) {
        options.SetNameValue("RASTER_TABLE", spec.table.c_str());
        if (std::filesystem::exists(spec.path)) options.SetNameValue("APPEND_SUBDATASET", "YES");
        if (type != GDT_Byte) options.SetNameValue("TILE_FORMAT", "TIFF");
    }
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName(spec.driver.c_str());
    ASSERT_TRUE(driver);
    std::unique_ptr<GDALDataset> out(
        driver->CreateCopy(spec.path.c_str(), ds.get(), FALSE, options.List(), nullptr, nullptr));
    ASSERT_TRUE(out) << spec.path << ": " << CPLGetLastErrorMsg();
}

std::string fresh_dir(std::string const& name)
{
    auto const dir = std::filesystem::path(::testing::TempDir()) / ("tolmar_" + name);
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    return dir.string();
}

} // namespace tolmar_test
