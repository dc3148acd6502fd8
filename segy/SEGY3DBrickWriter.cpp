#include "segy/SEGY3DBrickWriter.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <thread>

#include "foundation/Streamer3DGridLowLevelWriter.h"
#include "foundation/StreamerIndexedSEGY3DReader.h"
#include "foundation/log.h"

namespace Tolmar {

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point t0) { return std::chrono::duration<double>(Clock::now() - t0).count(); }

// Truncation towards zero into T; values beyond T's range saturate instead of overflowing.
template <class T>
T element_from(double v)
{
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(v);
    } else {
        if (!(v == v)) return T(0);
        if (v <= static_cast<double>(std::numeric_limits<T>::min())) return std::numeric_limits<T>::min();
        if (v >= static_cast<double>(std::numeric_limits<T>::max())) return std::numeric_limits<T>::max();
        return static_cast<T>(v);
    }
}

// Adds v[from + k] to sum[k] for every k of sum, where indices before the
// trace or past its end repeat its first or last sample.
void add_clamped(std::vector<float> const& v, long long from, std::vector<double>& sum)
{
    long long const n = static_cast<long long>(sum.size()), last = static_cast<long long>(v.size()) - 1;
    long long k = 0;
    for (; k < n && from + k < 0; ++k) sum[static_cast<std::size_t>(k)] += v.front();
    long long const inside = std::min(n, last - from + 1);
    if (k < inside) {
        double* __restrict s = sum.data() + k;
        float const* __restrict p = v.data() + (from + k);
        for (long long j = 0; j < inside - k; ++j) s[j] += p[j];
        k = inside;
    }
    for (; k < n; ++k) sum[static_cast<std::size_t>(k)] += v.back();
}

} // namespace

void SEGY3DBrickWriter::set(int dataType, vec<unsigned, 3> const& totalSize, vec<int, 3> const& inlRange,
                            vec<int, 3> const& crlRange, vec<double, 2> const& zRange, int brickSize, int borderSize,
                            double undefValue, std::shared_ptr<StreamerIndexedSEGY3DReader> traceReader,
                            std::shared_ptr<Streamer3DGridLowLevelWriter> brickWriter)
{
    data_type = dataType;
    total_size_ = totalSize;
    inl_rng_ = inlRange;
    crl_rng_ = crlRange;
    z_rng_ = zRange;
    brick_size = brickSize;
    border = borderSize;
    undef = undefValue;
    reader = std::move(traceReader);
    writer = std::move(brickWriter);
}

