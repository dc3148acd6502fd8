// Trace lines, host status checks, message sinks, timers, temporary folder.

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>
#include <vector>

#include "debug_capture.h"
#include "foundation/HResultCheck.h"
#include "foundation/MessageBoxManager.h"
#include "foundation/Stopwatch.h"
#include "foundation/TempPath.h"
#include "foundation/log.h"
#include "platform/last_error.h"
#include "platform/text_encoding.h"

namespace {

using tolmar_test::DebugCapture;

TEST(Log, LinesAndValues)
{
    DebugCapture cap;
    Util::logc("plain");
    Util::log(L"wide \u00e9\u4e2d");
    Util::log(L"name", static_cast<wchar_t const*>(nullptr));
    Util::log(L"name", L"value");
    Util::log(L"name", std::wstring(L"w"));
    Util::log(L"vb", static_cast<short>(-1));
    Util::log(L"vb", static_cast<short>(1));
    Util::log(L"b", false);
    Util::log(L"d", 0.5);
    Util::log(L"i", -3);
    Util::log(L"l", 4L);
    Util::log(L"ll", 1LL << 40);
    Util::logf("%s=%d", "x", 7);
    Util::logf(L"|%ls|%d\n", L"w\u00e9", 8);
    EXPECT_EQ(cap.text(), "plain\nwide \xC3\xA9\xE4\xB8\xAD\nname: null\nname: value\nname: w\nvb: true\nvb: false\n"
                          "b: false\nd: 0.5\ni: -3\nl: 4\nll: 1099511627776\nx=7|w\xC3\xA9|8\n");
}

TEST(Log, FormattedTextIsCutAt2048Characters)
{
    DebugCapture cap;
    std::string const longText(5000, 'a');
    Util::logf("%s", longText.c_str());
    EXPECT_EQ(cap.text().size(), 2047u);
    std::wstring const wideLong(5000, L'b');
    DebugCapture cap2;
    Util::logf(L"%ls", wideLong.c_str());
    EXPECT_EQ(cap2.text().size(), 2047u);
}

TEST(HResult, FailuresLogWithAndWithoutDescription)
{
    DebugCapture cap;
    Tolmar::platform::set_last_error_info("kept");
    EXPECT_TRUE(HResultCheckFunc(0, "ok()", "util\\a.cpp", 1) && HResultCheckFunc(1, "ok()", "util\\a.cpp", 1));
    EXPECT_EQ(Tolmar::platform::take_last_error_info().value_or(""), "kept") << "success leaves it alone";
    Tolmar::platform::set_last_error_info("Table not found");
    EXPECT_FALSE(HResultCheckFunc(-2147467259L, "ws->OpenTable()", "util\\field.cpp", 42));
    EXPECT_FALSE(HResultCheckFunc(-1, "x()", "util\\b.cpp", 7));
    EXPECT_EQ(cap.text(), "HResult Error: 'Table not found' caught at util\\field.cpp:42  ws->OpenTable()\n"
                          "HResult Error caught at util\\b.cpp:7  x()\n");
    // The description belongs to the thread that set it.
    Tolmar::platform::set_last_error_info("main");
    std::thread([] { EXPECT_FALSE(Tolmar::platform::take_last_error_info().has_value()); }).join();
    Tolmar::platform::clear_last_error_info();
}

TEST(MessageBox, DefaultLogsAndInstalledBoxReceives)
{
    struct Recorder : Util::IMessageBox {
        using IMessageBox::show;
        void show(wchar_t const* text, unsigned int flags) override { got = text, gotFlags = flags; }
        std::wstring got;
        unsigned gotFlags = 0;
    };
    auto& m = Util::MessageBoxManager::instance();
    DebugCapture cap;
    m.getmessageBox()->show("Gr\xC3\xBC\xC3\x9F" "e", 0);
    EXPECT_EQ(cap.text(), "Gr\xC3\xBC\xC3\x9F" "e\n");
    Recorder r;
    m.installMessageBox(&r);
    m.getmessageBox()->show("\xE2\x82\xAC 5", 16);
    EXPECT_EQ(r.got, L"\u20ac 5");
    EXPECT_EQ(r.gotFlags, 16u);
    m.installMessageBox(nullptr);
    EXPECT_NE(m.getmessageBox(), &r);
}

TEST(Utf8, MalformedBytesBecomeReplacementCharacters)
{
    EXPECT_EQ(Tolmar::platform::from_utf8("a\xFF" "b\xE2\x82"), L"a\ufffdb\ufffd\ufffd");
    EXPECT_EQ(Tolmar::platform::to_utf8(L"\U0001F600"), "\xF0\x9F\x98\x80");
    EXPECT_EQ(Tolmar::platform::from_utf8("\xF0\x9F\x98\x80"), L"\U0001F600");
}

TEST(Timers, StopwatchTableAndSummaries)
{
    Stopwatch::reset();
    {
        Stopwatch a("alpha");
        Stopwatch b("beta");
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back([] { Stopwatch s("alpha"); });
    for (auto& t : threads) t.join();
    EXPECT_EQ(Stopwatch::functionNames(), (std::vector<std::string>{"alpha", "beta"}));
    EXPECT_GE(Stopwatch::msecondsSpentInFunction("alpha"), 5.0);
    EXPECT_EQ(Stopwatch::msecondsSpentInFunction("gamma"), 0.0);
    DebugCapture cap;
    Stopwatch::outputDebugStrSummary(true);
    EXPECT_NE(cap.text().find("5 calls  alpha"), std::string::npos) << cap.text();
    Stopwatch::reset();
    EXPECT_TRUE(Stopwatch::functionNames().empty());
}

TEST(TempPath, OwnFolderWinsElsePlatform)
{
    std::string saved[2];
    char const* const names[2] = {"QUELDRIN_TMPDIR", "TMPDIR"};
    for (int i = 0; i < 2; ++i) saved[i] = std::getenv(names[i]) ? std::getenv(names[i]) : "";
    setenv("QUELDRIN_TMPDIR", "/data/scratch", 1);
    setenv("TMPDIR", "/var/tmp", 1);
    EXPECT_EQ(TempPath::GetTempPathW(), L"/data/scratch/");
    unsetenv("QUELDRIN_TMPDIR");
    EXPECT_EQ(TempPath::GetTempPathA(), "/var/tmp/");
    unsetenv("TMPDIR");
    EXPECT_EQ(TempPath::GetTempPathA(), "/tmp/");
    for (int i = 0; i < 2; ++i)
        if (!saved[i].empty()) setenv(names[i], saved[i].c_str(), 1);
}

} // namespace
