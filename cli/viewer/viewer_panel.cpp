#include "cli/viewer/viewer_panel.h"

#include <imgui.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tolmar_cli {

namespace {

char const* const kDirections[] = {"Inline", "Crossline", "Time"};

// The amplitude histogram with the colour range's ends drawn over it, and
// the handles that move them right under it.
template <typename Layer>
void range_editor(Layer& cube, std::vector<unsigned long long> const& counts)
{
    float const from = cube.wholeRange[0], to = cube.wholeRange[1];
    if (!counts.empty() && to > from) {
        // Square roots, so that the tails show beside the peak.
        std::vector<float> bars(counts.size());
        std::transform(counts.begin(), counts.end(), bars.begin(),
                       [](unsigned long long n) { return std::sqrt(static_cast<float>(n)); });
        ImGui::PlotHistogram("##histogram", bars.data(), static_cast<int>(bars.size()), 0, nullptr, 0, FLT_MAX,
                             ImVec2(ImGui::GetContentRegionAvail().x, 60));
        ImVec2 const lo = ImGui::GetItemRectMin(), hi = ImGui::GetItemRectMax();
        auto* draw = ImGui::GetWindowDrawList();
        for (float v : {cube.low, cube.high}) {
            float const x = lo.x + (hi.x - lo.x) * std::clamp((v - from) / (to - from), 0.0f, 1.0f);
            draw->AddLine(ImVec2(x, lo.y), ImVec2(x, hi.y), IM_COL32(255, 220, 60, 255), 2);
        }
    }
    float low = cube.low, high = cube.high;
    float const speed = to > from ? (to - from) / 500 : 0.01f;
    ImGui::SetNextItemWidth(ImGui::GetContentRegionAvail().x);
    if (ImGui::DragFloatRange2("##range", &low, &high, speed, from, to, "%.4g", "%.4g"))
        cube.set_colour_range(low, high);
}

void slice_controls(CubeLayer& cube, int index, PanelState& state)
{
    for (int d = 0; d < 3; ++d) {
        ImGui::PushID(d);
        bool shown = cube.shown[d];
        if (ImGui::Checkbox("##shown", &shown)) cube.shown[d] = shown;
        ImGui::SameLine();
        bool const active = state.activeCube == index && state.activeDirection == d;
        if (ImGui::RadioButton(kDirections[d], active)) {
            state.activeCube = index;
            state.activeDirection = d;
        }
        ImGui::SameLine(120);
        auto const r = cube.range(d);
        int line = cube.position(d);
        ImGui::SetNextItemWidth(ImGui::GetContentRegionAvail().x);
        if (ImGui::SliderInt("##line", &line, std::min(r[0], r[1]), std::max(r[0], r[1]))) {
            cube.set_position(d, line);
            state.activeCube = index;
            state.activeDirection = d;
        }
        ImGui::PopID();
    }
}

template <typename Layer>
void colour_table_picker(Layer& cube)
{
    auto const names = colour_table_names();
    std::string const current = cube.colourTable.empty() ? names.front() : cube.colourTable;
    ImGui::SetNextItemWidth(ImGui::GetContentRegionAvail().x);
    if (ImGui::BeginCombo("##colours", current.c_str())) {
        for (auto const& name : names)
            if (ImGui::Selectable(name.c_str(), name == current)) cube.set_colour_table(name);
        ImGui::EndCombo();
    }
}

} // namespace

