// tolmar: the command-line face of TolmarUtil.

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>
#include <new>

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
    tolmar_cli::add_pick_command(app);
    tolmar_cli::add_view_command(app);
    tolmar_cli::add_line_command(app);
    tolmar_cli::add_histogram_command(app);
    tolmar_cli::add_raster_command(app);
    tolmar_cli::add_terrain_command(app);
    tolmar_cli::add_demo_command(app);
    // Commands run inside parse(); whatever they throw ends here as one line.
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& e) {
        return app.exit(e);
    } catch (std::bad_alloc const&) {
        std::cerr << "tolmar: out of memory\n";
        return 1;
    } catch (std::exception const& e) {
        std::cerr << "tolmar: " << e.what() << "\n";
        return 1;
    } catch (...) {
        std::cerr << "tolmar: stopped by an unknown error\n";
        return 1;
    }
    return 0;
}
