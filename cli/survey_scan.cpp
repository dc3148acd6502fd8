#include "cli/survey_scan.h"

#include <iostream>
#include <sstream>

#include "cli/json.h"

namespace tolmar_cli {

namespace {

// Sends standard output into a string while alive: the scan reports its
// problems there, and a --json consumer must see one object only.
class CaptureStdout {
public:
    CaptureStdout() : old_(std::cout.rdbuf(text_.rdbuf())) {}
    ~CaptureStdout() { std::cout.rdbuf(old_); }
    CaptureStdout(CaptureStdout const&) = delete;
    CaptureStdout& operator=(CaptureStdout const&) = delete;

    // The last line written, or fallback.
    std::string last_line(std::string const& fallback) const
    {
        std::istringstream in(text_.str());
        std::string line, last;
        while (std::getline(in, line))
            if (!line.empty()) last = line;
        return last.empty() ? fallback : last;
    }

private:
    std::ostringstream text_;
    std::streambuf* old_;
};

} // namespace

double scan_survey(Tolmar::SEGYreader3D& reader, ScanRequest& request)
{
    request.encoding.detect(request.path);
    request.encoding.apply(reader);
    reader.setFile(request.path);
    reader.setStorage(request.storage);
    reader.setInlRange(-2147483647, 2147483647, 1);
    reader.setCrlRange(-2147483647, 2147483647, 1);
    reader.setZRange(-1e9, 1e9, 1e-6);
    Tolmar::SEGYreader::Type types[Tolmar::SEGYreader::SlotCount];
    int positions[Tolmar::SEGYreader::SlotCount];
    request.positions.fill(types, positions);

    double const t0 = now_seconds();
    int result = 0;
    std::string said;
    {
        ProgressBar bar(request.full ? "scan (full)" : "scan");
        reader.setProgress(bar.callback());
        CaptureStdout capture;
        result = reader.scan(types, positions, false, request.full);
        said = capture.last_line("");
        reader.setProgress({});
    }
    switch (result) {
    case 1: break;
    case -1: fail(request.path, said.empty() ? "a trace's sample count differs from the reel header's" : said);
    case -5: fail(request.path, "two traces in a row at one inline and crossline; check the header positions");
    default:
        fail(request.path, "no survey found: the headers at the given positions do not span an inline and "
                           "crossline grid (positions inline " + std::to_string(request.positions.inl) +
                               ", crossline " + std::to_string(request.positions.crl) + ")");
    }
    return seconds_since(t0);
}

void add_scan_json(JsonObject& out, Tolmar::SEGYreader3D const& reader, bool full)
{
    Tolmar::SEGYreader3D::IRange r;
    reader.iRange(r);
    Tolmar::SEGYreader::DRange d;
    reader.dRange(d);
    Tolmar::SEGYreader3D::Trans t;
    reader.trans(t);
    out.add("inline", json_array({double(r.inlStart), double(r.inlStop), double(r.inlStep)}))
        .add("crossline", json_array({double(r.crlStart), double(r.crlStop), double(r.crlStep)}))
        .add("z", json_array({d.zMin, d.zMax, d.zStep}))
        .add("amplitude", full ? json_array({d.sMin, d.sMax}) : "null")
        .add("transform", JsonObject()
                              .add("x0", t.x0)
                              .add("xInl", t.xInl)
                              .add("xCrl", t.xCrl)
                              .add("y0", t.y0)
                              .add("yInl", t.yInl)
                              .add("yCrl", t.yCrl)
                              .str())
        .add("indexed_traces", static_cast<double>(reader.traceIndex().num_traces()));
}

} // namespace tolmar_cli
