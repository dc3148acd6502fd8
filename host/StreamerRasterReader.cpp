#include "host/StreamerRasterReader.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <set>
#include <thread>
#include <utility>

#include "foundation/StreamerManager2D.h"
#include "foundation/log.h"
#include "platform/debug_stream.h"
#include "platform/update_sink.h"

namespace Tolmar::host {

namespace {

using Lock = std::unique_lock<std::mutex>;

void pause_a_moment() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

// max(1, ceil(v / 2)): the size of the next level up.
int halved(int v) { return std::max(1, static_cast<int>(std::ceil(v * 0.5))); }

// ceil(log(n) / log(2)) in integers: the floating-point quotient of two
// logarithms lands a hair above a whole number for some powers of two
// (2^29 among them), and its ceiling would then add a level too many.
int ceil_log2(int n)
{
    int k = 0;
    while ((1LL << k) < n) ++k;
    return k;
}

} // namespace

// ---- TileKeyQueue -----------------------------------------------------------

void TileKeyQueue::push_front(TileKey const& key)
{
    erase(key);
    keys_.push_front(key);
    where_[key] = keys_.begin();
}

bool TileKeyQueue::erase(TileKey const& key)
{
    auto const found = where_.find(key);
    if (found == where_.end()) return false;
    keys_.erase(found->second);
    where_.erase(found);
    return true;
}

void TileKeyQueue::pop_front()
{
    where_.erase(keys_.front());
    keys_.pop_front();
}

void TileKeyQueue::pop_back()
{
    where_.erase(keys_.back());
    keys_.pop_back();
}

void TileKeyQueue::clear()
{
    keys_.clear();
    where_.clear();
}

// ---- opening ----------------------------------------------------------------

StreamerRasterReader::StreamerRasterReader(Clock clock, RasterSourceOpener opener)
    : Streamer2DBase(std::move(clock)), opener_(std::move(opener))
{
}

StreamerRasterReader::~StreamerRasterReader() = default;

void StreamerRasterReader::start_datasource_open(RasterSourceConnectionInfo const& info)
{
    Lock lock(mutex_);
    connection_ = info;
    state_ = OpenRequested;
}

bool StreamerRasterReader::start_ok()
{
    for (;;) {
        int const s = state_.load();
        if (s == Failed || s == Idle || close_requested()) return false;
        // A draw may have sent an open reader back to "open requested"
        // already; that it opened once is what the caller waits for.
        if (s == Open || geometry_known_) return true;
        pause_a_moment();
    }
}

void StreamerRasterReader::closeRaster() { raster_.reset(); }

void StreamerRasterReader::close()
{
    raster_.reset();
    Lock lock(mutex_);
    requests_.clear();
    evictions_.clear();
    cache_.clear();
    recent_.clear();
}

bool StreamerRasterReader::open()
{
    raster_.reset();
    RasterSourceConnectionInfo const& c = connection_;
    // The connection properties take precedence over the kind; their
    // failures are logged as a file's, which is what that path opens.
    char const* what = "FILE";
    char const* refusal = "StreamerRasterReader: FILE: !IRasterDataset->OpenRasterDataset\n";
    if (c.connection_properties.empty()) {
        switch (c.kind) {
        case RasterSourceConnectionInfo::FILE:
            Util::logf("StreamerRasterReader: FILE: Open: %ls / %ls\n", c.file_path.c_str(), c.file_name.c_str());
            break;
        case RasterSourceConnectionInfo::GDB:
            Util::logf("StreamerRasterReader: GDB: Open: %ls / %ls\n", c.gdb_path.c_str(), c.gdb_name.c_str());
            what = "GDB";
            refusal = "StreamerRasterReader: GDB: !IRasterDataset->OpenRasterDataset\n";
            break;
        case RasterSourceConnectionInfo::SDE:
            Util::logf("StreamerRasterReader: SDE: Open: %ls / %ls\n", c.sde_server.c_str(),
                       c.sde_dataset_name.c_str());
            what = "SDE";
            refusal = "StreamerRasterReader: SDE: !OpenRasterDataset\n";
            break;
        default:
            Util::logf("StreamerRasterReader: no source of kind %d\n", c.kind);
            return false;
        }
    }
    std::string why;
    RasterDatasetPtr dataset = opener_ ? opener_(c, &why) : open_raster_source(c, &why);
    if (!dataset) {
        Util::logf("%s", refusal);
        if (!why.empty()) Util::logf("StreamerRasterReader: %s\n", why.c_str());
        return false;
    }
    if (!open_raster(std::move(dataset))) {
        raster_.reset();
        Util::logf("StreamerRasterReader: %s: !open_raster()\n", what);
        return false;
    }
    return true;
}

bool StreamerRasterReader::open_raster(RasterDatasetPtr dataset)
{
    platform::debug_write("Thread: opening raster\n");
    int const band_count = dataset->band_count();
    if (band_count <= 0) {
        Util::logf("StreamerRasterReader: !FAILED(hr) || (band_count == 0)\n");
        return false;
    }
    int const width = dataset->width(), height = dataset->height();
    if (geometry_known_) {
        // The tables were made for the raster as first opened, and the
        // display thread reads them without the lock: a raster replaced by
        // one of another shape cannot be carried on with.
        vec<int, 2> const was = pyramid_resolutions_.front();
        if (width != was[0] || height != was[1] || band_count != static_cast<int>(band_infos_.size())) {
            Util::logf("StreamerRasterReader: the raster is now %d x %d pixels of %d bands, not %d x %d of %d as "
                       "first opened; it is not read any more\n",
                       width, height, band_count, was[0], was[1], static_cast<int>(band_infos_.size()));
            return false;
        }
        raster_ = std::move(dataset);
        return true;
    }

    // Every band the channels name must be there; with several bands each
    // goes to the byte of its own number, so only bands 0 to 3 fit a word.
    vec<int, 4> const& bands = connection_.bands;
    int const lanes = isSingleBand() ? 1 : 4;
    for (int c = 0; c < lanes; ++c) {
        int const b = bands[c];
        if (b == -1 && c > 0) continue;
        if (b < 0 || b >= band_count || (!isSingleBand() && b > 3)) {
            Util::logf("StreamerRasterReader: channel %d names band %d; the raster has %d bands\n", c, b, band_count);
            return false;
        }
    }

    std::vector<RasterBandInfo> infos(static_cast<std::size_t>(band_count));
    for (int b = 0; b < band_count; ++b) {
        BandStatistics s;
        std::string why;
        if (!dataset->statistics(b, s, &why)) {
            Util::logf("StreamerRasterReader: no statistics for band %d: %s\n", b, why.c_str());
            return false;
        }
        infos[static_cast<std::size_t>(b)].min = s.min;
        infos[static_cast<std::size_t>(b)].max = s.max;
    }

    Util::logf("StreamerRasterReader: Raster props width(%d) height(%d)\n", width, height);
    box<double, 2> const extent = dataset->extent();
    Util::logf("StreamerRasterReader: Extent: %f %f %f %f\n", extent.lower[0], extent.upper[0], extent.lower[1],
               extent.upper[1]);
    std::optional<double> const nodata_value = dataset->nodata(bands[0] >= 0 ? bands[0] : 0);
    if (nodata_value) {
        Util::logf("StreamerRasterReader: VT_R8 noData = %f\n", *nodata_value);
    } else {
        Util::logf("StreamerRasterReader: No noData in raster!\n");
    }

    int tx = (width + tile_size_ - 1) / tile_size_, ty = (height + tile_size_ - 1) / tile_size_;
    int w = width, h = height;
    int const levels = ceil_log2(std::max(tx, ty)) + 1;
    Util::logf("StreamerRasterReader: top level num tiles %dx%d(%dx%d) num_levels(%d)\n", tx, ty, w, h, levels);
    std::vector<vec<int, 2>> dims, resolutions;
    for (int level = 0; level < levels; ++level) {
        Util::logf("StreamerRasterReader: level %d: %dx%d (%dx%d)\n", level, tx, ty, w, h);
        dims.push_back(vec<int, 2>{{tx, ty}});
        resolutions.push_back(vec<int, 2>{{w, h}});
        tx = halved(tx);
        ty = halved(ty);
        w = halved(w);
        h = halved(h);
    }

    band_infos_ = std::move(infos);
    tile_dims_ = std::move(dims);
    pyramid_resolutions_ = std::move(resolutions);
    extent_ = extent;
    has_nodata_ = nodata_value.has_value();
    nodata_ = nodata_value.value_or(std::numeric_limits<double>::max());
    raster_ = std::move(dataset);
    geometry_known_ = true;
    return true;
}

// ---- the turn ---------------------------------------------------------------

void StreamerRasterReader::close_source()
{
    platform::debug_write("Thread: closing streamer\n");
    close();
}

void StreamerRasterReader::release_source()
{
    if (raster_) platform::debug_write("Thread: after read... paused so... closing raster\n");
    closeRaster();
    int open = Open;
    state_.compare_exchange_strong(open, OpenRequested);
}

void StreamerRasterReader::pause_reading()
{
    StreamerBase::pause_reading();
    // The dataset is opened afresh after every draw: the host may have
    // changed it meanwhile.
    int open = Open;
    state_.compare_exchange_strong(open, OpenRequested);
}

void StreamerRasterReader::read_turn()
{
    RasterTile tile;
    {
        // Opening takes place under the lock, so that requests wait for a
        // reopen rather than queue against tables being made.
        Lock lock(mutex_);
        int const s = state_.load();
        if (s == Idle || s == Failed) return;
        if (s == OpenRequested || !raster_) {
            if (!open()) {
                platform::debug_write("unable to open raster connection\n");
                state_ = Failed;
                return;
            }
            platform::debug_write("Thread: File opened\n");
            state_ = Open;
        }
        for (TileKey const& key : evictions_) cache_.erase(key);
        evictions_.clear();
        while (recent_.size() > max_cached_tiles_) {
            cache_.erase(recent_.back());
            recent_.pop_back();
        }
        while (!requests_.empty() && cache_.count(requests_.front())) requests_.pop_front();
        if (requests_.empty()) return;
        tile.key = requests_.front();
        requests_.pop_front();
    }

    // Without the lock: the display thread collects tiles during the read.
    if (!read(tile)) {
        // The tile is not asked for again: whoever still wants it will.
        platform::debug_write("Thread: reading failed! re-open file.\n");
        state_ = OpenRequested;
        closeRaster();
        return;
    }
    TileKey const key = tile.key;
    {
        Lock lock(mutex_);
        cache_.insert_or_assign(key, std::move(tile));
        recent_.push_front(key);
    }
    if (connection_.window) platform::post_update(connection_.window);
}

bool StreamerRasterReader::is_loading_data()
{
    Lock lock(mutex_);
    return !requests_.empty();
}

// ---- tile access ------------------------------------------------------------

bool StreamerRasterReader::failed_or_closing() const
{
    int const s = state_.load();
    return s == Failed || s == Idle || close_requested();
}

void StreamerRasterReader::prefetch(TileKey const& key)
{
    Lock lock(mutex_);
    requests_.push_front(key);
}

void StreamerRasterReader::request_tiles(std::vector<TileKey> const& keys)
{
    Lock lock(mutex_);
    requests_.clear();
    for (auto k = keys.rbegin(); k != keys.rend(); ++k) requests_.push_front(*k);
}

// A reader that has failed or is retiring will never deliver, so the
// waiting calls give up rather than wait for ever.
bool StreamerRasterReader::get_tile(TileKey const& key, RasterTile& tile)
{
    for (;;) {
        {
            Lock lock(mutex_);
            auto const found = cache_.find(key);
            if (found != cache_.end()) {
                tile = found->second;
                return true;
            }
            if (failed_or_closing()) return false;
            requests_.push_front(key);
        }
        pause_a_moment();
    }
}

bool StreamerRasterReader::get_tiles(std::vector<TileKey> const& keys, std::vector<RasterTile>& tiles)
{
    std::set<TileKey> missing(keys.begin(), keys.end());
    while (!missing.empty()) {
        {
            Lock lock(mutex_);
            for (auto k = missing.begin(); k != missing.end();) {
                auto const found = cache_.find(*k);
                if (found == cache_.end()) {
                    ++k;
                    continue;
                }
                tiles.push_back(found->second);
                k = missing.erase(k);
            }
            if (missing.empty()) break;
            if (failed_or_closing()) return false;
        }
        pause_a_moment();
    }
    return true;
}

void StreamerRasterReader::get_tiles_if_loaded(std::vector<TileKey> const& keys, std::vector<RasterTile>& tiles)
{
    get_first_n_tiles_if_loaded(keys, keys.size() + 1, tiles);
}

void StreamerRasterReader::get_first_n_tiles_if_loaded(std::vector<TileKey> const& keys, std::size_t n,
                                                       std::vector<RasterTile>& tiles)
{
    tiles.clear();
    {
        Lock lock(mutex_);
        for (TileKey const& key : keys) {
            if (tiles.size() >= n) break;
            auto const found = cache_.find(key);
            if (found == cache_.end()) continue;
            tiles.push_back(found->second);
            recent_.push_front(key);
        }
    }
    // Taken the whole batch: more may be waiting, so the view asks again
    // after the redraw this causes.
    if (tiles.size() == n && connection_.window) platform::post_update(connection_.window);
}

void StreamerRasterReader::evict_tile(TileKey const& key)
{
    Lock lock(mutex_);
    evictions_.push_back(key);
}

void StreamerRasterReader::set_max_cached_tiles(unsigned n)
{
    Lock lock(mutex_);
    max_cached_tiles_ = n;
}

unsigned StreamerRasterReader::get_max_cached_tiles()
{
    Lock lock(mutex_);
    return max_cached_tiles_;
}

std::size_t StreamerRasterReader::get_num_tiles_in_cache()
{
    Lock lock(mutex_);
    return cache_.size();
}

// ---- the process's readers --------------------------------------------------

std::shared_ptr<StreamerRasterReader> open_raster_reader(RasterSourceConnectionInfo const& info)
{
    auto reader = std::make_unique<StreamerRasterReader>();
    reader->start_datasource_open(info);
    StreamerRasterReader* const r = reader.get();
    return StreamerManager2D::get_instance()->open_streamer(std::move(reader), [r] { return r->start_ok(); });
}

} // namespace Tolmar::host
