#include "foundation/DirectFileWriter.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace Tolmar {

namespace {

// Large enough that a write costs the disk little besides the transfer,
// few enough that they are a small part of a writer's memory.
constexpr std::size_t kBufferBytes = std::size_t(4) << 20;
constexpr std::size_t kBuffers = 3;

bool write_all(int fd, char const* p, std::size_t n, std::uint64_t offset, int& error)
{
    while (n > 0) {
        ssize_t const w = ::pwrite(fd, p, n, static_cast<off_t>(offset));
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) {
            error = w < 0 ? errno : EIO;
            return false;
        }
        p += w;
        n -= static_cast<std::size_t>(w);
        offset += static_cast<std::uint64_t>(w);
    }
    return true;
}

} // namespace

std::unique_ptr<DirectFileWriter> DirectFileWriter::open(std::string const& path, std::uint64_t from)
{
#ifdef O_DIRECT
    int const direct = ::open(path.c_str(), O_WRONLY | O_DIRECT | O_CLOEXEC);
    if (direct < 0) return nullptr;
    int const plain = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (plain < 0) {
        ::close(direct);
        return nullptr;
    }
    std::unique_ptr<DirectFileWriter> w(new DirectFileWriter());
    w->direct_ = direct;
    w->plain_ = plain;
    for (std::size_t i = 0; i < kBuffers; ++i) {
        char* b = static_cast<char*>(std::aligned_alloc(kBlock, kBufferBytes));
        if (!b) break;
        w->all_.push_back(b);
        w->free_.push_back(b);
    }
    if (w->free_.size() < 2) return nullptr;
    try {
        w->thread_ = std::thread([p = w.get()] { p->run(); });
    } catch (std::system_error const&) {
        return nullptr;
    }
    // The first buffer starts at the block that holds `from`.
    w->current_.data = w->free_.back();
    w->free_.pop_back();
    w->current_.offset = from / kBlock * kBlock;
    w->current_.used = static_cast<std::size_t>(from - w->current_.offset);
    std::memset(w->current_.data, 0, w->current_.used);
    w->end_ = from;
    return w;
#else
    (void)path;
    (void)from;
    return nullptr;
#endif
}

DirectFileWriter::~DirectFileWriter()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
    for (char* b : all_) std::free(b);
    if (direct_ >= 0) ::close(direct_);
    if (plain_ >= 0) ::close(plain_);
}

void DirectFileWriter::append(void const* data, std::size_t n)
{
    auto const* p = static_cast<char const*>(data);
    while (n > 0) {
        std::size_t const take = std::min(n, kBufferBytes - current_.used);
        std::memcpy(current_.data + current_.used, p, take);
        current_.used += take;
        p += take;
        n -= take;
        end_ += take;
        if (current_.used == kBufferBytes) {
            std::uint64_t const next = current_.offset + kBufferBytes;
            submit(current_);
            std::unique_lock<std::mutex> lock(mutex_);
            changed_.wait(lock, [&] { return !free_.empty(); });
            current_.data = free_.back();
            free_.pop_back();
            current_.offset = next;
            current_.used = 0;
        }
    }
}

void DirectFileWriter::submit(Buffer b)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        queue_.push_back(b);
        ++inFlight_;
    }
    changed_.notify_all();
}

bool DirectFileWriter::write_out(Buffer const& b)
{
    int error = 0;
    if (!directRefused_) {
        if (write_all(direct_, b.data, b.used, b.offset, error)) return true;
        // The file system took the O_DIRECT open but not these writes.
        if (error != EINVAL && error != EOPNOTSUPP) {
            error_ = std::strerror(error);
            return false;
        }
        directRefused_ = true;
    }
    if (write_all(plain_, b.data, b.used, b.offset, error)) return true;
    error_ = std::strerror(error);
    return false;
}

void DirectFileWriter::run()
{
    for (;;) {
        Buffer b;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            changed_.wait(lock, [&] { return stop_ || !queue_.empty(); });
            if (queue_.empty()) return;
            b = queue_.front();
            queue_.pop_front();
        }
        bool const ok = error_.empty() && write_out(b);
        (void)ok; // a failure is kept in error_ and told by finish()
        {
            std::lock_guard<std::mutex> lock(mutex_);
            free_.push_back(b.data);
            --inFlight_;
        }
        changed_.notify_all();
    }
}

bool DirectFileWriter::finish(std::string& why)
{
    if (current_.data && current_.used > 0) {
        std::size_t const padded = (current_.used + kBlock - 1) / kBlock * kBlock;
        std::memset(current_.data + current_.used, 0, padded - current_.used);
        Buffer last = current_;
        last.used = padded;
        submit(last);
        current_.data = nullptr;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return inFlight_ == 0; });
    if (!error_.empty()) {
        why = error_;
        return false;
    }
    return true;
}

} // namespace Tolmar
