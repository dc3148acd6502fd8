#include "platform/user_output.h"

#include <cstdio>

#include "platform/sink_slot.h"

namespace Tolmar::platform {

namespace {

SinkSlot& slot()
{
    static SinkSlot s(stdout);
    return s;
}

} // namespace

void user_output(std::string_view line) { slot().write(line, "\n"); }

OutputSink set_output_sink(OutputSink sink) { return slot().replace(std::move(sink)); }

} // namespace Tolmar::platform
