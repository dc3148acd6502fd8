#include "foundation/StreamerThread.h"

#include <algorithm>
#include <chrono>

namespace Tolmar {

namespace {
// How long the thread idles when no streamer had work; requests wake it earlier.
constexpr auto kIdleWait = std::chrono::milliseconds(50);
constexpr unsigned kBudgetMs = 20;
} // namespace

StreamerThread::StreamerThread() : thread_([this] { run(); }) {}

StreamerThread::~StreamerThread()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    cv_.notify_all();
    thread_.join();
}

void StreamerThread::add(std::shared_ptr<StreamerBase> const& streamer)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        streamers_.push_back(streamer);
    }
    wake();
}

void StreamerThread::wake()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        woken_ = true;
    }
    cv_.notify_all();
}

std::size_t StreamerThread::size()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return static_cast<std::size_t>(std::count_if(streamers_.begin(), streamers_.end(),
                                                  [](auto const& w) { return !w.expired(); }));
}

void StreamerThread::run()
{
    std::vector<std::shared_ptr<StreamerBase>> live;
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (stop_) return;
            woken_ = false;
            live.clear();
            std::erase_if(streamers_, [](auto const& w) { return w.expired(); });
            for (auto const& w : streamers_)
                if (auto s = w.lock()) live.push_back(std::move(s));
        }
        bool anyWork = false;
        for (auto& s : live) {
            bool did = false;
            s->process(kBudgetMs, did);
            anyWork = anyWork || did;
        }
        // Let go before waiting, so a streamer's last user is not kept waiting for its end.
        live.clear();
        if (anyWork) continue;
        std::unique_lock<std::mutex> lock(mutex_);
        cv_.wait_for(lock, kIdleWait, [this] { return stop_ || woken_; });
    }
}

} // namespace Tolmar
