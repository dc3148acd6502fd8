#include "host/colour_ramp.h"

#include <algorithm>
#include <cmath>

#include "foundation/log.h"

namespace Tolmar::host {

namespace {

Colour rgb(int r, int g, int b)
{
    return Colour{{static_cast<unsigned char>(r), static_cast<unsigned char>(g), static_cast<unsigned char>(b), 255}};
}

struct NamedRamp {
    char const* name;
    std::vector<std::pair<double, Colour>> stops;
};

std::vector<NamedRamp> const& ramps()
{
    static std::vector<NamedRamp> const all{
        {"grey", {{0, rgb(0, 0, 0)}, {1, rgb(255, 255, 255)}}},
        {"red-white-black", {{0, rgb(255, 0, 0)}, {0.5, rgb(255, 255, 255)}, {1, rgb(0, 0, 0)}}},
        {"blue-white-red", {{0, rgb(0, 0, 255)}, {0.5, rgb(255, 255, 255)}, {1, rgb(255, 0, 0)}}},
        {"terrain",
         {{0, rgb(0, 97, 71)}, {0.25, rgb(16, 122, 47)}, {0.5, rgb(232, 215, 125)}, {0.75, rgb(161, 67, 0)},
          {1, rgb(255, 255, 255)}}},
        {"viridis",
         {{0, rgb(68, 1, 84)}, {0.25, rgb(59, 82, 139)}, {0.5, rgb(33, 145, 140)}, {0.75, rgb(94, 201, 98)},
          {1, rgb(253, 231, 37)}}},
    };
    return all;
}

unsigned char mix(unsigned char a, unsigned char b, double t)
{
    return static_cast<unsigned char>(std::lround(a + (b - a) * t));
}

} // namespace

std::vector<std::string> colour_ramp_names()
{
    std::vector<std::string> names;
    for (auto const& r : ramps()) names.emplace_back(r.name);
    return names;
}

bool named_colour_ramp(std::string const& name, ColourRamp& out)
{
    for (auto const& r : ramps())
        if (name == r.name) {
            out = ColourRamp{r.name, r.stops};
            return true;
        }
    return false;
}

std::vector<Colour> table_from_ramp(ColourRamp const& ramp, int count)
{
    std::vector<Colour> table;
    if (ramp.stops.empty() || count <= 0) return table;
    table.reserve(static_cast<std::size_t>(count));
    auto const& stops = ramp.stops;
    for (int i = 0; i < count; ++i) {
        double const p = count == 1 ? 0 : static_cast<double>(i) / (count - 1);
        auto after = std::find_if(stops.begin(), stops.end(), [p](auto const& s) { return s.first >= p; });
        if (after == stops.begin() || after == stops.end()) {
            table.push_back(after == stops.end() ? stops.back().second : after->second);
            continue;
        }
        auto const before = std::prev(after);
        double const span = after->first - before->first;
        double const t = span > 0 ? (p - before->first) / span : 1;
        Colour c;
        for (int k = 0; k < 4; ++k) c[k] = mix(before->second[k], after->second[k], t);
        table.push_back(c);
    }
    return table;
}

bool getColorRamp(ColourRamp const& ramp, bool invert, std::vector<Colour>& table)
{
    if (ramp.stops.empty()) {
        Util::logc("Failed to get colorRamp.");
        return false;
    }
    table = table_from_ramp(ramp, 256);
    Util::log(L"color_table_data.size()", static_cast<int>(table.size()));
    if (invert) std::reverse(table.begin(), table.end());
    return true;
}

} // namespace Tolmar::host
