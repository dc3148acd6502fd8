// `tolmar view` in a real window: these tests run under an X server (Xvfb
// in CI) with Mesa, drive the viewer through its script on standard input
// and through real input events sent to the server with xdotool, and read
// its screenshots and its printed state.

#include <gtest/gtest.h>

#include <cpl_json.h>
#include <gdal_priv.h>
#include <ogrsf_frmts.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <functional>
#include <string>
#include <thread>
#include <tuple>

#include "raster_test_files.h"
#include "segy_test_util.h"
#include "tool_run.h"

namespace {

using tolmar_test::ScratchDir;
using tolmar_test::tolmar;

// A viewer started with its script on a pipe; its printed state read back
// one JSON line a `print`.
class ViewerProcess {
public:
    ViewerProcess(std::string const& args, std::string const& errFile)
    {
        int in[2], out[2];
        if (pipe(in) != 0 || pipe(out) != 0) return;
        pid_ = fork();
        if (pid_ == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            int const err = open(errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(err, STDERR_FILENO);
            for (int fd : {in[0], in[1], out[0], out[1], err}) close(fd);
            std::string const command = std::string(TOLMAR_TOOL) + " view --script - " + args;
            execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        toViewer_ = fdopen(in[1], "w");
        fromViewer_ = fdopen(out[0], "r");
    }
    ~ViewerProcess()
    {
        if (toViewer_) std::fclose(toViewer_);
        if (fromViewer_) std::fclose(fromViewer_);
        if (pid_ > 0 && status_ < 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    ViewerProcess(ViewerProcess const&) = delete;
    ViewerProcess& operator=(ViewerProcess const&) = delete;

    void send(std::string const& line)
    {
        std::fputs((line + "\n").c_str(), toViewer_);
        std::fflush(toViewer_);
    }
    CPLJSONObject state()
    {
        send("print");
        char line[16384];
        CPLJSONDocument doc;
        if (!std::fgets(line, sizeof line, fromViewer_) || !doc.LoadMemory(std::string(line))) {
            ADD_FAILURE() << "the viewer printed no state";
            return {};
        }
        return doc.GetRoot();
    }
    // Asks for the state until `done` holds or two seconds pass: input sent
    // through the X server arrives at its own pace.
    CPLJSONObject state_when(std::function<bool(CPLJSONObject const&)> const& done)
    {
        CPLJSONObject s;
        for (int i = 0; i < 40; ++i) {
            s = state();
            if (done(s)) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return s;
    }
    int quit()
    {
        send("quit");
        int w = 0;
        waitpid(pid_, &w, 0);
        status_ = WIFEXITED(w) ? WEXITSTATUS(w) : 128 + WTERMSIG(w);
        return status_;
    }
    pid_t pid() const { return pid_; }
    // The window, found by the process that owns it.
    std::string window()
    {
        std::string const command = "xdotool search --sync --onlyvisible --pid " + std::to_string(pid_);
        std::FILE* p = popen(command.c_str(), "r");
        char id[64] = {};
        if (!std::fgets(id, sizeof id, p)) id[0] = 0;
        pclose(p);
        std::string s(id);
        while (!s.empty() && (s.back() == '\n' || s.back() == ' ')) s.pop_back();
        return s;
    }
    // Seconds of processor time the viewer has used.
    double cpu_seconds() const
    {
        std::ifstream in("/proc/" + std::to_string(pid_) + "/stat");
        std::string stat((std::istreambuf_iterator<char>(in)), {});
        std::istringstream fields(stat.substr(stat.rfind(')') + 2));
        std::string f;
        double ticks = 0;
        for (int i = 3; fields >> f && i <= 15; ++i)
            if (i == 14 || i == 15) ticks += std::stod(f);
        return ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
    }

private:
    pid_t pid_ = -1;
    int status_ = -1;
    std::FILE* toViewer_ = nullptr;
    std::FILE* fromViewer_ = nullptr;
};

void xdotool(std::string const& args) { ASSERT_EQ(std::system(("xdotool " + args).c_str()), 0) << args; }

std::string read_text(std::string const& path)
{
    std::ifstream in(path);
    return std::string((std::istreambuf_iterator<char>(in)), {});
}

// A survey of 40 inlines (1000..1039), 30 crosslines (2000..2058 step 2) and
// 120 samples of 4 ms, as a brick file and as an indexed SEG-Y file.
class Viewer : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        GDALAllRegister();
        dir = new ScratchDir;
        std::string const segy = dir->path("s.sgy");
        ASSERT_EQ(tolmar("synth --inlines 40 --crosslines 30 --samples 120 --format ieee " + segy).status, 0);
        ASSERT_EQ(tolmar("import " + segy + " --index " + dir->path("s.idx") + " --bricks " + dir->dir() +
                         " --name cube")
                      .status,
                  0);
    }
    static void TearDownTestSuite() { delete dir; }

    static std::string cube() { return dir->path("cube.tmf"); }
    std::string err() const { return dir->path("viewer.err"); }
    // Nothing but what a clean run says on standard error.
    void expect_clean_close(ViewerProcess& v)
    {
        EXPECT_EQ(v.quit(), 0);
        EXPECT_EQ(read_text(err()), "");
    }

    static ScratchDir* dir;
};

ScratchDir* Viewer::dir = nullptr;

// Share of the render's opaque pixels that the screenshot matches within a
// few levels in every channel; the rest are edges the filters place a
// pixel apart.
double matching_share(tolmar_test::Png const& shot, tolmar_test::Png const& render)
{
    long opaque = 0, same = 0;
    for (int y = 0; y < render.height; ++y)
        for (int x = 0; x < render.width; ++x) {
            auto const r = render.at(x, y);
            if (r[3] != 255) continue;
            auto const s = shot.at(x, y);
            ++opaque;
            same += std::abs(r[0] - s[0]) <= 8 && std::abs(r[1] - s[1]) <= 8 && std::abs(r[2] - s[2]) <= 8;
        }
    return opaque ? static_cast<double>(same) / opaque : 0;
}

TEST_F(Viewer, FrontViewMatchesTheToolsRenderOnBothPaths)
{
    std::string const bricks = cube(), segy = dir->path("s.sgy") + " --index " + dir->path("s.idx");
    for (auto const& [files, slice] : {std::pair{bricks, std::string("inline 1017")},
                                       std::pair{segy, std::string("crossline 2030")},
                                       std::pair{bricks, std::string("time 200")}}) {
        SCOPED_TRACE(files + " " + slice);
        std::string const direction = slice.substr(0, slice.find(' '));
        std::string const script = dir->path("front.txt"), shot = dir->path("shot.png"), png = dir->path("r.png");
        std::ofstream(script) << "front " << direction << "\n"
                              << slice << "\n"
                              << "# the other two slices stand edge-on to the view\n"
                              << "show inline off\nshow crossline off\nshow time off\nshow " << direction
                              << " on\nwait\nscreenshot " << shot << "\nquit\n";
        auto const v = tolmar("view " + files + " --size 240 180 --no-panel --script " + script);
        ASSERT_EQ(v.status, 0) << v.err;
        EXPECT_EQ(v.err, "");
        std::string const option = "--" + slice;
        ASSERT_EQ(tolmar("render " + files + " " + option + " --size 240 180 --force --png " + png).status, 0);
        tolmar_test::Png const a = tolmar_test::read_png(shot), b = tolmar_test::read_png(png);
        ASSERT_EQ(a.width, 240);
        ASSERT_EQ(a.height, 180);
        EXPECT_GT(matching_share(a, b), 0.97);
    }
}

TEST_F(Viewer, KeysMoveTheSliceAndTheMouseOrbitsAndPicks)
{
    ViewerProcess v(cube() + " --size 320 240 --no-panel", err());
    v.send("wait");
    auto s = v.state();
    ASSERT_EQ(s.GetString("slice"), "inline");
    int const first = s.GetArray("cubes")[0].GetInteger("inline");
    std::string const window = v.window();
    ASSERT_FALSE(window.empty());

    // One line a press, ten with Shift; T chooses the time slice, which
    // moves a sample (4 ms) a press.
    xdotool("key --window " + window + " Up Up Up");
    s = v.state_when([&](CPLJSONObject const& o) { return o.GetArray("cubes")[0].GetInteger("inline") == first + 3; });
    EXPECT_EQ(s.GetArray("cubes")[0].GetInteger("inline"), first + 3);
    xdotool("key --window " + window + " shift+Up");
    s = v.state_when([&](CPLJSONObject const& o) { return o.GetArray("cubes")[0].GetInteger("inline") == first + 13; });
    EXPECT_EQ(s.GetArray("cubes")[0].GetInteger("inline"), first + 13);
    int const time = s.GetArray("cubes")[0].GetInteger("time");
    xdotool("key --window " + window + " t Down");
    s = v.state_when([&](CPLJSONObject const& o) { return o.GetArray("cubes")[0].GetInteger("time") == time - 4; });
    EXPECT_EQ(s.GetString("slice"), "time");
    EXPECT_EQ(s.GetArray("cubes")[0].GetInteger("time"), time - 4);

    // A drag of 50 pixels to the right turns the camera by 20 degrees; the
    // wheel brings it closer.
    double const azimuth = s.GetDouble("azimuth"), distance = s.GetDouble("distance");
    xdotool("mousemove --window " + window + " 100 100 mousedown 1 mousemove --window " + window +
            " 150 100 mouseup 1");
    s = v.state_when([&](CPLJSONObject const& o) { return o.GetDouble("azimuth") != azimuth; });
    EXPECT_NEAR(s.GetDouble("azimuth"), azimuth - 20, 1e-6);
    EXPECT_NEAR(s.GetDouble("elevation"), 30, 1e-6);
    xdotool("click --window " + window + " 4");
    s = v.state_when([&](CPLJSONObject const& o) { return o.GetDouble("distance") != distance; });
    EXPECT_NEAR(s.GetDouble("distance"), distance * 0.85, distance * 1e-6);
    expect_clean_close(v);
}

TEST_F(Viewer, PickTextUnderTheCursorNamesTheCell)
{
    // The front view of inline 1017 fills the view as `tolmar pick` frames it.
    ViewerProcess v(cube() + " --size 300 240 --no-panel", err());
    for (char const* line : {"front inline", "inline 1017", "show crossline off", "show time off", "wait"})
        v.send(line);
    v.state();
    std::string const window = v.window();
    ASSERT_FALSE(window.empty());
    for (auto const& [x, y] : {std::pair{40, 30}, std::pair{211, 170}}) {
        auto const expected = tolmar_test::json_of(tolmar("pick " + cube() + " --inline 1017 --size 300 240 --at " +
                                                          std::to_string(x) + " " + std::to_string(y) + " --json"));
        xdotool("mousemove --window " + window + " " + std::to_string(x) + " " + std::to_string(y));
        auto const s = v.state_when([](CPLJSONObject const& o) { return !o.GetString("pick").empty(); });
        std::string const text = s.GetString("pick");
        EXPECT_EQ(text, expected.GetString("text"));
        EXPECT_NE(text.find("inl 1017"), std::string::npos) << text;
        EXPECT_NE(text.find("crl " + std::to_string(expected.GetInteger("crossline"))), std::string::npos) << text;
        xdotool("mousemove --window " + window + " 1 1"); // off the slice's pixels: the text changes
    }
    expect_clean_close(v);
}

TEST_F(Viewer, SleepsWhileNothingChanges)
{
    ViewerProcess v(cube() + " --size 320 240", err());
    v.send("wait");
    auto const s = v.state();
    ASSERT_FALSE(s.GetBool("loading"));
    double const before = v.cpu_seconds();
    std::this_thread::sleep_for(std::chrono::seconds(5));
    // Under 1% of a core over five seconds.
    EXPECT_LT(v.cpu_seconds() - before, 0.05);
    EXPECT_EQ(v.state().GetInteger("frames"), s.GetInteger("frames"));
    expect_clean_close(v);
}

TEST_F(Viewer, TurningAwayFromAFrontViewKeepsItsDirection)
{
    // `render --camera` faces an inline from azimuth 0 or 180 and a
    // crossline from 90 or -90; a time slice is seen from straight above.
    ViewerProcess v(cube() + " --size 200 150 --no-panel", err());
    for (auto const& [slice, azimuth, elevation] :
         {std::tuple{"inline", 180.0, 0.0}, std::tuple{"crossline", 90.0, 0.0}, std::tuple{"time", 90.0, 90.0}}) {
        v.send(std::string("front ") + slice);
        EXPECT_TRUE(v.state().GetBool("front_view"));
        v.send("orbit 0 0 1");
        auto const s = v.state();
        EXPECT_FALSE(s.GetBool("front_view"));
        EXPECT_NEAR(std::fabs(s.GetDouble("azimuth")), azimuth, 1e-3) << slice;
        EXPECT_NEAR(s.GetDouble("elevation"), elevation, 1e-6) << slice;
    }
    expect_clean_close(v);
}

TEST_F(Viewer, CubesShareTheSceneAndKeepTheirOwnSlices)
{
    std::string const segy = dir->path("s.sgy");
    ViewerProcess v(cube() + " " + segy + " --index '' --index " + dir->path("s.idx") + " --size 200 150", err());
    v.send("wait");
    v.send("cube 2");
    v.send("inline 1005");
    auto const s = v.state();
    ASSERT_EQ(s.GetArray("cubes").Size(), 2);
    EXPECT_EQ(s.GetArray("cubes")[0].GetString("path"), "bricks");
    EXPECT_EQ(s.GetArray("cubes")[1].GetString("path"), "tiles");
    EXPECT_EQ(s.GetArray("cubes")[0].GetInteger("inline"), 1019);
    EXPECT_EQ(s.GetArray("cubes")[1].GetInteger("inline"), 1005);
    expect_clean_close(v);

    auto const r = tolmar("view " + cube() + " " + segy + " --index " + dir->path("s.idx") + " --screenshot x.png");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("--index: give one a cube"), std::string::npos) << r.err;
}

// The horizon layer of a GeoPackage as its vertices.
std::vector<std::array<double, 3>> horizon_vertices(std::string const& path)
{
    std::vector<std::array<double, 3>> out;
    GDALDatasetUniquePtr ds(GDALDataset::Open(path.c_str(), GDAL_OF_VECTOR));
    if (!ds || !ds->GetLayerByName("horizons")) return out;
    for (auto const& f : *ds->GetLayerByName("horizons")) {
        OGRLineString const* line = f->GetGeometryRef()->toLineString();
        for (int i = 0; i < line->getNumPoints(); ++i) out.push_back({line->getX(i), line->getY(i), line->getZ(i)});
    }
    return out;
}

TEST_F(Viewer, ClicksOnALineTrackTheSameHorizonAsTheTool)
{
    std::string const segy = dir->path("line.sgy"), raster = dir->path("line.tif"), nav = dir->path("line.gpkg");
    ASSERT_EQ(tolmar("line synth " + segy + " --traces 200 --samples 300").status, 0);
    ASSERT_EQ(tolmar("line import " + segy + " --raster " + raster + " --navigation " + nav).status, 0);
    std::string const mine = dir->path("viewer_horizon.gpkg");
    ViewerProcess v("--line " + raster + " --navigation " + nav + " --horizons " + mine +
                        " --size 400 300 --no-panel",
                    err());
    for (char const* line : {"camera 180 0", "zoom 2", "wait"}) v.send(line);
    v.state();
    std::string const window = v.window();
    ASSERT_FALSE(window.empty());

    // Caps Lock on: peaks. D starts picking; two clicks that do not drag.
    xdotool("key --window " + window + " Caps_Lock d");
    auto s = v.state_when([](CPLJSONObject const& o) { return o.GetArray("lines")[0].GetBool("digitizing"); });
    ASSERT_TRUE(s.GetArray("lines")[0].GetBool("digitizing"));
    std::vector<std::string> seeds;
    int picks = 0;
    double previous = 0;
    for (auto const& [x, y] : {std::pair{140, 150}, std::pair{260, 130}}) {
        std::string const at = std::to_string(x) + " " + std::to_string(y);
        xdotool("mousemove --window " + window + " " + at);
        s = v.state_when([&previous](CPLJSONObject const& o) {
            return o.GetArray("lines")[0].GetDouble("cursor_trace") != previous && !o.GetString("pick").empty();
        });
        previous = s.GetArray("lines")[0].GetDouble("cursor_trace");
        ASSERT_NE(s.GetString("pick"), "") << "no line under " << at;
        double const trace = s.GetArray("lines")[0].GetDouble("cursor_trace");
        double const sample = s.GetArray("lines")[0].GetDouble("cursor_sample");
        xdotool("click --window " + window + " 1");
        ++picks;
        s = v.state_when([&](CPLJSONObject const& o) { return o.GetArray("lines")[0].GetInteger("picks") == picks; });
        ASSERT_EQ(s.GetArray("lines")[0].GetInteger("picks"), picks);
        // The tool takes the nearest trace and sample, as the tool's seeds do.
        seeds.push_back(" --seed " + std::to_string(std::lround(trace)) + " " +
                        std::to_string(std::lround(sample) * 4.0));
    }
    expect_clean_close(v);

    std::string const tools = dir->path("tool_horizon.gpkg");
    auto const r = tolmar("line pick " + raster + " --navigation " + nav + seeds[0] + seeds[1] +
                          " --name TEST --mode peak --window 20 --out " + tools);
    ASSERT_EQ(r.status, 0) << r.err;
    auto const a = horizon_vertices(mine), b = horizon_vertices(tools);
    ASSERT_GT(a.size(), 20u);
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i)
        for (int k = 0; k < 3; ++k) ASSERT_NEAR(a[i][k], b[i][k], 1e-6) << i;
}

TEST_F(Viewer, ShowsATerrainBesideTheCube)
{
    // West of the survey (its origin is 500000, 6700000): a DEM rising
    // 100 m to the east under an all-green drape.
    tolmar_test::RasterSpec dem;
    dem.path = dir->path("dem.tif");
    dem.width = dem.height = 200;
    dem.geotransform = {499300, 2.5, 0, 6700400, 0, -2.5};
    dem.value = [](int, int x, int) { return x * 0.5; };
    tolmar_test::write_raster(dem);
    tolmar_test::RasterSpec drape = dem;
    drape.path = dir->path("green.tif");
    drape.bands = 3;
    drape.pixel_type = "Byte";
    drape.value = [](int band, int, int) { return band == 1 ? 200 : 0; };
    tolmar_test::write_raster(drape);

    std::string const shot = dir->path("terrain.png");
    auto const r = tolmar("view " + cube() + " --terrain " + dem.path + " --drape " + drape.path +
                          " --size 320 240 --no-panel --camera 0 60 --screenshot " + shot);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    tolmar_test::Png const png = tolmar_test::read_png(shot);
    long green = 0, red = 0;
    for (int y = 0; y < png.height; ++y)
        for (int x = 0; x < png.width; ++x) {
            auto const p = png.at(x, y);
            green += p[1] > p[0] + 60 && p[1] > p[2] + 60;
            red += p[0] > p[1] + 60 && p[0] > p[2] + 60;
        }
    EXPECT_GT(green, 320 * 240 / 50) << "the terrain";
    EXPECT_GT(red, 320 * 240 / 200) << "the cube's slices";
}

TEST_F(Viewer, ScriptErrorsNameTheLine)
{
    std::string const script = dir->path("bad.txt");
    std::ofstream(script) << "# a comment\nwait\ninline 999\n";
    auto r = tolmar("view " + cube() + " --size 64 64 --no-panel --script " + script);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("line 3: 999 lies outside 1000..1039"), std::string::npos) << r.err;
    std::ofstream(script) << "show sideways on\n";
    r = tolmar("view " + cube() + " --size 64 64 --no-panel --script " + script);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("line 1: \"sideways\" is not inline, crossline or time"), std::string::npos) << r.err;
}

} // namespace
