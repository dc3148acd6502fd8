#pragma once
// The viewer's side panel and status bar, drawn with Dear ImGui: the
// layers, their slices, colours and amplitude ranges, the exaggeration,
// and what lies under the cursor.

#include <string>

#include "cli/viewer/orbit_camera.h"
#include "cli/viewer/viewer_scene.h"

namespace tolmar_cli {

struct PanelState {
    int activeCube = 0;
    int activeDirection = 0;
    std::string screenshotPath = "tolmar-view.png";
    std::string renderer;
};

struct PanelActions {
    bool frameAll = false;
    bool screenshot = false;
};

// The panel in the box at (x, y) of this size, in window pixels.
PanelActions draw_panel(Scene& scene, OrbitCamera& camera, PanelState& state, float x, float y, float width,
                        float height);
void draw_status_bar(std::string const& pick, bool loading, double frameMs, float x, float y, float width,
                     float height);

} // namespace tolmar_cli
