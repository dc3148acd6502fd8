#include "foundation/StreamerIndexedSEGY3DReader.h"

#include <algorithm>
#include <climits>
#include <filesystem>
#include <fstream>
#include <thread>

#include "foundation/SEGY3D_read_trace.h"
#include "foundation/StreamerManager.h"
#include "foundation/log.h"
#include "foundation/sample_decode.h"
#include "platform/last_error.h"
#include "platform/mapped_file.h"

namespace Tolmar {

namespace {

// Traces read between two hand-overs to the callers: few enough that waiting
// calls see progress and the budget is kept, many enough that the lock and
// the wake-ups stay rare.
constexpr std::size_t kBatch = 32;

// The streaming thread, once any reader has run on it. A waiting call made
// there, from another streamer's process(), reads in place: waiting would
// wait for itself.
std::atomic<std::thread::id> g_streamingThread{};

} // namespace

std::shared_ptr<StreamerIndexedSEGY3DReader> open_indexed_segy3d_reader(std::string const& segyPath,
                                                                        std::string const& indexPath,
                                                                        std::string* why, std::string* whyFile)
{
    CompressedIndex index;
    if (whyFile) *whyFile = indexPath;
    if (!index.read(indexPath, why)) return nullptr; // read() tells why
    if (whyFile) *whyFile = segyPath;
    return open_indexed_segy3d_reader(segyPath, index, why);
}

std::shared_ptr<StreamerIndexedSEGY3DReader> open_indexed_segy3d_reader(std::string const& segyPath,
                                                                        CompressedIndex const& index,
                                                                        std::string* whyNot)
{
    auto fail = [&](std::string const& why) {
        Util::logf("StreamerIndexedSEGY3DReader: '%s' %s\n", segyPath.c_str(), why.c_str());
        platform::set_last_error_info(segyPath + ": " + why);
        if (whyNot) *whyNot = why;
        return nullptr;
    };
    SampleCoding coding;
    if (!sample_coding_for_format(index.header.format, index.header.ibmFloat, coding) || index.header.nSamples <= 0)
        return fail("has an index that gives format " + std::to_string(index.header.format) + " with " +
                    std::to_string(index.header.nSamples) + " samples");
    std::error_code ec;
    if (!std::filesystem::is_regular_file(segyPath, ec)) return fail("is not a file");
    // A plain stream, not a mapping: a reader sweeps whole surveys, and every
    // page a mapping touches stays in the process's resident memory.
    std::unique_ptr<std::istream> stream = std::make_unique<std::ifstream>(segyPath, std::ios::binary);
    if (!stream || !*stream) return fail("cannot be opened");
    auto reader = std::make_shared<StreamerIndexedSEGY3DReader>(StreamerIndexedSEGY3DReader::Opening{}, segyPath,
                                                                index, std::move(stream));
    StreamerManager::get_instance().add_streamer(reader);
    return reader;
}

StreamerIndexedSEGY3DReader::StreamerIndexedSEGY3DReader(Opening, std::string path, CompressedIndex const& index,
                                                         std::unique_ptr<std::istream> stream)
    : path_(std::move(path)), index_(index), stream_(std::move(stream))
{
    SampleCoding coding = SampleCoding::ibm32;
    sample_coding_for_format(index_.header.format, index_.header.ibmFloat, coding);
    traceBytes_ = 240 + static_cast<long long>(index_.header.nSamples) * static_cast<long long>(sample_bytes(coding));
}

StreamerIndexedSEGY3DReader::~StreamerIndexedSEGY3DReader() = default;

bool StreamerIndexedSEGY3DReader::trace_exist(int inl, int crl) const { return index_.lookup(inl, crl); }

// ---- requests and answers, on the callers' threads -------------------------

bool StreamerIndexedSEGY3DReader::enqueue(TraceKey const& key)
{
    long long offset = 0;
    if (!index_.lookup(key.inl, key.crl, offset) || failed_.count(key)) return false;
    auto const it = cache_.find(key);
    if (it != cache_.end()) {
        // Asked for again: keep it for the caller as if just read.
        if (it->second.hold == cold) move_to(it->second, wanted);
        return false;
    }
    return queue_.insert({offset, key}).second;
}

void StreamerIndexedSEGY3DReader::request_traces(std::vector<TraceKey> const& keys)
{
    bool queued = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (TraceKey const& k : keys) queued = enqueue(k) || queued;
    }
    if (queued) wake_streaming_thread();
}

