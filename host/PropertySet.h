#pragma once
// A workspace's connection properties: names and values, kept in name
// order. Layers store them as text, which the library carries around and
// never looks inside; the text form round-trips every name and value.

#include "platform/api.h"

#include <map>
#include <string>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

class PropertySet {
public:
    void set(std::string const& name, std::string const& value) { values_[name] = value; }
    // Empty when absent.
    std::string get(std::string const& name) const;
    bool has(std::string const& name) const { return values_.count(name) != 0; }
    std::map<std::string, std::string> const& values() const { return values_; }
    bool operator==(PropertySet const& other) const { return values_ == other.values_; }

    // "NAME=value;NAME=value", with backslash, '=' and ';' in names and
    // values escaped by a backslash.
    std::string to_text() const;
    // False, with the reason, for a text that to_text could not have made.
    static bool from_text(std::string const& text, PropertySet& out, std::string* why = nullptr);

private:
    std::map<std::string, std::string> values_;
};

// The host's names for the two directions, on wide (UTF-8) text: 0 on
// success, 1 for a text that holds no property set.
long connectionProperties2String(PropertySet const& properties, std::wstring& text);
long string2ConnectionProperties(std::wstring const& text, PropertySet& properties);

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
