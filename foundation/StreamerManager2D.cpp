#include "foundation/StreamerManager2D.h"

#include <atomic>

#include "foundation/log.h"

namespace Tolmar {

namespace {

std::atomic<StreamerManager2D*> running{nullptr};

} // namespace

StreamerManager2D* StreamerManager2D::get_instance()
{
    // Its threads run until the process ends, so the manager is never torn
    // down under them.
    static StreamerManager2D* const instance = [] {
        auto* m = new StreamerManager2D();
        running = m;
        return m;
    }();
    return instance;
}

StreamerManager2D* StreamerManager2D::instance_if_running() { return running; }

StreamerManager2D::StreamerManager2D()
{
    disk_.start();
    network_.start();
}

bool StreamerManager2D::place(std::unique_ptr<StreamerBase> streamer, std::function<bool()> const& opened)
{
    if (!disk_.open(streamer.get(), opened)) return false;
    std::lock_guard<std::mutex> lock(mutex_);
    streamers_[streamer.release()] = &disk_;
    return true;
}

bool StreamerManager2D::close(StreamerBase* streamer)
{
    Util::logf("StreamerManager2D::close\n");
    StreamerThread2D* thread = nullptr;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto const found = streamers_.find(streamer);
        if (found == streamers_.end()) return false;
        thread = found->second;
        streamers_.erase(found);
    }
    thread->close(streamer);
    delete streamer;
    return true;
}

bool StreamerManager2D::is_loading_data() { return disk_.is_loading_data() || network_.is_loading_data(); }

void StreamerManager2D::arcmap_2d_about_to_draw() { disk_.arcmap_2d_about_to_draw(); }

void StreamerManager2D::arcmap_2d_after_draw() { disk_.arcmap_2d_after_draw(); }

} // namespace Tolmar
