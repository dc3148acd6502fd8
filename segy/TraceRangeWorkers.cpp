#include "segy/TraceRangeWorkers.h"

#include <algorithm>
#include <cfloat>
#include <chrono>
#include <cmath>
#include <limits>

namespace Tolmar {

namespace {

constexpr std::size_t kBatchTraces = 256;

void merge(TraceRangeWorkers::Result& into, TraceRangeWorkers::Result const& from)
{
    if (from.any) {
        into.low = into.any ? std::min(into.low, from.low) : from.low;
        into.high = into.any ? std::max(into.high, from.high) : from.high;
        into.any = true;
    }
    if (from.anyRaw) {
        into.rawLow = into.anyRaw ? std::min(into.rawLow, from.rawLow) : from.rawLow;
        into.rawHigh = into.anyRaw ? std::max(into.rawHigh, from.rawHigh) : from.rawHigh;
        into.anyRaw = true;
    }
    into.dead.insert(into.dead.end(), from.dead.begin(), from.dead.end());
    into.seconds += from.seconds;
}

} // namespace

TraceRangeWorkers::TraceRangeWorkers(Decoding decoding, bool findDead) : decoding_(decoding), findDead_(findDead)
{
    unsigned const cores = std::max(1u, std::thread::hardware_concurrency());
    unsigned const helpers = std::clamp(cores - 1, 1u, 7u);
    for (unsigned i = 0; i < helpers; ++i) threads_.emplace_back([this] { work(); });
    filling_.reserve(kBatchTraces);
}

TraceRangeWorkers::~TraceRangeWorkers()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    for (auto& t : threads_) t.join();
}

void TraceRangeWorkers::add(unsigned char const* samples, SamplePick const& pick, SampleCoding coding, int inl,
                            int crl, long long position)
{
    filling_.push_back({samples, pick, coding, inl, crl, position});
    if (filling_.size() >= kBatchTraces) submit();
}

void TraceRangeWorkers::submit()
{
    if (filling_.empty()) return;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        queue_.push_back(std::move(filling_));
    }
    filling_ = Batch();
    filling_.reserve(kBatchTraces);
    wake_.notify_one();
}

void TraceRangeWorkers::fold(Batch const& batch, Result& into, std::vector<float>& scratch) const
{
    auto const t0 = std::chrono::steady_clock::now();
    for (Trace const& t : batch) {
        double low = 0.0, high = 0.0;
        if (t.pick.count > 0) {
            decode_picked(t.samples, t.pick, t.coding, decoding_.littleEndian, scratch);
            float lo = std::numeric_limits<float>::infinity(), hi = -lo;
            update_min_max(scratch.data(), scratch.size(), lo, hi);
            if (lo <= hi) {
                into.rawLow = into.anyRaw ? std::min(into.rawLow, double(lo)) : lo;
                into.rawHigh = into.anyRaw ? std::max(into.rawHigh, double(hi)) : hi;
                into.anyRaw = true;
            }
            // The clamp is monotonic: the range of clamped samples is the clamped range.
            float ends[2] = {lo, hi};
            if (decoding_.clamp) clamp_coded_samples(ends, 2, t.coding, decoding_.clampLow, decoding_.clampHigh);
            low = std::min(ends[0], FLT_MAX);
            high = std::max(ends[1], FLT_MIN);
        }
        into.low = into.any ? std::min(into.low, low) : low;
        into.high = into.any ? std::max(into.high, high) : high;
        into.any = true;
        if (findDead_ && std::fabs(low) < 1e-6 && std::fabs(high) < 1e-6) into.dead.emplace_back(t.inl, t.crl, t.position);
    }
    into.seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

void TraceRangeWorkers::work()
{
    std::vector<float> scratch;
    for (;;) {
        Batch batch;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            wake_.wait(lock, [&] { return stop_ || !queue_.empty(); });
            if (queue_.empty()) return;
            batch = std::move(queue_.front());
            queue_.pop_front();
            ++busy_;
        }
        Result local;
        fold(batch, local, scratch);
        {
            std::lock_guard<std::mutex> lock(mutex_);
            merge(shared_, local);
            --busy_;
        }
        idle_.notify_all();
    }
}

TraceRangeWorkers::Result TraceRangeWorkers::finish()
{
    submit();
    std::vector<float> scratch;
    Result mine;
    std::unique_lock<std::mutex> lock(mutex_);
    while (!queue_.empty()) {
        Batch batch = std::move(queue_.front());
        queue_.pop_front();
        lock.unlock();
        fold(batch, mine, scratch);
        lock.lock();
    }
    idle_.wait(lock, [&] { return busy_ == 0; });
    merge(shared_, mine);
    Result out = std::move(shared_);
    shared_ = Result();
    return out;
}

} // namespace Tolmar
