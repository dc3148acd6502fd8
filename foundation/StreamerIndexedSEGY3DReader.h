#pragma once
// Reads traces and single samples of a 3D SEG-Y file through its trace index,
// in the background on the streaming thread. Callers queue keys and collect
// what has been read by copy, either polling or waiting; the streaming thread
// reads the queue in file order, so a block of requests becomes a forward
// sweep over the file, and then reads ahead of the last requested trace.
//
// Read traces sit in a bounded cache. A trace that a waiting call needs is
// never pushed out, and one that was requested is pushed out only after the
// traces nobody asked for or already collected, so polling for at most
// cacheTraces keys always completes. Larger sets need the waiting calls.

#include "platform/api.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <istream>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "foundation/CompressedIndex.h"
#include "foundation/StreamKeys.h"
#include "foundation/StreamerBase.h"
#include "platform/update_sink.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class StreamerIndexedSEGY3DReader;

// Open a reader on the SEG-Y file with its index, read from an index file or
// copied from memory, and start it on the streaming thread. Null with a log
// line when the SEG-Y file is missing or not a regular file, the index file
// is missing or damaged, or the index names a sample format no reader knows;
// `why` then gets the reason in words that follow the name of the file at
// fault, which `whyFile` gets. A SEG-Y file cut short after indexing still
// opens: its missing traces fail one by one as they are asked for.
// The reader closes its file when its last user lets go.
std::shared_ptr<StreamerIndexedSEGY3DReader> open_indexed_segy3d_reader(std::string const& segyPath,
                                                                        std::string const& indexPath,
                                                                        std::string* why = nullptr,
                                                                        std::string* whyFile = nullptr);
std::shared_ptr<StreamerIndexedSEGY3DReader> open_indexed_segy3d_reader(std::string const& segyPath,
                                                                        CompressedIndex const& index,
                                                                        std::string* why = nullptr);

class StreamerIndexedSEGY3DReader : public StreamerBase {
    // Only the open function builds readers: a reader must be on the streaming thread to answer.
    struct Opening {
        explicit Opening() = default;
    };
    friend std::shared_ptr<StreamerIndexedSEGY3DReader> open_indexed_segy3d_reader(std::string const&,
                                                                                   CompressedIndex const&,
                                                                                   std::string*);

public:
    StreamerIndexedSEGY3DReader(Opening, std::string path, CompressedIndex const& index,
                                std::unique_ptr<std::istream> stream);
    ~StreamerIndexedSEGY3DReader() override;
    StreamerIndexedSEGY3DReader(StreamerIndexedSEGY3DReader const&) = delete;
    StreamerIndexedSEGY3DReader& operator=(StreamerIndexedSEGY3DReader const&) = delete;

    // Traces the streaming thread reads past the last requested one once the
    // requests are answered, while they follow it directly in the file.
    std::atomic<int> readAheadTraces{100};
    // Traces the cache keeps. It grows past this only by the traces that
    // waiting calls still need.
    std::atomic<int> cacheTraces{20000};

    // Whether the index holds the trace; a trace that later fails to read still exists here.
    bool trace_exist(int inl, int crl) const;

    // Queues the keys and returns at once. Keys without a trace are dropped;
    // keys read already or queued are not queued again.
    void request_traces(std::vector<TraceKey> const& keys);
    // Replaces `out` with copies of those of the keys read already; never reads the file.
    void get_traces_nonblocking(std::vector<TraceKey> const& keys, std::vector<Trace>& out);
    // Replaces `out` with every key's trace, requesting and waiting for those
    // not read yet; keys without a trace, or whose trace cannot be read, give
    // nothing. Returns at once when no key has a trace. While reading is
    // paused it waits for the resume. `out` comes in no particular order.
    // Called from another streamer's process(), it reads in place instead,
    // once any reader has run on the streaming thread.
    void get_traces_blocking(std::vector<TraceKey> const& keys, std::vector<Trace>& out);

    // The same for single samples, by reading their traces. A sample index
    // outside its trace gives nothing.
    void request_samples(std::vector<SampleKey> const& keys);
    void get_samples_nonblocking(std::vector<SampleKey> const& keys, std::vector<std::pair<SampleKey, float>>& out);
    void get_samples_blocking(std::vector<SampleKey> const& keys, std::vector<std::pair<SampleKey, float>>& out);

    // True while requests are unanswered.
    bool has_requests();
    bool is_loading_data() override { return has_requests(); }

    // Fixed once opened, so read without a lock.
    std::vector<unsigned long long> const& get_histogram() const { return index_.histogram(); }
    IndexedSEGYHeader const& header() const { return index_.header; }
    std::string const& path() const { return path_; }

    // Posted once for each round of the streaming thread that answered requests.
    void set_update_sink(platform::UpdateHandle h) { updateSink_ = h; }

    void process(unsigned int budgetMs, bool& didWork) override;

private:
    // Where a cached trace stands, each kind in its own list, most recently
    // used first: pinned ones are needed by a waiting call and never leave;
    // wanted ones were requested and not yet collected, and leave only when
    // no cold one is left.
    enum Hold { pinned, wanted, cold, holdKinds };
    struct Cached {
        Trace trace;
        Hold hold = cold;
        std::list<TraceKey>::iterator at; // in lists_[hold]
    };
    struct Job {
        TraceKey key;
        long long offset = 0;
        std::vector<float> samples;
        bool ok = false;
    };
    using Queued = std::pair<long long, TraceKey>; // file offset first: the queue is read in file order
    using Clock = std::chrono::steady_clock;

    // Streaming thread: reads batches until `deadline` or until nothing is
    // left; answers whether any request was answered.
    bool read_round(Clock::time_point deadline, bool readAhead, bool& didWork);
    void read_jobs(std::vector<Job>& jobs);
    bool next_in_file(TraceKey& key, long long& offset) const;

    // Under mutex_:
    bool enqueue(TraceKey const& key);
    void take_requests(std::vector<Job>& jobs);
    void take_read_ahead(std::vector<Job>& jobs);
    void move_to(Cached& c, Hold h);
    void evict();
    void collect_sample(SampleKey const& key, std::vector<std::pair<SampleKey, float>>& out);

    // Pins the keys' traces, requests the missing ones and waits for them;
    // then calls collect() under the lock and lets the pins go.
    template <class Collect>
    void wait_for(std::vector<TraceKey> keys, Collect&& collect);

    std::string const path_;
    CompressedIndex const index_;
    long long traceBytes_ = 0; // header and samples of one trace in the file

    // Streaming thread only (and the destructor).
    std::unique_ptr<std::istream> stream_;
    std::vector<unsigned char> runBuffer_; // for the streaming thread only
    long long sweepOffset_ = 0; // where the forward sweep over the queue stands
    TraceKey aheadKey_;         // the last trace read ahead, or requested
    long long aheadOffset_ = 0;
    int aheadLeft_ = 0;

    std::atomic<platform::UpdateHandle> updateSink_{0};

    // Under mutex_:
    std::condition_variable cv_; // traces a waiting call needs may have arrived
    std::set<Queued> queue_;     // requested, not yet answered
    std::map<TraceKey, Cached> cache_;
    std::list<TraceKey> lists_[holdKinds];
    std::map<TraceKey, int> pins_; // waiting calls per key
    std::set<TraceKey> failed_;    // requested but unreadable: answered as missing from then on
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
