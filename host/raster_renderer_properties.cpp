#include "host/raster_renderer_properties.h"

#include <cfloat>
#include <algorithm>
#include <cmath>
#include <map>

#include "foundation/log.h"
#include "host/colour_ramp.h"

namespace Tolmar::host {

namespace {


// Entry i is colour int(n * i / 1023) % n: the last entry wraps round to
// the first colour, as the host's layers have always been drawn.
std::vector<Colour> spread(std::vector<Colour> const& colours)
{
    std::vector<Colour> table(static_cast<std::size_t>(kColourTableSize));
    int const n = static_cast<int>(colours.size());
    for (int i = 0; i < kColourTableSize; ++i)
        table[static_cast<std::size_t>(i)] =
            colours[static_cast<std::size_t>(static_cast<int>(n * (i / 1023.0)) % n)];
    return table;
}

// Classes laid on the table over their range; each class fills its entries
// from its minimum to its maximum, a single-value class up to the next
// class (the last one to the table's end).
std::vector<Colour> classes_by_value(std::vector<ColourClass> const& classes, double low, double high)
{
    std::vector<Colour> table(static_cast<std::size_t>(kColourTableSize), Colour{{0, 0, 0, 0}});
    double const span = high - low;
    auto number = [&](double v) {
        double const f = span > 0 ? (v - low) / span : 0; // not finite where the range overflows
        return std::isfinite(f) ? static_cast<long long>(std::clamp(f, 0.0, 1.0) * kColourTableSize) : 0LL;
    };
    for (std::size_t k = 0; k < classes.size(); ++k) {
        auto const& c = classes[k];
        // A single value at the top of the range owns the last entry.
        long long const first = std::min<long long>(number(c.min), kColourTableSize - 1);
        long long last = number(c.max);
        if (c.min == c.max) last = k + 1 < classes.size() ? number(classes[k + 1].min) - 1 : kColourTableSize - 1;
        for (long long i = std::max(first, 0LL); i <= last && i < kColourTableSize; ++i)
            table[static_cast<std::size_t>(i)] = c.colour;
    }
    return table;
}

// Colours interpolated between the classes' centres, each entry at its
// place in the range.
std::vector<Colour> classes_interpolated(std::vector<ColourClass> const& classes, double low, double high)
{
    std::map<double, Colour> centres;
    for (auto const& c : classes) centres.emplace(c.min / 2 + c.max / 2, c.colour);
    centres.emplace(classes.back().max, classes.back().colour);
    centres.emplace(DBL_MAX, classes.back().colour);
    std::vector<Colour> table(static_cast<std::size_t>(kColourTableSize));
    for (int i = 0; i < kColourTableSize; ++i) {
        double const f = i / 1023.0;
        double const at = low * (1 - f) + high * f; // finite over any finite range
        auto after = centres.upper_bound(at);
        if (after == centres.begin() || after == centres.end()) {
            table[static_cast<std::size_t>(i)] = after == centres.end() ? std::prev(after)->second : after->second;
            continue;
        }
        auto const before = std::prev(after);
        double t = (at - before->first) / (after->first - before->first);
        t = std::isfinite(t) ? std::clamp(t, 0.0, 1.0) : 0;
        Colour mixed;
        for (int k = 0; k < 4; ++k)
            mixed[k] = static_cast<unsigned char>(
                std::lround(before->second[k] + (after->second[k] - before->second[k]) * t));
        table[static_cast<std::size_t>(i)] = mixed;
    }
    return table;
}

bool valid_band(IRasterDataset const& dataset, int band)
{
    bool const ok = band >= 0 && band < dataset.band_count();
    if (!ok) Util::logf("extract_raster_renderer_properties: no band %d\n", band);
    return ok;
}

bool from_classes(std::vector<ColourClass> const& classes, bool interpolate, RasterRenderProperties& props)
{
    if (classes.empty()) {
        Util::logc("extract_raster_renderer_properties: class count = 0");
        return false;
    }
    double const low = classes.front().min, high = classes.back().max;
    Util::logf("extract_raster_renderer_properties: range = %f %f\n", low, high);
    props.custom_amplitude_range = vec<double, 2>{{low, high}};
    props.interpolate_colors = interpolate;
    props.color_table = interpolate ? classes_interpolated(classes, low, high) : classes_by_value(classes, low, high);
    return true;
}

struct Fill {
    IRasterDataset& dataset;
    RasterRenderProperties& props;

