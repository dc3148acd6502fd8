#pragma once
// Opening the cube a subcommand names.

#include <memory>

#include "cli/commands.h"
#include "segy/Seismic3DTraceReader.h"

namespace tolmar_cli {

// The reader of args' cube; fails with one line when it cannot be opened.
std::unique_ptr<Tolmar::Seismic3DTraceReader> open_cube(CubeArgs const& args);

// The amplitudes below cutLow and above cutHigh percent of the cube's lie
// outside the answer.
void effective_range(CubeArgs const& args, float cutLow, float cutHigh, float& low, float& high);

} // namespace tolmar_cli
