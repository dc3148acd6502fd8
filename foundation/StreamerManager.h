#pragma once
// The process-wide owner of the streaming thread. Readers are opened through
// it and run on its thread until their last user lets go.

#include <memory>

#include "foundation/StreamerThread.h"

namespace Tolmar {

class StreamerManager {
public:
    static StreamerManager& get_instance();

    // Runs the streamer's process() on the streaming thread while it lives.
    void add_streamer(std::shared_ptr<StreamerBase> const& streamer) { thread_.add(streamer); }
    void wake() { thread_.wake(); }
    std::size_t live_streamers() { return thread_.size(); }

private:
    StreamerManager() = default;
    StreamerThread thread_;
};

} // namespace Tolmar
