#include "foundation/Streamer3DGridLowLevelWriter.h"

#include <algorithm>
#include <chrono>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <list>
#include <map>
#include <system_error>
#include <thread>
#include <type_traits>
#include <unistd.h>
#include <xxhash.h>

#include "foundation/log.h"

namespace Tolmar {

namespace {

// Runs f(0) ... f(n - 1) on up to eight threads; compressing and averaging
// bricks is independent work and the bulk of a write.
template <class F>
void parallel_for(std::size_t n, F const& f)
{
    std::size_t const threads = std::min<std::size_t>({n, 8, std::max(1u, std::thread::hardware_concurrency())});
    if (threads <= 1) {
        for (std::size_t i = 0; i < n; ++i) f(i);
        return;
    }
    std::atomic<std::size_t> next{0};
    auto work = [&] {
        for (std::size_t i; (i = next.fetch_add(1)) < n;) f(i);
    };
    std::vector<std::thread> helpers;
    for (std::size_t t = 1; t < threads; ++t) {
        try {
            helpers.emplace_back(work);
        } catch (std::system_error const&) {
            break; // fewer threads do the same work
        }
    }
    work();
    for (auto& h : helpers) h.join();
}

template <class T>
T load(char const* p)
{
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// Bytes written between two starts of the writeback to disk.
constexpr std::uint64_t kWritebackChunk = std::uint64_t(16) << 20;

// Floor division: positions left of a brick's start belong to the brick before.
int floor_div(int a, int b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }

// Whether v is a value of the element type, so that the undefined value
// compares equal to what is stored.
bool representable(Info3DGrid::eDataType type, double v)
{
    auto in = [v](auto lo, auto hi) { return v == std::trunc(v) && v >= double(lo) && v <= double(hi); };
    using L8 = std::numeric_limits<std::int8_t>;
    using U8 = std::numeric_limits<std::uint8_t>;
    using L16 = std::numeric_limits<std::int16_t>;
    using U16 = std::numeric_limits<std::uint16_t>;
    using L32 = std::numeric_limits<std::int32_t>;
    using U32 = std::numeric_limits<std::uint32_t>;
    switch (type) {
    case Info3DGrid::INT8: return in(L8::min(), L8::max());
    case Info3DGrid::UINT8: return in(U8::min(), U8::max());
    case Info3DGrid::INT16: return in(L16::min(), L16::max());
    case Info3DGrid::UINT16: return in(U16::min(), U16::max());
    case Info3DGrid::INT32: return in(L32::min(), L32::max());
    case Info3DGrid::UINT32: return in(U32::min(), U32::max());
    case Info3DGrid::FLOAT: return static_cast<double>(static_cast<float>(v)) == v;
    case Info3DGrid::DOUBLE: return !std::isnan(v);
    default: return false;
    }
}

} // namespace

std::shared_ptr<Streamer3DGridLowLevelWriter> open_grid3d_low_level_writer()
{
    return std::make_shared<Streamer3DGridLowLevelWriter>();
}

Streamer3DGridLowLevelWriter::~Streamer3DGridLowLevelWriter()
{
    if (fd_ >= 0) finish();
}

bool Streamer3DGridLowLevelWriter::create(std::string const& path, vec<unsigned, 3> const& totalSize,
                                          Info3DGrid::eDataType type, unsigned brickSize, unsigned border,
                                          double minValue, double maxValue, double undefValue,
                                          SEGYCubeInfo const& cubeInfo)
{
    abandon();
    finished_ = result_ = failed_ = false;
    highestWritten_ = -1;
    kept_.clear();
    auto fail = [&](std::string const& why) {
        Util::logf("Streamer3DGridLowLevelWriter: cannot create '%s': %s\n", path.c_str(), why.c_str());
        return false;
    };
    if (!is_supported_type(type)) return fail("element type " + std::to_string(int(type)) + " is not supported");
    if (std::isnan(undefValue)) undefValue = default_undef_value(type);
    if (!representable(type, undefValue)) return fail("the undefined value is not a value of the element type");
    if (cubeInfo.name.size() > kMaxNameBytes) return fail("the survey name is too long");
    // What a reader would refuse is not written.
    std::string why = grid_problem(totalSize, brickSize, border);
    if (why.empty()) why = description_problem(cubeInfo, totalSize);
    if (!why.empty()) return fail(why);
    if (!set_up(totalSize, type, brickSize, border, minValue, maxValue, undefValue))
        return fail("sizes " + std::to_string(totalSize[0]) + " x " + std::to_string(totalSize[1]) + " x " +
                    std::to_string(totalSize[2]) + ", brick " + std::to_string(brickSize) + ", border " +
                    std::to_string(border) + " make no grid");
    info = cubeInfo;
    info.histogram.clear();
    histogram_.clear();
    table_.assign(static_cast<std::size_t>(total_bricks()), TableEntry{});
    dataStart_ = next_ = writebackFrom_ = data_start();

    std::string const temp = path + ".tmp" + std::to_string(::getpid());
    int const fd = ::open(temp.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return fail("cannot create '" + temp + "' (" + std::strerror(errno) + ")");
    fd_ = fd;
    path_ = path;
    temp_ = temp;
    direct_ = DirectFileWriter::open(temp, dataStart_);
    return true;
}

void Streamer3DGridLowLevelWriter::abandon()
{
    direct_.reset();
    if (fd_ < 0) return;
    ::close(fd_);
    fd_ = -1;
    ::unlink(temp_.c_str());
}

bool Streamer3DGridLowLevelWriter::write_at(std::uint64_t offset, void const* p, std::size_t n)
{
    auto const* b = static_cast<char const*>(p);
    while (n > 0) {
        ssize_t const w = ::pwrite(fd_, b, n, static_cast<off_t>(offset));
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) {
            if (!failed_.exchange(true))
                Util::logf("Streamer3DGridLowLevelWriter: writing '%s' failed (%s)\n", temp_.c_str(),
                           std::strerror(errno));
            return false;
        }
        b += w;
        n -= static_cast<std::size_t>(w);
        offset += static_cast<std::uint64_t>(w);
    }
    return true;
}

bool Streamer3DGridLowLevelWriter::read_stored(TableEntry const& e, std::vector<char>& data) const
{
    std::vector<char> stored(e.size);
    std::size_t got = 0;
    while (got < stored.size()) {
        ssize_t const r = ::pread(fd_, stored.data() + got, stored.size() - got, static_cast<off_t>(e.offset + got));
        if (r < 0 && errno == EINTR) continue;
        if (r <= 0) return false;
        got += static_cast<std::size_t>(r);
    }
    return decode_brick(stored.data(), stored.size(), e.encoding, data);
}

void Streamer3DGridLowLevelWriter::encode(std::vector<char> const& data, Encoded& e) const
{
    e.size = encode_brick(data, e.stored, e.encoding);
    e.checksum = XXH64(e.stored.data(), e.size, 0);
}

void Streamer3DGridLowLevelWriter::store(std::size_t index, Encoded const& encoded)
{
    TableEntry e;
    e.offset = next_;
    e.size = static_cast<std::uint32_t>(encoded.size);
    e.encoding = encoded.encoding;
    e.checksum = encoded.checksum;
    if (direct_) {
        direct_->append(encoded.stored.data(), encoded.size);
        next_ += encoded.size;
        table_[index] = e;
        return;
    }
    if (!write_at(next_, encoded.stored.data(), encoded.size)) return;
    next_ += encoded.size;
    table_[index] = e;
#ifdef __linux__
    // The disk starts on the bricks while the rest are made, so that the
    // flush in finish() waits only for the last of them.
    if (next_ - writebackFrom_ >= kWritebackChunk) {
        ::sync_file_range(fd_, static_cast<off_t>(writebackFrom_), static_cast<off_t>(next_ - writebackFrom_),
                          SYNC_FILE_RANGE_WRITE);
        writebackFrom_ = next_;
    }
#endif
}

bool Streamer3DGridLowLevelWriter::accepts(Brick const& b) const
{
    if (!contains(b)) {
        Util::logf("Streamer3DGridLowLevelWriter: '%s': brick (level %u, id %u) lies outside the grid; ignored\n",
                   path_.c_str(), b.level, b.id);
        return false;
    }
    if (!b.data.empty() && b.data.size() != brickBytes_) {
        Util::logf("Streamer3DGridLowLevelWriter: '%s': brick (level %u, id %u) holds %zu bytes instead of %zu; "
                   "ignored\n",
                   path_.c_str(), b.level, b.id, b.data.size(), brickBytes_);
        return false;
    }
    return true;
}

void Streamer3DGridLowLevelWriter::keep(Brick const& b)
{
    if (static_cast<int>(b.level) != keepLevel_) return;
    kept_.erase(b.id);
    // Within the memory the derivation may use; the rest is read back.
    if (!b.data.empty() && (kept_.size() + 1) * brickBytes_ <= cacheLimit_)
        kept_[b.id] = std::make_shared<std::vector<char> const>(b.data);
}

void Streamer3DGridLowLevelWriter::add_bricks(std::vector<Brick> const& bricks)
{
    if (fd_ < 0) {
        Util::logf("Streamer3DGridLowLevelWriter: %zu bricks given with no file open; ignored\n", bricks.size());
        return;
    }
    std::vector<Brick const*> accepted;
    for (Brick const& b : bricks) {
        if (!accepts(b)) continue;
        highestWritten_ = std::max(highestWritten_, static_cast<int>(b.level));
        accepted.push_back(&b);
    }
    std::vector<Encoded> encoded(accepted.size());
    auto const t0 = std::chrono::steady_clock::now();
    parallel_for(accepted.size(), [&](std::size_t i) {
        if (!accepted[i]->data.empty()) encode(accepted[i]->data, encoded[i]);
    });
    auto const t1 = std::chrono::steady_clock::now();
    // Written in the order given, so a brick given twice ends as its last copy.
    for (std::size_t i = 0; i < accepted.size(); ++i) {
        std::size_t const index = table_index(*accepted[i]);
        if (accepted[i]->data.empty()) table_[index] = TableEntry{};
        else store(index, encoded[i]);
        keep(*accepted[i]);
    }
    encodeSeconds_ += std::chrono::duration<double>(t1 - t0).count();
    writeSeconds_ += std::chrono::duration<double>(std::chrono::steady_clock::now() - t1).count();
}

void Streamer3DGridLowLevelWriter::add_brick(Brick const& brick)
{
    if (fd_ < 0) {
        Util::logc("Streamer3DGridLowLevelWriter: a brick given with no file open; ignored");
        return;
    }
    if (!accepts(brick)) return;
    // The compressed copy stays with the thread: its buffer is not allocated afresh for every brick.
    thread_local Encoded encoded;
    auto const t0 = std::chrono::steady_clock::now();
    if (!brick.data.empty()) encode(brick.data, encoded);
    auto const t1 = std::chrono::steady_clock::now();
    std::lock_guard<std::mutex> lock(addMutex_);
    highestWritten_ = std::max(highestWritten_, static_cast<int>(brick.level));
    std::size_t const index = table_index(brick);
    if (brick.data.empty()) table_[index] = TableEntry{};
    else store(index, encoded);
    keep(brick);
    encodeSeconds_ += std::chrono::duration<double>(t1 - t0).count();
    writeSeconds_ += std::chrono::duration<double>(std::chrono::steady_clock::now() - t1).count();
}

// ---- coarser levels -----------------------------------------------------------
//
// A level-l element g (counted along one axis from the level's origin, so
// brick p's element e is g = p * core - border + e) averages the finer
// elements 2g and 2g + 1. Each finer element is taken from the brick whose
// core holds it: the overlaps of neighbouring bricks hold the same values, and
// a parent's border needs finer elements beyond its own children. Elements
// outside every core are undefined.

namespace {

using BrickData = std::shared_ptr<std::vector<char> const>;

// Where the finer element 2g + d of parent element e lies along one axis: in
// the finer brick 2p + dqMin + dq, at index local.
struct Source {
    int dq;
    int local;
};

// The finer bricks around a run of parents, (z * span + y) * nx + x from
// the run's first finer brick; null where undefined or outside the grid.
struct Neighbourhood {
    std::vector<BrickData> bricks;
    long nx = 0;
    int span = 0;
};

// One parent brick whose finer bricks start at x = xs of the neighbourhood.
template <class T>
void average_brick(Neighbourhood const& nb, long xs, std::vector<Source> const& src, int bs, T undef,
                   std::vector<char>& data)
{
    using Acc = std::conditional_t<std::is_floating_point_v<T>, double, long long>;
    std::size_t const row = static_cast<std::size_t>(bs) * sizeof(T);
    auto at = [&](int e, int d) { return src[static_cast<std::size_t>(2 * e + d)]; };
    // rows[(2 dz + dy) * span + b]: the finer row that (dz, dy) reads in brick b along x.
    std::vector<char const*> rows(static_cast<std::size_t>(4 * nb.span));
    for (int ez = 0; ez < bs; ++ez)
        for (int ey = 0; ey < bs; ++ey) {
            for (int c = 0; c < 4; ++c) {
                Source const sz = at(ez, c >> 1), sy = at(ey, c & 1);
                for (int b = 0; b < nb.span; ++b) {
                    auto const& d = nb.bricks[static_cast<std::size_t>((sz.dq * nb.span + sy.dq) * nb.nx + xs + b)];
                    rows[static_cast<std::size_t>(c * nb.span + b)] =
                        d ? d->data() + static_cast<std::size_t>(sz.local * bs + sy.local) * row : nullptr;
                }
            }
            char* target = data.data() + static_cast<std::size_t>(ez * bs + ey) * row;
            for (int ex = 0; ex < bs; ++ex) {
                Acc sum = 0;
                int count = 0;
                for (int dx = 0; dx < 2; ++dx) {
                    Source const sx = at(ex, dx);
                    for (int c = 0; c < 4; ++c) {
                        char const* r = rows[static_cast<std::size_t>(c * nb.span + sx.dq)];
                        if (!r) continue;
                        T const v = load<T>(r + static_cast<std::size_t>(sx.local) * sizeof(T));
                        if (v == undef) continue;
                        sum += static_cast<Acc>(v);
                        ++count;
                    }
                }
                T const avg = count == 0 ? undef : static_cast<T>(sum / count);
                std::memcpy(target + static_cast<std::size_t>(ex) * sizeof(T), &avg, sizeof avg);
            }
        }
}

} // namespace

template <class T>
void Streamer3DGridLowLevelWriter::derive_level(unsigned level)
{
    unsigned const finer = level - 1;
    auto const fc = grid_.counts(finer);
    auto const pc = grid_.counts(level);
    int const bs = static_cast<int>(grid_.brick_size()), core = static_cast<int>(grid_.core()),
              border = static_cast<int>(grid_.border());

    std::vector<Source> src(static_cast<std::size_t>(2 * bs));
    for (int e = 0; e < bs; ++e)
        for (int d = 0; d < 2; ++d) {
            int const r = 2 * (e - border) + d;
            int const dq = floor_div(r, core);
            src[static_cast<std::size_t>(2 * e + d)] = {dq, r - dq * core + border};
        }
    int const dqMin = src.front().dq, span = src.back().dq - dqMin + 1;
    for (auto& s : src) s.dq -= dqMin;

    auto finerId = [&](long x, long y, long z) {
        if (x < 0 || y < 0 || z < 0 || x >= long(fc[0]) || y >= long(fc[1]) || z >= long(fc[2]))
            return BrickGrid::kNoBrick;
        unsigned const id = grid_.pos2id(unsigned(x), unsigned(y), unsigned(z), finer);
        return table_[table_index({finer, id})].undefined() ? BrickGrid::kNoBrick : id;
    };

    // Decoded finer bricks, least recently used dropped first.
    std::map<unsigned, std::pair<BrickData, std::list<unsigned>::iterator>> cache;
    std::list<unsigned> lru;
    // Parents go in runs along the samples, as wide as half the cache allows:
    // a run of w parents reads span x span rows of 2 (w - 1) + span finer bricks.
    std::size_t const rowBricks = cacheLimit_ / 2 / (brickBytes_ * static_cast<std::size_t>(span * span));
    unsigned const width =
        rowBricks > std::size_t(span) ? unsigned(std::min<std::size_t>(pc[0], (rowBricks - span) / 2 + 1)) : 1;
    bool readFailed = false;

    for (unsigned pz = 0; pz < pc[2]; ++pz)
        for (unsigned py = 0; py < pc[1]; ++py)
            for (unsigned px0 = 0; px0 < pc[0]; px0 += width) {
                unsigned const px1 = std::min(pc[0], px0 + width);
                std::vector<unsigned> parents; // those with a defined child
                for (unsigned px = px0; px < px1; ++px)
                    for (unsigned c = 0; c < 8; ++c)
                        if (finerId(2 * px + (c & 1), 2 * py + ((c >> 1) & 1), 2 * pz + (c >> 2)) !=
                            BrickGrid::kNoBrick) {
                            parents.push_back(px);
                            break;
                        }
                if (parents.empty()) continue;

                Neighbourhood nb;
                nb.span = span;
                nb.nx = 2L * (px1 - 1 - px0) + span;
                nb.bricks.resize(static_cast<std::size_t>(nb.nx * span * span));
                long const x0 = 2L * px0 + dqMin, y0 = 2L * py + dqMin, z0 = 2L * pz + dqMin;
                std::vector<std::pair<std::size_t, unsigned>> missing; // slot, finer id
                for (long k = 0; k < span; ++k)
                    for (long j = 0; j < span; ++j)
                        for (long i = 0; i < nb.nx; ++i) {
                            unsigned const id = finerId(x0 + i, y0 + j, z0 + k);
                            if (id == BrickGrid::kNoBrick) continue;
                            std::size_t const slot = static_cast<std::size_t>((k * span + j) * nb.nx + i);
                            if (static_cast<int>(finer) == keepLevel_) {
                                auto const kept = kept_.find(id);
                                if (kept != kept_.end()) {
                                    nb.bricks[slot] = kept->second;
                                    continue;
                                }
                            }
                            auto const it = cache.find(id);
                            if (it == cache.end()) {
                                missing.emplace_back(slot, id);
                            } else {
                                lru.splice(lru.begin(), lru, it->second.second);
                                nb.bricks[slot] = it->second.first;
                            }
                        }
                std::vector<char> failedRead(missing.size(), 0);
                parallel_for(missing.size(), [&](std::size_t m) {
                    auto data = std::make_shared<std::vector<char>>();
                    if (read_stored(table_[table_index({finer, missing[m].second})], *data))
                        nb.bricks[missing[m].first] = std::move(data);
                    else
                        failedRead[m] = 1;
                });
                for (std::size_t m = 0; m < missing.size(); ++m) {
                    if (failedRead[m]) {
                        readFailed = true;
                        continue;
                    }
                    lru.push_front(missing[m].second);
                    cache[missing[m].second] = {nb.bricks[missing[m].first], lru.begin()};
                }

                std::vector<Encoded> out(parents.size());
                parallel_for(parents.size(), [&](std::size_t n) {
                    std::vector<char> data(brickBytes_);
                    average_brick<T>(nb, 2L * (parents[n] - px0), src, bs, static_cast<T>(undef_), data);
                    encode(data, out[n]);
                });
                for (std::size_t n = 0; n < parents.size(); ++n)
                    store(table_index({level, grid_.pos2id(parents[n], py, pz, level)}), out[n]);

                while (cache.size() * brickBytes_ > cacheLimit_ && !lru.empty()) {
                    cache.erase(lru.back());
                    lru.pop_back();
                }
            }
    if (readFailed) {
        Util::logf("Streamer3DGridLowLevelWriter: '%s': bricks of level %u could not be read back\n", temp_.c_str(),
                   finer);
        failed_ = true;
    }
}

void Streamer3DGridLowLevelWriter::derive(unsigned level)
{
    switch (type_) {
    case Info3DGrid::INT8: derive_level<std::int8_t>(level); break;
    case Info3DGrid::UINT8: derive_level<std::uint8_t>(level); break;
    case Info3DGrid::INT16: derive_level<std::int16_t>(level); break;
    case Info3DGrid::UINT16: derive_level<std::uint16_t>(level); break;
    case Info3DGrid::INT32: derive_level<std::int32_t>(level); break;
    case Info3DGrid::UINT32: derive_level<std::uint32_t>(level); break;
    case Info3DGrid::FLOAT: derive_level<float>(level); break;
    case Info3DGrid::DOUBLE: derive_level<double>(level); break;
    default: break; // refused by create()
    }
}

// ---- finishing ----------------------------------------------------------------

bool Streamer3DGridLowLevelWriter::finish()
{
    if (finished_) return result_;
    if (fd_ < 0) {
        Util::logc("Streamer3DGridLowLevelWriter: finish() without a file created");
        return false;
    }
    finished_ = true;
    auto fail = [&](std::string const& why) {
        Util::logf("Streamer3DGridLowLevelWriter: cannot write '%s': %s\n", path_.c_str(), why.c_str());
        abandon();
        return result_ = false;
    };
    if (data_start() != dataStart_) return fail("the survey name changed length after create()");
    if (direct_) {
        // The finer bricks must be on the disk before they are read back.
        std::string why;
        bool const written = direct_->finish(why);
        direct_.reset();
        writebackFrom_ = next_;
        if (!written) return fail("writing '" + temp_ + "' failed (" + why + ")");
    }
    for (unsigned l = static_cast<unsigned>(std::max(1, highestWritten_ + 1)); l < grid_.num_levels() && !failed_; ++l)
        derive(l);
    kept_.clear();

    std::uint64_t const histogramOffset = next_;
    std::vector<unsigned char> tail(histogram_.size() * 8 + kSumBytes);
    if (!histogram_.empty()) std::memcpy(tail.data(), histogram_.data(), histogram_.size() * 8);
    std::uint64_t const histogramSum = XXH64(tail.data(), histogram_.size() * 8, 0);
    std::memcpy(tail.data() + histogram_.size() * 8, &histogramSum, kSumBytes);

    std::vector<unsigned char> head = encode_header(histogramOffset, histogram_.size());
    std::size_t const tableAt = head.size();
    head.resize(tableAt + table_.size() * kEntryBytes + kSumBytes);
    for (std::size_t i = 0; i < table_.size(); ++i) encode_entry(table_[i], head.data() + tableAt + i * kEntryBytes);
    std::uint64_t const tableSum = XXH64(head.data() + tableAt, table_.size() * kEntryBytes, 0);
    std::memcpy(head.data() + head.size() - kSumBytes, &tableSum, kSumBytes);

    if (failed_ || !write_at(histogramOffset, tail.data(), tail.size()) || !write_at(0, head.data(), head.size()))
        return fail("writing '" + temp_ + "' failed");
    // Direct writes end on a whole block, which may reach past the histogram.
    if (::ftruncate(fd_, static_cast<off_t>(histogramOffset + tail.size())) != 0)
        return fail(std::string("truncating '") + temp_ + "' failed (" + std::strerror(errno) + ")");
    // Reach the disk before the rename, so a crash cannot leave a renamed but empty file.
    if (::fsync(fd_) != 0) return fail(std::string("flushing '") + temp_ + "' failed (" + std::strerror(errno) + ")");
    int const fd = fd_;
    fd_ = -1;
    if (::close(fd) != 0) {
        int const error = errno;
        ::unlink(temp_.c_str());
        return fail(std::string("closing '") + temp_ + "' failed (" + std::strerror(error) + ")");
    }
    if (std::rename(temp_.c_str(), path_.c_str()) != 0) {
        int const error = errno;
        ::unlink(temp_.c_str());
        return fail(std::string("cannot rename '") + temp_ + "' into place (" + std::strerror(error) + ")");
    }
    return result_ = true;
}

} // namespace Tolmar
