#pragma once
// Writes a brick file (".tmf", docs/formats.md) from bricks handed over in
// any order. Bricks go to the file as they come, each compressed on its own,
// so a survey of any size passes through in bounded memory; finish() then
// derives every coarser level from the file itself and writes the tables.
//
// The file is written as PATH.tmpPID and renamed to PATH by finish(), so a
// reader never sees a half-written cube and a failed write leaves nothing
// behind. One thread at a time, but for add_brick().

#include "platform/api.h"

#include <cstddef>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "foundation/DirectFileWriter.h"
#include "foundation/Streamer3DGridBase.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class Streamer3DGridLowLevelWriter : public Streamer3DGridBase {
public:
    Streamer3DGridLowLevelWriter() = default;
    // Finishes the file when finish() was not called.
    ~Streamer3DGridLowLevelWriter() override;
    Streamer3DGridLowLevelWriter(Streamer3DGridLowLevelWriter const&) = delete;
    Streamer3DGridLowLevelWriter& operator=(Streamer3DGridLowLevelWriter const&) = delete;

    // Starts a file for a cube of totalSize (samples, crosslines, inlines).
    // undefValue marks elements no trace reaches; NaN picks the type's
    // default (default_undef_value). False with a log line, and no file, when
    // the arguments do not make a cube or the file cannot be created. A file
    // begun earlier and not finished is abandoned. `info` may still change
    // until finish(), all but the length of its name, which sizes the header.
    bool create(std::string const& path, vec<unsigned, 3> const& totalSize, Info3DGrid::eDataType type,
                unsigned brickSize, unsigned border, double minValue, double maxValue, double undefValue,
                SEGYCubeInfo const& info);

    // Writes the bricks, normally of level 0, in any order. Empty data stores
    // the brick as undefined. A brick outside the grid, or whose data is not
    // exactly brick_bytes() long, is refused with a log line. A brick given
    // again replaces the earlier one.
    void add_bricks(std::vector<Brick> const& bricks);
    // The same for one brick, compressed on the calling thread. Many threads
    // may call it at once (and nothing else meanwhile), so that bricks are
    // compressed where they were made; a brick given twice at once ends as
    // either copy.
    void add_brick(Brick const& brick);

    void set_histogram(std::vector<unsigned long long> const& bins) { histogram_ = bins; }

    // Derives every level above the highest one written, up to the root, by
    // averaging each 2 x 2 x 2 block of finer elements over its defined ones
    // (integers truncated toward zero); a brick whose children are all
    // undefined stays undefined, an element whose eight finer ones are all
    // undefined gets the undefined value. Then writes the tables, flushes to
    // disk and renames the file into place. False with a log line on
    // failure, the temporary file removed. Later calls answer the same.
    bool finish();
    // Drops the file begun by create(): nothing is renamed into place.
    void abandon();

    // Bricks of this level given from now on are also kept in memory as they
    // are, as far as the derive cache limit allows, so that finish() derives
    // the next level from them without reading them back: worth it for the
    // highest level given, whose bricks are few.
    void keep_level(unsigned level) { keepLevel_ = static_cast<int>(level); }

    // Bytes of decoded finer bricks kept while coarser levels are derived
    // (256 MB unless set); less memory means more bricks decoded twice.
    void set_derive_cache_limit(std::size_t bytes) { cacheLimit_ = bytes; }

    // Time add_bricks() has spent compressing and writing, for reports: wall
    // time, with add_brick()'s time summed over its threads.
    double encode_seconds() const { return encodeSeconds_; }
    double write_seconds() const { return writeSeconds_; }

private:
    template <class T>
    void derive_level(unsigned level);
    void derive(unsigned level);
    bool read_stored(TableEntry const& e, std::vector<char>& data) const;
    // A brick as it goes to the file; made on any thread, stored in order.
    struct Encoded {
        std::vector<char> stored; // its first `size` bytes
        std::size_t size = 0;
        std::uint8_t encoding = 0;
        std::uint64_t checksum = 0;
    };
    void encode(std::vector<char> const& data, Encoded& e) const;
    bool accepts(Brick const& b) const; // logs why not
    void keep(Brick const& b);
    void store(std::size_t index, Encoded const& encoded);
    bool write_at(std::uint64_t offset, void const* p, std::size_t n);

    int fd_ = -1;
    std::string path_, temp_;
    std::vector<TableEntry> table_;
    std::uint64_t dataStart_ = 0;
    std::uint64_t next_ = 0;    // where the next brick goes
    int highestWritten_ = -1;   // the highest level add_bricks() was given
    std::atomic<bool> failed_{false}; // a write went wrong; finish() reports it
    std::uint64_t writebackFrom_ = 0; // where the writeback not yet started begins
    // Where the file system allows, the bricks given to add_brick(s) go to the
    // disk past the page cache; the levels finish() derives, and the tables,
    // go through it.
    std::unique_ptr<DirectFileWriter> direct_;
    int keepLevel_ = -1;
    std::unordered_map<unsigned, std::shared_ptr<std::vector<char> const>> kept_; // by id, of keepLevel_
    std::mutex addMutex_;             // add_brick()'s stores
    bool finished_ = false, result_ = false;
    std::size_t cacheLimit_ = std::size_t(256) << 20;
    double encodeSeconds_ = 0.0, writeSeconds_ = 0.0;
};

std::shared_ptr<Streamer3DGridLowLevelWriter> open_grid3d_low_level_writer();

} // namespace Tolmar

TOLMAR_PUBLIC_END