void StreamerIndexedSEGY3DReader::request_samples(std::vector<SampleKey> const& keys)
{
    std::vector<TraceKey> traces;
    traces.reserve(keys.size());
    for (SampleKey const& s : keys)
        if (s.sample >= 0 && s.sample < index_.header.nSamples) traces.push_back({s.inl, s.crl});
    request_traces(traces);
}

void StreamerIndexedSEGY3DReader::get_traces_nonblocking(std::vector<TraceKey> const& keys, std::vector<Trace>& out)
{
    out.clear();
    std::lock_guard<std::mutex> lock(mutex_);
    for (TraceKey const& k : keys) {
        auto const it = cache_.find(k);
        if (it == cache_.end()) continue;
        out.push_back(it->second.trace);
        if (it->second.hold != pinned) move_to(it->second, cold); // collected
    }
}

void StreamerIndexedSEGY3DReader::collect_sample(SampleKey const& key, std::vector<std::pair<SampleKey, float>>& out)
{
    if (key.sample < 0) return;
    auto const it = cache_.find({key.inl, key.crl});
    if (it == cache_.end()) return;
    auto const& samples = it->second.trace.samples;
    if (static_cast<std::size_t>(key.sample) < samples.size()) out.emplace_back(key, samples[key.sample]);
    if (it->second.hold != pinned) move_to(it->second, cold);
}

void StreamerIndexedSEGY3DReader::get_samples_nonblocking(std::vector<SampleKey> const& keys,
                                                          std::vector<std::pair<SampleKey, float>>& out)
{
    out.clear();
    std::lock_guard<std::mutex> lock(mutex_);
    for (SampleKey const& k : keys) collect_sample(k, out);
}

template <class Collect>
void StreamerIndexedSEGY3DReader::wait_for(std::vector<TraceKey> keys, Collect&& collect)
{
    std::erase_if(keys, [&](TraceKey const& k) { return !index_.lookup(k.inl, k.crl); });
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    if (keys.empty()) return;

    std::unique_lock<std::mutex> lock(mutex_);
    bool queued = false;
    for (TraceKey const& k : keys) {
        if (pins_[k]++ > 0) continue; // pinned, and queued or cached, by another waiting call
        auto const it = cache_.find(k);
        if (it != cache_.end())
            move_to(it->second, pinned);
        else
            queued = enqueue(k) || queued;
    }
    if (queued) {
        lock.unlock();
        wake_streaming_thread();
        lock.lock();
    }

    // A pinned trace stays once it has come, so the keys are checked once
    // each, in order, from where the last wake-up stopped: thousands of keys
    // are not searched again for every batch that arrives.
    std::size_t arrivedCount = 0;
    auto const arrived = [&] {
        while (arrivedCount < keys.size() &&
               (cache_.count(keys[arrivedCount]) || failed_.count(keys[arrivedCount])))
            ++arrivedCount;
        return arrivedCount == keys.size();
    };
    bool const onStreamingThread = std::this_thread::get_id() == g_streamingThread.load(std::memory_order_relaxed);
    while (!arrived()) {
        if (!onStreamingThread) {
            cv_.wait(lock);
            continue;
        }
        lock.unlock();
        bool didWork = false;
        if (read_round(Clock::time_point::max(), false, didWork)) platform::post_update(updateSink_.load());
        lock.lock();
        if (!didWork) break; // nothing was left to read: never spin
    }

    collect();
    for (TraceKey const& k : keys) {
        auto const p = pins_.find(k);
        if (--p->second > 0) continue;
        pins_.erase(p);
        auto const it = cache_.find(k);
        if (it != cache_.end()) move_to(it->second, cold); // collected
    }
    evict();
}

