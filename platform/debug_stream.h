#pragma once
// The process-wide debug stream: trace lines meant for a developer. Standard
// error by default; an embedding program or a test may install its own sink.

#include "platform/api.h"

#include <functional>
#include <string_view>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::platform {

using DebugSink = std::function<void(std::string_view)>;

// Writes text as it stands (no line end is added). Safe from any thread.
void debug_write(std::string_view text);

// Replaces the sink and answers the previous one; an empty sink restores
// standard error.
DebugSink set_debug_sink(DebugSink sink);

} // namespace Tolmar::platform

TOLMAR_PUBLIC_END
