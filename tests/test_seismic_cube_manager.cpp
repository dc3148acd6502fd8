// The cube manager hands out one reader per file while it is in use, whatever
// path names the file, and opens the file afresh once the reader is gone.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "debug_capture.h"
#include "platform/file_identity.h"
#include "segy/SeismicCubeManager.h"
#include "segy_test_util.h"
#include "wait_for.h"

namespace {

using Tolmar::SeismicCubeManager;
using Tolmar::platform::FileIdentity;
using Tolmar::platform::get_unique_file_identifier;
using tolmar_test::DebugCapture;
using tolmar_test::ScratchDir;

// One level-0 brick of zeros; the coarser levels are derived.
void writeTinyCube(std::string const& path)
{
    tolmar_test::writeBricks(path, {{10, 10, 10}}, Tolmar::Info3DGrid::INT8, -1, 1, [](auto const&, Tolmar::Brick&) {});
}

void writeText(std::string const& path, char const* text) { std::ofstream(path) << text; }

std::string line(char const* what, std::string const& path)
{
    return std::string("SeismicCubeManager: ") + what + " : " + path + "\n";
}

bool contains(std::string const& text, std::string const& part) { return text.find(part) != std::string::npos; }

TEST(FileIdentity, FollowsThePathsToTheFile)
{
    ScratchDir dir;
    writeText(dir.path("a"), "a");
    writeText(dir.path("b"), "b");
    std::filesystem::create_directory(dir.path("sub"));
    std::filesystem::create_symlink(dir.path("a"), dir.path("link"));

    FileIdentity a, b, viaLink, viaDots;
    ASSERT_TRUE(get_unique_file_identifier(dir.path("a"), a));
    ASSERT_TRUE(get_unique_file_identifier(dir.path("b"), b));
    ASSERT_TRUE(get_unique_file_identifier(dir.path("link"), viaLink));
    ASSERT_TRUE(get_unique_file_identifier(dir.path("sub/../a"), viaDots));
    EXPECT_EQ(a, viaLink);
    EXPECT_EQ(a, viaDots);
    EXPECT_NE(a, b);
    EXPECT_TRUE(a < b || b < a);

    FileIdentity const before = b;
    EXPECT_FALSE(get_unique_file_identifier(dir.path("missing"), b));
    EXPECT_EQ(b, before);
}

TEST(SeismicCubeManager, SharesTheReaderWhileItIsHeld)
{
    ScratchDir dir;
    std::string const path = dir.path("cube.tmf"), link = dir.path("link.tmf");
    writeTinyCube(path);
    std::filesystem::create_symlink(path, link);
    auto& manager = SeismicCubeManager::getInstance();

    std::weak_ptr<Tolmar::Streamer3DGridReader> first;
    {
        DebugCapture log;
        auto const r1 = manager.get_brick_reader(path);
        ASSERT_NE(r1, nullptr);
        auto const r2 = manager.get_brick_reader(path);
        auto const r3 = manager.get_brick_reader(link);
        EXPECT_EQ(r2, r1);
        EXPECT_EQ(r3, r1);
        auto const text = log.text();
        EXPECT_TRUE(contains(text, line("created new reader", path))) << text;
        EXPECT_TRUE(contains(text, line("found existing reader", path))) << text;
        EXPECT_TRUE(contains(text, line("found existing reader", link))) << text;
        first = r1;
    }

    // The streaming thread may hold the reader for a moment after its users.
    ASSERT_TRUE(tolmar_test::waitFor([&] { return first.expired(); }));
    DebugCapture log;
    auto const again = manager.get_brick_reader(path);
    EXPECT_NE(again, nullptr);
    auto const text = log.text();
    auto const expired = text.find(line("the reader has expired", path));
    auto const created = text.find(line("created new reader", path));
    ASSERT_NE(expired, std::string::npos) << text;
    ASSERT_NE(created, std::string::npos) << text;
    EXPECT_LT(expired, created);
    EXPECT_FALSE(contains(text, "found existing reader")) << text;
}

TEST(SeismicCubeManager, MissingAndUnreadableFilesGiveNull)
{
    ScratchDir dir;
    auto& manager = SeismicCubeManager::getInstance();
    {
        DebugCapture log;
        std::string const missing = dir.path("missing.tmf");
        EXPECT_EQ(manager.get_brick_reader(missing), nullptr);
        EXPECT_TRUE(contains(log.text(), line("!get_unique_file_identifier", missing))) << log.text();
        EXPECT_FALSE(contains(log.text(), "created new reader")) << log.text();
    }

    // A failed open leaves an empty entry behind, which the next request
    // finds expired and retries.
    std::string const junk = dir.path("junk.tmf");
    writeText(junk, "not a brick file");
    {
        DebugCapture log;
        EXPECT_EQ(manager.get_brick_reader(junk), nullptr);
        EXPECT_TRUE(contains(log.text(), line("created new reader", junk))) << log.text();
    }
    DebugCapture log;
    EXPECT_EQ(manager.get_brick_reader(junk), nullptr);
    EXPECT_TRUE(contains(log.text(), line("the reader has expired", junk))) << log.text();
    EXPECT_TRUE(contains(log.text(), line("created new reader", junk))) << log.text();
}

} // namespace
