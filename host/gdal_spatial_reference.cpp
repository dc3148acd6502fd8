#include "host/gdal_spatial_reference.h"

#include <cctype>
#include <map>
#include <memory>
#include <mutex>

#include <cpl_error.h>
#include <gdal_priv.h>
#include <ogr_spatialref.h>

#include "host/gdal_support.h"

namespace Tolmar::host {

namespace {

struct DestroyTransformation {
    void operator()(OGRCoordinateTransformation* t) const { OGRCoordinateTransformation::DestroyCT(t); }
};
using Transformation = std::unique_ptr<OGRCoordinateTransformation, DestroyTransformation>;

class GdalSpatialReference final : public ISpatialReference {
public:
    explicit GdalSpatialReference(OGRSpatialReference srs) : srs_(std::move(srs))
    {
        // x then y, east then north, as GIS programs have always taken them.
        srs_.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        char* text = nullptr;
        char const* const options[] = {"FORMAT=WKT2_2019", nullptr};
        srs_.exportToWkt(&text, options);
        wkt_ = text ? text : "";
        CPLFree(text);
    }

    bool is_unknown() const override { return false; }
    std::string name() const override
    {
        char const* n = srs_.GetName();
        return n ? n : "Unnamed";
    }
    std::string wkt() const override { return wkt_; }
    bool is_same(ISpatialReference const& other) const override
    {
        auto const* o = dynamic_cast<GdalSpatialReference const*>(&other);
        return o && (o == this || srs_.IsSame(&o->srs_));
    }
    long project(ISpatialReference const& to, std::vector<vec<double, 2>>& points) const override
    {
        auto const* target = dynamic_cast<GdalSpatialReference const*>(&to);
        if (!target || points.empty() || is_same(*target)) return 0;
        std::lock_guard<std::mutex> lock(mutex_);
        OGRCoordinateTransformation* t = transformation_to(*target);
        if (!t) return -1;
        std::vector<double> x(points.size()), y(points.size());
        for (std::size_t i = 0; i < points.size(); ++i) {
            x[i] = points[i][0];
            y[i] = points[i][1];
        }
        std::vector<int> ok(points.size(), 0);
        CPLErrorHandlerPusher quiet(CPLQuietErrorHandler);
        if (!t->Transform(static_cast<int>(points.size()), x.data(), y.data(), nullptr, ok.data())) return -2;
        for (int good : ok)
            if (!good) return -2;
        for (std::size_t i = 0; i < points.size(); ++i) points[i] = vec<double, 2>{{x[i], y[i]}};
        return 0;
    }

private:
    // Making a transformation looks PROJ's database up; a slice makes a few
    // calls to the same target in a row, so they are kept by the target's
    // definition.
    OGRCoordinateTransformation* transformation_to(GdalSpatialReference const& target) const
    {
        auto found = transformations_.find(target.wkt_);
        if (found != transformations_.end()) return found->second.get();
        if (transformations_.size() >= 8) transformations_.clear();
        CPLErrorHandlerPusher quiet(CPLQuietErrorHandler);
        Transformation t(OGRCreateCoordinateTransformation(&srs_, &target.srs_));
        if (!t) return nullptr;
        return (transformations_[target.wkt_] = std::move(t)).get();
    }

    OGRSpatialReference srs_;
    std::string wkt_;
    mutable std::mutex mutex_;
    mutable std::map<std::string, Transformation> transformations_;
};

SpatialReferencePtr make(OGRSpatialReference srs) { return std::make_shared<GdalSpatialReference>(std::move(srs)); }

bool all_digits(std::string const& s)
{
    if (s.empty()) return false;
    for (char c : s)
        if (!std::isdigit(static_cast<unsigned char>(c))) return false;
    return true;
}

} // namespace

void register_gdal()
{
    static std::once_flag registered;
    std::call_once(registered, [] { GDALAllRegister(); });
}

std::string last_gdal_error()
{
    char const* reason = CPLGetLastErrorMsg();
    return reason && *reason ? std::string(" (") + reason + ")" : std::string();
}

SpatialReferencePtr spatial_reference_from_ogr(OGRSpatialReference const* srs)
{
    if (!srs || srs->IsEmpty()) return unknown_spatial_reference();
    return make(*srs);
}

SpatialReferencePtr spatial_reference_from_text(std::string const& text, std::string* why)
{
    std::string trimmed = text;
    while (!trimmed.empty() && std::isspace(static_cast<unsigned char>(trimmed.back()))) trimmed.pop_back();
    while (!trimmed.empty() && std::isspace(static_cast<unsigned char>(trimmed.front()))) trimmed.erase(0, 1);
    if (trimmed.empty()) return unknown_spatial_reference();
    if (all_digits(trimmed) && trimmed.size() < 10) return spatial_reference_from_epsg(std::stoi(trimmed), why);
    OGRSpatialReference srs;
    CPLErrorHandlerPusher quiet(CPLQuietErrorHandler);
    if (srs.SetFromUserInput(trimmed.c_str()) != OGRERR_NONE || srs.IsEmpty()) {
        if (why) {
            std::string const reason = CPLGetLastErrorMsg();
            *why = "\"" + trimmed.substr(0, 60) + (trimmed.size() > 60 ? "..." : "") +
                   "\" defines no coordinate system" + (reason.empty() ? "" : ": " + reason);
        }
        return nullptr;
    }
    return make(std::move(srs));
}

SpatialReferencePtr spatial_reference_from_epsg(int code, std::string* why)
{
    OGRSpatialReference srs;
    CPLErrorHandlerPusher quiet(CPLQuietErrorHandler);
    if (srs.importFromEPSG(code) != OGRERR_NONE) {
        if (why) *why = "EPSG:" + std::to_string(code) + " is not a coordinate system PROJ knows";
        return nullptr;
    }
    return make(std::move(srs));
}

} // namespace Tolmar::host

extern "C" bool tolmar_spatial_reference_from_text(char const* text, Tolmar::host::SpatialReferencePtr* out,
                                                   std::string* why)
{
    *out = Tolmar::host::spatial_reference_from_text(text ? text : "", why);
    return *out != nullptr;
}
