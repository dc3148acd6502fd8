#pragma once
// The process-wide owner of the two raster streaming threads, "disk" and
// "network". Every raster streamer runs on "disk", whatever its source;
// "network" runs idle and is there for sources that would need a thread of
// their own. The embedding program calls the host's draw events around
// each draw of a view that shows rasters, so that raster reading pauses.

#include "platform/api.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "foundation/StreamerThread2D.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class StreamerManager2D {
public:
    // Made on first use, with both threads running; never destroyed.
    static StreamerManager2D* get_instance();
    // The manager when something has made it, else null: a view that shows
    // no streamed raster calls the draw events without starting threads.
    static StreamerManager2D* instance_if_running();

    // Puts the streamer on the "disk" thread and blocks in `opened` until
    // its source is open (true) or has failed (false: the streamer is
    // deleted and the result is empty). Dropping the last reference retires
    // the streamer through its thread (close).
    template <class Streamer>
    std::shared_ptr<Streamer> open_streamer(std::unique_ptr<Streamer> streamer, std::function<bool()> const& opened)
    {
        Streamer* const raw = streamer.get();
        if (!place(std::unique_ptr<StreamerBase>(std::move(streamer)), opened)) return nullptr;
        return std::shared_ptr<Streamer>(raw, [](Streamer* s) { get_instance()->close(s); });
    }

    // Retires the streamer through its thread and deletes it; false, with
    // nothing deleted, for a streamer this manager does not run.
    bool close(StreamerBase* streamer);
    // Whether a streamer on either thread has work queued.
    bool is_loading_data();
    // The host's draw events; they concern the "disk" thread only.
    void arcmap_2d_about_to_draw();
    void arcmap_2d_after_draw();

    StreamerThread2D& disk() { return disk_; }
    StreamerThread2D& network() { return network_; }

private:
    StreamerManager2D();
    bool place(std::unique_ptr<StreamerBase> streamer, std::function<bool()> const& opened);

    std::mutex mutex_; // guards streamers_ only, never held across a thread's call
    std::map<StreamerBase*, StreamerThread2D*> streamers_;
    StreamerThread2D disk_{"disk"};
    StreamerThread2D network_{"network"};
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
