#include "host/gdal_workspace.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>

#include <cpl_error.h>
#include <cpl_vsi.h>
#include <gdal_priv.h>
#include <ogrsf_frmts.h>

#include "host/gdal_support.h"
#include "platform/text_encoding.h"

namespace Tolmar::host {

namespace {

using Tolmar::platform::from_utf8;

struct CloseDataset {
    void operator()(GDALDataset* dataset) const { GDALClose(dataset); }
};

// One opened dataset, shared by the workspace, its classes and their
// features so that any of them may outlive the others. A GDAL dataset is not
// thread-safe: every call reaching it or its layers holds `mutex`.
struct Source {
    std::unique_ptr<GDALDataset, CloseDataset> dataset;
    std::string path;
    std::mutex mutex;
    // An OGR layer has a single reading position, shared by every class
    // object opened on it. The cursor that last moved it is noted here; any
    // other puts the position back to its own before reading on.
    std::map<OGRLayer const*, std::uint64_t> cursor_owner;
};

class GdalFeature final : public IFeature {
public:
    GdalFeature(std::shared_ptr<Source> source, OGRFeatureUniquePtr feature)
        : source_(std::move(source)), feature_(std::move(feature))
    {
    }

    long long fid() const override { return feature_->GetFID(); }

    bool get_string(std::string const& field, std::wstring& out) const override
    {
        int const index = feature_->GetFieldIndex(field.c_str());
        if (index < 0 || !feature_->IsFieldSetAndNotNull(index)) return false;
        out = from_utf8(feature_->GetFieldAsString(index));
        return true;
    }

    std::wstring workspace_path() const override { return from_utf8(source_->path); }

private:
    // Declared first so that the feature goes before the dataset.
    std::shared_ptr<Source> source_;
    OGRFeatureUniquePtr feature_;
};

class GdalFeatureClass final : public IFeatureClass {
public:
    GdalFeatureClass(std::shared_ptr<Source> source, OGRLayer* layer)
        : source_(std::move(source)), layer_(layer), name_(layer->GetName())
    {
    }

    ~GdalFeatureClass() override
    {
        std::lock_guard<std::mutex> lock(source_->mutex);
        release_cursor();
    }

    std::string name() const override { return name_; }

    long long feature_count() const override
    {
        std::lock_guard<std::mutex> lock(source_->mutex);
        return layer_->GetFeatureCount(TRUE);
    }

    std::unique_ptr<IFeature> feature(long long fid) const override
    {
        std::lock_guard<std::mutex> lock(source_->mutex);
        OGRFeatureUniquePtr found(layer_->GetFeature(fid));
        // Drivers without random access find the feature by reading through.
        source_->cursor_owner.erase(layer_);
        return wrap(std::move(found));
    }

    std::unique_ptr<IFeature> next() override
    {
        std::lock_guard<std::mutex> lock(source_->mutex);
        auto& owner = source_->cursor_owner[layer_];
        if (owner != id_) {
            layer_->ResetReading();
            if (read_ > 0 && layer_->SetNextByIndex(read_) != OGRERR_NONE) return nullptr;
            owner = id_;
        }
        OGRFeatureUniquePtr found(layer_->GetNextFeature());
        if (found) ++read_;
        return wrap(std::move(found));
    }

    void reset() override
    {
        std::lock_guard<std::mutex> lock(source_->mutex);
        read_ = 0;
        release_cursor();
    }

    std::vector<std::string> field_names() const override
    {
        std::lock_guard<std::mutex> lock(source_->mutex);
        OGRFeatureDefn const* const definition = layer_->GetLayerDefn();
        std::vector<std::string> names;
        names.reserve(static_cast<std::size_t>(definition->GetFieldCount()));
        for (int i = 0; i < definition->GetFieldCount(); ++i)
            names.emplace_back(definition->GetFieldDefn(i)->GetNameRef());
        return names;
    }

private:
    std::unique_ptr<IFeature> wrap(OGRFeatureUniquePtr feature) const
    {
        if (!feature) return nullptr;
        return std::make_unique<GdalFeature>(source_, std::move(feature));
    }

    // With the source's mutex held.
    void release_cursor()
    {
        auto const it = source_->cursor_owner.find(layer_);
        if (it != source_->cursor_owner.end() && it->second == id_) source_->cursor_owner.erase(it);
    }

    static std::uint64_t new_id()
    {
        static std::atomic<std::uint64_t> last{0};
        return ++last;
    }

    std::shared_ptr<Source> source_;
    OGRLayer* layer_; // owned by the dataset
    std::string name_;
    std::uint64_t const id_ = new_id();
    GIntBig read_ = 0;
};

class GdalWorkspace final : public IWorkspace {
public:
    explicit GdalWorkspace(std::shared_ptr<Source> source) : source_(std::move(source)) {}

    std::wstring path() const override { return from_utf8(source_->path); }

    std::vector<std::string> feature_class_names() const override
    {
        std::lock_guard<std::mutex> lock(source_->mutex);
        std::vector<std::string> names;
        for (OGRLayer* layer : source_->dataset->GetLayers()) names.emplace_back(layer->GetName());
        return names;
    }

    std::unique_ptr<IFeatureClass> open_feature_class(std::string const& name) const override
    {
        std::lock_guard<std::mutex> lock(source_->mutex);
        QuietErrors quiet;
        OGRLayer* const layer = source_->dataset->GetLayerByName(name.c_str());
        if (!layer) return nullptr;
        return std::make_unique<GdalFeatureClass>(source_, layer);
    }

private:
    std::shared_ptr<Source> source_;
};

} // namespace

std::unique_ptr<IWorkspace> open_workspace(std::string const& path, std::string& error)
{
    register_gdal();

    if (path.empty()) {
        error = "No workspace path was given.";
        return nullptr;
    }
    // VSIStat rather than std::filesystem, so that GDAL's virtual files pass.
    VSIStatBufL stat;
    if (VSIStatExL(path.c_str(), &stat, VSI_STAT_EXISTS_FLAG) != 0) {
        error = "'" + path + "': no such file";
        return nullptr;
    }

    QuietErrors quiet;
    // Other drivers would read text files (CSV) and folders of shapefiles as
    // workspaces; the host knows only these two.
    char const* const drivers[] = {"GPKG", "OpenFileGDB", nullptr};
    GDALDataset* const dataset = GDALDataset::FromHandle(
        GDALOpenEx(path.c_str(), GDAL_OF_VECTOR | GDAL_OF_READONLY, drivers, nullptr, nullptr));
    if (!dataset) {
        error = "'" + path + "': not a vector workspace GDAL can open";
        error += last_gdal_error();
        return nullptr;
    }

    auto source = std::make_shared<Source>();
    source->dataset.reset(dataset);
    source->path = path;
    error.clear();
    return std::make_unique<GdalWorkspace>(std::move(source));
}

} // namespace Tolmar::host
