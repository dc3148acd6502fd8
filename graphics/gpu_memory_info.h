#pragma once
// The free video memory that the driver of the current GL context reports.
// Needs a current context with GLEW loaded (glew_init).

#include "platform/api.h"

#include <cstdint>
#include <optional>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// Bytes of free texture memory from GL_ATI_meminfo, or else from
// GL_NVX_gpu_memory_info, with the driver's figures in the debug log. Empty
// when the driver offers neither extension (Mesa's software renderer, for
// one).
std::optional<std::uint64_t> query_gpu_free_memory();

} // namespace Tolmar

TOLMAR_PUBLIC_END