PanelActions draw_panel(Scene& scene, OrbitCamera& camera, PanelState& state, float x, float y, float width,
                        float height)
{
    PanelActions actions;
    ImGui::SetNextWindowPos(ImVec2(x, y));
    ImGui::SetNextWindowSize(ImVec2(width, height));
    ImGui::Begin("Layers", nullptr,
                 ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoCollapse);
    ImGui::TextWrapped("%s", state.renderer.c_str());
    ImGui::Separator();

    auto& cubes = scene.cubes();
    for (std::size_t i = 0; i < cubes.size(); ++i) {
        CubeLayer& cube = cubes[i];
        ImGui::PushID(static_cast<int>(i));
        bool visible = cube.visible;
        if (ImGui::Checkbox("##visible", &visible)) cube.visible = visible;
        ImGui::SameLine();
        if (ImGui::CollapsingHeader(cube.name.c_str(), ImGuiTreeNodeFlags_DefaultOpen)) {
            slice_controls(cube, static_cast<int>(i), state);
            colour_table_picker(cube);
            range_editor(cube, cube.histogram);
            bool outline = cube.outline;
            if (ImGui::Checkbox("Slice outline", &outline)) cube.set_outline(outline);
        }
        ImGui::PopID();
    }

    auto& lines = scene.lines();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        LineLayer& line = lines[i];
        ImGui::PushID(static_cast<int>(1000 + i));
        ImGui::Checkbox("##visible", &line.visible);
        ImGui::SameLine();
        if (ImGui::CollapsingHeader(line.data.name.c_str(), ImGuiTreeNodeFlags_DefaultOpen)) {
            ImGui::Text("%d traces, %d samples", line.data.traces, line.data.samples);
            colour_table_picker(line);
            range_editor(line, {});
            if (i == 0) {
                auto const* tool = line.layer->interpreter();
                if (tool)
                    ImGui::Text("Picking (D stops): %zu picks", tool->activeHorizon().picks.size());
                else
                    ImGui::TextUnformatted("D: pick a horizon");
            }
        }
        ImGui::PopID();
    }

    auto& terrains = scene.terrains();
    for (std::size_t i = 0; i < terrains.size(); ++i) {
        ImGui::PushID(static_cast<int>(2000 + i));
        ImGui::Checkbox("##visible", &terrains[i].visible);
        ImGui::SameLine();
        ImGui::TextUnformatted(terrains[i].name.c_str());
        ImGui::PopID();
    }

    ImGui::Separator();
    float exaggeration = static_cast<float>(scene.exaggeration());
    float const natural = static_cast<float>(scene.natural_exaggeration());
    ImGui::Text("Exaggeration (view units a ms)");
    ImGui::SetNextItemWidth(ImGui::GetContentRegionAvail().x);
    if (ImGui::SliderFloat("##exaggeration", &exaggeration, natural / 20, natural * 20, "%.4g",
                           ImGuiSliderFlags_Logarithmic))
        scene.set_exaggeration(exaggeration);
    ImGui::Text("Azimuth %.0f, elevation %.0f", camera.azimuth(), camera.elevation());
    if (ImGui::Button("Frame all (F)")) actions.frameAll = true;

    ImGui::Separator();
    char path[512];
    std::snprintf(path, sizeof path, "%s", state.screenshotPath.c_str());
    ImGui::SetNextItemWidth(ImGui::GetContentRegionAvail().x);
    if (ImGui::InputText("##shot", path, sizeof path)) state.screenshotPath = path;
    if (ImGui::Button("Save screenshot (Ctrl+S)")) actions.screenshot = true;
    ImGui::Separator();
    ImGui::TextWrapped("Drag: orbit. Right drag or Shift+drag: pan. Wheel: zoom. I, C, T: the slice to move; "
                       "arrows: one line, with Shift ten. Tab: next cube. Esc or Ctrl+Q: quit.");
    ImGui::End();
    return actions;
}

void draw_status_bar(std::string const& pick, bool loading, double frameMs, float x, float y, float width,
                     float height)
{
    ImGui::SetNextWindowPos(ImVec2(x, y));
    ImGui::SetNextWindowSize(ImVec2(width, height));
    ImGui::Begin("Status", nullptr,
                 ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoSavedSettings);
    ImGui::Text("%s", loading ? "Loading..." : "Complete");
    ImGui::SameLine(100);
    ImGui::Text("%5.1f ms", frameMs);
    ImGui::SameLine(180);
    ImGui::TextUnformatted(pick.c_str());
    ImGui::End();
}

} // namespace tolmar_cli
