#include "segy/SEGY3DBrickWriter.h"

#include <algorithm>
#include <atomic>
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

// Truncation towards zero into T; values beyond T's range saturate instead
// of overflowing, NaN gives 0. Up to 32 bits the limits are exact doubles and
// the clamp is branch-free, so the copies vectorise.
template <class T>
T element_from(double v)
{
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(v);
    } else if constexpr (sizeof(T) <= 4) {
        double const lo = static_cast<double>(std::numeric_limits<T>::min());
        double const hi = static_cast<double>(std::numeric_limits<T>::max());
        return static_cast<T>(v == v ? std::min(std::max(v, lo), hi) : 0.0);
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

// Writes v[from + k] as T to out[k] for k below n, where indices before the
// trace or past its end repeat its first or last sample.
template <class T>
void copy_clamped(std::vector<float> const& v, long long from, T* out, long long n)
{
    long long const last = static_cast<long long>(v.size()) - 1;
    long long k = 0;
    for (; k < n && from + k < 0; ++k) out[k] = element_from<T>(v.front());
    long long const inside = std::min(n, last - from + 1);
    if (k < inside) {
        float const* __restrict p = v.data() + (from + k);
        T* __restrict o = out + k;
        for (long long m = 0; m < inside - k; ++m) o[m] = element_from<T>(p[m]);
        k = inside;
    }
    for (; k < n; ++k) out[k] = element_from<T>(v.back());
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
    Brick undefined;
    writer->fill_brick_data_with_undef_values(undefined);
    undef_brick_ = std::move(undefined.data);
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
        Util::logc("SEGY3DBrickWriter: fill");
        fill_all(bricks, traces, lookup);
        timings_.filling += since(t0);

        Util::logc("SEGY3DBrickWriter: add_bricks");
        double const encodedBefore = writer->encode_seconds(), writtenBefore = writer->write_seconds();
        writer->add_bricks(bricks);
        timings_.compressing += writer->encode_seconds() - encodedBefore;
        timings_.writing += writer->write_seconds() - writtenBefore;
        if (progress_) progress_(static_cast<double>(i + 1) / static_cast<double>(n));
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

// The trace index of every (inline, crossline) of a brick column's window at
// its level, -1 where there is none.
void SEGY3DBrickWriter::window_of(unsigned level, vec<unsigned, 3> const& pos,
                                  std::map<std::pair<int, int>, int> const& lookup, std::vector<int>& window) const
{
    long long const s = 1LL << level, core = brick_size - 2 * border, side = brick_size * s;
    long long const i0 = (pos[2] * core - border) * s, j0 = (pos[1] * core - border) * s;
    window.assign(static_cast<std::size_t>(side * side), -1);
    for (long long di = 0; di < side; ++di)
        for (long long dj = 0; dj < side; ++dj) {
            long long const inl = inl_rng_[0] + inl_rng_[2] * (i0 + di);
            long long const crl = crl_rng_[0] + crl_rng_[2] * (j0 + dj);
            if (inl < std::numeric_limits<int>::min() || inl > std::numeric_limits<int>::max() ||
                crl < std::numeric_limits<int>::min() || crl > std::numeric_limits<int>::max())
                continue;
            auto const it = lookup.find({static_cast<int>(inl), static_cast<int>(crl)});
            if (it != lookup.end()) window[static_cast<std::size_t>(di * side + dj)] = it->second;
        }
}

// A column's bricks share their traces and differ only in the samples they
// take, so each trace is walked once, front to back, for all of them: walking
// it brick by brick costs a cache miss for every few samples.
template <class T>
void SEGY3DBrickWriter::fill_typed(Brick* const* column, std::size_t count, std::vector<Trace> const& traces,
                                   std::map<std::pair<int, int>, int> const& lookup) const
{
    unsigned const level = column[0]->level;
    vec<unsigned, 3> const pos = grid_.id2pos(*column[0]);
    thread_local std::vector<int> window;
    window_of(level, pos, lookup, window);
    long long const bs = brick_size, s = 1LL << level, core = brick_size - 2 * border, side = bs * s;
    thread_local std::vector<long long> k0; // each brick's first sample
    thread_local std::vector<T*> out;
    k0.resize(count);
    out.resize(count);
    for (std::size_t b = 0; b < count; ++b) {
        k0[b] = (grid_.id2pos(*column[b])[0] * core - border) * s;
        out[b] = reinterpret_cast<T*>(column[b]->data.data());
    }
    auto const trace = [&](long long di, long long dj) -> std::vector<float> const* {
        int const t = window[static_cast<std::size_t>(di * side + dj)];
        if (t < 0 || traces[static_cast<std::size_t>(t)].samples.empty()) return nullptr;
        return &traces[static_cast<std::size_t>(t)].samples;
    };
    T u; // the undefined value, for what no trace reaches
    std::memcpy(&u, undef_brick_.data(), sizeof u);
    auto const undefined = [&](long long i, long long j) {
        for (std::size_t b = 0; b < count; ++b) std::fill_n(out[b] + (i * bs + j) * bs, bs, u);
    };
    bool any = false;

    if (level == 0) {
        for (long long i = 0; i < bs; ++i)
            for (long long j = 0; j < bs; ++j) {
                std::vector<float> const* v = trace(i, j);
                if (!v) {
                    undefined(i, j);
                    continue;
                }
                for (std::size_t b = 0; b < count; ++b) copy_clamped(*v, k0[b], out[b] + (i * bs + j) * bs, bs);
                any = true;
            }
    } else {
        // Each element averages s x s traces over s samples. The traces under
        // an element are summed sample by sample over the column's whole
        // range first; each brick then takes its part in runs of s.
        auto const [lo, hi] = std::minmax_element(k0.begin(), k0.end());
        long long const from = *lo;
        thread_local std::vector<double> colsum;
        colsum.resize(static_cast<std::size_t>(*hi - from + bs * s));
        for (long long ci = 0; ci < bs; ++ci)
            for (long long cj = 0; cj < bs; ++cj) {
                std::fill(colsum.begin(), colsum.end(), 0.0);
                int traced = 0;
                for (long long di = ci * s; di < (ci + 1) * s; ++di)
                    for (long long dj = cj * s; dj < (cj + 1) * s; ++dj)
                        if (std::vector<float> const* v = trace(di, dj)) {
                            add_clamped(*v, from, colsum);
                            ++traced;
                        }
                if (traced == 0) {
                    undefined(ci, cj);
                    continue;
                }
                double const n = static_cast<double>(traced) * static_cast<double>(s);
                for (std::size_t b = 0; b < count; ++b) {
                    double const* c = colsum.data() + (k0[b] - from);
                    T* e = out[b] + (ci * bs + cj) * bs;
                    for (long long kk = 0; kk < bs; ++kk) {
                        double sum = 0.0;
                        for (long long q = 0; q < s; ++q) sum += c[kk * s + q];
                        e[kk] = element_from<T>(sum / n);
                    }
                }
                any = true;
            }
    }
    if (!any) // no trace reaches them: undefined
        for (std::size_t b = 0; b < count; ++b) column[b]->data.clear();
}

void SEGY3DBrickWriter::fill_brick(Brick& brick, std::vector<Trace> const& traces,
                                   std::map<std::pair<int, int>, int> const& lookup)
{
    Brick* const one = &brick;
    brick.data.resize(undef_brick_.size());
    fill_column(&one, 1, traces, lookup);
}

void SEGY3DBrickWriter::fill_column(Brick* const* column, std::size_t count, std::vector<Trace> const& traces,
                                    std::map<std::pair<int, int>, int> const& lookup) const
{
    switch (data_type) {
    case 1:
    case 2: fill_typed<std::int8_t>(column, count, traces, lookup); break;
    case 3:
    case 4: fill_typed<std::int16_t>(column, count, traces, lookup); break;
    case 5: fill_typed<std::int32_t>(column, count, traces, lookup); break;
    case 6: fill_typed<std::uint32_t>(column, count, traces, lookup); break;
    case 7: fill_typed<std::int64_t>(column, count, traces, lookup); break;
    case 8: fill_typed<std::uint64_t>(column, count, traces, lookup); break;
    case 9: fill_typed<float>(column, count, traces, lookup); break;
    case 10: fill_typed<double>(column, count, traces, lookup); break;
    default: // bits and unknown types are left undefined
        for (std::size_t b = 0; b < count; ++b) column[b]->data = undef_brick_;
        break;
    }
}

void SEGY3DBrickWriter::fill_all(std::vector<Brick>& bricks, std::vector<Trace> const& traces,
                                 std::map<std::pair<int, int>, int> const& lookup) const
{
    // The work is split into columns: runs of bricks of one level with the
    // same inline and crossline position.
    std::vector<Brick*> order(bricks.size());
    std::vector<std::pair<std::size_t, std::size_t>> columns; // first, count
    for (std::size_t b = 0; b < bricks.size(); ++b) {
        order[b] = &bricks[b];
        vec<unsigned, 3> const p = grid_.id2pos(bricks[b]);
        if (b > 0) {
            vec<unsigned, 3> const q = grid_.id2pos(bricks[b - 1]);
            if (bricks[b].level == bricks[b - 1].level && p[1] == q[1] && p[2] == q[2]) {
                ++columns.back().second;
                continue;
            }
        }
        columns.emplace_back(b, 1);
    }
    std::atomic<std::size_t> next{0};
    auto const work = [&] {
        for (std::size_t c; (c = next.fetch_add(1)) < columns.size();) {
            auto const [first, count] = columns[c];
            for (std::size_t b = first; b < first + count; ++b) bricks[b].data.resize(undef_brick_.size());
            fill_column(order.data() + first, count, traces, lookup);
        }
    };
    std::size_t const threads = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, columns.size());
    std::vector<std::thread> helpers;
    for (std::size_t t = 1; t < threads; ++t) helpers.emplace_back(work);
    work();
    for (auto& h : helpers) h.join();
}

} // namespace Tolmar
