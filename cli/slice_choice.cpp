#include "cli/slice_choice.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <sstream>

namespace tolmar_cli {

void SliceChoice::add_options(CLI::App& cmd)
{
    auto* i = cmd.add_option("--inline", inl, "Inline number");
    auto* c = cmd.add_option("--crossline", crl, "Crossline number");
    auto* t = cmd.add_option("--time", time, "Time (ms) of a time slice");
    i->excludes(c)->excludes(t);
    c->excludes(t);
}

SliceKind SliceChoice::given(CLI::App const& cmd)
{
    if (cmd.count("--inline") + cmd.count("--crossline") + cmd.count("--time") != 1)
        throw CLI::RequiredError("one of --inline, --crossline and --time");
    return cmd.count("--inline") ? SliceKind::Inline : cmd.count("--crossline") ? SliceKind::Crossline : SliceKind::Time;
}

std::string describe_slice(SliceKind kind, double position)
{
    char const* const names[] = {"inline", "crossline", "time"};
    std::ostringstream s;
    s << names[static_cast<int>(kind)] << " " << position;
    return s.str();
}

int line_index(double line, int start, int stop, int step)
{
    double const f = (line - start) / step;
    if (line < start || line > stop || f != std::floor(f)) return -1;
    return static_cast<int>(f);
}

} // namespace tolmar_cli
