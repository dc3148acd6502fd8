#include "foundation/StreamerBase.h"

#include <chrono>
#include <thread>

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

} // namespace Tolmar
