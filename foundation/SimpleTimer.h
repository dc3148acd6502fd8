#pragma once
// Milliseconds since construction or the last reset, from a steady clock.

#include "platform/api.h"

#include <chrono>

TOLMAR_PUBLIC_BEGIN

class SimpleTimer {
public:
    SimpleTimer() { reset(); }
    void reset() { start_ = std::chrono::steady_clock::now(); }
    double ellapsedTimeMS() const
    {
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    std::chrono::steady_clock::time_point start_;
};

TOLMAR_PUBLIC_END
