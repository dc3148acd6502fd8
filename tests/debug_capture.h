#pragma once
// Collects what is written to the debug stream while it lives.

#include <mutex>
#include <string>

#include "platform/debug_stream.h"

namespace tolmar_test {

class DebugCapture {
public:
    DebugCapture()
    {
        previous_ = Tolmar::platform::set_debug_sink([this](std::string_view t) {
            std::lock_guard<std::mutex> lock(mutex_);
            text_.append(t);
        });
    }
    ~DebugCapture() { Tolmar::platform::set_debug_sink(std::move(previous_)); }
    DebugCapture(DebugCapture const&) = delete;
    DebugCapture& operator=(DebugCapture const&) = delete;

    std::string text() const
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return text_;
    }

private:
    mutable std::mutex mutex_;
    std::string text_;
    Tolmar::platform::DebugSink previous_;
};

} // namespace tolmar_test
