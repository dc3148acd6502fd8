#pragma once
// One of the two raster streaming threads of StreamerManager2D. It owns a
// set of streamers and gives each a short turn in rotation, with a 1 ms
// sleep after every turn; the streamer does all the work inside its turn.
// The draw thread pauses it around the host's draws: no raster is read
// while the host draws.

#include "platform/api.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "foundation/StreamerBase.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class StreamerThread2D {
public:
    explicit StreamerThread2D(std::string name);
    // The manager's threads run until the process ends; a thread made on
    // its own (a test's) stops and joins here.
    ~StreamerThread2D();
    StreamerThread2D(StreamerThread2D const&) = delete;
    StreamerThread2D& operator=(StreamerThread2D const&) = delete;

    // Starts the loop on a thread of its own.
    void start();
    std::string const& name() const { return name_; }
    std::thread::id thread_id() const { return thread_.get_id(); }

    // One step of the loop: the next streamer in set order after the last
    // one served, wrapping to the first (null with an empty set), and the
    // whole step, its turn and the 1 ms sleep.
    StreamerBase* get_next_streamer();
    void process_next_items();

    // Puts the streamer into the rotation and blocks in `opened` until its
    // source is open (true) or has failed (false); a failed one is retired
    // again before this returns false, and the caller deletes it.
    bool open(StreamerBase* streamer, std::function<bool()> const& opened);
    void add(StreamerBase* streamer);
    // Asks the streamer to retire and waits until a turn has seen the
    // request and taken it out of the rotation; the caller may delete it then.
    void close(StreamerBase* streamer);
    bool contains(StreamerBase* streamer);
    bool is_loading_data();

    // The host's draw events, on the draw thread. The first pauses every
    // streamer and waits until the turn in progress is over; the second
    // resumes them.
    void arcmap_2d_about_to_draw();
    void arcmap_2d_after_draw();

private:
    void run();
    static void sleep();

    // Turns are numbered as they start; the number of the last one ended is
    // kept too. A draw waits until a turn begun after it paused the
    // streamers has ended: that turn found its streamer paused and let go
    // of its raster. Meanwhile the loop does not sleep between turns.
    std::atomic<std::uint64_t> turns_started_{0};
    std::atomic<std::uint64_t> turns_ended_{0};
    std::atomic<bool> draw_waiting_{false};
    std::string name_;
    // The streamers are called under the lock from the draw thread, so that
    // none is retired and deleted halfway through the walk. The lock is
    // released around a turn: a turn may be long, and the draw thread must
    // be able to pause the others meanwhile.
    std::mutex mutex_;
    std::set<StreamerBase*> streamers_;
    std::size_t cursor_ = 0;
    bool drawing_ = false; // a streamer added during a draw starts paused
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
