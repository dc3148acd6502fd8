#pragma once
// `tolmar view`: the window that hosts the library's layers on Linux. It
// owns the GL context, hands each layer the camera as a host does, forwards
// the mouse and keyboard, redraws when a reader posts that data arrived, and
// otherwise sleeps.

#include <string>

#include "cli/viewer/viewer_scene.h"

namespace tolmar_cli {

struct ViewerOptions {
    SceneOptions scene;
    int width = 1024, height = 768; // the 3D view, in pixels
    bool panel = true;              // the side panel and the status bar
    double azimuth = 30, elevation = 30;
    std::string script;             // a file, or "-" for standard input
    std::string screenshot;         // wait until loaded, save, quit
    std::string horizons;           // where horizons picked on the first line are written
};

// Runs until the window closes or a script quits; fails with one line.
void run_viewer(ViewerOptions const& options);

} // namespace tolmar_cli
