// Workspaces written with GDAL's own drivers read back through the host
// layer, and the seismic cube names read from their features.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

#include "debug_capture.h"
#include "host/gdal_workspace.h"
#include "platform/text_encoding.h"
#include "segy_test_util.h"
#include "util/Seismic3DInfo.h"

namespace {

using Tolmar::host::IFeature;
using Tolmar::host::open_workspace;
using tolmar_test::DebugCapture;
using tolmar_test::ScratchDir;

using Cube = std::array<char const*, 4>; // name, SEG-Y, brick and index file
std::vector<Cube> const kCubes = {
    {"Überblick", "seis/a.sgy", "seis/a.tmf", "seis/a.idx"},
    {"Gamma", "/abs/g.sgy", "seis/g.tmf", nullptr},
};

std::wstring field(IFeature const& f, char const* name)
{
    std::wstring out = L"<unset>";
    f.get_string(name, out);
    return out;
}

std::wstring wide(char const* utf8) { return Tolmar::platform::from_utf8(utf8); }

bool contains(std::string const& text, std::string const& part) { return text.find(part) != std::string::npos; }

// What a workspace of kCubes holds, read through `path`.
void checkWorkspace(std::string const& path)
{
    std::string error = "stale";
    auto ws = open_workspace(path, error);
    ASSERT_TRUE(ws) << error;
    EXPECT_EQ(error, "");
    EXPECT_EQ(ws->path(), wide(path.c_str()));
    auto names = ws->feature_class_names();
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"cubes", "wells"}));
    EXPECT_FALSE(ws->open_feature_class("nothing"));

    auto cubes = ws->open_feature_class("cubes");
    auto other = ws->open_feature_class("Cubes");
    ASSERT_TRUE(cubes && other);
    ws.reset(); // the classes keep the data open
    EXPECT_EQ(cubes->name(), "cubes");
    EXPECT_EQ(cubes->feature_count(), 2);
    EXPECT_EQ(cubes->field_names(),
              (std::vector<std::string>{"Name", "SEGYFile", "BrickFile", "IndexFile", "Traces"}));

    std::vector<std::unique_ptr<IFeature>> read;
    while (auto f = cubes->next()) read.push_back(std::move(f));
    ASSERT_EQ(read.size(), 2u);
    EXPECT_FALSE(cubes->next());
    for (std::size_t i = 0; i < read.size(); ++i) {
        IFeature const& f = *read[i];
        Cube const& c = kCubes[i];
        EXPECT_EQ((std::vector<std::wstring>{field(f, "Name"), field(f, "segyfile"), field(f, "BrickFile"),
                                             field(f, "IndexFile"), field(f, "Traces"), field(f, "NoSuchField")}),
                  (std::vector<std::wstring>{wide(c[0]), wide(c[1]), wide(c[2]), c[3] ? wide(c[3]) : L"<unset>",
                                             std::to_wstring(1200 + i), L"<unset>"}));
        EXPECT_EQ(f.workspace_path(), wide(path.c_str()));
    }
    EXPECT_NE(read[0]->fid(), read[1]->fid());

    // Lookups and a second cursor on the same layer leave this cursor in place.
    cubes->reset();
    auto first = cubes->next();
    ASSERT_TRUE(first);
    auto byId = cubes->feature(read[1]->fid());
    ASSERT_TRUE(byId);
    EXPECT_EQ(field(*byId, "Name"), L"Gamma");
    EXPECT_FALSE(cubes->feature(read[1]->fid() + 100));
    ASSERT_TRUE(other->next());
    ASSERT_TRUE(other->next());
    auto second = cubes->next();
    ASSERT_TRUE(second);
    EXPECT_EQ(second->fid(), read[1]->fid());
    EXPECT_FALSE(cubes->next());
    EXPECT_FALSE(other->next());

    cubes.reset(); // the features keep the data open
    EXPECT_EQ(field(*read[0], "Name"), L"Überblick");
}

