#include "foundation/StreamerBase.h"

#include <chrono>
#include <thread>

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
