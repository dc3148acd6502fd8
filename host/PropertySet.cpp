#include "host/PropertySet.h"

#include "platform/text_encoding.h"

namespace Tolmar::host {

namespace {

void append_escaped(std::string& out, std::string const& s)
{
    for (char c : s) {
        if (c == '\\' || c == '=' || c == ';') out += '\\';
        out += c;
    }
}

} // namespace

std::string PropertySet::get(std::string const& name) const
{
    auto const found = values_.find(name);
    return found == values_.end() ? std::string() : found->second;
}

std::string PropertySet::to_text() const
{
    std::string out;
    for (auto const& [name, value] : values_) {
        if (!out.empty()) out += ';';
        append_escaped(out, name);
        out += '=';
        append_escaped(out, value);
    }
    return out;
}

bool PropertySet::from_text(std::string const& text, PropertySet& out, std::string* why)
{
    auto fail = [why](std::string const& reason) {
        if (why) *why = "connection properties: " + reason;
        return false;
    };
    PropertySet set;
    std::string name, value;
    bool in_value = false;
    auto finish = [&]() {
        if (!in_value) return name.empty() ? true : fail("\"" + name + "\" has no '='");
        if (name.empty()) return fail("a value without a name");
        if (set.has(name)) return fail("\"" + name + "\" given twice");
        set.set(name, value);
        name.clear();
        value.clear();
        in_value = false;
        return true;
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '\\') {
            if (++i == text.size()) return fail("ends in a lone backslash");
            c = text[i];
        } else if (c == ';') {
            if (!in_value && name.empty()) return fail("an empty entry");
            if (!finish()) return false;
            continue;
        } else if (c == '=' && !in_value) {
            in_value = true;
            continue;
        } else if (c == '=') {
            return fail("an unescaped '=' in the value of \"" + name + "\"");
        }
        (in_value ? value : name) += c;
    }
    if (!finish()) return false;
    out = std::move(set);
    return true;
}

long connectionProperties2String(PropertySet const& properties, std::wstring& text)
{
    text = platform::from_utf8(properties.to_text());
    return 0;
}

long string2ConnectionProperties(std::wstring const& text, PropertySet& properties)
{
    return PropertySet::from_text(platform::to_utf8(text), properties) ? 0 : 1;
}

} // namespace Tolmar::host
