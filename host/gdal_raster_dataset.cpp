#include "host/gdal_raster_dataset.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include <cpl_string.h>
#include <cpl_vsi.h>
#include <gdal_priv.h>
#include <gdal_utils.h>
#include <ogrsf_frmts.h>

#include "foundation/log.h"
#include "host/PropertySet.h"
#include "host/entire_raster.h"
#include "host/gdal_support.h"
#include "host/raster_renderer_properties.h"
#include "platform/text_encoding.h"

namespace Tolmar::host {

namespace {

using platform::from_utf8;
using platform::to_utf8;

// A block of more pixels than this is a mistake, not a request.
constexpr long long kMaxBlockPixels = 1LL << 28;

struct CloseDataset {
    void operator()(GDALDataset* dataset) const { GDALClose(dataset); }
};
using DatasetHandle = std::shared_ptr<GDALDataset>;

// Where a dataset came from, in the form that opens it again.
struct Origin {
    WorkspaceType type = WorkspaceType::FileSystem;
    PropertySet properties;
    std::string name;
};

bool ends_with(std::string const& s, std::string const& tail)
{
    return s.size() >= tail.size() &&
           std::equal(tail.rbegin(), tail.rend(), s.rbegin(),
                      [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; });
}

bool fail(std::string* why, std::string const& reason)
{
    if (why) *why = reason;
    return false;
}

// Warps `source` onto a north-up grid in `target_wkt` (its own system when
// empty), as a virtual dataset that reads on demand. An alpha band after the
// source's bands marks the pixels that the source covers.
DatasetHandle warp(GDALDataset* source, std::string const& target_wkt, std::string* why)
{
    CPLStringList args;
    args.AddString("-of");
    args.AddString("VRT");
    args.AddString("-r");
    args.AddString("near");
    args.AddString("-dstalpha");
    if (!target_wkt.empty()) {
        args.AddString("-t_srs");
        args.AddString(target_wkt.c_str());
    }
    GDALWarpAppOptions* options = GDALWarpAppOptionsNew(args.List(), nullptr);
    GDALDatasetH sources[] = {GDALDataset::ToHandle(source)};
    int usage_error = 0;
    GDALDatasetH const warped = GDALWarp("", nullptr, 1, sources, options, &usage_error);
    GDALWarpAppOptionsFree(options);
    if (!warped) {
        fail(why, "the raster cannot be warped" + last_gdal_error());
        return nullptr;
    }
    return DatasetHandle(GDALDataset::FromHandle(warped), CloseDataset());
}

class GdalRasterDataset final : public IRasterDataset, public std::enable_shared_from_this<GdalRasterDataset> {
public:
    // `base` is the dataset as opened when this one is a warp of it: band
    // descriptions, palettes and statistics are the base's.
    GdalRasterDataset(Origin origin, std::shared_ptr<GdalRasterDataset> base, DatasetHandle dataset, bool warped)
        : origin_(std::move(origin)), base_(std::move(base)), dataset_(std::move(dataset)), warped_(warped)
    {
        band_count_ = base_ ? base_->band_count_ : dataset_->GetRasterCount();
        double gt[6];
        georeferenced_ = dataset_->GetGeoTransform(gt) == CE_None;
        double const w = dataset_->GetRasterXSize(), h = dataset_->GetRasterYSize();
        if (georeferenced_)
            extent_ = box<double, 2>(vec<double, 2>{{gt[0], gt[3] + h * gt[5]}}, vec<double, 2>{{gt[0] + w * gt[1], gt[3]}});
        else
            extent_ = box<double, 2>(vec<double, 2>{{0, 0}}, vec<double, 2>{{w, h}});
        srs_ = spatial_reference_from_ogr(dataset_->GetSpatialRef());
    }

