// The 2D streaming threads: streamers take turns in rotation on "disk",
// reading stops while the host draws and starts again 2 s after the last
// draw, and no raster is held open during a draw.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "foundation/Streamer2DBase.h"
#include "foundation/StreamerManager2D.h"
#include "null_raster_dataset.h"
#include "wait_for.h"

namespace {

using namespace std::chrono_literals;
using Tolmar::Streamer2DBase;
using Tolmar::StreamerBase;
using Tolmar::StreamerManager2D;
using Tolmar::StreamerThread2D;
using tolmar_test::waitFor;

// Counts its turns; leaves the rotation when closed.
class TurnCounter : public StreamerBase {
public:
    void process(unsigned, bool& finished) override
    {
        ++turns;
        finished = close_requested();
    }
    std::atomic<int> turns{0};
};

TEST(StreamerThread2D, RotationGoesRoundTheSetInOrder)
{
    StreamerThread2D thread("disk");
    EXPECT_EQ(thread.get_next_streamer(), nullptr);
    std::vector<TurnCounter> s(3);
    thread.add(&s[0]);
    EXPECT_EQ(thread.get_next_streamer(), &s[0]);
    EXPECT_EQ(thread.get_next_streamer(), &s[0]);
    thread.add(&s[1]);
    thread.add(&s[2]);
    // Set order is pointer order, which for a vector is index order; the
    // cursor stands at 0 after the single streamer's last turn.
    std::vector<StreamerBase*> order;
    for (int i = 0; i < 6; ++i) order.push_back(thread.get_next_streamer());
    EXPECT_EQ(order, (std::vector<StreamerBase*>{&s[1], &s[2], &s[0], &s[1], &s[2], &s[0]}));
    thread.get_next_streamer();
    thread.get_next_streamer(); // the cursor now at the last streamer
    // The last one retires: its turn sees the request and leaves the set;
    // the cursor, past the end, wraps to the first.
    s[2].request_close();
    thread.process_next_items(); // the turn of s[0]
    thread.process_next_items(); // s[1]
    thread.process_next_items(); // s[2], which leaves
    EXPECT_FALSE(thread.contains(&s[2]));
    EXPECT_EQ(thread.get_next_streamer(), &s[0]);
    EXPECT_EQ(s[2].turns, 1);
}

TEST(StreamerThread2D, DrawEventsWithNothingToPauseReturnAtOnce)
{
    StreamerThread2D idle("network");
    idle.arcmap_2d_about_to_draw(); // not even started
    idle.arcmap_2d_after_draw();
    idle.start();
    for (int i = 0; i < 3; ++i) {
        idle.arcmap_2d_about_to_draw();
        idle.arcmap_2d_after_draw();
    }
    EXPECT_FALSE(idle.is_loading_data());
}

// A raster of the host that counts how many are open, and whether one was
// read while the test says a draw is in progress.
std::atomic<int> open_rasters{0};
std::atomic<bool> drawing{false};
std::atomic<int> reads_during_draw{0};

class CountedRaster final : public tolmar_test::NullRasterDataset {
public:
    CountedRaster() { ++open_rasters; }
    ~CountedRaster() override { --open_rasters; }
    bool read(int, int, int, int, int, int, int, Tolmar::host::PixelBlock& out, std::string*) override
    {
        if (drawing) ++reads_during_draw;
        std::this_thread::sleep_for(2ms); // a read takes a while
        out.values.assign(1, 1.0f);
        return true;
    }
};

// A clock the test moves by hand.
struct TestClock {
    std::atomic<long long> ms{0};
    Streamer2DBase::Clock clock()
    {
        return [this] { return Streamer2DBase::TimePoint(std::chrono::milliseconds(ms.load())); };
    }
};

// A raster streamer in small: it opens its raster through the host seam in
// its first turn, reads one block a turn while requests are queued, and
// lets the raster go whenever reading is held.
class RasterStreamer final : public Streamer2DBase {
public:
    RasterStreamer(Clock clock, bool openable, std::atomic<int>* deleted)
        : Streamer2DBase(std::move(clock)), openable_(openable), deleted_(deleted)
    {
    }
    ~RasterStreamer() override
    {
        if (deleted_) ++*deleted_;
    }
    void request(int n)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        pending_ += n;
    }
    bool is_loading_data() override
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return pending_ > 0;
    }
    bool start_ok()
    {
        while (state_ == kOpenRequested) std::this_thread::sleep_for(1ms);
        return state_ == kOpen;
    }
    std::atomic<int> reads{0};
    std::atomic<std::thread::id> thread{};