void StreamerIndexedSEGY3DReader::get_traces_blocking(std::vector<TraceKey> const& keys, std::vector<Trace>& out)
{
    out.clear();
    wait_for(keys, [&] {
        for (TraceKey const& k : keys) {
            auto const it = cache_.find(k);
            if (it != cache_.end()) out.push_back(it->second.trace);
        }
    });
}

void StreamerIndexedSEGY3DReader::get_samples_blocking(std::vector<SampleKey> const& keys,
                                                       std::vector<std::pair<SampleKey, float>>& out)
{
    out.clear();
    std::vector<TraceKey> traces;
    traces.reserve(keys.size());
    for (SampleKey const& s : keys)
        if (s.sample >= 0 && s.sample < index_.header.nSamples) traces.push_back({s.inl, s.crl});
    wait_for(std::move(traces), [&] {
        for (SampleKey const& k : keys) collect_sample(k, out);
    });
}

bool StreamerIndexedSEGY3DReader::has_requests()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return !queue_.empty();
}

// ---- the cache --------------------------------------------------------------

void StreamerIndexedSEGY3DReader::move_to(Cached& c, Hold h)
{
    lists_[h].splice(lists_[h].begin(), lists_[c.hold], c.at);
    c.hold = h;
}

void StreamerIndexedSEGY3DReader::evict()
{
    std::size_t const limit = static_cast<std::size_t>(std::max(0, cacheTraces.load()));
    while (cache_.size() > limit) {
        std::list<TraceKey>& from = lists_[cold].empty() ? lists_[wanted] : lists_[cold];
        if (from.empty()) return; // the rest is pinned
        cache_.erase(from.back());
        from.pop_back();
    }
}

// ---- reading, on the streaming thread --------------------------------------

void StreamerIndexedSEGY3DReader::take_requests(std::vector<Job>& jobs)
{
    // One forward sweep over the file, wrapping round at its end, so that
    // requests coming in meanwhile do not send the reads back and forth.
    auto it = queue_.lower_bound({sweepOffset_, TraceKey{INT_MIN, INT_MIN}});
    if (it == queue_.end()) it = queue_.begin();
    for (; it != queue_.end() && jobs.size() < kBatch; ++it) {
        Job& j = jobs.emplace_back();
        j.key = it->second;
        j.offset = it->first;
    }
    if (!jobs.empty()) sweepOffset_ = jobs.back().offset;
}

bool StreamerIndexedSEGY3DReader::next_in_file(TraceKey& key, long long& offset) const
{
    IndexedSEGYHeader const& h = index_.header;
    long long const inlStep = h.inlStep != 0 ? h.inlStep : 1, crlStep = h.crlStep != 0 ? h.crlStep : 1;
    // Along the line either way, then the start of the next line either way.
    long long const candidates[4][2] = {{key.inl, key.crl + crlStep},
                                        {key.inl + inlStep, key.crl},
                                        {key.inl + inlStep, h.crlStart},
                                        {h.inlStart, key.crl + crlStep}};
    for (auto const& c : candidates) {
        if (c[0] < INT_MIN || c[0] > INT_MAX || c[1] < INT_MIN || c[1] > INT_MAX) continue;
        long long o = 0;
        if (index_.lookup(static_cast<int>(c[0]), static_cast<int>(c[1]), o) && o == offset + traceBytes_) {
            key = {static_cast<int>(c[0]), static_cast<int>(c[1])};
            offset = o;
            return true;
        }
    }
    return false;
}

void StreamerIndexedSEGY3DReader::take_read_ahead(std::vector<Job>& jobs)
{
    std::size_t const limit = static_cast<std::size_t>(std::max(0, cacheTraces.load()));
    while (aheadLeft_ > 0 && jobs.size() < kBatch) {
        // Read ahead only into room, or in place of traces nobody waits for.
        if (cache_.size() + jobs.size() >= limit && lists_[cold].empty()) break;
        if (!next_in_file(aheadKey_, aheadOffset_)) break;
        --aheadLeft_;
        if (!cache_.count(aheadKey_) && !failed_.count(aheadKey_)) {
            Job& j = jobs.emplace_back();
            j.key = aheadKey_;
            j.offset = aheadOffset_;
        }
    }
    if (jobs.empty()) aheadLeft_ = 0;
}

