#include "platform/debug_stream.h"

#include <cstdio>
#include <mutex>
#include <utility>

namespace Tolmar::platform {

namespace {

std::mutex& sinkMutex()
{
    static std::mutex m;
    return m;
}

DebugSink& currentSink()
{
    static DebugSink sink;
    return sink;
}

} // namespace

void debug_write(std::string_view text)
{
    std::lock_guard<std::mutex> lock(sinkMutex());
    if (currentSink()) {
        currentSink()(text);
        return;
    }
    std::fwrite(text.data(), 1, text.size(), stderr);
}

DebugSink set_debug_sink(DebugSink sink)
{
    std::lock_guard<std::mutex> lock(sinkMutex());
    return std::exchange(currentSink(), std::move(sink));
}

} // namespace Tolmar::platform
