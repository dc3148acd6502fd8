#include "cli/survey_scan.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <iostream>
#include <map>
#include <utility>
#include <vector>

#include "cli/json.h"
#include "foundation/survey_checks.h"
#include "platform/last_error.h"
#include "platform/user_output.h"

namespace tolmar_cli {

namespace {

// Takes the lines the readers address to their user while alive: a --json
// consumer must see one object only, and the reason of a failure comes
// through the last error instead.
class QuietReaders {
public:
    QuietReaders() : old_(Tolmar::platform::set_output_sink([](std::string_view) {})) {}
    ~QuietReaders() { Tolmar::platform::set_output_sink(std::move(old_)); }
    QuietReaders(QuietReaders const&) = delete;
    QuietReaders& operator=(QuietReaders const&) = delete;

private:
    Tolmar::platform::OutputSink old_;
};

} // namespace

void ScanRequest::add_strict_option(CLI::App& cmd)
{
    cmd.add_flag("--strict", strict,
                 "Read the file by the letter of the format: trace header sample counts must match the "
                 "reel header's, a scaler word of 0 zeroes the coordinates, and the traces must span a "
                 "plane of map coordinates");
}

void ScanRequest::add_range_options(CLI::App& cmd)
{
    auto const range = [&](char const* name, std::vector<int>& v, char const* what) {
        cmd.add_option(name, v, std::string("Take only ") + what + " FIRST to LAST; traces outside are left out")
            ->expected(2)
            ->type_name("FIRST LAST")
            ->group("Survey extent");
    };
    range("--inline-range", inlineRange, "inlines");
    range("--crossline-range", crosslineRange, "crosslines");
}

void apply_leniency(Tolmar::SEGYreader3D& reader, bool strict)
{
    reader.setTrustReelSampleCount(!strict);
    reader.setZeroScalerAsOne(!strict);
    reader.setFallbackGrid(!strict);
    reader.setSkipExtendedTextHeaders(!strict);
}

namespace {

void note(std::string const& path, std::string const& text)
{
    std::cerr << "tolmar: " << path << ": " << text << "\n";
}

std::string format_number(double v)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", v);
    return text;
}

// One line for each liberty the lenient readings took, and for what the
// file does that the user should know of.
void report_liberties(Tolmar::SEGYreader3D const& reader, ScanRequest const& request)
{
    using R = Tolmar::SEGYreader3D;
    std::string const& path = request.path;
    auto const& c = reader.corrections();
    std::string const ns = std::to_string(reader.nSamples());
    if (c.samplesFromTrace)
        note(path, "the reel header gives " + std::to_string(c.reelSampleCount) + " samples, the first trace header " +
                       ns + ": using " + ns + ", as the file size agrees");
    if (c.overruledTraces > 0)
        note(path, "trace headers give " + std::to_string(c.traceSampleCount) + " samples, the reel header " + ns +
                       ": using " + ns + ", as the file size agrees");
    if (c.zeroScalerTraces > 0)
        note(path, "the coordinate scaler (byte " + std::to_string(request.positions.scaler) + ") is 0 in " +
                       std::to_string(c.zeroScalerTraces) + " trace headers: read as 1, no scaling");
    long long const length = 240LL + static_cast<long long>(reader.nSamples()) * reader.nBytes();
    long long const tail = (reader.fileSize() - reader.firstTraceOffset()) % length;
    if (tail > 0)
        note(path, "the file ends " + std::to_string(tail) + " bytes into its last trace (of " +
                       std::to_string(length) + " bytes); that trace is left out");
    switch (reader.gridKind()) {
    case R::GridFitted: break;
    case R::GridOneInline:
        note(path, "the survey has one inline: its inline axis is taken at right angles to the crosslines, as far "
                   "apart");
        break;
    case R::GridOneCrossline:
        note(path, "the survey has one crossline: its crossline axis is taken at right angles to the inlines, as "
                   "far apart");
        break;
    case R::GridLineNumbers:
        note(path, "the trace coordinates (bytes " + std::to_string(request.positions.x) + " and " +
                       std::to_string(request.positions.y) +
                       ") do not span the survey: map coordinates are one unit per inline and crossline");
        break;
    }
    // A fit through three traces assumes the axes are at right angles; on a
    // sheared survey the grid misses the traces, and the user must see it.
    Tolmar::SEGYreader::DRange d;
    reader.dRange(d);
    double const error = reader.transformMaxError();
    double const spacing = std::min(std::fabs(d.inlSpacing), std::fabs(d.crlSpacing));
    if (std::isfinite(error) && error > 0.25 * spacing && spacing > 0.0)
        note(path, "the affine map misses trace coordinates by up to " + format_number(error) +
                       " map units (line spacing " + format_number(spacing) +
                       "): the inline and crossline axes are not at right angles, or the coordinates are "
                       "coarsely rounded");
}

// The values along one axis of the indexed traces that lie within the
// scanned ranges, each with the header offset of its first trace in file
// order.
struct AxisValues {
    std::map<int, std::pair<long long, long long>> traces; // value -> (count, first offset)
    void add(int v, long long offset)
    {
        auto const it = traces.try_emplace(v, 0, offset).first;
        ++it->second.first;
        it->second.second = std::min(it->second.second, offset);
    }
};

// Where the biggest hole in an axis' values splits the traces: the side with
// fewer traces is the garbage, its outermost value the culprit.
struct Split {
    long long gapLines = 0;
    int culprit = 0, keepFirst = 0, keepLast = 0;
    long long culpritOffset = 0;
};

Split biggest_gap(AxisValues const& axis, int step)
{
    Split best;
    if (axis.traces.size() < 2) return best;
    std::vector<std::pair<int, std::pair<long long, long long>>> const v(axis.traces.begin(), axis.traces.end());
    long long total = 0;
    for (auto const& e : v) total += e.second.first;
    long long below = 0;
    for (std::size_t i = 0; i + 1 < v.size(); ++i) {
        below += v[i].second.first;
        long long const gap = (static_cast<long long>(v[i + 1].first) - v[i].first) / std::max(step, 1);
        if (gap <= best.gapLines) continue;
        best.gapLines = gap;
        bool const lowIsGarbage = below < total - below;
        auto const& culprit = lowIsGarbage ? v.front() : v.back();
        best.culprit = culprit.first;
        best.culpritOffset = culprit.second.second;
        best.keepFirst = lowIsGarbage ? v[i + 1].first : v.front().first;
        best.keepLast = lowIsGarbage ? v.back().first : v[i].first;
    }
    return best;
}

// Fails, naming the trace that stretched it, when the scanned grid is absurd
// for the traces.
void refuse_absurd_grid(Tolmar::SEGYreader3D const& reader, ScanRequest const& request)
{
    Tolmar::SEGYreader3D::IRange r;
    reader.iRange(r);
    if (r.inlStep < 1 || r.crlStep < 1 || r.inlStart > r.inlStop || r.crlStart > r.crlStop) return;
    long long const ni = Tolmar::line_count(r.inlStart, r.inlStop, r.inlStep);
    long long const nc = Tolmar::line_count(r.crlStart, r.crlStop, r.crlStep);
    long long const traces = reader.traceIndex().num_traces();
    if (!Tolmar::grid_absurd(ni * nc, traces)) return;

    AxisValues inlines, crosslines;
    reader.traceIndex().for_each([&](int inl, int crl, long long offset) {
        if (inl < r.inlStart || inl > r.inlStop || crl < r.crlStart || crl > r.crlStop) return;
        inlines.add(inl, offset);
        crosslines.add(crl, offset);
    });
    Split const i = biggest_gap(inlines, r.inlStep), c = biggest_gap(crosslines, r.crlStep);
    bool const alongInlines = i.gapLines >= c.gapLines;
    Split const& s = alongInlines ? i : c;
    // The culprit's other number: from its header in the index.
    int otherNumber = 0;
    reader.traceIndex().for_each([&](int inl, int crl, long long offset) {
        if (offset == s.culpritOffset) otherNumber = alongInlines ? crl : inl;
    });
    long long const traceBytes = 240LL + static_cast<long long>(reader.nSamples()) * reader.nBytes();
    long long const traceNumber = (s.culpritOffset - reader.firstTraceOffset()) / traceBytes + 1;
    std::string const inl = std::to_string(alongInlines ? s.culprit : otherNumber);
    std::string const crl = std::to_string(alongInlines ? otherNumber : s.culprit);
    fail(request.path, "trace " + std::to_string(traceNumber) + " (header at byte " + std::to_string(s.culpritOffset) +
                           ") has inline " + inl + " and crossline " + crl + ", which stretch the grid to " +
                           std::to_string(ni) + " x " + std::to_string(nc) + " cells for " + std::to_string(traces) +
                           " traces; leave such traces out with " +
                           (alongInlines ? "--inline-range " : "--crossline-range ") + std::to_string(s.keepFirst) +
                           " " + std::to_string(s.keepLast));
}

} // namespace

