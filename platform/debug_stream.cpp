#include "platform/debug_stream.h"

#include "platform/sink_slot.h"

namespace Tolmar::platform {

namespace {

SinkSlot& slot()
{
    static SinkSlot s(stderr);
    return s;
}

} // namespace

void debug_write(std::string_view text) { slot().write(text); }

DebugSink set_debug_sink(DebugSink sink) { return slot().replace(std::move(sink)); }

} // namespace Tolmar::platform
