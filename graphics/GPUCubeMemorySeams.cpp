#include "graphics/GPUCubeMemorySeams.h"

#include <chrono>

namespace Tolmar {

std::uint64_t steady_tick_ms()
{
    auto const now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

} // namespace Tolmar