    bool operator()(StretchRenderer const& r)
    {
        if (!valid_band(dataset, r.band)) return false;
        props.bands = vec<int, 4>{{r.band, -1, -1, -1}};
        if (r.custom_statistics)
            props.custom_amplitude_range = vec<double, 2>{{r.custom_min, r.custom_max}};
        else if (r.stretch_min != r.stretch_max)
            props.custom_amplitude_range = vec<double, 2>{{r.stretch_min, r.stretch_max}};
        std::vector<Colour> colours;
        if (!getColorRamp(r.ramp, r.invert, colours)) return false;
        props.interpolate_colors = true;
        props.color_table = spread(colours);
        return true;
    }
    bool operator()(ClassifiedRenderer const& r)
    {
        if (!valid_band(dataset, r.band)) return false;
        props.bands = vec<int, 4>{{r.band, -1, -1, -1}};
        return from_classes(r.classes, r.interpolate, props);
    }
    bool operator()(UniqueValueRenderer const& r)
    {
        if (!valid_band(dataset, r.band)) return false;
        props.bands = vec<int, 4>{{r.band, -1, -1, -1}};
        std::vector<ColourClass> classes;
        for (auto const& [value, colour] : r.values) classes.push_back(ColourClass{value, value, colour});
        return from_classes(classes, false, props);
    }
    bool operator()(RGBRenderer const& r)
    {
        Util::logf("rgba band indices %d %d %d %d\n", r.bands[0], r.bands[1], r.bands[2], r.bands[3]);
        for (int k = 0; k < 4; ++k) {
            props.bands[k] = r.use[static_cast<std::size_t>(k)] ? r.bands[k] : -1;
            if (props.bands[k] != -1 && !valid_band(dataset, props.bands[k])) return false;
        }
        return true;
    }
};

} // namespace

bool extract_raster_renderer_properties(RasterSymbology const& symbology, IRasterDataset& dataset,
                                        RasterRenderProperties& props)
{
    Util::logc("extract_raster_renderer_properties:");
    props.connection_properties = dataset.connection_properties();
    props.dataset_name = dataset.name();
    props.workspace_type = dataset.workspace_type();
    props.bands = vec<int, 4>{{0, -1, -1, -1}};
    props.custom_amplitude_range = vec<double, 2>{{0, 0}};
    auto const& d = symbology.display;
    props.contrast = d.contrast / 100.0;
    props.brightness = d.brightness / 100.0;
    props.transparency = d.transparency / 100.0;
    props.nodata_color = d.nodata_colour;
    props.color_table.clear();
    props.interpolate_colors = false;
    props.interpolate_drape = false;
    return std::visit(Fill{dataset, props}, symbology.renderer);
}

bool default_symbology(IRasterDataset& dataset, std::string const& ramp_name, RasterSymbology& out,
                       std::string* why)
{
    RasterSymbology s;
    if (dataset.band_count() >= 3) {
        RGBRenderer rgb;
        if (dataset.band_count() >= 4) {
            rgb.bands[3] = 3;
            rgb.use[3] = true;
        }
        s.renderer = rgb;
    } else if (auto const palette = dataset.colour_table(0); !palette.empty()) {
        UniqueValueRenderer unique;
        for (std::size_t i = 0; i < palette.size(); ++i) unique.values.emplace_back(static_cast<double>(i), palette[i]);
        s.renderer = unique;
    } else {
        StretchRenderer stretch;
        std::string const name = ramp_name.empty() ? "grey" : ramp_name;
        if (!named_colour_ramp(name, stretch.ramp)) {
            if (why) *why = "\"" + name + "\" is not a colour ramp";
            return false;
        }
        BandStatistics stats;
        if (!dataset.statistics(0, stats, why)) return false;
        stretch.stretch_min = stats.min;
        stretch.stretch_max = stats.max;
        s.renderer = stretch;
    }
    out = s;
    return true;
}

long lookup_raster_band(IRasterDataset const& dataset, std::string const& band_name)
{
    int const count = dataset.band_count();
    Util::logf("bands %d\n", count);
    for (int i = 0; i < count; ++i)
        if (dataset.band_name(i) == band_name) return i;
    return 0;
}

} // namespace Tolmar::host

namespace Util {

bool getRasterBandMinMax(Tolmar::host::IRasterDataset& dataset, int band, double& min, double& max)
{
    Tolmar::host::BandStatistics stats;
    std::string why;
    if (!dataset.statistics(band, stats, &why)) {
        Util::logf("Failed to compute statistics!\n");
        return false;
    }
    min = stats.min;
    max = stats.max;
    return true;
}

} // namespace Util
