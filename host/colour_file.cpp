#include "host/colour_file.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <fstream>

namespace Tolmar::host {

namespace {

// Larger files are not colour files; reading one whole would only cost memory.
constexpr std::size_t kMaxFileBytes = 16u << 20;

std::string lower(std::string s)
{
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

bool named_colour(std::string const& name, Colour& out)
{
    struct Named {
        char const* name;
        unsigned char r, g, b;
    };
    static Named const names[] = {
        {"white", 255, 255, 255}, {"black", 0, 0, 0},       {"red", 255, 0, 0},        {"green", 0, 255, 0},
        {"blue", 0, 0, 255},      {"yellow", 255, 255, 0},  {"magenta", 255, 0, 255},  {"cyan", 0, 255, 255},
        {"aqua", 0, 192, 192},    {"grey", 192, 192, 192},  {"gray", 192, 192, 192},   {"orange", 255, 128, 0},
        {"brown", 192, 128, 64},  {"purple", 192, 0, 255},  {"violet", 192, 0, 255},   {"indigo", 0, 128, 255},
    };
    for (auto const& n : names)
        if (name == n.name) {
            out = Colour{{n.r, n.g, n.b, 255}};
            return true;
        }
    return false;
}

bool parse_number(std::string const& token, double& out)
{
    if (token.empty()) return false;
    char* end = nullptr;
    errno = 0;
    out = std::strtod(token.c_str(), &end);
    return end == token.c_str() + token.size() && errno == 0 && std::isfinite(out);
}

std::vector<std::string> tokens_of(std::string_view line)
{
    std::vector<std::string> tokens;
    std::string current;
    for (char c : line) {
        if (c == ' ' || c == '\t' || c == ',' || c == ':' || c == '\r') {
            if (!current.empty()) tokens.push_back(std::move(current));
            current.clear();
        } else {
            current += c;
        }
    }
    if (!current.empty()) tokens.push_back(std::move(current));
    return tokens;
}

// The entry of one line's tokens; empty `problem` on success.
std::string parse_entry(std::vector<std::string> const& t, ColourFileEntry& entry, bool& nodata)
{
    std::string const value = lower(t[0]);
    nodata = value == "nv";
    if (!nodata) {
        entry.percent = value.back() == '%';
        if (!parse_number(entry.percent ? value.substr(0, value.size() - 1) : value, entry.value))
            return "\"" + t[0] + "\" is not a value, a percentage or nv";
    }
    if (t.size() == 2) {
        if (!named_colour(lower(t[1]), entry.colour)) return "\"" + t[1] + "\" is not a colour name";
        return {};
    }
    if (t.size() != 4 && t.size() != 5) return "a value needs red, green, blue and perhaps alpha after it";
    for (std::size_t k = 1; k < t.size(); ++k) {
        double c = 0;
        if (!parse_number(t[k], c) || c < 0 || c > 255 || c != std::floor(c))
            return "\"" + t[k] + "\" is not a colour component from 0 to 255";
        entry.colour[static_cast<int>(k - 1)] = static_cast<unsigned char>(c);
    }
    if (t.size() == 4) entry.colour[3] = 255;
    return {};
}

} // namespace

bool parse_colour_file(std::string_view text, ColourFile& out, std::string* why)
{
    ColourFile file;
    std::size_t line_no = 0;
    while (!text.empty()) {
        ++line_no;
        std::size_t const end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        line = line.substr(0, line.find('#'));
        auto const t = tokens_of(line);
        if (t.empty()) continue;
        ColourFileEntry entry;
        bool nodata = false;
        std::string problem = t.size() < 2 ? "\"" + t[0] + "\" has no colour" : parse_entry(t, entry, nodata);
        if (problem.empty() && entry.percent && (entry.value < 0 || entry.value > 100))
            problem = "\"" + t[0] + "\" is not a percentage from 0 to 100";
        if (!problem.empty()) {
            if (why) *why = "line " + std::to_string(line_no) + ": " + problem;
            return false;
        }
        if (nodata) {
            file.has_nodata = true;
            file.nodata = entry.colour;
        } else {
            file.entries.push_back(entry);
        }
    }
    if (file.entries.empty()) {
        if (why) *why = "no value has a colour";
        return false;
    }
    out = std::move(file);
    return true;
}

bool read_colour_file(std::string const& path, ColourFile& out, std::string* why)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (why) *why = path + ": cannot be opened";
        return false;
    }
    std::string text;
    text.resize(kMaxFileBytes + 1);
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    if (text.size() > kMaxFileBytes) {
        if (why) *why = path + ": larger than any colour file (16 MiB)";
        return false;
    }
    std::string reason;
    if (parse_colour_file(text, out, &reason)) return true;
    if (why) *why = path + ": " + reason;
    return false;
}

RasterSymbology symbology_from_colour_file(ColourFile const& file, int band, double min, double max)
{
    ClassifiedRenderer classified;
    classified.band = band;
    classified.interpolate = true;
    for (auto const& e : file.entries) {
        double const p = e.value / 100.0;
        double const v = e.percent ? min * (1 - p) + max * p : e.value; // no overflow over any range
        if (std::isfinite(v)) classified.classes.push_back(ColourClass{v, v, e.colour});
    }
    std::stable_sort(classified.classes.begin(), classified.classes.end(),
                     [](ColourClass const& a, ColourClass const& b) { return a.min < b.min; });
    RasterSymbology symbology;
    symbology.renderer = classified;
    if (file.has_nodata) symbology.display.nodata_colour = file.nodata;
    return symbology;
}

} // namespace Tolmar::host