double scan_survey(Tolmar::SEGYreader3D& reader, ScanRequest& request)
{
    request.encoding.detect(request.path);
    request.encoding.apply(reader);
    apply_leniency(reader, request.strict);
    reader.setFile(request.path);
    reader.setStorage(request.storage);
    auto const wanted = [&](std::vector<int> const& v, char const* option) {
        if (v.empty()) return std::pair{-2147483647, 2147483647};
        if (v[0] > v[1]) fail(request.path, std::string(option) + " " + std::to_string(v[0]) + " " +
                                                std::to_string(v[1]) + ": the first line is above the last");
        return std::pair{v[0], v[1]};
    };
    auto const inl = wanted(request.inlineRange, "--inline-range");
    auto const crl = wanted(request.crosslineRange, "--crossline-range");
    reader.setPassOverUnwanted(!request.inlineRange.empty() || !request.crosslineRange.empty());
    reader.setInlRange(inl.first, inl.second, 1);
    reader.setCrlRange(crl.first, crl.second, 1);
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
        QuietReaders quiet;
        Tolmar::platform::clear_last_error_info();
        result = reader.scan(types, positions, false, request.full);
        said = Tolmar::platform::take_last_error_info().value_or("");
        reader.setProgress({});
    }
    if (result != 1 && reader.nSamples() <= 0)
        fail(request.path, "the reel header gives " + std::to_string(reader.nSamples()) + " samples per trace");
    if (result != 1 && reader.nTraces() == 0) fail(request.path, "holds no traces, only its headers");
    switch (result) {
    case 1: break;
    case -1:
        fail(request.path, said.empty() ? "a trace's sample count differs from the reel header's" :
                           said + (request.strict ? "" : " (and the file size does not bear the reel header out)"));
    case -5:
        fail(request.path, "two traces in a row at one inline and crossline: pre-stack gathers are not read; "
                           "otherwise check the header positions");
    default:
        fail(request.path, "no survey found: the headers at the given positions do not span an inline and "
                           "crossline grid (positions inline " + std::to_string(request.positions.inl) +
                               ", crossline " + std::to_string(request.positions.crl) + ")");
    }
    refuse_absurd_grid(reader, request);
    report_liberties(reader, request);
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
        .add("transform_max_error", reader.transformMaxError())
        .add("indexed_traces", static_cast<double>(reader.traceIndex().num_traces()));
}

} // namespace tolmar_cli
