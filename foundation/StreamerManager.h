#pragma once
// The process-wide owner of the streaming thread. Readers are opened through
// it and run on its thread until their last user lets go.

#include "platform/api.h"

#include <memory>
#include <string>

#include "foundation/StreamerThread.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class CompressedIndex;
class Streamer3DGridLowLevelWriter;
class Streamer3DGridReader;
class StreamerIndexedSEGY3DReader;

class StreamerManager {
public:
    static StreamerManager& get_instance();

    // Readers start on the streaming thread; null when the files cannot be opened.
    std::shared_ptr<Streamer3DGridReader> open_3dgrid_reader(std::string const& path);
    std::shared_ptr<StreamerIndexedSEGY3DReader> open_indexed_segy3d_reader(std::string const& segyPath,
                                                                            std::string const& indexPath);
    std::shared_ptr<StreamerIndexedSEGY3DReader> open_indexed_segy3d_reader(std::string const& segyPath,
                                                                            CompressedIndex const& index);
    std::shared_ptr<Streamer3DGridLowLevelWriter> open_grid3d_low_level_writer();

    // Runs the streamer's process() on the streaming thread while it lives.
    void add_streamer(std::shared_ptr<StreamerBase> const& streamer) { thread_.add(streamer); }
    void wake() { thread_.wake(); }
    std::size_t live_streamers() { return thread_.size(); }

private:
    StreamerManager() = default;
    StreamerThread thread_;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
