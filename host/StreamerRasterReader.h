#pragma once
// A raster as a virtual pyramid of square tiles, read in the background on
// the "disk" streaming thread (StreamerManager2D) and kept in a cache for
// the terrain renderer. Level 0 is full resolution, each level above has
// half the pixels each way, and the last level is one tile. Nothing is
// written: a level is read by asking the dataset for a block of the raster
// resampled to the level's size, which lets the host use the file's own
// overviews.
//
// The display thread asks for tiles (request_tiles, coarsest first) and
// collects what has arrived (get_*_if_loaded) without waiting; each tile
// read posts the connection's update handle, so that the view redraws.
// The reader reads at most one tile a turn and no tile while the host
// draws; after every draw it opens the raster afresh.

#include "platform/api.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <vector>

#include "foundation/Streamer2DBase.h"
#include "foundation/box.h"
#include "foundation/vec.h"
#include "host/IRasterDataset.h"
#include "host/RasterSourceConnectionInfo.h"
#include "host/RasterTile.h"
#include "host/TileKey.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

// Keys in order, each at most once: push_front moves a key that is there.
class TileKeyQueue {
public:
    void push_front(TileKey const& key);
    bool erase(TileKey const& key);
    bool empty() const { return keys_.empty(); }
    std::size_t size() const { return keys_.size(); }
    TileKey const& front() const { return keys_.front(); }
    TileKey const& back() const { return keys_.back(); }
    void pop_front();
    void pop_back();
    void clear();

private:
    std::list<TileKey> keys_;
    std::map<TileKey, std::list<TileKey>::iterator> where_;
};

class StreamerRasterReader : public Streamer2DBase {
public:
    enum State : int { Idle = 0, OpenRequested = 1, Failed = 2, Open = 3 };
    static constexpr int kTileSize = 128;

    // The raster comes from `opener`; empty: the process's (open_raster_source).
    explicit StreamerRasterReader(Clock clock = {}, RasterSourceOpener opener = {});
    ~StreamerRasterReader() override;

    // Copies the record and asks the thread to open it. The pyramid tables
    // are those of the first raster opened: a later record must name a
    // raster of the same size and bands.
    void start_datasource_open(RasterSourceConnectionInfo const& info);
    // Waits until the thread has opened the source (true) or failed
    // (false); false at once when no open was asked for.
    bool start_ok();
    State state() const { return static_cast<State>(state_.load()); }

    // Lets go of the dataset only.
    void closeRaster();
    // Lets go of the dataset, the queues and the cache.
    void close();

    // Valid once open; they do not change when the raster is opened again.
    box<double, 2> get_extent() const { return extent_; }
    int get_tile_size() const { return tile_size_; }
    std::vector<RasterBandInfo> const& get_raster_band_infos() const { return band_infos_; }
    std::vector<vec<int, 2>> const& get_pyramid_resolutions() const { return pyramid_resolutions_; }
    std::vector<vec<int, 2>> const& get_tile_dims() const { return tile_dims_; }
    int num_levels() const { return static_cast<int>(tile_dims_.size()); }
    bool has_nodata() const { return has_nodata_; }
    double nodata() const { return nodata_; }
    // What this has always answered; tiles carry kUndefinedTileWord.
    unsigned short get_undef_value() const { return 65535; }
    bool isSingleBand() const { return connection_.is_single_band(); }
    RasterSourceConnectionInfo const& connection() const { return connection_; }

    // Tile access, for any thread.
    void prefetch(TileKey const& key);
    // Replaces the request list; keys[0] is read first.
    void request_tiles(std::vector<TileKey> const& keys);
    // Waits until the tile is cached, asking for it meanwhile. False when
    // the reader has failed or is closing: the tile will never come.
    bool get_tile(TileKey const& key, RasterTile& tile);
    // Waits until all keys are cached, asking for none of them; the tiles
    // in the order they are found. False when the reader has failed.
    bool get_tiles(std::vector<TileKey> const& keys, std::vector<RasterTile>& tiles);
    // The cached ones among `keys`, at once; they count as recently used.
    void get_tiles_if_loaded(std::vector<TileKey> const& keys, std::vector<RasterTile>& tiles);
    // The same, at most n; with n found the update handle is posted, since
    // more may be waiting.
    void get_first_n_tiles_if_loaded(std::vector<TileKey> const& keys, std::size_t n, std::vector<RasterTile>& tiles);
    // Drops the tile from the cache at the thread's next turn.
    void evict_tile(TileKey const& key);
    void set_max_cached_tiles(unsigned n);
    unsigned get_max_cached_tiles();
    std::size_t get_num_tiles_in_cache();

    // Pyramid addressing, valid once open. Positions are clamped to the
    // level's grid.
    int tiles_x(int level) const { return tile_dims_[static_cast<std::size_t>(level)][0]; }
    int tiles_y(int level) const { return tile_dims_[static_cast<std::size_t>(level)][1]; }
    int pos2id(int level, int x, int y) const;
    void id2pos(int level, int id, int& x, int& y) const;
    // The tile of the next level that covers this one; not for the last level.
    int parent_tile(int level, int id) const;
    // (2x, 2y), (2x+1, 2y), (2x, 2y+1), (2x+1, 2y+1) on level - 1; -1 for
    // one outside that level's grid.
    void children_tiles(int level, int id, int out[4]) const;
    void get_tile_pixel_offset(int level, int id, vec<int, 2>& offset) const;
    // In map units; tiles of the last column and row reach past the raster.
    box<double, 2> get_tile_extent(int level, int id) const;

    bool is_loading_data() override;
    void pause_reading() override;

    // Reads one tile from the dataset as it stands; the thread's read, for
    // tests and benchmarks. False when the read failed.
    bool read(RasterTile& tile);

protected:
    void close_source() override;
    void release_source() override;
    void read_turn() override;

private:
    bool open();
    bool open_raster(RasterDatasetPtr dataset);
    bool failed_or_closing() const;
    bool read_single_band(RasterTile& tile, vec<int, 2> const& level_size, vec<int, 2> const& offset);
    bool read_bands(RasterTile& tile, vec<int, 2> const& level_size, vec<int, 2> const& offset);

    std::atomic<int> state_{Idle};
    RasterSourceConnectionInfo connection_;
    RasterSourceOpener opener_;
    RasterDatasetPtr raster_; // the streaming thread's only
    bool has_nodata_ = false;
    double nodata_ = 0;
    int tile_size_ = kTileSize;
    std::vector<RasterBandInfo> band_infos_;
    std::vector<vec<int, 2>> pyramid_resolutions_;
    std::vector<vec<int, 2>> tile_dims_;
    box<double, 2> extent_;
    // Set once the first open has filled the tables above; they stay fixed
    // from then on, which is what lets the display thread read them unlocked.
    std::atomic<bool> geometry_known_{false};
    PixelBlock block_; // the reading thread's scratch, kept to spare an allocation a tile

    // Behind the streamer's lock.
    unsigned max_cached_tiles_ = 2000;
    TileKeyQueue requests_;
    std::deque<TileKey> evictions_;
    std::map<TileKey, RasterTile> cache_;
    TileKeyQueue recent_; // newest at the front
};

// A reader for the source on the "disk" thread of StreamerManager2D, open;
// null when the source cannot be opened. Dropping the last reference
// retires it through the thread.
std::shared_ptr<StreamerRasterReader> open_raster_reader(RasterSourceConnectionInfo const& info);

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
