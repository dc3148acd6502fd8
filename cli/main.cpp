// tolmar: the command-line face of TolmarUtil.

#include <CLI/CLI.hpp>

#include <iostream>

#include "cli/commands.h"
#include "platform/debug_stream.h"

int main(int argc, char** argv)
{
    CLI::App app{"tolmar: seismic and geospatial data tool"};
    app.require_subcommand(1);
    app.failure_message(CLI::FailureMessage::help);
    bool log = false;
    app.add_flag("--log", log, "Show the library's diagnostic log on standard error");
    // The library's log is for diagnosing; a user sees only what the tool says.
    app.parse_complete_callback([&log] {
        if (!log) Tolmar::platform::set_debug_sink([](std::string_view) {});
    });
    tolmar_cli::add_synth_command(app);
    tolmar_cli::add_info_command(app);
    tolmar_cli::add_scan_command(app);
    tolmar_cli::add_import_command(app);
    tolmar_cli::add_slice_command(app);
    tolmar_cli::add_render_command(app);
    tolmar_cli::add_histogram_command(app);
    tolmar_cli::add_demo_command(app);
    CLI11_PARSE(app, argc, argv);
    return 0;
}
