// The streaming thread: work runs in the background, streamers leave with
// their last user, pauses hold the work back.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "wait_for.h"
#include "foundation/StreamerManager.h"

namespace {

using tolmar_test::waitFor;

using namespace std::chrono_literals;

// Counts requests in and answers out, one per process() call.
class CountingStreamer : public Tolmar::StreamerBase {
public:
    explicit CountingStreamer(std::atomic<int>* destroyed = nullptr) : destroyed_(destroyed) {}
    ~CountingStreamer() override
    {
        if (destroyed_) ++*destroyed_;
    }
    void request(int n)
    {
        enter_critical_section();
        pending_ += n;
        leave_critical_section();
        wake_streaming_thread();
    }
    int answered()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return answered_;
    }
    void process(unsigned, bool& didWork) override
    {
        if (reading_paused()) return;
        std::lock_guard<std::mutex> lock(mutex_);
        if (pending_ == 0) return;
        --pending_;
        ++answered_;
        didWork = true;
    }
    bool is_loading_data() override
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return pending_ > 0;
    }

private:
    std::atomic<int>* destroyed_;
    int pending_ = 0;
    int answered_ = 0;
};

TEST(StreamerThread, RunsQueuedWorkInTheBackground)
{
    auto& manager = Tolmar::StreamerManager::get_instance();
    auto s = std::make_shared<CountingStreamer>();
    manager.add_streamer(s);
    s->request(500);
    EXPECT_TRUE(waitFor([&] { return s->answered() == 500; }));
    EXPECT_FALSE(s->is_loading_data());
}

TEST(StreamerThread, PauseHoldsWorkBack)
{
    auto s = std::make_shared<CountingStreamer>();
    Tolmar::StreamerManager::get_instance().add_streamer(s);
    s->pause_reading();
    s->request(10);
    std::this_thread::sleep_for(120ms);
    EXPECT_EQ(s->answered(), 0);
    EXPECT_TRUE(s->is_loading_data());
    s->resume_reading();
    s->request(0);
    EXPECT_TRUE(waitFor([&] { return s->answered() == 10; }));
}

TEST(StreamerThread, LastUserClosesTheStreamer)
{
    std::atomic<int> destroyed{0};
    Tolmar::StreamerThread thread;
    {
        auto s = std::make_shared<CountingStreamer>(&destroyed);
        thread.add(s);
        EXPECT_EQ(thread.size(), 1u);
    }
    EXPECT_TRUE(waitFor([&] { return destroyed == 1; }));
    EXPECT_TRUE(waitFor([&] { return thread.size() == 0; }));
}

// Several threads request, poll and let go of streamers while the streaming
// thread works on them.
TEST(StreamerThread, StressOpenRequestRelease)
{
    std::atomic<int> destroyed{0};
    std::atomic<int> made{0};
    std::vector<std::thread> users;
    for (int t = 0; t < 4; ++t)
        users.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                auto s = std::make_shared<CountingStreamer>(&destroyed);
                ++made;
                Tolmar::StreamerManager::get_instance().add_streamer(s);
                s->request(20);
                for (int poll = 0; poll < 5; ++poll) {
                    (void)s->answered();
                    (void)s->is_loading_data();
                }
                if (round % 2) waitFor([&] { return s->answered() == 20; });
            }
        });
    for (auto& u : users) u.join();
    EXPECT_TRUE(waitFor([&] { return destroyed == made; }));
}

} // namespace