void SEGY3DBrickWriter::run()
{
    Util::logc("SEGY3DBrickWriter::run()");
    Util::logf(" total_size_ = %d %d %d\n", total_size_[0], total_size_[1], total_size_[2]);
    Util::logf(" inl_rng_ = %d %d %d\n", inl_rng_[0], inl_rng_[1], inl_rng_[2]);
    Util::logf(" crl_rng_ = %d %d %d\n", crl_rng_[0], crl_rng_[1], crl_rng_[2]);
    timings_ = Timings{};
    if (!reader || !writer || brick_size <= 2 * border || border < 0 || inl_rng_[2] < 1 || crl_rng_[2] < 1) {
        Util::logc("SEGY3DBrickWriter: nothing to do");
        return;
    }
    grid_ = BrickGrid(total_size_, static_cast<unsigned>(brick_size), static_cast<unsigned>(border));
    if (!grid_.valid()) {
        Util::logc("SEGY3DBrickWriter: nothing to do");
        return;
    }
    auto const& counts = grid_.level_counts();
    int const levels = static_cast<int>(counts.size());
    Util::logf(" num_levels = %d\n", levels);
    for (int l = 0; l < levels; ++l) Util::logf("  %d: %d %d %d\n", l, counts[l][0], counts[l][1], counts[l][2]);

    // A unit holds all its bricks at once: keep it to about 2000.
    int h = std::min(3, levels);
    while (h > 1) {
        long long const side = 1LL << (h - 1);
        long long const bricks = side * side * counts[0][0];
        Util::logf("  level(%d): num_bricks(%lld)\n", h, bricks);
        if (bricks <= 2000) break;
        --h;
    }
    Util::logf(" num_active_levels_hint = %d\n", h);

    std::vector<WorkUnit> units;
    plan_work(units, h, counts);
    int const extension = (1 << (std::min(levels, h) - 1)) * border;

    std::vector<TraceKey> keys, nextKeys;
    std::vector<Trace> traces;
    std::vector<Brick> bricks;
    std::map<std::pair<int, int>, int> lookup;
    std::size_t const n = units.size();
    for (std::size_t i = 0; i < n; ++i) {
        WorkUnit const& unit = units[i];
        Util::logf("SEGY3DBrickWriter: work unit %zu/%zu(%f)\n", i, n, static_cast<double>(i) / static_cast<double>(n));
        if (i == 0) {
            assemble_trace_key_list(keys, unit.inl, unit.crl);
            Util::logf("SEGY3DBrickWriter: requesting %zu traces\n", keys.size());
            reader->request_traces(keys);
        } else {
            keys.swap(nextKeys); // requested while the previous unit was filled
        }

        // The bricks' buffers pass from unit to unit: fresh ones would cost a
        // page fault for every 4 KB of them.
        bricks.resize(unit.keys.size());
        for (std::size_t b = 0; b < bricks.size(); ++b) static_cast<BrickKey&>(bricks[b]) = unit.keys[b];

        nextKeys.clear();
        if (i + 1 < n) assemble_trace_key_list(nextKeys, units[i + 1].inl, units[i + 1].crl);
        Util::logc("SEGY3DBrickWriter: get_traces_blocking");
        auto t0 = Clock::now();
        reader->get_traces_blocking(keys, traces);
        timings_.reading += since(t0);
        if (!nextKeys.empty()) {
            Util::logf("SEGY3DBrickWriter: requesting %zu traces\n", nextKeys.size());
            reader->request_traces(nextKeys);
        }

        t0 = Clock::now();
        lookup.clear();
        assemble_inl_crl_pair_to_tracenum(lookup, traces, extension);
        column_ = Column{};
        Util::logc("SEGY3DBrickWriter: fill");
        fill_all(bricks, traces, lookup);
        timings_.filling += since(t0);

        Util::logc("SEGY3DBrickWriter: add_bricks");
        double const encodedBefore = writer->encode_seconds(), writtenBefore = writer->write_seconds();
        writer->add_bricks(bricks);
        timings_.compressing += writer->encode_seconds() - encodedBefore;
        timings_.writing += writer->write_seconds() - writtenBefore;
    }
    Util::logc("SEGY3DBrickWriter: done");
}

void SEGY3DBrickWriter::plan_work(std::vector<WorkUnit>& units, int numLevels,
                                  std::vector<vec<unsigned, 3>> const& levelCounts) const
{
    int const active = std::min(numLevels, static_cast<int>(levelCounts.size()));
    unsigned const S = 1u << (numLevels - 1);
    Util::logf(" level_0_brick_step = %u\n", S);
    int const core = brick_size - 2 * border;
    long long const g = static_cast<long long>(border) * S;

    // The survey's lines (start + step * index) nearest the wanted window, within the survey.
    auto const lines = [&](vec<int, 3> const& rng, unsigned b) {
        long long const count = (static_cast<long long>(rng[1]) - rng[0]) / rng[2];
        long long const lo = std::clamp<long long>(static_cast<long long>(b) * core - g, 0, count);
        long long const hi = std::clamp<long long>((static_cast<long long>(b) + S) * core + g, 0, count);
        return vec<int, 3>{{static_cast<int>(rng[0] + rng[2] * lo), static_cast<int>(rng[0] + rng[2] * hi), rng[2]}};
    };

    for (unsigned bi = 0; bi < levelCounts[0][2]; bi += S)
        for (unsigned bj = 0; bj < levelCounts[0][1]; bj += S) {
            WorkUnit unit;
            unit.inl = lines(inl_rng_, bi);
            unit.crl = lines(crl_rng_, bj);
            for (int l = 0; l < active; ++l) {
                unsigned const s = 1u << l, c = S / s;
                auto const& cnt = levelCounts[static_cast<std::size_t>(l)];
                for (unsigned i = 0; i < c && bi / s + i < cnt[2]; ++i)
                    for (unsigned j = 0; j < c && bj / s + j < cnt[1]; ++j)
                        for (unsigned k = 0; k < cnt[0]; ++k)
                            unit.keys.emplace_back(static_cast<unsigned>(l),
                                                   grid_.pos2id(k, bj / s + j, bi / s + i, static_cast<unsigned>(l)));
            }
            units.push_back(std::move(unit));
        }
}

