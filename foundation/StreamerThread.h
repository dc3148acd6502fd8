#pragma once
// One background thread that runs the process() of its streamers in turn.
// It holds them weakly: a streamer whose last user lets go leaves the
// thread, and is destroyed on whichever thread held it last.

#include "platform/api.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "foundation/StreamerBase.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class StreamerThread {
public:
    StreamerThread();
    ~StreamerThread(); // stops and joins
    StreamerThread(StreamerThread const&) = delete;
    StreamerThread& operator=(StreamerThread const&) = delete;

    void add(std::shared_ptr<StreamerBase> const& streamer);
    // New work was queued: run the streamers now instead of after the idle wait.
    void wake();
    // Streamers still alive on the thread.
    std::size_t size();

private:
    void run();

    std::mutex mutex_;
    std::condition_variable cv_;
    std::vector<std::weak_ptr<StreamerBase>> streamers_;
    bool stop_ = false;
    bool woken_ = false;
    std::thread thread_;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
