#pragma once
// The --inline / --crossline / --time choice that `slice` and `render` share.

#include <string>

namespace CLI {
class App;
}

namespace tolmar_cli {

// What a slice cuts along: the direction codes 0, 1 and 2 of the library.
enum class SliceKind { Inline = 0, Crossline = 1, Time = 2 };

struct SliceChoice {
    int inl = 0, crl = 0;
    double time = 0;

    // Registers the three options, each excluding the others.
    void add_options(CLI::App& cmd);
    // Sets the request's kind (inline, crossline, time in that order) and
    // position from the option given; a usage error unless exactly one was.
    template <class Request>
    void apply(CLI::App const& cmd, Request& r) const
    {
        r.kind = given(cmd);
        r.position = r.kind == SliceKind::Inline ? inl : r.kind == SliceKind::Crossline ? crl : time;
    }

private:
    static SliceKind given(CLI::App const& cmd);
};

// "inline 1005", "time 120".
std::string describe_slice(SliceKind kind, double position);

// The line's index in start..stop by step, or -1 when the range lacks it.
int line_index(double line, int start, int stop, int step);

} // namespace tolmar_cli