// Traces that follow each other in the file are read with one call: a read
// a trace costs more in the system than decoding it. A run that cannot be
// read whole is read trace by trace, so the good ones before a damaged end
// still arrive.
void StreamerIndexedSEGY3DReader::read_jobs(std::vector<Job>& jobs)
{
    for (std::size_t first = 0, last; first < jobs.size(); first = last) {
        last = first + 1;
        while (last < jobs.size() && jobs[last].offset == jobs[last - 1].offset + traceBytes_) ++last;
        bool whole = false;
        if (last - first > 1 && traceBytes_ > 0) {
            std::size_t const bytes = static_cast<std::size_t>(traceBytes_) * (last - first);
            runBuffer_.resize(bytes);
            stream_->clear();
            stream_->seekg(jobs[first].offset, std::ios::beg);
            stream_->read(reinterpret_cast<char*>(runBuffer_.data()), static_cast<std::streamsize>(bytes));
            whole = static_cast<std::size_t>(stream_->gcount()) == bytes;
        }
        for (std::size_t j = first; j < last; ++j)
            jobs[j].ok = whole ? SEGY3D_decode_trace(runBuffer_.data() + (j - first) * traceBytes_, index_.header,
                                                     jobs[j].samples)
                               : SEGY3D_read_trace(*stream_, jobs[j].offset, index_.header, jobs[j].samples);
    }
}

bool StreamerIndexedSEGY3DReader::read_round(Clock::time_point deadline, bool readAhead, bool& didWork)
{
    bool answered = false;
    std::vector<Job> jobs;
    for (;;) {
        jobs.clear();
        bool requested = false;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            take_requests(jobs);
            requested = !jobs.empty();
            if (!requested && readAhead) take_read_ahead(jobs);
        }
        if (jobs.empty()) break;

        // The file is read without the lock, so callers are never held up by it.
        read_jobs(jobs);
        didWork = true;
        if (requested) {
            aheadKey_ = jobs.back().key;
            aheadOffset_ = jobs.back().offset;
            aheadLeft_ = std::max(0, readAheadTraces.load());
        }

        {
            std::lock_guard<std::mutex> lock(mutex_);
            for (Job& j : jobs) {
                bool const asked = queue_.erase({j.offset, j.key}) > 0;
                answered = answered || asked;
                if (!j.ok) {
                    // A failed read ahead is dropped; it is told when the trace is asked for.
                    // Told before any waiting call can see the answer, so the line is never late.
                    if (asked && failed_.insert(j.key).second)
                        Util::logf("StreamerIndexedSEGY3DReader: cannot read the trace of inline %d, crossline %d "
                                   "from '%s'\n",
                                   j.key.inl, j.key.crl, path_.c_str());
                    if (!asked) aheadLeft_ = 0;
                    continue;
                }
                if (cache_.count(j.key)) continue;
                Hold const h = pins_.count(j.key) ? pinned : asked ? wanted : cold;
                lists_[h].push_front(j.key);
                cache_.emplace(j.key, Cached{Trace{j.key.inl, j.key.crl, std::move(j.samples)}, h, lists_[h].begin()});
            }
            evict();
        }
        cv_.notify_all();
        if (Clock::now() >= deadline) break;
    }
    return answered;
}

void StreamerIndexedSEGY3DReader::process(unsigned int budgetMs, bool& didWork)
{
    g_streamingThread.store(std::this_thread::get_id(), std::memory_order_relaxed);
    if (reading_paused()) return;
    auto const deadline = Clock::now() + std::chrono::milliseconds(budgetMs);
    if (read_round(deadline, true, didWork)) platform::post_update(updateSink_.load());
}

} // namespace Tolmar
