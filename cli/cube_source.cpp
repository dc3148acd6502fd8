#include "cli/cube_source.h"

#include <CLI/CLI.hpp>

#include <filesystem>

#include "segy/cube_histogram.h"

namespace tolmar_cli {

void CubeArgs::add_options(CLI::App& cmd)
{
    cmd.add_option("CUBE", path, "Brick file (.tmf), or SEG-Y file with --index")->required();
    cmd.add_option("--index", index, "Index file of a SEG-Y cube (written by tolmar import)");
}

std::unique_ptr<Tolmar::Seismic3DTraceReader> open_cube(CubeArgs const& args)
{
    std::error_code ec;
    if (!std::filesystem::is_regular_file(args.path, ec)) fail(args.path, "no such file");
    std::unique_ptr<Tolmar::Seismic3DTraceReader> cube;
    if (args.index.empty()) {
        cube = std::make_unique<Tolmar::Seismic3DTraceReader>(args.path);
    } else {
        if (!std::filesystem::is_regular_file(args.index, ec)) fail(args.index, "no such file");
        cube = std::make_unique<Tolmar::Seismic3DTraceReader>(args.path, args.index);
    }
    if (!cube->valid()) {
        // The reader's words follow the file's name: "has a checksum mismatch in the header".
        std::string why = cube->error().empty() ? "cannot be read" : cube->error();
        if (args.index.empty() && why == "is not a brick file") why += " (a SEG-Y file needs --index)";
        if (!args.index.empty() && cube->error_file() == args.index && why == "is not an index file")
            why += " of " + args.path;
        fail(cube->error_file().empty() ? args.path : cube->error_file(), why);
    }
    return cube;
}

void effective_range(CubeArgs const& args, float cutLow, float cutHigh, float& low, float& high)
{
    if (args.index.empty())
        getEffectiveRange(args.path.c_str(), cutLow, cutHigh, &low, &high);
    else
        getEffectiveRangeIndex(args.path.c_str(), args.index.c_str(), cutLow, cutHigh, &low, &high);
}

} // namespace tolmar_cli