    WorkspaceType workspace_type() const override { return origin_.type; }
    std::wstring connection_properties() const override { return from_utf8(origin_.properties.to_text()); }
    std::wstring name() const override { return from_utf8(origin_.name); }
    int width() const override { return dataset_->GetRasterXSize(); }
    int height() const override { return dataset_->GetRasterYSize(); }
    int band_count() const override { return band_count_; }
    std::string band_name(int band) const override
    {
        if (base_) return base_->band_name(band);
        if (!has_band(band)) return {};
        std::string const description = band_of(band)->GetDescription();
        return description.empty() ? "Band_" + std::to_string(band + 1) : description;
    }
    std::string pixel_type(int band) const override
    {
        return has_band(band) ? GDALGetDataTypeName(band_of(band)->GetRasterDataType()) : "";
    }
    box<double, 2> extent() const override { return extent_; }
    SpatialReferencePtr spatial_reference() const override { return srs_; }
    std::optional<double> nodata(int band) const override
    {
        if (!has_band(band)) return std::nullopt;
        int has = 0;
        double const value = band_of(band)->GetNoDataValue(&has);
        return has ? std::optional<double>(value) : std::nullopt;
    }
    bool warped_north_up() const override { return warped_ && !reprojection_; }
    std::vector<vec<unsigned char, 4>> colour_table(int band) const override
    {
        if (base_) return base_->colour_table(band);
        std::vector<vec<unsigned char, 4>> table;
        GDALColorTable const* palette = has_band(band) ? band_of(band)->GetColorTable() : nullptr;
        if (!palette) return table;
        for (int i = 0; i < palette->GetColorEntryCount(); ++i) {
            GDALColorEntry e;
            palette->GetColorEntryAsRGB(i, &e);
            table.push_back(vec<unsigned char, 4>{{static_cast<unsigned char>(e.c1), static_cast<unsigned char>(e.c2),
                                                   static_cast<unsigned char>(e.c3), static_cast<unsigned char>(e.c4)}});
        }
        return table;
    }
    bool statistics(int band, BandStatistics& out, std::string* why) override;
    bool read(int band, int resampled_width, int resampled_height, int x, int y, int width, int height,
              PixelBlock& out, std::string* why) override;
    RasterDatasetPtr reprojected(SpatialReferencePtr const& to, std::string* why) override;

    void mark_reprojection() { reprojection_ = true; }

private:
    bool has_band(int band) const { return band >= 0 && band < band_count_; }
    GDALRasterBand* band_of(int band) const { return dataset_->GetRasterBand(band + 1); }
    bool compute_statistics(int band, BandStatistics& out, std::string* why);

