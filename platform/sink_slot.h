#pragma once
// One replaceable, process-wide text sink with a fallback stream: what the
// debug stream and the user output have in common.

#include <cstdio>
#include <functional>
#include <mutex>
#include <string_view>
#include <utility>

namespace Tolmar::platform {

class SinkSlot {
public:
    using Sink = std::function<void(std::string_view)>;

    explicit SinkSlot(std::FILE* fallback) : fallback_(fallback) {}

    // Safe from any thread; writes are never interleaved. The fallback
    // stream gets `ending` after the text, and is flushed.
    void write(std::string_view text, std::string_view ending = {})
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (sink_) {
            sink_(text);
            return;
        }
        std::fwrite(text.data(), 1, text.size(), fallback_);
        std::fwrite(ending.data(), 1, ending.size(), fallback_);
        std::fflush(fallback_);
    }
    Sink replace(Sink sink)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return std::exchange(sink_, std::move(sink));
    }

private:
    std::mutex mutex_;
    Sink sink_;
    std::FILE* fallback_;
};

} // namespace Tolmar::platform
