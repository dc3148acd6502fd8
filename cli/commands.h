#pragma once
// Subcommands of the tolmar tool; each registers itself on the app. The
// import, slice and histogram steps are also callable, for `tolmar demo`.

#include <iosfwd>
#include <string>
#include <vector>

#include "cli/slice_choice.h"
#include "cli/survey_scan.h"

namespace CLI {
class App;
}

namespace tolmar_cli {

void add_demo_command(CLI::App& app);
void add_synth_command(CLI::App& app);
void add_info_command(CLI::App& app);
void add_scan_command(CLI::App& app);
void add_import_command(CLI::App& app);
void add_slice_command(CLI::App& app);
void add_render_command(CLI::App& app);
void add_pick_command(CLI::App& app);
void add_view_command(CLI::App& app);
void add_line_command(CLI::App& app);
void add_histogram_command(CLI::App& app);
void add_raster_command(CLI::App& app);
void add_terrain_command(CLI::App& app);

// The text listing of a scanned survey.
void print_scan(std::ostream& out, Tolmar::SEGYreader3D const& reader, bool full);

struct ImportRequest {
    ScanRequest scan;
    std::string index;            // index file to write, or empty
    std::string bricksDir, name;  // brick file bricksDir/name.tmf, or empty
    bool force = false;
};

struct ImportReport {
    std::string brickFile;
    double scanSeconds = 0, indexSeconds = 0, brickSeconds = 0;
};

// Scans (full) and writes what the request names; fails with one line.
ImportReport import_survey(Tolmar::SEGYreader3D& reader, ImportRequest& request);

// A cube on the command line: a brick file, or a SEG-Y file with its index.
struct CubeArgs {
    std::string path, index;
    void add_options(CLI::App& cmd);
};

struct SliceRequest {
    CubeArgs cube;
    SliceKind kind = SliceKind::Inline;
    double position = 0; // line number, or z in ms
    std::string png, raw;
    std::vector<float> range; // empty: the effective range
    int scale = 1;
    bool force = false;
};

// What a slice became: width x height amplitudes, row 0 at the top.
struct SliceReport {
    int width = 0, height = 0;
    float low = 0, high = 0; // the colour range
    double seconds = 0;      // reading the slice
};

SliceReport extract_slice(SliceRequest const& request);

struct HistogramRequest {
    CubeArgs cube;
    std::string png;
    float cutLow = 1, cutHigh = 1; // percent
    bool force = false;
};

struct HistogramReport {
    float low = 0, high = 0;         // the amplitude range
    float effLow = 0, effHigh = 0;   // after the cut
    std::vector<unsigned long long> bins;
};

HistogramReport make_histogram(HistogramRequest const& request);

} // namespace tolmar_cli
