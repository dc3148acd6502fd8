#include "foundation/StreamerThread2D.h"

#include <chrono>
#include <iterator>

namespace Tolmar {

StreamerThread2D::StreamerThread2D(std::string name) : name_(std::move(name)) {}

StreamerThread2D::~StreamerThread2D()
{
    stop_ = true;
    if (thread_.joinable()) thread_.join();
}

void StreamerThread2D::start()
{
    if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
}

void StreamerThread2D::sleep() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

void StreamerThread2D::run()
{
    while (!stop_) process_next_items();
}

StreamerBase* StreamerThread2D::get_next_streamer()
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (streamers_.empty()) return nullptr;
    // A streamer that left the set may leave the cursor past its end.
    if (++cursor_ >= streamers_.size()) cursor_ = 0;
    return *std::next(streamers_.begin(), static_cast<std::ptrdiff_t>(cursor_));
}

void StreamerThread2D::process_next_items()
{
    if (StreamerBase* streamer = get_next_streamer()) {
        std::uint64_t const turn = ++turns_started_;
        bool finished = false;
        streamer->process(0, finished);
        if (finished) {
            std::lock_guard<std::mutex> lock(mutex_);
            streamers_.erase(streamer);
        }
        turns_ended_ = turn;
    } else {
        // An empty round counts as a turn, so that a draw waits for nothing.
        turns_ended_ = ++turns_started_;
    }
    if (!draw_waiting_) sleep();
}

bool StreamerThread2D::open(StreamerBase* streamer, std::function<bool()> const& opened)
{
    add(streamer);
    if (opened()) return true;
    close(streamer);
    return false;
}

void StreamerThread2D::add(StreamerBase* streamer)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (drawing_) streamer->pause_reading();
    streamers_.insert(streamer);
}

void StreamerThread2D::close(StreamerBase* streamer)
{
    streamer->request_close();
    while (contains(streamer)) sleep();
}

bool StreamerThread2D::contains(StreamerBase* streamer)
{
    std::lock_guard<std::mutex> lock(mutex_);
    return streamers_.count(streamer) != 0;
}

bool StreamerThread2D::is_loading_data()
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (StreamerBase* s : streamers_)
        if (s->is_loading_data()) return true;
    return false;
}

void StreamerThread2D::arcmap_2d_about_to_draw()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        drawing_ = true;
        for (StreamerBase* s : streamers_) s->pause_reading();
        // Nothing to wait for: no streamer, or no thread to run a turn.
        if (streamers_.empty() || !thread_.joinable() || stop_) return;
    }
    draw_waiting_ = true;
    std::uint64_t const begun = turns_started_;
    while (turns_ended_ <= begun) std::this_thread::sleep_for(std::chrono::microseconds(100));
    draw_waiting_ = false;
}

void StreamerThread2D::arcmap_2d_after_draw()
{
    std::lock_guard<std::mutex> lock(mutex_);
    drawing_ = false;
    for (StreamerBase* s : streamers_) s->resume_reading();
}

} // namespace Tolmar
