#pragma once
// Folds the amplitude ranges of many traces of a mapped SEG-Y file on worker
// threads, so that a full scan walks the headers while the samples are
// decoded beside it.

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <tuple>
#include <vector>

#include "foundation/sample_decode.h"

namespace Tolmar {

class TraceRangeWorkers {
public:
    // How samples are read: byte order, and the clamp of the reader when on.
    struct Decoding {
        bool littleEndian = false;
        bool clamp = false;
        double clampLow = 0.0, clampHigh = 0.0;
    };

    // What the traces added since the last finish() came to. Per trace the
    // range is that of SEGYtrace::sMin and sMax: a trace of negative samples
    // has the smallest positive normal float as its top.
    struct Result {
        bool any = false;
        double low = 0.0, high = 0.0;         // over the traces' clamped ranges
        double rawLow = 0.0, rawHigh = 0.0;   // over the samples before the clamp
        bool anyRaw = false;
        std::vector<std::tuple<int, int, long long>> dead; // (inline, crossline, position)
        double seconds = 0.0;                 // decoding time summed over threads
    };

    // findDead: collect traces whose range lies within 1e-6 of zero.
    TraceRangeWorkers(Decoding decoding, bool findDead);
    ~TraceRangeWorkers();
    TraceRangeWorkers(TraceRangeWorkers const&) = delete;
    TraceRangeWorkers& operator=(TraceRangeWorkers const&) = delete;

    // Queues one trace; its bytes must stay mapped until finish() returns.
    void add(unsigned char const* samples, SamplePick const& pick, SampleCoding coding, int inl, int crl,
             long long position);
    // Waits for every queued trace, helping with the work, and answers the result.
    Result finish();

private:
    struct Trace {
        unsigned char const* samples;
        SamplePick pick;
        SampleCoding coding;
        int inl, crl;
        long long position;
    };
    using Batch = std::vector<Trace>;

    void work();
    void fold(Batch const& batch, Result& into, std::vector<float>& scratch) const;
    void submit();

    Decoding decoding_;
    bool findDead_;
    Batch filling_;
    std::mutex mutex_;
    std::condition_variable wake_, idle_;
    std::deque<Batch> queue_;
    int busy_ = 0;
    bool stop_ = false;
    Result shared_;
    std::vector<std::thread> threads_;
};

} // namespace Tolmar
