#include "foundation/Streamer3DGridReader.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <xxhash.h>

#include "foundation/StreamerManager.h"
#include "foundation/log.h"
#include "platform/last_error.h"

namespace Tolmar {

namespace {

// Reads with pread rather than through a mapping: a file cut short while it
// is open then fails a read instead of faulting, and the streaming thread
// and the opening thread never share a file position.
bool read_at(int fd, std::uint64_t offset, void* p, std::size_t n)
{
    auto* b = static_cast<char*>(p);
    while (n > 0) {
        ssize_t const r = ::pread(fd, b, n, static_cast<off_t>(offset));
        if (r < 0 && errno == EINTR) continue;
        if (r <= 0) return false;
        b += r;
        n -= static_cast<std::size_t>(r);
        offset += static_cast<std::uint64_t>(r);
    }
    return true;
}

std::uint64_t sum_at(unsigned char const* p)
{
    std::uint64_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

Brick make_brick(BrickKey const& key, std::vector<char> const& data)
{
    Brick b;
    b.level = key.level;
    b.id = key.id;
    b.data = data;
    return b;
}

} // namespace

std::shared_ptr<Streamer3DGridReader> open_3dgrid_reader(std::string const& path, std::string* why)
{
    std::shared_ptr<Streamer3DGridReader> reader(new Streamer3DGridReader());
    if (!reader->open(path, why)) return nullptr;
    StreamerManager::get_instance().add_streamer(reader);
    return reader;
}

Streamer3DGridReader::~Streamer3DGridReader()
{
    if (fd_ >= 0) ::close(fd_);
}

bool Streamer3DGridReader::open(std::string const& path, std::string* whyNot)
{
    path_ = path;
    auto fail = [&](std::string const& why) {
        Util::logf("Streamer3DGridReader: '%s' %s\n", path.c_str(), why.c_str());
        platform::set_last_error_info(path + ": " + why);
        if (whyNot) *whyNot = why;
        return false;
    };
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) return fail(std::string("cannot be opened (") + std::strerror(errno) + ")");
    struct stat st {};
    if (::fstat(fd_, &st) != 0 || !S_ISREG(st.st_mode)) return fail("is not a brick file");
    auto const fileSize = static_cast<std::uint64_t>(st.st_size);

    unsigned char pre[kPreambleBytes] = {};
    std::size_t const got = static_cast<std::size_t>(std::min<std::uint64_t>(fileSize, sizeof pre));
    if (!read_at(fd_, 0, pre, got)) return fail("could not be read");
    if (std::memcmp(pre, kMagic, std::min(got, sizeof kMagic)) != 0) return fail("is not a brick file");
    if (got < sizeof pre) return fail("is truncated");
    std::uint32_t version, headerBytes;
    std::memcpy(&version, pre + 8, 4);
    std::memcpy(&headerBytes, pre + 12, 4);
    if (version != kVersion) return fail("has a version this program cannot read");
    // At most 33 levels: each halves a count of up to 2^32.
    if (headerBytes < kFixedHeaderBytes || headerBytes > kFixedHeaderBytes + 12 * 33 + kMaxNameBytes)
        return fail("has a header length of " + std::to_string(headerBytes) + " bytes, which no header has");
    if (headerBytes + kSumBytes > fileSize) return fail("is truncated");

    std::vector<unsigned char> head(headerBytes + kSumBytes);
    if (!read_at(fd_, 0, head.data(), head.size())) return fail("could not be read");
    if (XXH64(head.data(), headerBytes, 0) != sum_at(head.data() + headerBytes))
        return fail("has a checksum mismatch in the header");
    std::uint64_t histogramOffset = 0, bins = 0;
    std::string why;
    if (!decode_header(head.data(), headerBytes, histogramOffset, bins, why)) return fail(why);

    // The counts passed the checksum; the file must hold what they say
    // before anything is allocated for them.
    std::uint64_t const tableAt = headerBytes + kSumBytes, dataAt = data_start();
    if (dataAt > fileSize) return fail("is truncated");
    if (histogramOffset < dataAt || histogramOffset > fileSize || bins > fileSize / 8)
        return fail("has a histogram offset or bin count that its file does not hold");
    std::uint64_t const expected = histogramOffset + bins * 8 + kSumBytes;
    if (fileSize < expected) return fail("is truncated");
    if (fileSize > expected) return fail("has unexpected bytes past its end");

