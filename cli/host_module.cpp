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

template <class Function>
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

Tolmar::host::RasterDatasetPtr open_raster(std::string const& path)
{
    Tolmar::host::RasterDatasetPtr dataset;
    std::string why;
    if (!entry<OpenRaster>("tolmar_open_raster_dataset")(path.c_str(), &dataset, &why)) fail_with_reason(path, why);
    return dataset;
}

} // namespace tolmar_cli
