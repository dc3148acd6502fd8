#pragma once
// Base of everything that works on a streaming thread. A streamer keeps its
// request and result queues behind its own lock; callers on other threads
// hand work over by request and collect it by copy.

#include "platform/api.h"

#include <atomic>
#include <mutex>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class StreamerBase {
public:
    virtual ~StreamerBase() = default;
    // Does up to about `budgetMs` of queued work on the streaming thread;
    // sets `didWork` when it did any, so the thread comes back at once.
    virtual void process(unsigned int budgetMs, bool& didWork) = 0;
    // True while requests are queued or being read.
    virtual bool is_loading_data() { return false; }
    // While paused, process() leaves the files alone.
    virtual void pause_reading() { paused_ = true; }
    virtual void resume_reading() { paused_ = false; }
    // Asks the streamer to retire. The 2D streaming threads drop it from
    // their rotation once one of its turns has seen the request.
    void request_close() { close_requested_ = true; }
    bool close_requested() const { return close_requested_; }

protected:
    void enter_critical_section() { mutex_.lock(); }
    void leave_critical_section() { mutex_.unlock(); }
    static void sleep(unsigned int milliseconds);
    bool reading_paused() const { return paused_; }
    // Wakes the streaming thread after new requests were queued.
    static void wake_streaming_thread();

    std::mutex mutex_;

private:
    std::atomic<bool> paused_{false};
    std::atomic<bool> close_requested_{false};
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
