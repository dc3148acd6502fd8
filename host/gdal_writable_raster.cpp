#include "host/gdal_writable_raster.h"

#include <cstdio>
#include <unistd.h>

#include <cpl_vsi.h>
#include <gdal_priv.h>

#include "host/gdal_support.h"

namespace Tolmar::host {

namespace {

bool fail(std::string* why, std::string const& reason)
{
    if (why) *why = reason;
    return false;
}

char const* driver_for(std::string const& path)
{
    auto const dot = path.find_last_of('.');
    std::string ext = dot == std::string::npos ? "" : path.substr(dot + 1);
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (ext == "tif" || ext == "tiff") return "GTiff";
    if (ext == "img") return "HFA";
    if (ext == "gpkg") return "GPKG";
    return nullptr;
}

bool exists(std::string const& path)
{
    VSIStatBufL stat;
    return VSIStatExL(path.c_str(), &stat, VSI_STAT_EXISTS_FLAG) == 0;
}

class GdalWritableRaster final : public IWritableRaster {
public:
    GdalWritableRaster(GDALDataset* dataset, std::string temp, std::string path, bool replace)
        : dataset_(dataset), temp_(std::move(temp)), path_(std::move(path)), replace_(replace)
    {
    }
    ~GdalWritableRaster() override
    {
        if (dataset_) GDALClose(dataset_);
        if (!finished_ && GDALDeleteDataset(nullptr, temp_.c_str()) != CE_None) std::remove(temp_.c_str());
    }

    bool write(int band, int x, int y, int width, int height, float const* values, std::string* why) override
    {
        if (!dataset_) return fail(why, path_ + ": already finished");
        if (band < 0 || band >= dataset_->GetRasterCount() || x < 0 || y < 0 || width < 1 || height < 1 ||
            x > dataset_->GetRasterXSize() - width || y > dataset_->GetRasterYSize() - height)
            return fail(why, path_ + ": the block lies outside the raster");
        QuietErrors quiet;
        if (dataset_->GetRasterBand(band + 1)->RasterIO(GF_Write, x, y, width, height, const_cast<float*>(values),
                                                         width, height, GDT_Float32, 0, 0, nullptr) != CE_None)
            return fail(why, path_ + ": writing failed" + last_gdal_error());
        return true;
    }

    bool finish(std::string* why) override
    {
        if (!dataset_) return fail(why, path_ + ": already finished");
        QuietErrors quiet;
        for (int b = 1; b <= dataset_->GetRasterCount(); ++b) {
            double min, max, mean, stddev;
            // A band of NoData only has no statistics; it is written all the same.
            dataset_->GetRasterBand(b)->ComputeStatistics(FALSE, &min, &max, &mean, &stddev, nullptr, nullptr);
        }
        CPLErrorReset();
        GDALClose(dataset_); // flushes; a failure shows as GDAL's last error
        bool const closed = CPLGetLastErrorType() < CE_Failure;
        dataset_ = nullptr;
        if (!closed) return fail(why, path_ + ": writing failed" + last_gdal_error());
        if (!replace_ && exists(path_)) return fail(why, path_ + ": exists");
        if (GDALRenameDataset(nullptr, path_.c_str(), temp_.c_str()) != CE_None)
            return fail(why, path_ + ": cannot be put in place" + last_gdal_error());
        finished_ = true;
        return true;
    }

private:
    GDALDataset* dataset_;
    std::string temp_, path_;
    bool replace_, finished_ = false;
};

} // namespace

std::unique_ptr<IWritableRaster> create_raster_dataset(RasterCreation const& c, std::string* why)
{
    register_gdal();
    QuietErrors quiet;
    char const* const driver_name = driver_for(c.path);
    GDALDataType const type = GDALGetDataTypeByName(c.pixel_type.c_str());
    if (!driver_name) {
        fail(why, c.path + ": not a .tif, .img or .gpkg file");
        return nullptr;
    }
    if (type == GDT_Unknown) {
        fail(why, "\"" + c.pixel_type + "\" is not a pixel type");
        return nullptr;
    }
    if (c.width < 1 || c.height < 1 || c.bands < 1 || c.bands > 256 || !(c.cell_width > 0) || !(c.cell_height > 0)) {
        fail(why, c.path + ": a raster needs a positive size, band count and cell size");
        return nullptr;
    }
    if (!c.replace && exists(c.path)) {
        fail(why, c.path + ": exists");
        return nullptr;
    }
    GDALDriver* const driver = GetGDALDriverManager()->GetDriverByName(driver_name);
    if (!driver) {
        fail(why, std::string("GDAL has no ") + driver_name + " driver");
        return nullptr;
    }
    // Beside the destination, so that the final rename stays on one file system.
    auto const slash = c.path.find_last_of('/');
    std::string const dir = slash == std::string::npos ? "" : c.path.substr(0, slash + 1);
    std::string const base = slash == std::string::npos ? c.path : c.path.substr(slash + 1);
    std::string const temp = dir + "." + std::to_string(::getpid()) + ".partial." + base;
    GDALDataset* const dataset = driver->Create(temp.c_str(), c.width, c.height, c.bands, type, nullptr);
    if (!dataset) {
        fail(why, c.path + ": cannot be created" + last_gdal_error());
        return nullptr;
    }
    auto raster = std::make_unique<GdalWritableRaster>(dataset, temp, c.path, c.replace);
    double gt[6] = {c.xmin, c.cell_width, 0, c.ymin + c.height * c.cell_height, 0, -c.cell_height};
    dataset->SetGeoTransform(gt);
    if (c.spatial_reference && !c.spatial_reference->is_unknown()) {
        OGRSpatialReference srs;
        srs.SetFromUserInput(c.spatial_reference->wkt().c_str());
        dataset->SetSpatialRef(&srs);
    }
    for (int b = 1; b <= c.bands; ++b)
        if (c.nodata) dataset->GetRasterBand(b)->SetNoDataValue(*c.nodata);
    return raster;
}

} // namespace Tolmar::host

extern "C" bool tolmar_create_raster_dataset(Tolmar::host::RasterCreation const* creation,
                                             std::unique_ptr<Tolmar::host::IWritableRaster>* out, std::string* why)
{
    *out = Tolmar::host::create_raster_dataset(*creation, why);
    return *out != nullptr;
}
