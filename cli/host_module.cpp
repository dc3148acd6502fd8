#include "cli/host_module.h"

#include <dlfcn.h>

#include "cli/cli_support.h"

namespace tolmar_cli {

namespace {

using MakeReference = bool (*)(char const*, Tolmar::host::SpatialReferencePtr*, std::string*);
using OpenRaster = bool (*)(char const*, Tolmar::host::RasterDatasetPtr*, std::string*);

// Found where the tool's own libraries are (its run path), and kept loaded
// for the rest of the process.
void* gdal_module()
{
    static void* const handle = dlopen("libTolmarGdal.so." TOLMAR_SOVERSION, RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        char const* why = dlerror();
        fail("libTolmarGdal", std::string("cannot load the GDAL host module: ") + (why ? why : "not found"));
    }
    return handle;
}

// The GDAL layer's entry of this name.
template <typename Function>
Function entry(char const* name)
{
    auto const f = reinterpret_cast<Function>(dlsym(gdal_module(), name));
    if (!f) fail("libTolmarGdal", std::string("has no ") + name);
    return f;
}

} // namespace

Tolmar::host::SpatialReferencePtr spatial_reference_option(std::string const& text, std::string const& option)
{
    if (text.empty()) return nullptr;
    auto const make = entry<MakeReference>("tolmar_spatial_reference_from_text");
    Tolmar::host::SpatialReferencePtr ref;
    std::string why;
    if (!make(text.c_str(), &ref, &why)) fail(option, why);
    return ref;
}

void install_raster_source_opener()
{
    static bool const installed = entry<bool (*)()>("tolmar_install_raster_source_opener")();
    if (!installed) fail("libTolmarGdal", "cannot install its raster opener");
}

Tolmar::host::RasterDatasetPtr open_raster(std::string const& path)
{
    Tolmar::host::RasterDatasetPtr dataset;
    std::string why;
    if (!entry<OpenRaster>("tolmar_open_raster_dataset")(path.c_str(), &dataset, &why)) fail_with_reason(path, why);
    return dataset;
}

std::unique_ptr<Tolmar::host::IWritableRaster> create_raster(Tolmar::host::RasterCreation const& creation)
{
    using Create = bool (*)(Tolmar::host::RasterCreation const*, std::unique_ptr<Tolmar::host::IWritableRaster>*,
                            std::string*);
    std::unique_ptr<Tolmar::host::IWritableRaster> raster;
    std::string why;
    if (!entry<Create>("tolmar_create_raster_dataset")(&creation, &raster, &why))
        fail_with_reason(creation.path, why);
    return raster;
}

void write_vector_layers(std::string const& path, std::vector<Tolmar::host::VectorLayer> const& layers)
{
    using Write = bool (*)(std::string const*, std::vector<Tolmar::host::VectorLayer> const*, std::string*);
    std::string why;
    if (!entry<Write>("tolmar_write_vector_layers")(&path, &layers, &why)) fail(path, why);
}

Tolmar::host::VectorLayer read_vector_layer(std::string const& path, std::string const& name)
{
    using Read = bool (*)(std::string const*, std::string const*, Tolmar::host::VectorLayer*, std::string*);
    Tolmar::host::VectorLayer layer;
    std::string why;
    if (!entry<Read>("tolmar_read_vector_layer")(&path, &name, &layer, &why)) fail(path, why);
    return layer;
}

} // namespace tolmar_cli
