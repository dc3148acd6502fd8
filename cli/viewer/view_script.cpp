#include "cli/viewer/view_script.h"

#include <array>
#include <cmath>
#include <sstream>

namespace tolmar_cli {

namespace {

using Verb = ScriptCommand::Verb;

// What follows a command's name: n a number, d a slice direction, b on or
// off, s the rest of the line; a '?' makes what follows optional.
struct Form {
    char const* name;
    Verb verb;
    char const* args;
};

constexpr std::array<Form, 19> kForms{{
    {"camera", Verb::Camera, "nn"},
    {"front", Verb::Front, "d"},
    {"frame", Verb::Frame, ""},
    {"orbit", Verb::Orbit, "nn?n"},
    {"zoom", Verb::Zoom, "n"},
    {"cube", Verb::Cube, "n"},
    {"inline", Verb::Inline, "n"},
    {"crossline", Verb::Crossline, "n"},
    {"time", Verb::Time, "n"},
    {"show", Verb::Show, "db"},
    {"colour-table", Verb::ColourTable, "s"},
    {"range", Verb::Range, "nn"},
    {"outline", Verb::Outline, "b"},
    {"exaggeration", Verb::Exaggeration, "n"},
    {"wait", Verb::Wait, "?n"},
    {"screenshot", Verb::Screenshot, "s"},
    {"window-screenshot", Verb::WindowScreenshot, "s"},
    {"print", Verb::Print, ""},
    {"quit", Verb::Quit, ""},
}};

bool word_value(char kind, std::string const& word, double& value)
{
    if (kind == 'd') {
        static char const* const names[] = {"inline", "crossline", "time"};
        for (int d = 0; d < 3; ++d)
            if (word == names[d]) value = d;
        return word == "inline" || word == "crossline" || word == "time";
    }
    if (kind == 'b') {
        value = word == "on" ? 1 : 0;
        return word == "on" || word == "off";
    }
    std::size_t used = 0;
    try {
        value = std::stod(word, &used);
    } catch (std::exception const&) {
        return false;
    }
    return used == word.size() && std::isfinite(value);
}

char const* expected(char kind)
{
    switch (kind) {
    case 'd': return "inline, crossline or time";
    case 'b': return "on or off";
    case 's': return "a name or path";
    default: return "a number";
    }
}

} // namespace

bool parse_script_line(std::string const& line, int number, std::optional<ScriptCommand>& out, std::string& error)
{
    out.reset();
    std::string const text = line.substr(0, line.find('#'));
    std::istringstream words(text);
    std::string name;
    if (!(words >> name)) return true;
    auto fail = [&](std::string const& why) {
        error = "line " + std::to_string(number) + ": " + why;
        return false;
    };
    Form const* form = nullptr;
    for (auto const& f : kForms)
        if (name == f.name) form = &f;
    if (!form) return fail("\"" + name + "\" is not a command");
    ScriptCommand c;
    c.verb = form->verb;
    c.line = number;
    bool optional = false;
    for (char const* k = form->args; *k; ++k) {
        if (*k == '?') {
            optional = true;
            continue;
        }
        if (*k == 's') {
            std::getline(words >> std::ws, c.text);
            while (!c.text.empty() && std::isspace(static_cast<unsigned char>(c.text.back()))) c.text.pop_back();
            if (c.text.empty()) return fail(name + " needs " + expected('s'));
            break;
        }
        std::string word;
        if (!(words >> word)) {
            if (optional) break;
            return fail(name + " needs " + expected(*k));
        }
        double value = 0;
        if (!word_value(*k, word, value)) return fail("\"" + word + "\" is not " + expected(*k));
        c.numbers.push_back(value);
    }
    std::string extra;
    if (words >> extra) return fail(name + " does not take \"" + extra + "\"");
    out = std::move(c);
    return true;
}

} // namespace tolmar_cli
