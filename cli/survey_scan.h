#pragma once
// The scan that `tolmar scan`, `import` and `demo` share.

#include <string>
#include <vector>

#include "cli/cli_support.h"
#include "cli/json.h"
#include "segy/SEGYreader3D.h"

namespace tolmar_cli {

struct ScanRequest {
    std::string path;
    HeaderPositions positions;
    Encoding encoding; // detected by scan_survey
    bool full = false; // read the samples too, for the amplitude range
    unsigned storage = 32;
    // The library's letter of the format: no lenient readings (see
    // apply_leniency).
    bool strict = false;
    // Inclusive ranges of the line numbers to take (--inline-range,
    // --crossline-range); empty takes every line.
    std::vector<int> inlineRange, crosslineRange;

    void add_strict_option(CLI::App& cmd);
    void add_range_options(CLI::App& cmd);
};

// The readings beyond the letter of the format that the tool uses unless
// --strict: stale or empty trace header sample counts, scaler words of 0,
// surveys whose traces do not span a plane of map coordinates, and extended
// text headers that the reel header announces.
void apply_leniency(Tolmar::SEGYreader3D& reader, bool strict);

// Scans the whole survey of request.path into reader, with a progress bar on
// a terminal. Fails with one line naming the file; the library's own
// complaints become that line instead of reaching standard output. Says in
// one line on standard error each liberty a lenient reading took. A grid
// absurd for the file's traces (survey_checks.h) fails too, naming the
// trace whose line numbers stretched it and the range that leaves it out.
// Answers the seconds taken.
double scan_survey(Tolmar::SEGYreader3D& reader, ScanRequest& request);

// The scan's findings as rendered JSON members (inline, crossline, z,
// amplitude, transform, transform_max_error, indexed_traces).
void add_scan_json(JsonObject& out, Tolmar::SEGYreader3D const& reader, bool full);

} // namespace tolmar_cli
