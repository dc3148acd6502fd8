#include "cli/json.h"

#include <cmath>
#include <cstdio>

namespace tolmar_cli {

std::string json_number(double v)
{
    if (!std::isfinite(v)) return "null";
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", v);
    return text;
}

std::string json_string(std::string const& s)
{
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\u%04x", c);
            out += esc;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

std::string json_array(std::vector<std::string> const& items)
{
    std::string out = "[";
    for (std::size_t i = 0; i < items.size(); ++i) out += (i ? ", " : "") + items[i];
    return out + "]";
}

std::string json_array(std::initializer_list<double> numbers)
{
    std::vector<std::string> items;
    for (double v : numbers) items.push_back(json_number(v));
    return json_array(items);
}

JsonObject& JsonObject::add(std::string const& key, std::string rendered)
{
    members_.emplace_back(key, std::move(rendered));
    return *this;
}

std::string JsonObject::str() const
{
    std::string out = "{";
    for (std::size_t i = 0; i < members_.size(); ++i)
        out += (i ? ", " : "") + json_string(members_[i].first) + ": " + members_[i].second;
    return out + "}";
}

} // namespace tolmar_cli
