#pragma once
// What the GPU brick pool takes from outside itself: the free video memory
// that sizes it, the clock that paces its rounds and sets the upload budget,
// and the choice of wanted bricks. The process-wide pool uses the defaults;
// a pool made with other ones sees any memory size or time that a caller
// feeds it, without a particular driver and without waiting.

#include "platform/api.h"

#include <cstdint>
#include <functional>
#include <optional>

#include "graphics/brick_selector.h"
#include "graphics/gpu_memory_info.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// Milliseconds of the monotonic clock.
std::uint64_t steady_tick_ms();

struct GPUCubeMemorySeams {
    // Free video memory in bytes; empty when the driver does not tell.
    std::function<std::optional<std::uint64_t>()> free_memory_bytes = query_gpu_free_memory;
    // A millisecond tick that never runs backwards.
    std::function<std::uint64_t()> tick_ms = steady_tick_ms;
    BrickSelector select_bricks = select_root_brick;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