private:
    enum { kOpenRequested, kFailed, kOpen };
    void close_source() override { raster_.reset(); }
    void release_source() override { raster_.reset(); }
    void read_turn() override
    {
        thread = std::this_thread::get_id();
        if (state_ == kOpenRequested) state_ = openable_ ? kOpen : kFailed;
        if (state_ != kOpen || !is_loading_data()) return;
        if (!raster_) raster_ = std::make_unique<CountedRaster>();
        Tolmar::host::PixelBlock block;
        raster_->read(0, 16, 16, 0, 0, 1, 1, block, nullptr);
        ++reads;
        request(-1);
    }

    bool const openable_;
    std::atomic<int>* deleted_;
    std::atomic<int> state_{kOpenRequested};
    std::unique_ptr<CountedRaster> raster_;
    int pending_ = 0;
};

std::shared_ptr<RasterStreamer> open_streamer(TestClock& clock, bool openable, std::atomic<int>* deleted = nullptr)
{
    auto streamer = std::make_unique<RasterStreamer>(clock.clock(), openable, deleted);
    RasterStreamer* raw = streamer.get();
    return StreamerManager2D::get_instance()->open_streamer(std::move(streamer), [raw] { return raw->start_ok(); });
}

TEST(RasterStreaming, ReadersRunOnDiskAndFailedOnesAreDropped)
{
    auto* manager = StreamerManager2D::get_instance();
    EXPECT_EQ(manager->disk().name(), "disk");
    EXPECT_EQ(manager->network().name(), "network");
    TestClock clock;
    std::atomic<int> deleted{0};
    EXPECT_EQ(open_streamer(clock, false, &deleted), nullptr);
    EXPECT_EQ(deleted, 1);

    auto reader = open_streamer(clock, true, &deleted);
    ASSERT_TRUE(reader);
    EXPECT_TRUE(manager->disk().contains(reader.get()));
    EXPECT_FALSE(manager->network().contains(reader.get()));
    reader->request(5);
    EXPECT_TRUE(manager->is_loading_data());
    ASSERT_TRUE(waitFor([&] { return !manager->is_loading_data(); }));
    EXPECT_EQ(reader->reads, 5);
    EXPECT_EQ(reader->thread.load(), manager->disk().thread_id());
    TurnCounter stranger;
    EXPECT_FALSE(manager->close(&stranger)); // not one of the manager's

    StreamerBase* const raw = reader.get();
    reader.reset(); // the last reference retires and deletes it
    EXPECT_EQ(deleted, 2);
    EXPECT_FALSE(manager->disk().contains(raw));
}

TEST(RasterStreaming, DrawsPauseReadingUntilTwoSecondsAfterTheLastDraw)
{
    auto* manager = StreamerManager2D::get_instance();
    TestClock clock;
    auto reader = open_streamer(clock, true);
    ASSERT_TRUE(reader);
    reader->request(1000000);
    ASSERT_TRUE(waitFor([&] { return reader->reads > 3; }));

    for (int frame = 0; frame < 20; ++frame) {
        clock.ms += 100; // frames 100 ms apart
        manager->arcmap_2d_about_to_draw();
        drawing = true;
        // While the host draws, no raster is open and none is read.
        EXPECT_EQ(open_rasters, 0) << frame;
        std::this_thread::sleep_for(3ms);
        EXPECT_EQ(open_rasters, 0) << frame;
        drawing = false;
        manager->arcmap_2d_after_draw();
    }
    EXPECT_EQ(reads_during_draw, 0);

    // Between draws, and until 2 s after the last, reading waits.
    int const held = reader->reads;
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(reader->reads, held);
    EXPECT_EQ(open_rasters, 0);
    EXPECT_TRUE(manager->is_loading_data());
    clock.ms += 1999;
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(reader->reads, held);
    clock.ms += 1;
    EXPECT_TRUE(waitFor([&] { return reader->reads > held + 3; }));

    // Dropping the last reference during a draw retires the reader: a
    // paused reader still answers the close request.
    manager->arcmap_2d_about_to_draw();
    reader.reset();
    manager->arcmap_2d_after_draw();
    EXPECT_EQ(open_rasters, 0);
    EXPECT_FALSE(manager->is_loading_data());
}

} // namespace
