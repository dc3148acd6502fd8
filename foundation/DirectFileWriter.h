#pragma once
// Appends bytes to a file straight to the disk (O_DIRECT), from a few aligned
// buffers that a thread of its own writes out. Data written once and not
// read back soon is better kept out of the page cache: on the machines this
// was measured on, writing through it cost the CPU ten times as much as the
// copy into these buffers, and its writeback ran on the same cores. The
// caller waits for the disk only when every buffer is in flight.

#include "platform/api.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class DirectFileWriter {
public:
    // Opens the existing file for appending from offset `from` on. Null when
    // the file system does not take direct writes (tmpfs, for one).
    static std::unique_ptr<DirectFileWriter> open(std::string const& path, std::uint64_t from);
    // Waits for the writes in flight; what was appended since the last
    // finish() may be lost.
    ~DirectFileWriter();
    DirectFileWriter(DirectFileWriter const&) = delete;
    DirectFileWriter& operator=(DirectFileWriter const&) = delete;

    // One thread at a time, and not after finish().
    void append(void const* data, std::size_t n);
    // The offset after the last byte appended.
    std::uint64_t end() const { return end_; }
    // Writes what is left, its last block padded with zeros (so the file may
    // end up to a block past end()), and waits for every write. The bytes
    // from the block boundary before `from` up to `from` are written as
    // zeros. False, with the reason, when a write failed; writes that the
    // disk refused to take directly are made through the page cache instead.
    bool finish(std::string& why);

    // Direct writes go in whole blocks of this size, from addresses aligned to it.
    static constexpr std::size_t kBlock = 4096;

private:
    struct Buffer {
        char* data = nullptr;
        std::uint64_t offset = 0; // of data[0] in the file
        std::size_t used = 0;
    };
    DirectFileWriter() = default;
    void submit(Buffer b);
    void run();
    bool write_out(Buffer const& b);

    int direct_ = -1, plain_ = -1; // the same file, with and without O_DIRECT
    std::uint64_t end_ = 0;
    Buffer current_;
    std::vector<char*> all_; // every buffer, for the destructor

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Buffer> queue_;
    std::vector<char*> free_;
    std::size_t inFlight_ = 0;
    bool stop_ = false;
    bool directRefused_ = false; // since then, writes go through the page cache
    std::string error_;
    std::thread thread_;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
