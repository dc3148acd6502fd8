#pragma once
// What the subcommands share: failing with one line, refusing to overwrite,
// progress bars, SEG-Y header positions and the detection of byte order and
// float kind.

#include <functional>
#include <string>

#include "segy/SEGYreader.h"

namespace CLI {
class App;
}

namespace tolmar_cli {

// Prints "tolmar: FILE: PROBLEM" on standard error and ends the subcommand
// with exit status 1.
[[noreturn]] void fail(std::string const& file, std::string const& problem);

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

// Byte positions (counted from 1) of the header words a 3D survey needs.
// The library keeps no defaults; these are SEG-Y revision 1's.
struct HeaderPositions {
    int inl = 189, crl = 193, x = 181, y = 185, scaler = 71, delay = 109;

    void add_options(CLI::App& cmd);
    // The reader's nine slots: shot point 17, the words above, depth scaler 69, depth 41.
    void fill(Tolmar::SEGYreader::Type* types, int* positions) const;
};

// How a file's samples are coded. Detected unless forced.
struct Encoding {
    std::string byteOrder = "auto"; // auto, big, little
    std::string floatKind = "auto"; // auto, ibm, ieee
    bool littleEndian = false, ibm = true;
    bool asciiText = false;
    int format = 0;

    void add_options(CLI::App& cmd);
    // Reads the text and reel headers of path: the byte order under which the
    // format code is one this library reads, IBM for code 1 and IEEE for 5,
    // the text header's character set. Fails with a line naming the file.
    void detect(std::string const& path);
    void apply(Tolmar::SEGYreader& reader) const;
};

// A name for the sample format code.
std::string format_name(int format, bool ibm);

// Seconds since a point of std::chrono::steady_clock, as a double.
double seconds_since(double start);
double now_seconds();

} // namespace tolmar_cli