void SEGY3DBrickWriter::assemble_trace_key_list(std::vector<TraceKey>& keys, vec<int, 3> const& inl,
                                                vec<int, 3> const& crl) const
{
    keys.clear();
    if (inl[2] < 1 || crl[2] < 1) return;
    for (long long i = inl[0]; i <= inl[1]; i += inl[2])
        for (long long c = crl[0]; c <= crl[1]; c += crl[2])
            if (reader->trace_exist(static_cast<int>(i), static_cast<int>(c)))
                keys.push_back(TraceKey{static_cast<int>(i), static_cast<int>(c)});
}

// Edge traces are repeated outwards, so that a brick border beyond the survey
// sees the edge. The rows that test a crossline against the last inline are
// kept as they were designed: the outer corners at the last crossline are
// extended only when those two numbers coincide.
void SEGY3DBrickWriter::assemble_inl_crl_pair_to_tracenum(std::map<std::pair<int, int>, int>& lookup,
                                                          std::vector<Trace> const& traces, int extension) const
{
    int const i = inl_rng_[2], c = crl_rng_[2];
    int const firstInl = inl_rng_[0], lastInl = inl_rng_[1], firstCrl = crl_rng_[0], lastCrl = crl_rng_[1];
    for (std::size_t t = 0; t < traces.size(); ++t) {
        int const a = traces[t].inl, b = traces[t].crl, n = static_cast<int>(t);
        auto const put = [&](long long inl, long long crl) {
            if (inl < std::numeric_limits<int>::min() || inl > std::numeric_limits<int>::max() ||
                crl < std::numeric_limits<int>::min() || crl > std::numeric_limits<int>::max())
                return;
            lookup.emplace(std::make_pair(static_cast<int>(inl), static_cast<int>(crl)), n); // never overwrites
        };
        put(a, b);
        for (long long d = 1; d <= extension; ++d)
            for (long long f = 1; f <= extension; ++f) {
                long long const di = i * d, dc = c * d, fc = c * f;
                if (a == firstInl) put(a - di, b);
                if (a == firstInl && b == firstCrl) put(a - di, b - fc);
                if (a == lastInl) put(a + di, b);
                if (a == lastInl && b == firstCrl) put(a + di, b - fc);
                if (b == firstCrl) put(a, b - dc);
                if (b == firstCrl && b == lastInl) put(a - di, b + fc);
                if (b == lastCrl) put(a, b + dc);
                if (b == lastCrl && b == lastInl) put(a + di, b + fc);
            }
    }
}

// The trace index of every (inline, crossline) of the brick's window at its
// level, resolved once for the column of bricks that shares it.
std::vector<int> const& SEGY3DBrickWriter::column(BrickKey const& key, vec<unsigned, 3> const& pos,
                                                  std::map<std::pair<int, int>, int> const& lookup, Column& col) const
{
    if (col.lookup == &lookup && col.level == key.level && col.py == pos[1] && col.pz == pos[2]) return col.traces;
    col.lookup = &lookup;
    col.level = key.level;
    col.py = pos[1];
    col.pz = pos[2];
    long long const s = 1LL << key.level, core = brick_size - 2 * border, side = brick_size * s;
    long long const i0 = (pos[2] * core - border) * s, j0 = (pos[1] * core - border) * s;
    col.traces.assign(static_cast<std::size_t>(side * side), -1);
    for (long long di = 0; di < side; ++di)
        for (long long dj = 0; dj < side; ++dj) {
            long long const inl = inl_rng_[0] + inl_rng_[2] * (i0 + di);
            long long const crl = crl_rng_[0] + crl_rng_[2] * (j0 + dj);
            if (inl < std::numeric_limits<int>::min() || inl > std::numeric_limits<int>::max() ||
                crl < std::numeric_limits<int>::min() || crl > std::numeric_limits<int>::max())
                continue;
            auto const it = lookup.find({static_cast<int>(inl), static_cast<int>(crl)});
            if (it != lookup.end()) col.traces[static_cast<std::size_t>(di * side + dj)] = it->second;
        }
    return col.traces;
}