    Origin origin_;
    // Declared before the dataset, so that a warp closes before its source.
    std::shared_ptr<GdalRasterDataset> base_;
    DatasetHandle dataset_;
    bool warped_ = false, reprojection_ = false, georeferenced_ = false;
    int band_count_ = 0;
    box<double, 2> extent_;
    SpatialReferencePtr srs_;
    std::vector<std::optional<BandStatistics>> statistics_;
};

bool GdalRasterDataset::statistics(int band, BandStatistics& out, std::string* why)
{
    if (base_) return base_->statistics(band, out, why);
    if (!has_band(band)) return fail(why, "there is no band " + std::to_string(band + 1));
    statistics_.resize(static_cast<std::size_t>(band_count_));
    auto& known = statistics_[static_cast<std::size_t>(band)];
    if (!known) {
        QuietErrors quiet;
        BandStatistics s;
        // Only statistics the file already holds: computing them through
        // GDAL would write them beside the user's file.
        if (band_of(band)->GetStatistics(FALSE, FALSE, &s.min, &s.max, &s.mean, &s.stddev) == CE_None)
            known = s;
        else if (compute_statistics(band, s, why))
            known = s;
        else
            return false;
    }
    out = *known;
    return true;
}

bool GdalRasterDataset::compute_statistics(int band, BandStatistics& out, std::string* why)
{
    int const w = width(), h = height();
    int const rows = std::max(1, std::min(h, (1 << 22) / std::max(w, 1)));
    PixelBlock block;
    double sum = 0, squares = 0;
    long long count = 0;
    double low = INFINITY, high = -INFINITY;
    for (int y = 0; y < h; y += rows) {
        int const n = std::min(rows, h - y);
        if (!read(band, w, h, 0, y, w, n, block, why)) return false;
        for (std::size_t i = 0; i < block.values.size(); ++i) {
            if (!block.valid[i]) continue;
            double const v = block.values[i];
            low = std::min(low, v);
            high = std::max(high, v);
            sum += v;
            squares += v * v;
            ++count;
        }
    }
    if (count == 0) return fail(why, "band " + std::to_string(band + 1) + " has no valid pixel");
    out.min = low;
    out.max = high;
    out.mean = sum / static_cast<double>(count);
    out.stddev = std::sqrt(std::max(0.0, squares / static_cast<double>(count) - out.mean * out.mean));
    return true;
}

bool GdalRasterDataset::read(int band, int resampled_width, int resampled_height, int x, int y, int width,
                             int height, PixelBlock& out, std::string* why)
{
    if (!has_band(band)) return fail(why, "there is no band " + std::to_string(band + 1));
    if (resampled_width < 1 || resampled_height < 1 || width < 1 || height < 1 ||
        static_cast<long long>(width) * height > kMaxBlockPixels)
        return fail(why, "a block of " + std::to_string(width) + " x " + std::to_string(height) + " pixels of " +
                             std::to_string(resampled_width) + " x " + std::to_string(resampled_height) +
                             " cannot be read");
    out.width = width;
    out.height = height;
    std::size_t const count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    out.values.assign(count, 0.0f);
    out.valid.assign(count, 0);
    // The part of the block inside the resampled raster.
    long long const x0 = std::max(x, 0), y0 = std::max(y, 0);
    long long const x1 = std::min<long long>(static_cast<long long>(x) + width, resampled_width);
    long long const y1 = std::min<long long>(static_cast<long long>(y) + height, resampled_height);
    out.masked = x0 != x || y0 != y || x1 - x != width || y1 - y != height;
    if (x1 <= x0 || y1 <= y0) return true;

    double const sx = static_cast<double>(this->width()) / resampled_width;
    double const sy = static_cast<double>(this->height()) / resampled_height;
    GDALRasterIOExtraArg extra;
    INIT_RASTERIO_EXTRA_ARG(extra);
    extra.eResampleAlg = GRIORA_NearestNeighbour;
    extra.dfXOff = static_cast<double>(x0) * sx;
    extra.dfYOff = static_cast<double>(y0) * sy;
    extra.dfXSize = static_cast<double>(x1 - x0) * sx;
    extra.dfYSize = static_cast<double>(y1 - y0) * sy;
    int const nx = static_cast<int>(std::floor(extra.dfXOff)), ny = static_cast<int>(std::floor(extra.dfYOff));
    int const nw = std::max(1, std::min(this->width(), static_cast<int>(std::ceil(extra.dfXOff + extra.dfXSize))) - nx);
    int const nh = std::max(1, std::min(this->height(), static_cast<int>(std::ceil(extra.dfYOff + extra.dfYSize))) - ny);
    // GDAL takes a slower path for a fractional window; most are whole.
    extra.bFloatingPointWindowValidity = nx != extra.dfXOff || ny != extra.dfYOff || nw != extra.dfXSize ||
                                         nh != extra.dfYSize;
    auto const bw = static_cast<int>(x1 - x0), bh = static_cast<int>(y1 - y0);
    std::size_t const first = static_cast<std::size_t>((y0 - y) * width + (x0 - x));
    GSpacing const line = static_cast<GSpacing>(width);

    QuietErrors quiet;
    GDALRasterBand* const b = band_of(band);
    if (b->RasterIO(GF_Read, nx, ny, nw, nh, out.values.data() + first, bw, bh, GDT_Float32, sizeof(float),
                    line * static_cast<GSpacing>(sizeof(float)), &extra) != CE_None)
        return fail(why, "reading band " + std::to_string(band + 1) + " failed" + last_gdal_error());
    // A warp's last band is its alpha: what the file covers, less its NoData.
    GDALRasterBand* const mask = warped_                             ? dataset_->GetRasterBand(dataset_->GetRasterCount())
                                 : b->GetMaskFlags() == GMF_ALL_VALID ? nullptr
                                                                      : b->GetMaskBand();
    if (!mask) {
        for (long long row = 0; row < bh; ++row)
            std::fill_n(out.valid.begin() + static_cast<std::ptrdiff_t>(first + row * width), bw, std::uint8_t{1});
    } else {
        out.masked = true;
        if (mask->RasterIO(GF_Read, nx, ny, nw, nh, out.valid.data() + first, bw, bh, GDT_Byte, 1, line, &extra) !=
            CE_None)
            return fail(why, "reading the mask of band " + std::to_string(band + 1) + " failed" + last_gdal_error());
        for (auto& v : out.valid) v = v != 0;
    }
    // A float band may hold NaN without declaring it NoData; an integer
    // band cannot, and is spared the pass.
    if (GDALDataTypeIsFloating(b->GetRasterDataType()))
        for (std::size_t i = 0; i < count; ++i)
            if (out.valid[i] && std::isnan(out.values[i])) {
                out.valid[i] = 0;
                out.masked = true;
            }
    return true;
}

RasterDatasetPtr GdalRasterDataset::reprojected(SpatialReferencePtr const& to, std::string* why)
{
    if (!to || to->is_unknown() || srs_->is_unknown() || srs_->is_same(*to)) return shared_from_this();
    // From the file as opened, not from a warp of it: one resampling only.
    auto const source = base_ ? base_ : shared_from_this();
    QuietErrors quiet;
    DatasetHandle warped = warp(source->dataset_.get(), to->wkt(), why);
    if (!warped) return nullptr;
    auto view = std::make_shared<GdalRasterDataset>(origin_, source, std::move(warped), true);
    view->mark_reprojection();
    return view;
}

// The raster tables of a GeoPackage.
std::vector<std::string> geopackage_rasters(std::string const& path)
{
    std::vector<std::string> tables;
    std::unique_ptr<GDALDataset, CloseDataset> gpkg(GDALDataset::FromHandle(
        GDALOpenEx(path.c_str(), GDAL_OF_VECTOR | GDAL_OF_RASTER | GDAL_OF_READONLY, nullptr, nullptr, nullptr)));
    if (!gpkg) return tables;
    OGRLayer* result = gpkg->ExecuteSQL("SELECT table_name FROM gpkg_contents WHERE data_type IN "
                                        "('tiles', '2d-gridded-coverage') ORDER BY table_name",
                                        nullptr, nullptr);
    if (!result) return tables;
    for (auto& feature : *result) tables.emplace_back(feature->GetFieldAsString(0));
    gpkg->ReleaseResultSet(result);
    return tables;
}

std::string join(std::vector<std::string> const& names)
{
    std::string out;
    for (auto const& n : names) out += (out.empty() ? "" : ", ") + n;
    return out;
}

RasterDatasetPtr open_origin(Origin origin, std::string* why)
{
    register_gdal();
    QuietErrors quiet;
    std::string const database = origin.properties.get("DATABASE");
    if (origin.type == WorkspaceType::RemoteDatabase) {
        fail(why, "enterprise database connections are not supported; connect to a folder or a GeoPackage");
        return nullptr;
    }
    if (database.empty()) {
        fail(why, "the connection properties name no DATABASE");
        return nullptr;
    }
    VSIStatBufL stat;
    if (VSIStatExL(database.c_str(), &stat, VSI_STAT_EXISTS_FLAG) != 0) {
        fail(why, database + ": no such file or folder");
        return nullptr;
    }
    std::string target = origin.name.empty()         ? database
                         : database.back() == '/' ? database + origin.name
                                                  : database + "/" + origin.name;
    if (ends_with(database, ".gpkg")) {
        origin.type = WorkspaceType::LocalDatabase;
        if (origin.name.empty()) {
            auto const tables = geopackage_rasters(database);
            if (tables.size() != 1) {
                fail(why, database + (tables.empty() ? ": holds no raster"
                                                     : ": holds several rasters; name one as FILE.gpkg:TABLE (" +
                                                           join(tables) + ")"));
                return nullptr;
            }
            origin.name = tables.front();
        }
        target = "GPKG:" + database + ":" + origin.name;
    } else if (ends_with(database, ".gdb")) {
        fail(why, database + ": rasters in file geodatabases are not readable through GDAL 3.6");
        return nullptr;
    } else if (origin.type == WorkspaceType::LocalDatabase) {
        fail(why, database + ": not a GeoPackage");
        return nullptr;
    } else if (VSIStatExL(target.c_str(), &stat, VSI_STAT_EXISTS_FLAG) != 0) {
        fail(why, target + ": no such file");
        return nullptr;
    }
    GDALDataset* const opened =
        GDALDataset::FromHandle(GDALOpenEx(target.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY, nullptr, nullptr, nullptr));
    if (!opened) {
        fail(why, target + ": not a raster GDAL can read" + last_gdal_error());
        return nullptr;
    }
    DatasetHandle dataset(opened, CloseDataset());
    if (dataset->GetRasterCount() == 0 || dataset->GetRasterXSize() < 1 || dataset->GetRasterYSize() < 1) {
        fail(why, target + ": holds no raster band");
        return nullptr;
    }
    // A grid that is rotated or runs south up is read on a north-up grid
    // over its envelope, so that row 0 always lies at the top of the extent.
    double gt[6];
    if (dataset->GetGeoTransform(gt) == CE_None && (gt[2] != 0 || gt[4] != 0 || gt[1] < 0 || gt[5] > 0)) {
        auto file = std::make_shared<GdalRasterDataset>(origin, nullptr, dataset, false);
        DatasetHandle north_up = warp(dataset.get(), "", why);
        if (!north_up) return nullptr;
        return std::make_shared<GdalRasterDataset>(std::move(origin), std::move(file), std::move(north_up), true);
    }
    return std::make_shared<GdalRasterDataset>(std::move(origin), nullptr, std::move(dataset), false);
}

Origin origin_of_path(std::string const& path)
{
    Origin origin;
    std::size_t const gpkg = path.find(".gpkg:");
    if (gpkg != std::string::npos) {
        origin.type = WorkspaceType::LocalDatabase;
        origin.properties.set("DATABASE", path.substr(0, gpkg + 5));
        origin.name = path.substr(gpkg + 6);
    } else if (ends_with(path, ".gpkg")) {
        origin.type = WorkspaceType::LocalDatabase;
        origin.properties.set("DATABASE", path);
    } else {
        std::size_t const slash = path.find_last_of('/');
        origin.properties.set("DATABASE", slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash));
        origin.name = slash == std::string::npos ? path : path.substr(slash + 1);
    }
    return origin;
}

} // namespace

