#pragma once
// What the subcommands share: failing with one line, refusing to overwrite,
// progress bars, and the options of SEG-Y header positions, byte order and
// float kind.

#include <functional>
#include <string>

#include "segy/SEGYcoding.h"
#include "segy/SEGYreader.h"

namespace CLI {
class App;
}

namespace tolmar_cli {

// Prints "tolmar: FILE: PROBLEM" on standard error and ends the subcommand
// with exit status 1.
[[noreturn]] void fail(std::string const& file, std::string const& problem);
// The same for a library's reason that may begin with the file's name itself.
[[noreturn]] void fail_with_reason(std::string const& file, std::string const& reason);

// Fails when path exists and force is not set.
void refuse_existing(std::string const& path, bool force);

// A progress bar on standard error, drawn only when that is a terminal (a
// pipe or a log file would fill with bars). Finishes its line when destroyed.
class ProgressBar {
public:
    explicit ProgressBar(std::string label);
    ~ProgressBar();
    ProgressBar(ProgressBar const&) = delete;
    ProgressBar& operator=(ProgressBar const&) = delete;

    void operator()(double fraction);
    // A callable for the library's progress hooks; empty when nothing is drawn.
    std::function<void(double)> callback();

private:
    std::string label_;
    bool shown_ = false;
    int percent_ = -1;
};

// The header positions of SEG-Y revision 1, as options.
struct HeaderPositions : Tolmar::SEGYHeaderPositions {
    void add_options(CLI::App& cmd);
};

// How a file's samples are coded: detected unless forced by the options.
struct Encoding {
    std::string byteOrder = "auto"; // auto, big, little
    std::string floatKind = "auto"; // auto, ibm, ieee
    Tolmar::SEGYCoding coding;

    void add_options(CLI::App& cmd);
    // Fails with a line naming the file when the coding cannot be learnt.
    void detect(std::string const& path);
    void apply(Tolmar::SEGYreader& reader) const { coding.apply(reader); }
};

// Seconds since a point of std::chrono::steady_clock, as a double.
double seconds_since(double start);
double now_seconds();

} // namespace tolmar_cli
