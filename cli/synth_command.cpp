// `tolmar synth`: writes a synthetic 3D survey, for trying the library and
// other tools on data that looks like seismic.

#include <CLI/CLI.hpp>

#include <filesystem>
#include <iostream>

#include "cli/cli_support.h"
#include "cli/commands.h"
#include "cli/synthetic_survey.h"

namespace tolmar_cli {

namespace {

struct SynthArgs {
    SynthOptions options;
    std::string path, byteOrder = "big", sort = "inline";
    bool force = false;
};

void run_synth(SynthArgs& a)
{
    SynthOptions& o = a.options;
    o.littleEndian = a.byteOrder == "little";
    o.crosslineSorted = a.sort == "crossline";
    refuse_existing(a.path, a.force);
    std::string error;
    {
        ProgressBar bar("synth");
        if (!write_synthetic_survey(a.path, o, error, bar.callback())) fail(a.path, error);
    }
    std::error_code ec;
    std::cout << "Wrote " << a.path << ": " << o.inlines << " inlines x " << o.crosslines << " crosslines x "
              << o.samples << " samples, " << o.format << ", " << a.byteOrder << "-endian, " << a.sort
              << "-sorted (" << synthetic_trace_count(o) << " traces, " << std::filesystem::file_size(a.path, ec)
              << " bytes)\n";
}

} // namespace

void add_synth_command(CLI::App& app)
{
    auto* cmd = app.add_subcommand("synth", "Write a synthetic 3D survey that looks like seismic");
    static SynthArgs a;
    SynthOptions& o = a.options;
    cmd->add_option("OUT", a.path, "SEG-Y file to write")->required();
    cmd->add_option("--inlines", o.inlines, "Number of inlines")->capture_default_str()->check(CLI::PositiveNumber);
    cmd->add_option("--crosslines", o.crosslines, "Number of crosslines")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    cmd->add_option("--samples", o.samples, "Samples per trace")->capture_default_str()->check(CLI::Range(1, 32767));
    cmd->add_option("--interval-us", o.intervalUs, "Sample interval in microseconds")
        ->capture_default_str()
        ->check(CLI::Range(1, 65535));
    cmd->add_option("--format", o.format, "Sample format")
        ->capture_default_str()
        ->check(CLI::IsMember({"ibm", "ieee", "int32", "int16", "int8"}));
    cmd->add_option("--byte-order", a.byteOrder, "Byte order")->capture_default_str()->check(CLI::IsMember({"big", "little"}));
    cmd->add_option("--sort", a.sort, "Trace order")->capture_default_str()->check(CLI::IsMember({"inline", "crossline"}));
    cmd->add_flag("--irregular", o.irregular, "Leave out a corner and a hole of traces");
    cmd->add_option("--scaler", o.scaler, "Coordinate scaler (negative divides)")
        ->capture_default_str()
        ->check(CLI::Range(-32768, 32767));
    cmd->add_option("--seed", o.seed, "Seed of the noise and the layering")->capture_default_str();
    cmd->add_flag("--force", a.force, "Overwrite an existing file");
    cmd->callback([] { run_synth(a); });
}

} // namespace tolmar_cli