    std::size_t const n = static_cast<std::size_t>(total_bricks());
    std::vector<unsigned char> raw(n * kEntryBytes + kSumBytes);
    if (!read_at(fd_, tableAt, raw.data(), raw.size())) return fail("could not be read");
    if (XXH64(raw.data(), n * kEntryBytes, 0) != sum_at(raw.data() + n * kEntryBytes))
        return fail("has a checksum mismatch in the brick table");
    table_.resize(n);
    for (std::size_t i = 0; i < n; ++i) {
        TableEntry const e = decode_entry(raw.data() + i * kEntryBytes);
        bool const inData = e.offset >= dataAt && e.offset <= histogramOffset && e.size > 0 &&
                            e.size <= histogramOffset - e.offset;
        bool const known = e.encoding == kZstdDeltaPlanes || (e.encoding == kRaw && e.size == brickBytes_);
        bool const ok = e.undefined() ? e.size == 0 : inData && known;
        if (!ok) return fail("has a malformed brick table");
        table_[i] = e;
    }

    std::vector<unsigned char> tail(static_cast<std::size_t>(bins) * 8 + kSumBytes);
    if (!read_at(fd_, histogramOffset, tail.data(), tail.size())) return fail("could not be read");
    if (XXH64(tail.data(), tail.size() - kSumBytes, 0) != sum_at(tail.data() + tail.size() - kSumBytes))
        return fail("has a checksum mismatch in the histogram");
    histogram_.resize(static_cast<std::size_t>(bins));
    if (bins > 0) std::memcpy(histogram_.data(), tail.data(), histogram_.size() * 8);
    return true;
}

bool Streamer3DGridReader::is_undef_brick(BrickKey const& key) const
{
    return contains(key) && table_[table_index(key)].undefined();
}

// ---- requests -----------------------------------------------------------------

void Streamer3DGridReader::request_bricks(std::vector<BrickKey> const& keys)
{
    bool added = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (BrickKey const& k : keys) {
            BrickKey const key{k.level, k.id}; // a Brick passed as its key
            if (!contains(key) || table_[table_index(key)].undefined() || cache_.count(key) || failed_.count(key))
                continue;
            if (queued_.insert(key).second) {
                queue_.push_back(key);
                added = true;
            }
        }
    }
    if (added) wake_streaming_thread();
}

void Streamer3DGridReader::get_bricks_if_loaded(std::vector<BrickKey> const& keys, std::vector<Brick>& out)
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (BrickKey const& k : keys) {
        BrickKey const key{k.level, k.id};
        if (!contains(key)) continue;
        if (table_[table_index(key)].undefined()) {
            out.push_back(make_brick(key, {}));
            continue;
        }
        auto const it = cache_.find(key);
        if (it == cache_.end()) continue;
        lru_.splice(lru_.begin(), lru_, it->second.lru);
        out.push_back(make_brick(key, *it->second.data));
    }
}

bool Streamer3DGridReader::get_bricks_blocking(std::vector<BrickKey> const& keys, std::vector<Brick>& out)
{
    std::vector<BrickView> views;
    bool const ok = get_brick_views_blocking(keys, views);
    // Copied outside the lock, so the streaming thread is not held up.
    for (auto const& v : views) out.push_back(v.data ? make_brick(v.key, *v.data) : make_brick(v.key, {}));
    return ok;
}

bool Streamer3DGridReader::get_brick_views_blocking(std::vector<BrickKey> const& keys, std::vector<BrickView>& out)
{
    Waiter waiter;
    waiter.out = &out;
    std::unique_lock<std::mutex> lock(mutex_);
    for (BrickKey const& k : keys) {
        BrickKey const key{k.level, k.id};
        if (!contains(key)) continue;
        if (table_[table_index(key)].undefined()) {
            out.push_back(BrickView{key, nullptr});
            continue;
        }
        if (auto const it = cache_.find(key); it != cache_.end()) {
            lru_.splice(lru_.begin(), lru_, it->second.lru);
            out.push_back(BrickView{key, it->second.data});
        } else if (failed_.count(key)) {
            waiter.failed = true;
        } else if (waiter.pending.insert(key).second && queued_.insert(key).second) {
            // A brick being read right now is queued again; the second read
            // finds it in the cache and passes it over.
            queue_.push_back(key);
        }
    }
    if (waiter.pending.empty()) return !waiter.failed;
    // The streaming thread hands each brick to the waiters as it arrives,
    // so a cache too small for all of them cannot lose one.
    waiters_.push_back(&waiter);
    lock.unlock();
    wake_streaming_thread();
    lock.lock();
    arrived_.wait(lock, [&] { return waiter.pending.empty(); });
    waiters_.erase(std::find(waiters_.begin(), waiters_.end(), &waiter));
    return !waiter.failed;
}

