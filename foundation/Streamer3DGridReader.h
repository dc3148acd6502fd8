#pragma once
// Reads a brick file (".tmf", docs/formats.md) in the background. Callers
// queue the bricks they want and collect, by copy, those already decoded;
// the streaming thread reads, checks and decodes them meanwhile and keeps a
// bounded cache of the results. The header and offset table are read and
// checked when the file opens, so questions about the grid and about which
// bricks are undefined never touch the disk.
//
// Every member may be called from any thread. The file stays open while the
// reader lives and closes with its last shared_ptr.

#include "platform/api.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "foundation/Streamer3DGridBase.h"
#include "foundation/StreamerBase.h"
#include "platform/update_sink.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class Streamer3DGridReader : public Streamer3DGridBase, public StreamerBase {
public:
    ~Streamer3DGridReader() override;
    Streamer3DGridReader(Streamer3DGridReader const&) = delete;
    Streamer3DGridReader& operator=(Streamer3DGridReader const&) = delete;

    // Queues the bricks for reading and returns at once. Keys outside the
    // grid, undefined bricks, bricks in the cache and bricks that failed to
    // read are passed over.
    void request_bricks(std::vector<BrickKey> const& keys);
    // Appends to `out`, by copy, those of the keys that can be answered
    // without the disk: decoded bricks in the cache with their data, and
    // undefined bricks with empty data, requested or not. Never waits for a
    // read.
    void get_bricks_if_loaded(std::vector<BrickKey> const& keys, std::vector<Brick>& out);
    // Requests the keys and waits until each is read or has failed; appends
    // the read ones (undefined ones with empty data) to `out`. False when
    // any failed. Keys outside the grid are passed over. While reading is
    // paused it waits for the resumption; it must not be called on the
    // streaming thread, which does the reading.
    bool get_bricks_blocking(std::vector<BrickKey> const& keys, std::vector<Brick>& out);

    // A decoded brick shared with the cache instead of copied; null data
    // marks an undefined brick. The data never changes once made.
    struct BrickView {
        BrickKey key;
        std::shared_ptr<std::vector<char> const> data;
    };
    // As get_bricks_blocking, without copying the bricks: for readers of a
    // few elements out of many bricks, such as the slice functions.
    bool get_brick_views_blocking(std::vector<BrickKey> const& keys, std::vector<BrickView>& out);
    // From the offset table; false for keys outside the grid.
    bool is_undef_brick(BrickKey const& key) const;

    // Bytes of decoded bricks kept; the least recently used go first.
    // 256 MB unless set.
    void set_cache_limit(std::size_t bytes);
    std::size_t cache_bytes();
    // Posted once per round of the streaming thread in which bricks arrived.
    void set_update_sink(platform::UpdateHandle handle);

    std::string const& path() const { return path_; }

    void process(unsigned int budgetMs, bool& didWork) override;
    bool is_loading_data() override;

private:
    friend std::shared_ptr<Streamer3DGridReader> open_3dgrid_reader(std::string const& path, std::string* why);
    Streamer3DGridReader() = default;
    bool open(std::string const& path, std::string* why);
    // Reads, checks and decodes one brick; false with a log line.
    bool read_brick(BrickKey const& key, std::vector<char>& data) const;
    // Under the lock: the brick has arrived (data) or failed (null).
    void deliver(BrickKey const& key, std::vector<char>* data);
    void trim_cache();

    // A caller of get_bricks_blocking, waiting for its keys.
    struct Waiter {
        std::set<BrickKey> pending;
        std::vector<BrickView>* out;
        bool failed = false;
    };
    struct Cached {
        std::shared_ptr<std::vector<char> const> data;
        std::list<BrickKey>::iterator lru;
    };

    int fd_ = -1;
    std::string path_;
    std::vector<TableEntry> table_;

    // Behind mutex_.
    std::deque<BrickKey> queue_;
    std::set<BrickKey> queued_;
    std::map<BrickKey, Cached> cache_;
    std::list<BrickKey> lru_; // most recently used first
    std::size_t cacheBytes_ = 0;
    std::size_t cacheLimit_ = std::size_t(256) << 20;
    std::set<BrickKey> failed_; // logged once, never read again
    std::vector<Waiter*> waiters_;
    unsigned reading_ = 0; // bricks taken off the queue and not yet delivered
    platform::UpdateHandle sink_ = 0;
    std::condition_variable arrived_;
};

// Opens the file and puts its reader on the streaming thread. Null with a
// log line when the file is missing, cut short, not a brick file, or its
// header, table or histogram is damaged or makes no sense; `why` then gets
// the reason in words that follow the file's name ("has a checksum mismatch
// in the header").
std::shared_ptr<Streamer3DGridReader> open_3dgrid_reader(std::string const& path, std::string* why = nullptr);

} // namespace Tolmar

TOLMAR_PUBLIC_END
