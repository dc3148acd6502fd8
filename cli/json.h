#pragma once
// Just enough JSON for --json output: one object, written in one go.

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace tolmar_cli {

// Renders a value; NaN and infinities become null, which JSON lacks numbers for.
std::string json_number(double v);
std::string json_string(std::string const& s);
std::string json_array(std::vector<std::string> const& items);
std::string json_array(std::initializer_list<double> numbers);

// Members in insertion order; values are already rendered.
class JsonObject {
public:
    JsonObject& add(std::string const& key, std::string rendered);
    JsonObject& add(std::string const& key, double number) { return add(key, json_number(number)); }
    JsonObject& add_text(std::string const& key, std::string const& text) { return add(key, json_string(text)); }
    std::string str() const;

private:
    std::vector<std::pair<std::string, std::string>> members_;
};

} // namespace tolmar_cli