// ---- cache --------------------------------------------------------------------

void Streamer3DGridReader::set_cache_limit(std::size_t bytes)
{
    std::lock_guard<std::mutex> lock(mutex_);
    cacheLimit_ = bytes;
    trim_cache();
}

std::size_t Streamer3DGridReader::cache_bytes()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return cacheBytes_;
}

void Streamer3DGridReader::trim_cache()
{
    while (cacheBytes_ > cacheLimit_ && !lru_.empty()) {
        auto const it = cache_.find(lru_.back());
        cacheBytes_ -= it->second.data->size();
        cache_.erase(it);
        lru_.pop_back();
    }
}

void Streamer3DGridReader::set_update_sink(platform::UpdateHandle handle)
{
    std::lock_guard<std::mutex> lock(mutex_);
    sink_ = handle;
}

bool Streamer3DGridReader::is_loading_data()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return !queue_.empty() || reading_ > 0;
}

// ---- the streaming thread -----------------------------------------------------

bool Streamer3DGridReader::read_brick(BrickKey const& key, std::vector<char>& data) const
{
    TableEntry const& e = table_[table_index(key)];
    std::vector<char> stored(e.size);
    errno = 0;
    if (!read_at(fd_, e.offset, stored.data(), stored.size())) {
        Util::logf("Streamer3DGridReader: '%s': brick (level %u, id %u) could not be read (%s)\n", path_.c_str(),
                   key.level, key.id, errno ? std::strerror(errno) : "the file is shorter than its table says");
        return false;
    }
    if (XXH64(stored.data(), stored.size(), 0) != e.checksum) {
        Util::logf("Streamer3DGridReader: '%s': brick (level %u, id %u) fails its checksum; not delivered\n",
                   path_.c_str(), key.level, key.id);
        return false;
    }
    if (!decode_brick(stored.data(), stored.size(), e.encoding, data)) {
        Util::logf("Streamer3DGridReader: '%s': brick (level %u, id %u) cannot be decompressed; not delivered\n",
                   path_.c_str(), key.level, key.id);
        return false;
    }
    return true;
}

void Streamer3DGridReader::deliver(BrickKey const& key, std::vector<char>* data)
{
    std::shared_ptr<std::vector<char> const> shared;
    if (data) shared = std::make_shared<std::vector<char> const>(std::move(*data));
    for (Waiter* w : waiters_) {
        if (!w->pending.erase(key)) continue;
        if (shared) w->out->push_back(BrickView{key, shared});
        else w->failed = true;
    }
    if (!shared) {
        failed_.insert(key);
        return;
    }
    auto [it, fresh] = cache_.try_emplace(key);
    if (fresh) {
        lru_.push_front(key);
        it->second.lru = lru_.begin();
    } else {
        lru_.splice(lru_.begin(), lru_, it->second.lru);
        cacheBytes_ -= it->second.data->size();
    }
    cacheBytes_ += shared->size();
    it->second.data = std::move(shared);
    trim_cache();
}

void Streamer3DGridReader::process(unsigned int budgetMs, bool& didWork)
{
    if (reading_paused()) return;
    auto const start = std::chrono::steady_clock::now();
    bool arrived = false;
    platform::UpdateHandle sink = 0;
    for (;;) {
        BrickKey key;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            bool found = false;
            while (!found && !queue_.empty()) {
                key = queue_.front();
                queue_.pop_front();
                queued_.erase(key);
                found = !cache_.count(key) && !failed_.count(key);
            }
            if (!found) break;
            ++reading_;
        }
        didWork = true;
        std::vector<char> data;
        bool const ok = read_brick(key, data);
        {
            std::lock_guard<std::mutex> lock(mutex_);
            --reading_;
            deliver(key, ok ? &data : nullptr);
            arrived = arrived || ok;
            sink = sink_;
        }
        arrived_.notify_all();
        if (reading_paused() ||
            std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(budgetMs))
            break;
    }
    if (arrived) platform::post_update(sink);
}

} // namespace Tolmar
