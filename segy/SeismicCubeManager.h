#pragma once
// Shares one brick reader per file among all who open it, so that a cube
// shown in several places is read, cached and kept open once. Files are
// told apart by identity, not by path: a link or another spelling of the
// path finds the reader already open.
//
// The manager holds readers weakly: a reader closes with its last user, and
// the next request opens the file again.

#include "platform/api.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "foundation/Streamer3DGridReader.h"
#include "platform/file_identity.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class SeismicCubeManager {
public:
    static SeismicCubeManager& getInstance();

    SeismicCubeManager(SeismicCubeManager const&) = delete;
    SeismicCubeManager& operator=(SeismicCubeManager const&) = delete;

    // The reader of the brick file at `path`: the one already open for the
    // same file, else a new one. Null with a log line when the file is
    // missing or cannot be opened as a brick file; `why` then says why, as
    // open_3dgrid_reader does. Any thread.
    std::shared_ptr<Streamer3DGridReader> get_brick_reader(std::string const& path, std::string* why = nullptr);

private:
    SeismicCubeManager() = default;

    std::mutex mutex_;
    std::map<platform::FileIdentity, std::weak_ptr<Streamer3DGridReader>> readers_;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
