#pragma once
// Base of the raster streamers that run on the 2D streaming threads
// (StreamerManager2D). The host must not find a raster read, or held open,
// while it draws: the draw thread pauses every streamer before a draw and
// resumes it after, and reading starts again only kResumeDelay after the
// last draw, so that the reads of a pan or a zoom wait until the user stops.

#include "platform/api.h"

#include <atomic>
#include <chrono>
#include <functional>

#include "foundation/StreamerBase.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class Streamer2DBase : public StreamerBase {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Clock = std::function<TimePoint()>;
    static constexpr std::chrono::milliseconds kResumeDelay{2000};

    // An empty clock is the steady clock; tests pass their own.
    explicit Streamer2DBase(Clock clock = {});

    // One turn on the streaming thread. `finished` tells the thread that the
    // streamer has retired and is to leave the rotation. A close request is
    // answered before the pause is looked at, so that a paused thread still
    // retires its streamers.
    void process(unsigned int budgetMs, bool& finished) final;
    void resume_reading() override;

    // How long after a draw reading waits, for every streamer; kResumeDelay
    // unless changed. A view whose draws are its own and short (a 3D
    // viewer redrawing while tiles arrive) sets 0: reading then goes on
    // between its frames and never while one is drawn.
    static void set_resume_delay(std::chrono::milliseconds delay);
    static std::chrono::milliseconds resume_delay();

protected:
    // While the host draws, and until kResumeDelay after its last draw.
    bool reading_held() const;
    TimePoint now() const { return clock_(); }

    // The turn's work, on the streaming thread:
    // the streamer retires: close everything, drop the queues;
    virtual void close_source() = 0;
    // reading is held: let go of the raster (cached data may stay);
    virtual void release_source() = 0;
    // reading is allowed: at most one read, so that a draw waits for no more.
    virtual void read_turn() = 0;

private:
    Clock clock_;
    std::atomic<TimePoint::rep> resume_at_;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