TEST(HostWorkspace, ReadsAGeoPackage)
{
    ScratchDir dir;
    std::string const path = dir.path("cubes.gpkg");
    ASSERT_TRUE(tolmar_test::writeCubesWorkspace("GPKG", path, kCubes));
    checkWorkspace(path);
}

TEST(HostWorkspace, ReadsAFileGeodatabase)
{
    ScratchDir dir;
    std::string const path = dir.path("cubes.gdb");
    if (!tolmar_test::writeCubesWorkspace("OpenFileGDB", path, kCubes)) GTEST_SKIP() << "OpenFileGDB cannot create here";
    checkWorkspace(path);
    checkWorkspace(path + "/");
}

TEST(HostWorkspace, SaysWhyAPathCannotBeOpened)
{
    ScratchDir dir;
    std::string const text = dir.path("notes.txt"), folder = dir.path("plain.gdb");
    std::ofstream(text) << "Name,SEGYFile\na,b.sgy\n";
    std::filesystem::create_directory(folder);

    std::string error;
    EXPECT_FALSE(open_workspace(dir.path("missing.gpkg"), error));
    EXPECT_EQ(error, "'" + dir.path("missing.gpkg") + "': no such file");
    EXPECT_FALSE(open_workspace(text, error));
    EXPECT_EQ(error, "'" + text + "': not a vector workspace GDAL can open");
    EXPECT_FALSE(open_workspace(folder, error));
    EXPECT_TRUE(contains(error, "'" + folder + "': not a vector workspace GDAL can open")) << error;
    EXPECT_FALSE(open_workspace("", error));
    EXPECT_FALSE(error.empty());
}

TEST(Seismic3DInfo, ReadsTheFourNamesUntilOneIsMissing)
{
    ScratchDir dir;
    std::string const path = dir.path("cubes.gpkg");
    ASSERT_TRUE(tolmar_test::writeCubesWorkspace("GPKG", path, kCubes));
    std::string error;
    auto cubes = open_workspace(path, error)->open_feature_class("cubes");
    ASSERT_TRUE(cubes);

    Util::Seismic3DInfo info;
    auto f = cubes->next();
    ASSERT_TRUE(f && Util::getSeismic3DInfo(*f, info));
    EXPECT_EQ((std::vector<std::wstring>{info.Name, info.SEGYFile, info.BrickFile, info.IndexFile}),
              (std::vector<std::wstring>{L"Überblick", L"seis/a.sgy", L"seis/a.tmf", L"seis/a.idx"}));

    f = cubes->next();
    ASSERT_TRUE(f);
    EXPECT_FALSE(Util::getSeismic3DInfo(*f, info));
    EXPECT_EQ(info.BrickFile, L"seis/g.tmf");
    EXPECT_EQ(info.IndexFile, L"seis/a.idx");
}

TEST(Seismic3DInfo, ResolvesStoredPathsAgainstTheWorkspaceFolder)
{
    DebugCapture quiet;
    std::wstring const cases[][3] = {
        {L"/data/proj/cubes.gpkg", L"seis/a.tmf", L"/data/proj/seis/a.tmf"},
        {L"/data/proj/x.gdb/", L"../seis/a.tmf", L"/data/proj/../seis/a.tmf"},
        {L"cubes.gpkg", L"a.tmf", L"a.tmf"},
        {L"/data/proj/cubes.gpkg", L"/abs/a.tmf", L"/abs/a.tmf"},
        {L"", L"seis/a.tmf", L"seis/a.tmf"},
        {L"/data/proj/cubes.gpkg", L"", L""},
    };
    for (auto const& [gdb, path, expected] : cases) EXPECT_EQ(Util::convertPathToAbsolutePath(gdb, path), expected);
    EXPECT_EQ(Util::sconvertPathToAbsolutePath(L"/dätä/Überblick.gdb", L"würfel/a.tmf"), "/dätä/würfel/a.tmf");
}

} // namespace
