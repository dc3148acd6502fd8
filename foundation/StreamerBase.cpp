#include "foundation/StreamerBase.h"

#include <chrono>
#include <thread>

#include "foundation/Streamer3DGridLowLevelWriter.h"
#include "foundation/Streamer3DGridReader.h"
#include "foundation/StreamerIndexedSEGY3DReader.h"
#include "foundation/StreamerManager.h"

namespace Tolmar {

void StreamerBase::sleep(unsigned int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void StreamerBase::wake_streaming_thread() { StreamerManager::get_instance().wake(); }

StreamerManager& StreamerManager::get_instance()
{
    static StreamerManager manager;
    return manager;
}

std::shared_ptr<Streamer3DGridReader> StreamerManager::open_3dgrid_reader(std::string const& path)
{
    return Tolmar::open_3dgrid_reader(path);
}

std::shared_ptr<Streamer3DGridLowLevelWriter> StreamerManager::open_grid3d_low_level_writer()
{
    return Tolmar::open_grid3d_low_level_writer();
}

std::shared_ptr<StreamerIndexedSEGY3DReader> StreamerManager::open_indexed_segy3d_reader(std::string const& segyPath,
                                                                                        std::string const& indexPath)
{
    return Tolmar::open_indexed_segy3d_reader(segyPath, indexPath);
}

std::shared_ptr<StreamerIndexedSEGY3DReader> StreamerManager::open_indexed_segy3d_reader(std::string const& segyPath,
                                                                                        CompressedIndex const& index)
{
    return Tolmar::open_indexed_segy3d_reader(segyPath, index);
}

} // namespace Tolmar
