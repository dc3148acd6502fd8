#include "segy/SeismicCubeManager.h"

#include "foundation/log.h"

namespace Tolmar {

SeismicCubeManager& SeismicCubeManager::getInstance()
{
    static SeismicCubeManager manager;
    return manager;
}

std::shared_ptr<Streamer3DGridReader> SeismicCubeManager::get_brick_reader(std::string const& path, std::string* why)
{
    platform::FileIdentity id;
    if (!platform::get_unique_file_identifier(path, id)) {
        Util::logf("SeismicCubeManager: !get_unique_file_identifier : %s\n", path.c_str());
        if (why) *why = "cannot be opened";
        return nullptr;
    }

    // Held across the open as well, so that two threads asking for the same
    // file at once end up with one reader.
    std::lock_guard<std::mutex> lock(mutex_);
    if (auto it = readers_.find(id); it != readers_.end()) {
        if (auto reader = it->second.lock()) {
            Util::logf("SeismicCubeManager: found existing reader : %s\n", path.c_str());
            return reader;
        }
        readers_.erase(it);
        Util::logf("SeismicCubeManager: the reader has expired : %s\n", path.c_str());
    }

    // A failed open is stored too, as an empty entry: the next request finds
    // it expired and tries again.
    auto reader = open_3dgrid_reader(path, why);
    readers_[id] = reader;
    Util::logf("SeismicCubeManager: created new reader : %s\n", path.c_str());
    return reader;
}

} // namespace Tolmar
