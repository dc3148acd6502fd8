// The update sink that background readers post to.

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "platform/update_sink.h"

namespace {

using namespace Tolmar::platform;

TEST(UpdateSink, PostsReachTheirSinkOnly)
{
    std::atomic<int> a{0}, b{0};
    bool rightMessage = true;
    UpdateHandle const ha = register_update_sink([&](char const* m, std::uintptr_t w, std::intptr_t l) {
        rightMessage = rightMessage && std::strcmp(m, "LOD_Update_Message") == 0 && w == 0 && l == 0;
        ++a;
    });
    UpdateHandle const hb = register_update_sink([&](char const*, std::uintptr_t, std::intptr_t) { ++b; });
    EXPECT_NE(ha, hb);
    post_update(ha);
    post_update(ha);
    post_update(hb);
    post_update(0);
    post_update(987654321);
    EXPECT_EQ(a, 2);
    EXPECT_EQ(b, 1);
    EXPECT_TRUE(rightMessage);
    unregister_update_sink(ha);
    post_update(ha);
    EXPECT_EQ(a, 2) << "gone sinks are ignored";
    unregister_update_sink(hb);
}

TEST(UpdateSink, ConcurrentPostsAndUnregistering)
{
    std::atomic<long> calls{0};
    UpdateHandle const h = register_update_sink([&](char const*, std::uintptr_t, std::intptr_t) { ++calls; });
    std::vector<std::thread> posters;
    for (int t = 0; t < 4; ++t)
        posters.emplace_back([h] {
            for (int i = 0; i < 20000; ++i) post_update(h);
        });
    for (auto& p : posters) p.join();
    EXPECT_EQ(calls, 80000);
    std::atomic<bool> stop{false};
    std::thread poster([&] {
        while (!stop) post_update(h);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    unregister_update_sink(h);
    long const after = calls;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    stop = true;
    poster.join();
    EXPECT_LE(calls - after, 1) << "at most the post already under way";
}

} // namespace
