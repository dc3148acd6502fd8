// `tolmar histogram`: how a cube's amplitudes are spread, and the range
// that holds all but the tails.

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>

#include "cli/commands.h"
#include "cli/cube_source.h"
#include "cli/png_image.h"

namespace tolmar_cli {

namespace {

constexpr int kPlotBins = 256, kBarWidth = 2, kPlotHeight = 256;

// Bars of the counts (grey on white, each plot bin kBarWidth pixels wide),
// with the effective range's ends as red lines.
RgbaImage plot(HistogramReport const& h)
{
    RgbaImage image(kPlotBins * kBarWidth, kPlotHeight, 255, 255, 255);
    std::vector<unsigned long long> sums(kPlotBins, 0);
    for (std::size_t i = 0; i < h.bins.size(); ++i) sums[i * kPlotBins / h.bins.size()] += h.bins[i];
    unsigned long long const top = std::max<unsigned long long>(1, *std::max_element(sums.begin(), sums.end()));
    for (int b = 0; b < kPlotBins; ++b) {
        auto const bar = static_cast<int>(static_cast<double>(sums[static_cast<std::size_t>(b)]) * kPlotHeight /
                                          static_cast<double>(top) + 0.5);
        for (int y = kPlotHeight - bar; y < kPlotHeight; ++y)
            for (int x = b * kBarWidth; x < (b + 1) * kBarWidth; ++x) std::fill_n(image.at(x, y), 3, 80);
    }
    double const span = h.high - h.low;
    for (float v : {h.effLow, h.effHigh}) {
        if (!(span > 0)) break;
        int const x = std::clamp(static_cast<int>((v - h.low) / span * image.width), 0, image.width - 1);
        for (int y = 0; y < kPlotHeight; ++y) {
            unsigned char* p = image.at(x, y);
            p[0] = 255;
            p[1] = p[2] = 0;
        }
    }
    return image;
}

} // namespace

HistogramReport make_histogram(HistogramRequest const& r)
{
    if (!r.png.empty()) refuse_existing(r.png, r.force);
    if (!(r.cutLow >= 0 && r.cutHigh >= 0 && r.cutLow + r.cutHigh < 100))
        fail(r.cube.path, "the cut percentages must be at least 0 and leave something between them");
    auto cube = open_cube(r.cube);
    HistogramReport h;
    if (!cube->getHistogram(h.low, h.high, h.bins) || h.bins.empty())
        fail(r.cube.path, "holds no amplitude histogram");
    effective_range(r.cube, r.cutLow, r.cutHigh, h.effLow, h.effHigh);
    std::string error;
    if (!r.png.empty() && !write_png(r.png, plot(h), error)) fail(r.png, error);
    return h;
}

namespace {

struct HistogramArgs {
    HistogramRequest request;
    std::pair<float, float> cut{1.0f, 1.0f};
    bool json = false;
};

void run_histogram(HistogramArgs& a)
{
    HistogramRequest& r = a.request;
    r.cutLow = a.cut.first;
    r.cutHigh = a.cut.second;
    HistogramReport const h = make_histogram(r);
    unsigned long long total = 0;
    for (auto n : h.bins) total += n;
    if (a.json) {
        std::cout << JsonObject()
                         .add("file", json_string(r.cube.path))
                         .add("range", json_array({h.low, h.high}))
                         .add("effective", json_array({h.effLow, h.effHigh}))
                         .add("cut", json_array({r.cutLow, r.cutHigh}))
                         .add("bins", static_cast<double>(h.bins.size()))
                         .add("count", static_cast<double>(total))
                         .str()
                  << "\n";
        return;
    }
    std::cout << "Amplitudes " << h.low << ".." << h.high << " (" << total << " samples counted in " << h.bins.size()
              << " bins)\n"
              << "Effective range " << h.effLow << ".." << h.effHigh << " (" << r.cutLow << "% cut below, "
              << r.cutHigh << "% above)\n";
    if (!r.png.empty()) std::cout << "Wrote " << r.png << "\n";
}

} // namespace

void add_histogram_command(CLI::App& app)
{
    auto* cmd = app.add_subcommand("histogram", "Plot the amplitude histogram of a cube and give its effective range");
    static HistogramArgs a;
    a.request.cube.add_options(*cmd);
    cmd->add_option("--png", a.request.png, "PNG plot to write");
    cmd->add_option("--cut", a.cut, "Percent of the amplitudes cut off below and above")->capture_default_str();
    cmd->add_flag("--force", a.request.force, "Overwrite an existing plot");
    cmd->add_flag("--json", a.json, "Print one JSON object");
    cmd->callback([] { run_histogram(a); });
}

} // namespace tolmar_cli