RasterDatasetPtr open_raster_dataset(WorkspaceType type, std::wstring const& connection, std::wstring const& name,
                                     std::string* why)
{
    Origin origin;
    origin.type = type;
    origin.name = to_utf8(name);
    if (!PropertySet::from_text(to_utf8(connection), origin.properties, why)) return nullptr;
    return open_origin(std::move(origin), why);
}

RasterDatasetPtr open_raster_dataset(std::string const& path, std::string* why)
{
    if (path.empty()) {
        fail(why, "no raster path was given");
        return nullptr;
    }
    return open_origin(origin_of_path(path), why);
}

bool getRaster(std::wstring const& path, SpatialReferencePtr const& spatial_reference, Raster& raster)
{
    Util::logc("getRaster()");
    Util::log(L"path", path);
    raster.clear();
    std::string why;
    RasterDatasetPtr const dataset = open_raster_dataset(to_utf8(path), &why);
    if (!dataset) {
        Util::logf("Unable to open raster dataset. %s\n", why.c_str());
        return false;
    }
    int const n = dataset->band_count();
    vec<int, 4> const bands = n == 3   ? vec<int, 4>{{0, 1, 2, -1}}
                              : n == 4 ? vec<int, 4>{{0, 1, 2, 3}}
                                       : vec<int, 4>{{0, -1, -1, -1}};
    return getEntireRasterData(dataset, spatial_reference, bands, raster);
}

bool getEntireElevationRasterData(ElevInfo const& info, SpatialReferencePtr const& spatial_reference, Raster& raster)
{
    std::string why;
    RasterDatasetPtr const dataset = open_raster_dataset(info.workspace_type, info.connection, info.dataset_name, &why);
    if (!dataset) {
        Util::logf("Unable to open raster dataset. %s\n", why.c_str());
        return false;
    }
    int width = 0, height = 0;
    RasterDatasetPtr const view = entire_raster_view(dataset, spatial_reference, width, height);
    if (!view) return false;
    long const band = info.band_name.empty() ? 0 : lookup_raster_band(*view, to_utf8(info.band_name));
    if (read_raster_band(*view, static_cast<int>(band), width, height, raster.elevation)) return true;
    Util::logf("Unable to read elevation raster band %ld\n", band);
    return false;
}

} // namespace Tolmar::host

extern "C" bool tolmar_open_raster_dataset(char const* path, Tolmar::host::RasterDatasetPtr* out, std::string* why)
{
    *out = Tolmar::host::open_raster_dataset(path ? path : "", why);
    return *out != nullptr;
}
