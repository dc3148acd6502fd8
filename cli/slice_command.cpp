// `tolmar slice`: one inline, crossline or time slice of a cube, as raw
// floats and as a coloured picture.

#include <CLI/CLI.hpp>

#include <bit>
#include <cmath>
#include <cstring>
#include <sstream>
#include <iostream>

#include "cli/colour_tables.h"
#include "cli/commands.h"
#include "cli/cube_source.h"
#include "cli/png_image.h"
#include "cli/slice_choice.h"
#include "foundation/StreamerIndexedSEGY3DReader.h"
#include "foundation/scale_and_color.h"

namespace tolmar_cli {

namespace {

using Cube = Tolmar::Seismic3DTraceReader;

std::string describe(SliceRequest const& r)
{
    return describe_slice(r.kind, r.position);
}

// The traces of an indexed cube at the given keys, by one batch request:
// much cheaper than a request per sample. Calls put(trace) for each found.
template <class Put>
void read_traces(Cube& cube, std::vector<Tolmar::TraceKey> const& keys, Put put)
{
    std::vector<Tolmar::Trace> traces;
    cube.indexedReader->request_traces(keys);
    cube.indexedReader->get_traces_blocking(keys, traces);
    for (Tolmar::Trace const& t : traces) put(t);
}

// Row-major values of the slice, undefined samples as NaN: an inline is
// crosslines across and samples down, a crossline inlines across, a time
// slice inlines across and crosslines down.
std::vector<float> read_slice(Cube& cube, SliceRequest const& r, int& width, int& height)
{
    int const ni = cube.ninl(), nc = cube.ncrl();
    auto const inlIndex = [&](int inl) { return (inl - cube.inlStart) / cube.inlStep; };
    auto const crlIndex = [&](int crl) { return (crl - cube.crlStart) / cube.crlStep; };
    std::vector<float> got, out;
    std::vector<Tolmar::TraceKey> keys;
    bool const bricks = r.cube.index.empty();
    if (r.kind == SliceKind::Time) {
        if (!(r.position >= cube.zStart && r.position <= cube.zStop))
            fail(r.cube.path, describe(r) + " ms lies outside z " + std::to_string(cube.zStart) + ".." +
                                  std::to_string(cube.zStop));
        width = ni;
        height = nc;
        if (bricks) {
            if (!cube.timeslice(r.position, out)) fail(r.cube.path, "cannot read the " + describe(r) + " slice");
        } else {
            int const k = static_cast<int>((r.position - cube.zStart) / cube.zStep + 0.5);
            std::vector<Tolmar::SampleKey> samples;
            for (int c = 0; c < nc; ++c)
                for (int i = 0; i < ni; ++i) samples.push_back({cube.inlStart + i * cube.inlStep, cube.crlStart + c * cube.crlStep, k});
            std::vector<std::pair<Tolmar::SampleKey, float>> got_;
            cube.indexedReader->request_samples(samples);
            cube.indexedReader->get_samples_blocking(samples, got_);
            out.assign(static_cast<std::size_t>(ni) * nc, NAN);
            for (auto const& [key, v] : got_) out[static_cast<std::size_t>(crlIndex(key.crl)) * ni + inlIndex(key.inl)] = v;
        }
    } else {
        bool const isInline = r.kind == SliceKind::Inline;
        int const start = isInline ? cube.inlStart : cube.crlStart, stop = isInline ? cube.inlStop : cube.crlStop,
                  step = isInline ? cube.inlStep : cube.crlStep;
        if (line_index(r.position, start, stop, step) < 0)
            fail(r.cube.path, "there is no " + describe(r) + " (" + std::to_string(start) + ".." + std::to_string(stop) +
                                  " step " + std::to_string(step) + ")");
        int const line = static_cast<int>(r.position);
        width = isInline ? nc : ni;
        if (bricks) { // samples fastest: turn it so samples run down
            bool const ok = isInline ? cube.inlslice(line, got) : cube.crlslice(line, got);
            if (!ok || got.empty()) fail(r.cube.path, "cannot read " + describe(r));
            height = static_cast<int>(got.size() / static_cast<std::size_t>(width));
            out.resize(got.size());
            for (int x = 0; x < width; ++x)
                for (int k = 0; k < height; ++k)
                    out[static_cast<std::size_t>(k) * width + x] = got[static_cast<std::size_t>(x) * height + k];
        } else {
            height = cube.nt();
            out.assign(static_cast<std::size_t>(width) * height, NAN);
            for (int x = 0; x < width; ++x)
                keys.push_back(isInline ? Tolmar::TraceKey{line, cube.crlStart + x * cube.crlStep}
                                        : Tolmar::TraceKey{cube.inlStart + x * cube.inlStep, line});
            read_traces(cube, keys, [&](Tolmar::Trace const& t) {
                int const x = isInline ? crlIndex(t.crl) : inlIndex(t.inl);
                for (int k = 0; k < height && k < static_cast<int>(t.samples.size()); ++k)
                    out[static_cast<std::size_t>(k) * width + x] = t.samples[static_cast<std::size_t>(k)];
            });
        }
    }
    float const undef = cube.undef();
    for (float& v : out)
        if (v == undef) v = NAN;
    return out;
}

} // namespace

SliceReport extract_slice(SliceRequest const& r)
{
    if (r.png.empty() && r.raw.empty()) fail(r.cube.path, "nothing to write; give --png, --raw or both");
    if (!r.png.empty()) refuse_existing(r.png, r.force);
    if (!r.raw.empty()) refuse_existing(r.raw, r.force);
    auto cube = open_cube(r.cube);

    SliceReport report;
    double const t0 = now_seconds();
    std::vector<float> values = read_slice(*cube, r, report.width, report.height);
    report.seconds = seconds_since(t0);

    std::string error;
    if (!r.raw.empty()) {
        if constexpr (std::endian::native == std::endian::big)
            for (float& v : values) v = std::bit_cast<float>(__builtin_bswap32(std::bit_cast<std::uint32_t>(v)));
        if (!write_file(r.raw, values.data(), values.size() * sizeof(float), error)) fail(r.raw, error);
        if constexpr (std::endian::native == std::endian::big)
            for (float& v : values) v = std::bit_cast<float>(__builtin_bswap32(std::bit_cast<std::uint32_t>(v)));
    }
    if (r.range.size() == 2) {
        report.low = r.range[0];
        report.high = r.range[1];
    } else {
        effective_range(r.cube, 1.0f, 1.0f, report.low, report.high);
    }
    if (!r.png.empty()) {
        std::vector<Tolmar::vec<unsigned char, 4>> colours;
        Tolmar::scale_and_color_amplitudes(Tolmar::vec<float, 2>{{report.low, report.high}}, red_white_black(),
                                           values, colours);
        RgbaImage image(report.width, report.height, 0, 0, 0, 0);
        for (std::size_t i = 0; i < values.size(); ++i)
            if (!std::isnan(values[i])) std::memcpy(image.rgba.data() + 4 * i, &colours[i][0], 4);
        if (!write_png(r.png, image.scaled(r.scale), error)) fail(r.png, error);
    }
    return report;
}

namespace {

struct SliceArgs {
    SliceRequest request;
    SliceChoice choice;
    bool json = false;
};

void run_slice(SliceArgs& a, CLI::App const& cmd)
{
    SliceRequest& r = a.request;
    a.choice.apply(cmd, r);
    SliceReport const s = extract_slice(r);
    if (a.json) {
        std::cout << JsonObject()
                         .add("width", s.width)
                         .add("height", s.height)
                         .add("range", json_array({s.low, s.high}))
                         .add("seconds", s.seconds)
                         .str()
                  << "\n";
        return;
    }
    std::cout << describe(r) << ": " << s.width << " x " << s.height << " amplitudes, colours over " << s.low
              << ".." << s.high << ", read in " << s.seconds << " s\n";
    if (!r.raw.empty()) std::cout << "Wrote " << r.raw << " (" << s.width << " x " << s.height << " float32, little-endian, rows top to bottom)\n";
    if (!r.png.empty()) std::cout << "Wrote " << r.png << " (" << s.width * r.scale << " x " << s.height * r.scale << ")\n";
}

} // namespace

void add_slice_command(CLI::App& app)
{
    auto* cmd = app.add_subcommand("slice", "Write an inline, crossline or time slice of a cube as raw floats and a PNG");
    cmd->footer("Inlines and crosslines have samples running down; time slices have inlines across and crosslines down.");
    static SliceArgs a;
    SliceRequest& r = a.request;
    r.cube.add_options(*cmd);
    a.choice.add_options(*cmd);
    cmd->add_option("--png", r.png, "PNG to write (red, white, black from low to high; undefined transparent)");
    cmd->add_option("--raw", r.raw, "Raw little-endian float32 file to write (undefined samples NaN)");
    static std::pair<float, float> range;
    cmd->add_option("--range", range, "Amplitudes at the colour table's ends (default: the effective range, "
                                        "1% cut at each end)");
    cmd->add_option("--scale", r.scale, "Pixels per sample in the PNG")->capture_default_str()->check(CLI::Range(1, 64));
    cmd->add_flag("--force", r.force, "Overwrite existing outputs");
    cmd->add_flag("--json", a.json, "Print one JSON object");
    cmd->callback([cmd] {
        if (cmd->count("--range")) a.request.range = {range.first, range.second};
        run_slice(a, *cmd);
    });
}

} // namespace tolmar_cli
