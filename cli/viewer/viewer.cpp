#include "cli/viewer/viewer.h"

#include <GL/glew.h>
#include <GLFW/glfw3.h>
#include <imgui.h>
#include <backends/imgui_impl_glfw.h>
#include <backends/imgui_impl_opengl2.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <memory>

#include "cli/cli_support.h"
#include "cli/json.h"
#include "cli/line_pick.h"
#include "cli/png_image.h"
#include "cli/viewer/orbit_camera.h"
#include "cli/viewer/script_feed.h"
#include "cli/viewer/view_script.h"
#include "cli/viewer/viewer_panel.h"
#include "foundation/Streamer2DBase.h"
#include "foundation/StreamerManager2D.h"
#include "graphics/gl_start.h"
#include "platform/modifier_state.h"

namespace tolmar_cli {

namespace {

using V3 = Tolmar::vec<double, 3>;
using Verb = ScriptCommand::Verb;

constexpr int kPanelWidth = 340;
constexpr int kStatusHeight = 26;
constexpr double kDegreesPerPixel = 0.4;
// While data stream in, a frame every this many seconds: the brick pool
// takes a round at most every 20 ms.
constexpr double kLoadingFrameSeconds = 0.03;

// Mesa's GLX frees less than it allocates when the display closes, and it
// unloads its driver then, so a leak checker could name no one for it. Under
// one, the display stays open until the process ends; what the viewer made
// it releases all the same.
#if defined(__SANITIZE_ADDRESS__)
#define TOLMAR_LEAK_CHECKED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TOLMAR_LEAK_CHECKED
#endif
#endif

std::string glfw_error;

void remember_glfw_error(int, char const* description) { glfw_error = description ? description : "unknown"; }

// GLFW for the life of the viewer.
struct GlfwSession {
    GlfwSession()
    {
        glfwSetErrorCallback(remember_glfw_error);
        if (!glfwInit()) fail("view", "cannot open a window: " + glfw_error);
    }
    ~GlfwSession()
    {
#ifndef TOLMAR_LEAK_CHECKED
        glfwTerminate();
#endif
    }
    GlfwSession(GlfwSession const&) = delete;
    GlfwSession& operator=(GlfwSession const&) = delete;
};

struct WindowDeleter {
    void operator()(GLFWwindow* w) const { glfwDestroyWindow(w); }
};

std::unique_ptr<GLFWwindow, WindowDeleter> open_window(int width, int height)
{
    // A 4.5 compatibility context where the driver has one; whatever it
    // gives otherwise, and the layers pick their path by its version.
    glfwWindowHint(GLFW_CONTEXT_VERSION_MAJOR, 4);
    glfwWindowHint(GLFW_CONTEXT_VERSION_MINOR, 5);
    glfwWindowHint(GLFW_OPENGL_PROFILE, GLFW_OPENGL_COMPAT_PROFILE);
    GLFWwindow* w = glfwCreateWindow(width, height, "tolmar view", nullptr, nullptr);
    if (!w) {
        glfwDefaultWindowHints();
        w = glfwCreateWindow(width, height, "tolmar view", nullptr, nullptr);
    }
    if (!w) fail("view", "cannot open a window: " + glfw_error);
    return std::unique_ptr<GLFWwindow, WindowDeleter>(w);
}

// GL objects still named after the layers and the panel let theirs go:
// textures, buffers, programs, shaders, framebuffers. Names are handed out
// from 1 up, so the low ones tell.
int gl_objects_left()
{
    int left = 0;
    bool const modern = Tolmar::gl_version_at_least(3, 0);
    for (GLuint name = 1; name <= 4096; ++name) {
        left += glIsTexture(name) ? 1 : 0;
        if (!modern) continue;
        left += (glIsBuffer(name) ? 1 : 0) + (glIsProgram(name) ? 1 : 0) + (glIsShader(name) ? 1 : 0) +
                (glIsFramebuffer(name) ? 1 : 0);
    }
    return left;
}

struct ImGuiSession {
    explicit ImGuiSession(GLFWwindow* window)
    {
        IMGUI_CHECKVERSION();
        ImGui::CreateContext();
        ImGui::GetIO().IniFilename = nullptr; // no settings file left in the working folder
        ImGui::StyleColorsDark();
        ImGui_ImplGlfw_InitForOpenGL(window, true);
        ImGui_ImplOpenGL2_Init();
    }
    ~ImGuiSession()
    {
        ImGui_ImplOpenGL2_Shutdown();
        ImGui_ImplGlfw_Shutdown();
        ImGui::DestroyContext();
    }
    ImGuiSession(ImGuiSession const&) = delete;
    ImGuiSession& operator=(ImGuiSession const&) = delete;
};

double median(std::vector<double> v)
{
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

class Viewer {
public:
    explicit Viewer(ViewerOptions const& o);
    ~Viewer();
    Viewer(Viewer const&) = delete;
    Viewer& operator=(Viewer const&) = delete;
    void run();

private:
    struct Box {
        int x = 0, y = 0, width = 1, height = 1; // GL framebuffer pixels, y from the bottom
    };

    Box scene_box() const;
    void draw_frame();
    void save_screenshot(Box const& box);
    void update_pick();
    // Runs script commands until one needs frames drawn first.
    void advance_script();
    bool script_blocked();
    void execute(ScriptCommand const& c);
    void print_state();
    void frame_all();
    void move_slice(int lines);
    CubeLayer& active_cube();
    // Horizon picking on the first line: started and stopped with D, fed
    // by clicks that do not drag and by the cursor's moves.
    void toggle_digitizing();
    void digitize(int action);
    bool digitizing() const { return !scene_->lines().empty() && scene_->lines().front().layer->interpreter(); }
    void want_frames(int n) { framesWanted_ = std::max(framesWanted_, n); }

    void on_key(int key, int mods);
    void on_button(int button, int action, int mods);
    void on_cursor(double x, double y);
    void on_scroll(double dy);

    ViewerOptions options_;
    double startSeconds_ = now_seconds();
    GlfwSession glfw_;
    std::unique_ptr<GLFWwindow, WindowDeleter> window_;
    std::atomic<bool> woken_{false};
    // Readers post here from their threads; it goes before the window does.
    struct Sink {
        Tolmar::platform::UpdateHandle handle = 0;
        Sink() = default;
        Sink(Sink const&) = delete;
        Sink& operator=(Sink const&) = delete;
        ~Sink() { Tolmar::platform::unregister_update_sink(handle); }
    } wake_;
    std::unique_ptr<ImGuiSession> imgui_;
    std::unique_ptr<Scene> scene_;
    OrbitCamera camera_;
    PanelState panel_;
    ScriptFeed script_;

    int framesWanted_ = 2;
    bool quit_ = false;
    bool loadingAtLastFrame_ = true;
    int quietFrames_ = 0;                // frames in a row drawn with all data there
    double firstCompleteSeconds_ = -1;   // start to the first complete picture
    long framesDrawn_ = 0;
    double lastFrameMs_ = 0;

    // A script command under way.
    std::optional<ScriptCommand> pending_;
    double waitUntil_ = 0;
    int orbitFramesLeft_ = 0;
    double orbitStep_[2] = {0, 0};
    std::vector<double> orbitFrameMs_;
    double lastFrameEnd_ = 0;
    std::string shotPath_;
    bool shotWindow_ = false; // the whole window, panel included, not the 3D view

    // The mouse.
    int dragButton_ = -1;
    bool dragPans_ = false;
    bool dragged_ = false; // the button went down and the cursor moved
    double cursorX_ = -1, cursorY_ = -1;
    std::string pickText_;
};

Viewer::Viewer(ViewerOptions const& o) : options_(o)
{
    int const width = o.width + (o.panel ? kPanelWidth : 0), height = o.height + (o.panel ? kStatusHeight : 0);
    window_ = open_window(width, height);
    glfwSetWindowUserPointer(window_.get(), this);
    glfwMakeContextCurrent(window_.get());
    glfwSwapInterval(1);
    if (!Tolmar::glew_init()) fail("view", "cannot load the GL entry points");
    panel_.renderer = std::string(reinterpret_cast<char const*>(glGetString(GL_RENDERER))) + ", " +
                      reinterpret_cast<char const*>(glGetString(GL_VERSION));

    // Our callbacks first: the panel's backend chains to them.
    glfwSetKeyCallback(window_.get(), [](GLFWwindow* w, int key, int, int action, int mods) {
        if (action != GLFW_RELEASE) static_cast<Viewer*>(glfwGetWindowUserPointer(w))->on_key(key, mods);
    });
    glfwSetMouseButtonCallback(window_.get(), [](GLFWwindow* w, int button, int action, int mods) {
        static_cast<Viewer*>(glfwGetWindowUserPointer(w))->on_button(button, action, mods);
    });
    glfwSetCursorPosCallback(window_.get(), [](GLFWwindow* w, double x, double y) {
        static_cast<Viewer*>(glfwGetWindowUserPointer(w))->on_cursor(x, y);
    });
    glfwSetScrollCallback(window_.get(), [](GLFWwindow* w, double, double dy) {
        static_cast<Viewer*>(glfwGetWindowUserPointer(w))->on_scroll(dy);
    });
    glfwSetWindowRefreshCallback(window_.get(), [](GLFWwindow* w) {
        static_cast<Viewer*>(glfwGetWindowUserPointer(w))->want_frames(1);
    });
    if (o.panel) imgui_ = std::make_unique<ImGuiSession>(window_.get());

    // Readers post from their threads: remember it and wake the loop.
    wake_.handle = Tolmar::platform::register_update_sink([this](char const*, std::uintptr_t, std::intptr_t) {
        woken_ = true;
        glfwPostEmptyEvent();
    });
    // This window is the host, and its draws are short: raster reading
    // goes on between frames rather than two seconds after the last one.
    Tolmar::Streamer2DBase::set_resume_delay(std::chrono::milliseconds(0));
    scene_ = std::make_unique<Scene>(o.scene, wake_.handle);
    double bounds[6];
    scene_->bounds(bounds);
    V3 along0{}, along90{};
    scene_->axes(along0, along90);
    camera_.set_scene(bounds, along0, along90);
    camera_.look_at_scene(o.azimuth, o.elevation);
    glfwSetInputMode(window_.get(), GLFW_LOCK_KEY_MODS, GLFW_TRUE);

    if (!o.script.empty()) script_.open(o.script, [this] {
        woken_ = true;
        glfwPostEmptyEvent();
    });
    if (!o.screenshot.empty()) {
        script_.add("wait");
        script_.add("screenshot " + o.screenshot);
        script_.add("quit");
    }
}

Viewer::~Viewer()
{
    // Every GL object goes while the context is still there.
    glfwMakeContextCurrent(window_.get());
    scene_.reset();
    imgui_.reset();
    if (int const left = gl_objects_left(); left > 0)
        std::cerr << "tolmar: warning: " << left << " GL objects were not released at close\n";
}

Viewer::Box Viewer::scene_box() const
{
    int fw = 0, fh = 0, ww = 0, wh = 0;
    glfwGetFramebufferSize(window_.get(), &fw, &fh);
    glfwGetWindowSize(window_.get(), &ww, &wh);
    double const scale = ww > 0 ? static_cast<double>(fw) / ww : 1;
    int const panel = options_.panel ? static_cast<int>(kPanelWidth * scale) : 0;
    int const status = options_.panel ? static_cast<int>(kStatusHeight * scale) : 0;
    return Box{panel, status, std::max(fw - panel, 1), std::max(fh - status, 1)};
}

void Viewer::run()
{
    while (!quit_ && !glfwWindowShouldClose(window_.get())) {
        advance_script();
        if (quit_) break;
        if (framesWanted_ > 0)
            glfwPollEvents();
        else if (loadingAtLastFrame_ || quietFrames_ < 2)
            glfwWaitEventsTimeout(kLoadingFrameSeconds);
        else
            glfwWaitEvents(); // nothing changes until an event or a reader's post
        if (woken_.exchange(false) || loadingAtLastFrame_ || quietFrames_ < 2) want_frames(1);
        advance_script();
        if (framesWanted_ > 0 && !quit_) {
            --framesWanted_;
            draw_frame();
        }
    }
}

void Viewer::draw_frame()
{
    if (pending_ && pending_->verb == Verb::Orbit && orbitFramesLeft_ > 0) {
        camera_.orbit(orbitStep_[0], orbitStep_[1]);
        --orbitFramesLeft_;
    }
    double const t0 = now_seconds();
    int fw = 0, fh = 0;
    glfwGetFramebufferSize(window_.get(), &fw, &fh);
    glViewport(0, 0, fw, fh);
    glClearColor(0.16f, 0.16f, 0.18f, 1);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    Box const box = scene_box();
    glViewport(box.x, box.y, box.width, box.height);
    glEnable(GL_SCISSOR_TEST);
    glScissor(box.x, box.y, box.width, box.height);
    glClearColor(0.05f, 0.05f, 0.07f, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glDisable(GL_SCISSOR_TEST);
    // Raster reading pauses while the view draws, as in the host.
    auto* rasters = Tolmar::StreamerManager2D::instance_if_running();
    if (rasters) rasters->arcmap_2d_about_to_draw();
    scene_->draw(camera_.camera(), box.width, box.height);
    if (rasters) rasters->arcmap_2d_after_draw();
    bool const loading = scene_->loading();
    quietFrames_ = loading ? 0 : quietFrames_ + 1;
    if (quietFrames_ == 2 && firstCompleteSeconds_ < 0) firstCompleteSeconds_ = now_seconds() - startSeconds_;
    loadingAtLastFrame_ = loading;
    if (!shotPath_.empty() && !shotWindow_) save_screenshot(box);

    if (imgui_) {
        ImGui_ImplOpenGL2_NewFrame();
        ImGui_ImplGlfw_NewFrame();
        ImGui::NewFrame();
        int ww = 0, wh = 0;
        glfwGetWindowSize(window_.get(), &ww, &wh);
        PanelActions const a = draw_panel(*scene_, camera_, panel_, 0, 0, kPanelWidth, static_cast<float>(wh));
        draw_status_bar(pickText_, loading, lastFrameMs_, kPanelWidth, static_cast<float>(wh - kStatusHeight),
                        static_cast<float>(ww - kPanelWidth), kStatusHeight);
        ImGui::Render();
        glViewport(0, 0, fw, fh);
        ImGui_ImplOpenGL2_RenderDrawData(ImGui::GetDrawData());
        if (a.frameAll) frame_all();
        if (a.screenshot) shotPath_ = panel_.screenshotPath;
        // The panel changes what the next frame shows.
        if (a.frameAll || a.screenshot || ImGui::IsAnyItemActive()) want_frames(1);
    }
    if (!shotPath_.empty() && shotWindow_) save_screenshot(Box{0, 0, fw, fh});
    glfwSwapBuffers(window_.get());
    double const end = now_seconds();
    lastFrameMs_ = (end - t0) * 1000;
    if (pending_ && pending_->verb == Verb::Orbit) orbitFrameMs_.push_back((end - lastFrameEnd_) * 1000);
    lastFrameEnd_ = end;
    ++framesDrawn_;
}

void Viewer::save_screenshot(Box const& box)
{
    RgbaImage image(box.width, box.height, 0, 0, 0);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    std::vector<unsigned char> rows(image.rgba.size());
    glReadPixels(box.x, box.y, box.width, box.height, GL_RGBA, GL_UNSIGNED_BYTE, rows.data());
    std::size_t const stride = static_cast<std::size_t>(box.width) * 4;
    for (int y = 0; y < box.height; ++y) {
        auto const* from = rows.data() + static_cast<std::size_t>(box.height - 1 - y) * stride;
        std::copy(from, from + stride, image.rgba.data() + static_cast<std::size_t>(y) * stride);
        for (int x = 0; x < box.width; ++x) image.at(x, y)[3] = 255;
    }
    std::string error;
    std::string const path = shotPath_;
    shotPath_.clear();
    shotWindow_ = false;
    if (!write_png(path, image, error)) {
        if (pending_) fail(script_.source(), "line " + std::to_string(pending_->line) + ": " + error);
        std::cerr << "tolmar: " << path << ": " << error << "\n";
        return;
    }
    if (!pending_) std::cout << "Wrote " << path << " (" << box.width << " x " << box.height << ")" << std::endl;
}

void Viewer::update_pick()
{
    Box const box = scene_box();
    int ww = 0, wh = 0;
    glfwGetWindowSize(window_.get(), &ww, &wh);
    double const scale = ww > 0 ? static_cast<double>(box.width + box.x) / ww : 1;
    double const px = cursorX_ * scale - box.x, py = cursorY_ * scale;
    std::string text;
    if (px >= 0 && py >= 0 && px < box.width && py < box.height) {
        V3 origin{}, direction{};
        pixel_ray(camera_.camera(), box.width, box.height, px, py, origin, direction);
        text = scene_->pick(origin, direction).text;
    }
    if (text != pickText_) {
        pickText_ = text;
        want_frames(1);
    }
}

void Viewer::frame_all()
{
    double bounds[6];
    scene_->bounds(bounds);
    V3 along0{}, along90{};
    scene_->axes(along0, along90);
    camera_.set_scene(bounds, along0, along90);
    camera_.look_at_scene(camera_.azimuth(), camera_.elevation());
    want_frames(1);
}

CubeLayer& Viewer::active_cube()
{
    if (scene_->cubes().empty()) fail(script_.source(), "there is no cube in the view");
    return scene_->cubes()[static_cast<std::size_t>(panel_.activeCube)];
}

void Viewer::toggle_digitizing()
{
    if (scene_->lines().empty()) return;
    LineLayer& line = scene_->lines().front();
    if (line.layer->interpreter()) {
        line.layer->stopDigitizing();
    } else {
        line.layer->startDigitizing();
        if (!options_.horizons.empty()) {
            auto* tool = line.layer->interpreter();
            tool->setFeature(std::make_shared<HorizonFile>(options_.horizons, "TEST",
                                                           snap_mode_name(tool->activeHorizon().mode), line.data));
        }
    }
    want_frames(1);
}

void Viewer::digitize(int action)
{
    Box const box = scene_box();
    int ww = 0, wh = 0;
    glfwGetWindowSize(window_.get(), &ww, &wh);
    double const scale = ww > 0 ? static_cast<double>(box.width + box.x) / ww : 1;
    double const px = cursorX_ * scale - box.x, py = cursorY_ * scale;
    V3 origin{}, direction{};
    pixel_ray(camera_.camera(), box.width, box.height, px, py, origin, direction);
    auto& layer = *scene_->lines().front().layer;
    double distance = -1;
    layer.get_ray_slice_distance(origin, direction, scene_->exaggeration(), &distance, nullptr);
    if (distance >= 0) layer.mouseAction(action);
    want_frames(1);
}

void Viewer::move_slice(int lines)
{
    if (scene_->cubes().empty()) return;
    active_cube().step(panel_.activeDirection, lines);
    want_frames(1);
}

void Viewer::on_key(int key, int mods)
{
    Tolmar::platform::set_caps_lock((mods & GLFW_MOD_CAPS_LOCK) != 0);
    want_frames(2);
    if (imgui_ && ImGui::GetIO().WantCaptureKeyboard) return;
    int const step = (mods & GLFW_MOD_SHIFT) ? 10 : 1;
    switch (key) {
    case GLFW_KEY_UP:
    case GLFW_KEY_RIGHT:
    case GLFW_KEY_PAGE_UP: move_slice(step); break;
    case GLFW_KEY_DOWN:
    case GLFW_KEY_LEFT:
    case GLFW_KEY_PAGE_DOWN: move_slice(-step); break;
    case GLFW_KEY_I: panel_.activeDirection = 0; break;
    case GLFW_KEY_C: panel_.activeDirection = 1; break;
    case GLFW_KEY_T: panel_.activeDirection = 2; break;
    case GLFW_KEY_TAB:
        if (!scene_->cubes().empty())
            panel_.activeCube = (panel_.activeCube + 1) % static_cast<int>(scene_->cubes().size());
        break;
    case GLFW_KEY_F: frame_all(); break;
    case GLFW_KEY_O:
        if (!scene_->cubes().empty()) active_cube().set_outline(!active_cube().outline);
        break;
    case GLFW_KEY_D: toggle_digitizing(); break;
    case GLFW_KEY_S:
        if (mods & GLFW_MOD_CONTROL) shotPath_ = panel_.screenshotPath;
        break;
    case GLFW_KEY_Q:
        if (mods & GLFW_MOD_CONTROL) quit_ = true;
        break;
    case GLFW_KEY_ESCAPE: quit_ = true; break;
    default: break;
    }
}

void Viewer::on_button(int button, int action, int mods)
{
    Tolmar::platform::set_caps_lock((mods & GLFW_MOD_CAPS_LOCK) != 0);
    want_frames(2);
    if (action == GLFW_RELEASE) {
        if (button != dragButton_) return;
        dragButton_ = -1;
        // A click that did not drag adds a pick while digitizing.
        if (button == GLFW_MOUSE_BUTTON_LEFT && !dragged_ && digitizing()) digitize(1);
        return;
    }
    if (imgui_ && ImGui::GetIO().WantCaptureMouse) return;
    dragButton_ = button;
    dragged_ = false;
    dragPans_ = button != GLFW_MOUSE_BUTTON_LEFT || (mods & GLFW_MOD_SHIFT);
}

void Viewer::on_cursor(double x, double y)
{
    double const dx = x - cursorX_, dy = y - cursorY_;
    bool const had = cursorX_ >= 0;
    cursorX_ = x;
    cursorY_ = y;
    if (imgui_) want_frames(1); // the panel's hover
    if (dragButton_ >= 0 && had && (dx != 0 || dy != 0)) {
        dragged_ = true;
        if (dragPans_)
            camera_.pan(dx, dy, scene_box().height);
        else
            camera_.orbit(-dx * kDegreesPerPixel, dy * kDegreesPerPixel);
        want_frames(1);
        return;
    }
    update_pick();
    if (digitizing()) digitize(2);
}

void Viewer::on_scroll(double dy)
{
    if (imgui_ && ImGui::GetIO().WantCaptureMouse) {
        want_frames(2);
        return;
    }
    camera_.zoom(dy);
    want_frames(1);
}

bool Viewer::script_blocked()
{
    if (!pending_) return false;
    switch (pending_->verb) {
    case Verb::Wait:
        if (quietFrames_ >= 2) break;
        if (now_seconds() > waitUntil_) {
            std::cerr << "tolmar: warning: " << script_.source() << ": line " << pending_->line
                      << ": data still loading after " << pending_->numbers.at(0) << " s\n";
            break;
        }
        return true; // the loop draws at the loading pace meanwhile
    case Verb::Screenshot:
    case Verb::WindowScreenshot:
        if (shotPath_.empty()) break;
        want_frames(1);
        return true;
    case Verb::Orbit:
        if (orbitFramesLeft_ <= 0) break;
        want_frames(1);
        return true;
    default: break;
    }
    pending_.reset();
    return false;
}

void Viewer::advance_script()
{
    std::string line;
    int number = 0;
    while (!quit_ && !script_blocked() && script_.next(line, number)) {
        std::optional<ScriptCommand> command;
        std::string error;
        if (!parse_script_line(line, number, command, error)) fail(script_.source(), error);
        if (command) execute(*command);
    }
}

void Viewer::execute(ScriptCommand const& c)
{
    auto const& n = c.numbers;
    auto refuse = [&](std::string const& why) { fail(script_.source(), "line " + std::to_string(c.line) + ": " + why); };
    auto cube = [this]() -> CubeLayer& { return active_cube(); };
    if (c.verb != Verb::Print) want_frames(1);
    switch (c.verb) {
    case Verb::Camera: camera_.look_at_scene(n[0], n[1]); break;
    case Verb::Front: {
        ViewRequest r;
        r.kind = static_cast<SliceKind>(n[0]);
        Tolmar::SeismicCubeRenderer& slice = cube().slice(static_cast<int>(n[0]));
        camera_.set_fixed(frame_camera(r, slice));
        break;
    }
    case Verb::Frame: frame_all(); break;
    case Verb::Orbit: {
        int const frames = n.size() > 2 ? static_cast<int>(n[2]) : 1;
        if (frames < 1 || frames > 100000) refuse("orbit takes 1 to 100000 frames");
        orbitFramesLeft_ = frames;
        orbitStep_[0] = n[0] / frames;
        orbitStep_[1] = n[1] / frames;
        orbitFrameMs_.clear();
        lastFrameEnd_ = now_seconds();
        pending_ = c;
        break;
    }
    case Verb::Zoom: camera_.zoom(n[0]); break;
    case Verb::Cube:
        if (n[0] < 1 || n[0] > static_cast<double>(scene_->cubes().size()) || n[0] != std::floor(n[0]))
            refuse("there is no cube " + json_number(n[0]) + " (1.." + std::to_string(scene_->cubes().size()) + ")");
        panel_.activeCube = static_cast<int>(n[0]) - 1;
        break;
    case Verb::Inline:
    case Verb::Crossline:
    case Verb::Time: {
        int const d = c.verb == Verb::Inline ? 0 : c.verb == Verb::Crossline ? 1 : 2;
        auto const r = cube().range(d);
        if (n[0] < std::min(r[0], r[1]) || n[0] > std::max(r[0], r[1]))
            refuse(json_number(n[0]) + " lies outside " + std::to_string(r[0]) + ".." + std::to_string(r[1]));
        cube().set_position(d, n[0]);
        panel_.activeDirection = d;
        break;
    }
    case Verb::Show: cube().shown[static_cast<std::size_t>(n[0])] = n[1] != 0; break;
    case Verb::ColourTable: cube().set_colour_table(c.text); break;
    case Verb::Range: cube().set_colour_range(static_cast<float>(n[0]), static_cast<float>(n[1])); break;
    case Verb::Outline: cube().set_outline(n[0] != 0); break;
    case Verb::Exaggeration:
        if (!(n[0] > 0)) refuse("the exaggeration must be positive");
        scene_->set_exaggeration(n[0]);
        break;
    case Verb::Wait:
        pending_ = c;
        if (pending_->numbers.empty()) pending_->numbers.push_back(60);
        waitUntil_ = now_seconds() + pending_->numbers[0];
        break;
    case Verb::Screenshot:
    case Verb::WindowScreenshot:
        shotPath_ = c.text;
        shotWindow_ = c.verb == Verb::WindowScreenshot;
        pending_ = c;
        break;
    case Verb::Print: print_state(); break;
    case Verb::Quit: quit_ = true; break;
    }
}

void Viewer::print_state()
{
    static char const* const directions[] = {"inline", "crossline", "time"};
    std::vector<std::string> cubes;
    for (auto& cube : scene_->cubes()) {
        std::vector<std::string> shown;
        for (int d = 0; d < 3; ++d)
            if (cube.shown[d]) shown.push_back(json_string(directions[d]));
        cubes.push_back(JsonObject()
                            .add_text("name", cube.name)
                            .add("inline", cube.position(0))
                            .add("crossline", cube.position(1))
                            .add("time", cube.position(2))
                            .add("shown", json_array(shown))
                            .add("visible", cube.visible ? "true" : "false")
                            .add("range", json_array({cube.low, cube.high}))
                            .add_text("colour_table", cube.colourTable)
                            .add("path", json_string(cube.slice(0).uses_brick_path() ? "bricks" : "tiles"))
                            .str());
    }
    std::vector<std::string> lines;
    for (auto& line : scene_->lines()) {
        auto const* tool = line.layer->interpreter();
        lines.push_back(JsonObject()
                            .add_text("name", line.data.name)
                            .add("digitizing", tool ? "true" : "false")
                            .add("picks", tool ? static_cast<double>(tool->activeHorizon().picks.size()) : 0.0)
                            .add("cursor_trace", line.layer->get_cursor_trace())
                            .add("cursor_sample", line.layer->get_cursor_sample())
                            .str());
    }
    Box const box = scene_box();
    std::cout << JsonObject()
                     .add("azimuth", camera_.azimuth())
                     .add("elevation", camera_.elevation())
                     .add("distance", camera_.distance())
                     .add("front_view", camera_.is_fixed() ? "true" : "false")
                     .add("exaggeration", scene_->exaggeration())
                     .add("cube", panel_.activeCube + 1)
                     .add_text("slice", directions[panel_.activeDirection])
                     .add("cubes", json_array(cubes))
                     .add("lines", json_array(lines))
                     .add("loading", loadingAtLastFrame_ ? "true" : "false")
                     .add_text("pick", pickText_)
                     .add("view", json_array({static_cast<double>(box.width), static_cast<double>(box.height)}))
                     .add("frames", static_cast<double>(framesDrawn_))
                     .add("first_complete_seconds", firstCompleteSeconds_)
                     .add("orbit_frames", static_cast<double>(orbitFrameMs_.size()))
                     .add("orbit_frame_ms_median", median(orbitFrameMs_))
                     .add_text("renderer", panel_.renderer)
                     .add("gpu_memory_mb", scene_->pool_mib())
                     .str()
              << std::endl;
}

} // namespace

void run_viewer(ViewerOptions const& options)
{
    if (options.scene.cubes.empty() && options.scene.lines.empty() && options.scene.terrains.empty())
        fail("view", "give at least one cube, line or terrain");
    // Before a window opens, so that a mistyped name does not flash one.
    for (auto const& files : {options.scene.cubes, options.scene.indexes, options.scene.lines,
                              options.scene.navigations})
        for (auto const& path : files)
            if (!path.empty() && !std::filesystem::is_regular_file(path)) fail(path, "no such file");
    Viewer viewer(options);
    viewer.run();
}

} // namespace tolmar_cli
