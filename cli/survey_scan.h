#pragma once
// The scan that `tolmar scan`, `import` and `demo` share.

#include <string>

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
};

// Scans the whole survey of request.path into reader, with a progress bar on
// a terminal. Fails with one line naming the file; the library's own
// complaints become that line instead of reaching standard output.
// Answers the seconds taken.
double scan_survey(Tolmar::SEGYreader3D& reader, ScanRequest& request);

// The scan's findings as rendered JSON members (inline, crossline, z,
// amplitude, transform, indexed_traces).
void add_scan_json(JsonObject& out, Tolmar::SEGYreader3D const& reader, bool full);

} // namespace tolmar_cli