template <class T>
void SEGY3DBrickWriter::fill_typed(Brick& brick, std::vector<Trace> const& traces,
                                   std::map<std::pair<int, int>, int> const& lookup, Column& col) const
{
    vec<unsigned, 3> const pos = grid_.id2pos(brick);
    std::vector<int> const& window = column(brick, pos, lookup, col);
    long long const bs = brick_size, s = 1LL << brick.level, core = brick_size - 2 * border, side = bs * s;
    long long const k0 = (pos[0] * core - border) * s;
    T* out = reinterpret_cast<T*>(brick.data.data());
    bool any = false;

    if (brick.level == 0) {
        for (long long i = 0; i < bs; ++i)
            for (long long j = 0; j < bs; ++j) {
                int const t = window[static_cast<std::size_t>(i * side + j)];
                if (t < 0 || traces[static_cast<std::size_t>(t)].samples.empty()) continue;
                std::vector<float> const& v = traces[static_cast<std::size_t>(t)].samples;
                long long const last = static_cast<long long>(v.size()) - 1;
                T* e = out + (i * bs + j) * bs;
                // Indices before the trace or past its end repeat its first or last sample.
                long long k = 0;
                for (; k < bs && k0 + k < 0; ++k) e[k] = element_from<T>(v.front());
                long long const inside = std::min(bs, last - k0 + 1);
                if (k < inside) {
                    float const* __restrict p = v.data() + (k0 + k);
                    T* __restrict o = e + k;
                    for (long long m = 0; m < inside - k; ++m) o[m] = element_from<T>(p[m]);
                    k = inside;
                }
                for (; k < bs; ++k) e[k] = element_from<T>(v.back());
                any = true;
            }
    } else {
        // Each element averages s x s traces over s samples. The column of
        // s x s traces under an element is summed sample by sample first, so
        // the inner loops run along contiguous samples.
        thread_local std::vector<double> colsum;
        colsum.resize(static_cast<std::size_t>(bs * s));
        for (long long ci = 0; ci < bs; ++ci)
            for (long long cj = 0; cj < bs; ++cj) {
                std::fill(colsum.begin(), colsum.end(), 0.0);
                int traced = 0;
                for (long long di = ci * s; di < (ci + 1) * s; ++di)
                    for (long long dj = cj * s; dj < (cj + 1) * s; ++dj) {
                        int const t = window[static_cast<std::size_t>(di * side + dj)];
                        if (t < 0 || traces[static_cast<std::size_t>(t)].samples.empty()) continue;
                        add_clamped(traces[static_cast<std::size_t>(t)].samples, k0, colsum);
                        ++traced;
                    }
                if (traced == 0) continue;
                double const count = static_cast<double>(traced) * static_cast<double>(s);
                T* e = out + (ci * bs + cj) * bs;
                for (long long kk = 0; kk < bs; ++kk) {
                    double sum = 0.0;
                    for (long long q = 0; q < s; ++q) sum += colsum[static_cast<std::size_t>(kk * s + q)];
                    e[kk] = element_from<T>(sum / count);
                }
                any = true;
            }
    }
    if (!any) brick.data.clear(); // no trace reaches it: undefined
}

void SEGY3DBrickWriter::fill_brick(Brick& brick, std::vector<Trace> const& traces,
                                   std::map<std::pair<int, int>, int> const& lookup)
{
    fill_with(brick, traces, lookup, column_);
}

void SEGY3DBrickWriter::fill_with(Brick& brick, std::vector<Trace> const& traces,
                                  std::map<std::pair<int, int>, int> const& lookup, Column& col) const
{
    switch (data_type) {
    case 1:
    case 2: fill_typed<std::int8_t>(brick, traces, lookup, col); break;
    case 3:
    case 4: fill_typed<std::int16_t>(brick, traces, lookup, col); break;
    case 5: fill_typed<std::int32_t>(brick, traces, lookup, col); break;
    case 6: fill_typed<std::uint32_t>(brick, traces, lookup, col); break;
    case 7: fill_typed<std::int64_t>(brick, traces, lookup, col); break;
    case 8: fill_typed<std::uint64_t>(brick, traces, lookup, col); break;
    case 9: fill_typed<float>(brick, traces, lookup, col); break;
    case 10: fill_typed<double>(brick, traces, lookup, col); break;
    default: break; // bits and unknown types are left as they are
    }
}

void SEGY3DBrickWriter::fill_all(std::vector<Brick>& bricks, std::vector<Trace> const& traces,
                                 std::map<std::pair<int, int>, int> const& lookup) const
{
    std::size_t const threads =
        std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, std::max<std::size_t>(1, bricks.size() / 8));
    auto const part = [&](std::size_t t) {
        Column col;
        for (std::size_t b = bricks.size() * t / threads; b < bricks.size() * (t + 1) / threads; ++b) {
            writer->fill_brick_data_with_undef_values(bricks[b]);
            fill_with(bricks[b], traces, lookup, col);
        }
    };
    std::vector<std::thread> helpers;
    for (std::size_t t = 1; t < threads; ++t) helpers.emplace_back(part, t);
    part(0);
    for (auto& h : helpers) h.join();
}

} // namespace Tolmar
