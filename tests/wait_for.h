#pragma once
// Polls a condition until it holds or a generous limit passes: for tests of
// background work, which assert outcomes, never timings.

#include <chrono>
#include <thread>

namespace tolmar_test {

inline bool waitFor(auto&& condition, std::chrono::milliseconds limit = std::chrono::milliseconds(10000))
{
    auto const end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace tolmar_test
