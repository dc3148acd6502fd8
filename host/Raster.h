#pragma once
// A raster small enough to draw as one mesh with one texture: a value grid
// or an image that colours the surface, an elevation grid that shapes it,
// and how to draw it.

#include "platform/api.h"

#include "host/GridRGBA.h"
#include "host/GridSingleFloat.h"
#include "host/RasterRenderProperties.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

struct Raster {
    GridSingleFloat drape;
    GridRGBA image;
    GridSingleFloat elevation;
    RasterRenderProperties properties;

    void clear()
    {
        drape.clear();
        image.clear();
        elevation.clear();
        properties = RasterRenderProperties();
    }
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
