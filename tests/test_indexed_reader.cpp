// The background reader of indexed SEG-Y files: what it hands back against
// what was written, polling and waiting, read-ahead, the cache bound, damaged
// files, and many users at once.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <set>
#include <thread>

#include "wait_for.h"
#include "debug_capture.h"
#include "foundation/StreamerIndexedSEGY3DReader.h"
#include "foundation/StreamerManager.h"
#include "segy_test_util.h"

namespace {

using tolmar_test::waitFor;

using namespace std::chrono_literals;
using Tolmar::open_indexed_segy3d_reader;
using Tolmar::SampleKey;
using Tolmar::Trace;
using Tolmar::TraceKey;
using Samples = std::vector<std::pair<SampleKey, float>>;

// A survey of 30-sample IBM traces on disk, with its index in memory and in a file.
struct Files {
    tolmar_test::ScratchDir dir;
    tolmar_test::Survey survey;
    Tolmar::CompressedIndex index;
    std::string segy = dir.path("s.sgy"), idx = dir.path("s.idx");
    std::vector<TraceKey> keys;

    explicit Files(int inlines = 4, int crosslines = 5, bool crosslineSorted = false)
        : survey{.inlines = inlines, .crosslines = crosslines, .samples = 30, .crosslineSorted = crosslineSorted}
    {
        EXPECT_TRUE(tolmar_test::writeSurvey(segy, survey));
        for (auto [il, xl] : survey.order()) {
            index.add(il, xl, 3600 + static_cast<long long>(keys.size()) * (240 + 4 * 30));
            keys.push_back({il, xl});
        }
        index.header = {.nSamples = 30, .ibmFloat = true, .sampleRate = double(survey.intervalUs),
                        .inlStart = survey.inlineStart, .inlStep = survey.inlineStep,
                        .crlStart = survey.crosslineStart, .crlStep = survey.crosslineStep};
        index.set_histogram({1, 2, 3});
        EXPECT_TRUE(index.write(idx));
    }
    // Every trace is whole and holds the samples written for its key.
    void expectWritten(std::vector<Trace> const& traces) const
    {
        for (Trace const& t : traces) {
            ASSERT_EQ(t.samples.size(), 30u) << t.inl << " " << t.crl;
            for (int k = 0; k < 30; ++k) ASSERT_EQ(t.samples[k], survey.amplitude(t.inl, t.crl, k)) << t.inl << " " << t.crl;
        }
    }
};

// Through the manager from the index file, or directly from the index in
// memory; keys without a trace, and samples outside their trace, give nothing.
TEST(IndexedReader, OpensBothWaysAndReadsWhatWasWritten)
{
    Files f;
    auto const manager = [&] { return Tolmar::StreamerManager::get_instance().open_indexed_segy3d_reader(f.segy, f.idx); };
    for (auto r : {manager(), open_indexed_segy3d_reader(f.segy, f.index)}) {
        ASSERT_TRUE(r);
        EXPECT_EQ(r->get_histogram(), (std::vector<unsigned long long>{1, 2, 3}));
        EXPECT_TRUE(r->trace_exist(101, 204) && !r->trace_exist(101, 205));
        std::vector<Trace> out{Trace{}};
        r->get_traces_nonblocking(f.keys, out);
        EXPECT_TRUE(out.empty()) << "nothing was asked for";
        r->get_traces_blocking({{99, 200}, {101, 205}}, out);
        EXPECT_TRUE(out.empty()) << "no key has a trace";
        auto keys = f.keys;
        keys.push_back({500, 500});
        r->get_traces_blocking(keys, out);
        EXPECT_EQ(out.size(), 20u);
        f.expectWritten(out);
        EXPECT_FALSE(r->has_requests());
    }

    std::vector<SampleKey> const keys = {{100, 200, 0}, {103, 208, 29}, {103, 208, 30}, {103, 208, -1}, {100, 201, 3}};
    Samples const want = {{{100, 200, 0}, f.survey.amplitude(100, 200, 0)}, {{103, 208, 29}, f.survey.amplitude(103, 208, 29)}};
    auto sorted = [](Samples got) {
        std::sort(got.begin(), got.end(), [](auto const& a, auto const& b) { return a.first < b.first; });
        return got;
    };
    auto r = open_indexed_segy3d_reader(f.segy, f.idx);
    Samples got;
    r->get_samples_nonblocking(keys, got);
    EXPECT_TRUE(got.empty());
    r->request_samples(keys);
    EXPECT_TRUE(waitFor([&] { return r->get_samples_nonblocking(keys, got), got.size() == 2u; }));
    EXPECT_EQ(sorted(got), want);
    open_indexed_segy3d_reader(f.segy, f.index)->get_samples_blocking(keys, got);
    EXPECT_EQ(sorted(got), want);
}

TEST(IndexedReader, OpenFailsOnMissingOrDamagedFiles)
{
    Files f;
    tolmar_test::DebugCapture quiet;
    EXPECT_FALSE(open_indexed_segy3d_reader(f.dir.path("none.sgy"), f.idx));
    EXPECT_FALSE(open_indexed_segy3d_reader(f.dir.path("none.sgy"), f.index));
    EXPECT_FALSE(open_indexed_segy3d_reader(f.dir.dir(), f.index)) << "a folder";
    EXPECT_FALSE(open_indexed_segy3d_reader(f.segy, f.dir.path("none.idx")));
    Tolmar::CompressedIndex badFormat = f.index;
    badFormat.header.format = 4;
    EXPECT_FALSE(open_indexed_segy3d_reader(f.segy, badFormat));
    auto bytes = tolmar_test::readFile(f.idx);
    bytes[bytes.size() / 2] ^= 0x5a;
    tolmar_test::writeFile(f.idx, bytes);
    EXPECT_FALSE(open_indexed_segy3d_reader(f.segy, f.idx)) << "corrupt index";
}

// Pausing holds requests back; once resumed, polling completes, the requests
// are done and the sink hears of it.
TEST(IndexedReader, RequestThenPoll)
{
    Files f;
    auto r = open_indexed_segy3d_reader(f.segy, f.index);
    std::atomic<int> posts{0};
    auto const sink = Tolmar::platform::register_update_sink([&](char const*, std::uintptr_t, std::intptr_t) { ++posts; });
    r->set_update_sink(sink);
    r->pause_reading();
    r->request_traces(f.keys);
    r->request_traces(f.keys);
    std::this_thread::sleep_for(60ms);
    std::vector<Trace> out;
    r->get_traces_nonblocking(f.keys, out);
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(r->has_requests());
    r->resume_reading();
    EXPECT_TRUE(waitFor([&] { return r->get_traces_nonblocking(f.keys, out), out.size() == 20u; }));
    f.expectWritten(out);
    EXPECT_TRUE(waitFor([&] { return !r->has_requests() && !r->is_loading_data(); }));
    EXPECT_TRUE(waitFor([&] { return posts > 0; }));
    Tolmar::platform::unregister_update_sink(sink);
}

// Read-ahead follows the file across line ends in both sort orders and files
// every trace under its own key.
TEST(IndexedReader, ReadAheadFollowsTheFile)
{
    for (bool crosslineSorted : {false, true}) {
        Files f(6, 7, crosslineSorted);
        auto r = open_indexed_segy3d_reader(f.segy, f.index);
        r->readAheadTraces = 1000;
        std::vector<Trace> out;
        r->get_traces_blocking({f.keys.front()}, out);
        EXPECT_TRUE(waitFor([&] { return r->get_traces_nonblocking(f.keys, out), out.size() == 42u; }));
        f.expectWritten(out);
    }
}

// Read-ahead never pushes out requested traces before they are collected; a
// waiting call for 250 times the cache loses none of its traces, and
// afterwards the cache is back within its bound.
TEST(IndexedReader, SmallCacheKeepsRequestedAndAwaitedTraces)
{
    Files f(60, 50);
    auto r = open_indexed_segy3d_reader(f.segy, f.index);
    r->cacheTraces = 12;
    r->readAheadTraces = 1000;
    std::vector<TraceKey> wanted; // early in the file, so that read-ahead has far to go
    for (std::size_t i = 0; i < 40; i += 4) wanted.push_back(f.keys[i]);
    r->request_traces(wanted);
    EXPECT_TRUE(waitFor([&] { return !r->has_requests(); }));
    std::this_thread::sleep_for(50ms); // room for read-ahead to run
    std::vector<Trace> out;
    r->get_traces_nonblocking(wanted, out);
    EXPECT_EQ(out.size(), wanted.size());

    r->get_traces_blocking(f.keys, out);
    f.expectWritten(out);
    std::set<TraceKey> distinct;
    for (Trace const& t : out) distinct.insert({t.inl, t.crl});
    EXPECT_EQ(distinct.size(), 3000u);
    EXPECT_EQ(out.size(), 3000u);
    r->get_traces_nonblocking(f.keys, out);
    EXPECT_LE(out.size(), 12u);
}

// Traces cut off by the file's end are answered as missing, and told once.
TEST(IndexedReader, TruncatedFileDoesNotHang)
{
    Files f;
    std::filesystem::resize_file(f.segy, 3600 + 12 * 360 + 100); // inside trace 12, at 102/204
    tolmar_test::DebugCapture log;
    auto r = open_indexed_segy3d_reader(f.segy, f.idx);
    std::vector<Trace> out;
    for (int pass = 0; pass < 2; ++pass) {
        r->get_traces_blocking(f.keys, out);
        EXPECT_EQ(out.size(), 12u);
        f.expectWritten(out);
    }
    std::string const text = log.text(), line = "inline 102, crossline 204 from '" + f.segy + "'";
    ASSERT_NE(text.find(line), std::string::npos) << text;
    EXPECT_EQ(text.find(line, text.find(line) + 1), std::string::npos) << "told once";
    EXPECT_NE(text.find("inline 103, crossline 208"), std::string::npos);
}

// Another streamer waiting for traces within its own process() would
// otherwise wait for the thread it holds up.
TEST(IndexedReader, WaitingOnTheStreamingThreadReadsInPlace)
{
    Files f;
    struct Caller : Tolmar::StreamerBase {
        std::shared_ptr<Tolmar::StreamerIndexedSEGY3DReader> reader;
        std::vector<TraceKey> keys;
        std::vector<Trace> got;
        std::atomic<bool> done{false};
        void process(unsigned, bool&) override
        {
            if (done) return;
            reader->get_traces_blocking(keys, got);
            done = true;
        }
    };
    auto caller = std::make_shared<Caller>();
    caller->reader = open_indexed_segy3d_reader(f.segy, f.index);
    caller->reader->readAheadTraces = 0;
    caller->reader->get_traces_blocking({f.keys.front()}, caller->got); // the reader has run on that thread
    caller->keys = f.keys;
    Tolmar::StreamerManager::get_instance().add_streamer(caller);
    ASSERT_TRUE(waitFor([&] { return caller->done.load(); }));
    EXPECT_EQ(caller->got.size(), 20u);
    f.expectWritten(caller->got);
}

// Four users open, request, poll, wait and let go of readers on the same
// files, some with requests still queued; every reader closes.
TEST(IndexedReader, StressManyUsers)
{
    Files f(8, 8);
    std::vector<std::weak_ptr<Tolmar::StreamerIndexedSEGY3DReader>> made[4];
    std::vector<std::thread> users;
    for (int t = 0; t < 4; ++t)
        users.emplace_back([&, t] {
            for (int round = 0; round < 20; ++round) {
                auto r = (round + t) % 2 ? open_indexed_segy3d_reader(f.segy, f.idx)
                                         : open_indexed_segy3d_reader(f.segy, f.index);
                ASSERT_TRUE(r);
                made[t].push_back(r);
                r->cacheTraces = 16 + round;
                std::vector<TraceKey> slice(f.keys.begin() + round, f.keys.begin() + round + 24);
                r->request_traces(slice);
                std::vector<Trace> out;
                for (int poll = 0; poll < 5; ++poll) r->get_traces_nonblocking(slice, out), (void)r->has_requests();
                f.expectWritten(out);
                if (round % 3 == 0) continue;
                r->get_traces_blocking(slice, out);
                EXPECT_EQ(out.size(), 24u);
                f.expectWritten(out);
                Samples samples;
                r->get_samples_blocking({{slice[0].inl, slice[0].crl, round}}, samples);
                EXPECT_EQ(samples.size(), 1u);
            }
        });
    for (auto& u : users) u.join();
    for (auto const& m : made)
        for (auto const& w : m) EXPECT_TRUE(waitFor([&] { return w.expired(); }));
}

} // namespace
