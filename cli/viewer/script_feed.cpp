#include "cli/viewer/script_feed.h"

#include <poll.h>
#include <unistd.h>

#include <fstream>

#include "cli/cli_support.h"

namespace tolmar_cli {

void ScriptFeed::open(std::string const& source, std::function<void()> arrived)
{
    source_ = source == "-" ? "standard input" : source;
    arrived_ = std::move(arrived);
    if (source != "-") {
        std::ifstream in(source);
        if (!in) fail(source, "cannot be read");
        for (std::string line; std::getline(in, line);) add(line);
        return;
    }
    // The reader sleeps in poll on standard input and on a pipe that the
    // destructor writes to, so that it ends at once and never spins.
    if (pipe(stopPipe_) != 0) fail(source_, "cannot be watched");
    reader_ = std::thread([this] { read_input(); });
}

void ScriptFeed::add(std::string line)
{
    std::lock_guard lock(mutex_);
    lines_.push_back(std::move(line));
}

ScriptFeed::~ScriptFeed()
{
    if (reader_.joinable()) {
        char const stop = 0;
        [[maybe_unused]] auto const written = write(stopPipe_[1], &stop, 1);
        reader_.join();
    }
    for (int fd : stopPipe_)
        if (fd >= 0) close(fd);
}

bool ScriptFeed::next(std::string& line, int& number)
{
    std::lock_guard lock(mutex_);
    if (lines_.empty()) return false;
    line = std::move(lines_.front());
    lines_.pop_front();
    number = ++taken_;
    return true;
}

void ScriptFeed::read_input()
{
    std::string partial;
    for (;;) {
        pollfd fds[2] = {{STDIN_FILENO, POLLIN, 0}, {stopPipe_[0], POLLIN, 0}};
        if (poll(fds, 2, -1) < 0) continue;
        if (fds[1].revents) return;
        char buffer[4096];
        ssize_t const n = read(STDIN_FILENO, buffer, sizeof buffer);
        if (n <= 0) {
            if (!partial.empty()) add(std::move(partial));
            if (arrived_) arrived_();
            return; // the end of the input: the window stays for the user
        }
        bool any = false;
        for (ssize_t i = 0; i < n; ++i) {
            if (buffer[i] != '\n') {
                partial += buffer[i];
                continue;
            }
            add(std::move(partial));
            partial.clear();
            any = true;
        }
        if (any && arrived_) arrived_();
    }
}

} // namespace tolmar_cli
