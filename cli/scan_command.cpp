// `tolmar scan`: the survey a SEG-Y file holds, learnt from one pass.

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <iostream>

#include "cli/commands.h"
#include "cli/survey_scan.h"

namespace tolmar_cli {

namespace {

struct ScanArgs {
    ScanRequest request;
    bool json = false;
};

// "a + b * inline - c * crossline", with signs where they belong.
std::string affine(double a, double b, double c)
{
    char text[160];
    std::snprintf(text, sizeof text, "%.3f %c %.6g * inline %c %.6g * crossline", a, b < 0 ? '-' : '+',
                  std::abs(b), c < 0 ? '-' : '+', std::abs(c));
    return text;
}

void run_scan(ScanArgs& a)
{
    Tolmar::SEGYreader3D reader;
    double const seconds = scan_survey(reader, a.request);
    if (a.json) {
        JsonObject out;
        out.add("file", json_string(a.request.path));
        add_scan_json(out, reader, a.request.full);
        out.add("seconds", seconds);
        std::cout << out.str() << "\n";
        return;
    }
    print_scan(std::cout, reader, a.request.full);
    std::cout << "  scanned in " << seconds << " s\n";
}

} // namespace

void print_scan(std::ostream& out, Tolmar::SEGYreader3D const& reader, bool full)
{
    Tolmar::SEGYreader3D::IRange r;
    reader.iRange(r);
    Tolmar::SEGYreader::DRange d;
    reader.dRange(d);
    Tolmar::SEGYreader3D::Trans t;
    reader.trans(t);
    out << "Survey:\n"
        << "  inlines " << r.inlStart << ".." << r.inlStop << " step " << r.inlStep << ", crosslines " << r.crlStart
        << ".." << r.crlStop << " step " << r.crlStep << "\n"
        << "  z " << d.zMin << ".." << d.zMax << " ms step " << d.zStep << "\n";
    if (full) out << "  amplitude " << d.sMin << ".." << d.sMax << "\n";
    out << "  x = " << affine(t.x0, t.xInl, t.xCrl) << "\n"
        << "  y = " << affine(t.y0, t.yInl, t.yCrl) << "\n";
    if (std::isfinite(reader.transformMaxError()))
        out << "  the map misses trace coordinates by at most " << reader.transformMaxError() << " map units\n";
    out
        << "  " << reader.traceIndex().num_traces() << " traces indexed\n";
}

void add_scan_command(CLI::App& app)
{
    auto* cmd = app.add_subcommand("scan", "Learn the survey of a SEG-Y file: ranges, z, amplitudes, coordinates");
    static ScanArgs a;
    cmd->add_option("FILE", a.request.path, "SEG-Y file")->required();
    cmd->add_flag("--full", a.request.full, "Read the samples too, for the amplitude range");
    cmd->add_flag("--json", a.json, "Print one JSON object");
    a.request.add_strict_option(*cmd);
    a.request.add_range_options(*cmd);
    a.request.positions.add_options(*cmd);
    a.request.encoding.add_options(*cmd);
    cmd->callback([] { run_scan(a); });
}

} // namespace tolmar_cli
