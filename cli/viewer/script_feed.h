#pragma once
// Where the viewer's script lines come from: a file read at the start, or
// standard input read by a thread as lines arrive, so that a test or
// another program can drive the viewer while it runs. Each line that comes
// in calls `arrived` (from the reading thread), to wake the window.

#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace tolmar_cli {

class ScriptFeed {
public:
    ScriptFeed() = default;
    // "-" reads standard input; fails with one line for a file that cannot be read.
    void open(std::string const& source, std::function<void()> arrived);
    // Lines given directly, after any others.
    void add(std::string line);
    ~ScriptFeed();
    ScriptFeed(ScriptFeed const&) = delete;
    ScriptFeed& operator=(ScriptFeed const&) = delete;

    // The next line and its number; false when none is waiting.
    bool next(std::string& line, int& number);
    std::string const& source() const { return source_; }

private:
    void read_input();

    std::string source_ = "script";
    std::function<void()> arrived_;
    std::mutex mutex_;
    std::deque<std::string> lines_;
    int taken_ = 0;
    std::thread reader_;
    int stopPipe_[2] = {-1, -1};
};

} // namespace tolmar_cli
