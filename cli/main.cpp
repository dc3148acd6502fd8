// tolmar: the command-line face of TolmarUtil.

#include <CLI/CLI.hpp>

#include "cli/commands.h"

int main(int argc, char** argv)
{
    CLI::App app{"tolmar: seismic and geospatial data tool"};
    app.require_subcommand(1);
    tolmar_cli::add_demo_command(app);
    CLI11_PARSE(app, argc, argv);
    return 0;
}
