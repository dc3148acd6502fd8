#pragma once
// From a layer's symbology to what the raster renderers take
// (RasterRenderProperties), and the symbology a dataset suggests by itself.

#include "platform/api.h"

#include <string>

#include "host/IRasterDataset.h"
#include "host/RasterRenderProperties.h"
#include "host/raster_symbology.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

// The number of entries of every colour table made here.
inline constexpr int kColourTableSize = 1024;

// Fills `props` from the symbology of a layer on `dataset`: where the data
// lie, the bands, the display adjustments, and a table of 1024 colours over
// the amplitude range. False for a symbology that names no band of the
// dataset or has no colour.
bool extract_raster_renderer_properties(RasterSymbology const& symbology, IRasterDataset& dataset,
                                        RasterRenderProperties& props);

// What a dataset suggests by itself: its first three or four bands as red,
// green, blue (and alpha); a paletted band through its palette; otherwise
// the first band stretched over its statistics through the named ramp
// ("grey" when empty). False, with the reason, for a ramp name not known or
// a band without valid pixels.
bool default_symbology(IRasterDataset& dataset, std::string const& ramp_name, RasterSymbology& out,
                       std::string* why = nullptr);

// The index of the band of that name; 0 when none has it.
long lookup_raster_band(IRasterDataset const& dataset, std::string const& band_name);

} // namespace Tolmar::host

namespace Util {
// The band's minimum and maximum, statistics computed where the dataset has
// none; false, logged, when there are none to be had.
bool getRasterBandMinMax(Tolmar::host::IRasterDataset& dataset, int band, double& min, double& max);
} // namespace Util

TOLMAR_PUBLIC_END
