#pragma once
// Subcommands of the tolmar tool; each registers itself on the app.

namespace CLI {
class App;
}

namespace tolmar_cli {

void add_demo_command(CLI::App& app);
void add_synth_command(CLI::App& app);

} // namespace tolmar_cli
