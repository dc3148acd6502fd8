#pragma once
// Runs the tolmar tool as a user does and reads what it gives back.

#include <cpl_json.h>

#include <array>
#include <string>
#include <vector>

namespace tolmar_test {

struct ToolRun {
    int status = -1;
    std::string out, err;
};

// Runs `tolmar ARGS` through the shell; standard output and error apart.
ToolRun tolmar(std::string const& args);

// The run's standard output as JSON; a gtest failure unless it exited 0 with valid JSON.
CPLJSONObject json_of(ToolRun const& r);

// The numbers of the array under key.
std::vector<double> numbers(CPLJSONObject const& o, char const* key);

// A raw file of native float32 values.
std::vector<float> read_floats(std::string const& path);

// A PNG decoded as RGBA; empty when it cannot be read.
struct Png {
    int width = 0, height = 0;
    std::vector<unsigned char> rgba;
    std::array<int, 4> at(int x, int y) const
    {
        auto const* p = rgba.data() + (static_cast<std::size_t>(y) * width + x) * 4;
        return {p[0], p[1], p[2], p[3]};
    }
};
Png read_png(std::string const& path);

} // namespace tolmar_test
