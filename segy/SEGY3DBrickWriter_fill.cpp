// The filling of a brick column from a unit's traces (level 0) or from its
// pair sums (the coarser levels), and the sums themselves.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "foundation/Streamer3DGridLowLevelWriter.h"
#include "foundation/sample_decode.h"
#include "segy/SEGY3DBrickWriter_parts.h"

namespace Tolmar {

namespace {

using Clock = std::chrono::steady_clock;

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

// element_from of a float. Up to 16 bits the limits are exact floats, so the
// clamp gives the same in single precision, at twice the width.
template <class T>
T element_from_float(float v)
{
    if constexpr (!std::is_floating_point_v<T> && sizeof(T) <= 2) {
        float const lo = static_cast<float>(std::numeric_limits<T>::min());
        float const hi = static_cast<float>(std::numeric_limits<T>::max());
        float const c = v < lo ? lo : v > hi ? hi : v;
        return static_cast<T>(v == v ? c : 0.0f);
    } else {
        return element_from<T>(static_cast<double>(v));
    }
}

// Adds v[from + k] to sum[k] for every k below n, where indices before the
// trace or past its end repeat its first or last sample.
void add_clamped(float const* v, long long samples, long long from, double* __restrict sum, long long n)
{
    long long const last = samples - 1;
    long long k = 0;
    for (; k < n && from + k < 0; ++k) sum[k] += v[0];
    long long const inside = std::min(n, last - from + 1);
    if (k < inside) {
        add_samples(v + (from + k), sum + k, static_cast<std::size_t>(inside - k));
        k = inside;
    }
    for (; k < n; ++k) sum[k] += v[last];
}

// out[m] = (0 + in[2 m]) + in[2 m + 1] for every m below n: the sum of each
// pair of samples, started from zero as every sum of the pass is.
void sum_sample_pairs(double const* __restrict in, double* __restrict out, long long n)
{
    for (long long m = 0; m < n; ++m) out[m] = (0.0 + in[2 * m]) + in[2 * m + 1];
}

// out[e] += in[e * t] + ... + in[e * t + t - 1], added one by one, for every e below n.
void add_runs(double const* __restrict in, long long t, double* __restrict out, long long n)
{
    if (t == 1) {
        for (long long e = 0; e < n; ++e) out[e] += in[e];
    } else if (t == 2) {
        for (long long e = 0; e < n; ++e) out[e] = (out[e] + in[2 * e]) + in[2 * e + 1];
    } else {
        for (long long e = 0; e < n; ++e)
            for (long long q = 0; q < t; ++q) out[e] += in[e * t + q];
    }
}

// A brick row of n elements: bricks are almost always 36 wide, and a copy of
// a size known here is a few moves instead of a call.
template <class T>
void copy_row(T* __restrict out, T const* __restrict in, long long n)
{
    if (n == 36) std::memcpy(out, in, 36 * sizeof(T));
    else std::memcpy(out, in, static_cast<std::size_t>(n) * sizeof(T));
}

// Writes v[from + k] as T to out[k] for k below n, where indices before the
// trace or past its end repeat its first or last sample.
template <class T>
void copy_clamped(float const* v, long long samples, long long from, T* out, long long n)
{
    long long const last = samples - 1;
    long long k = 0;
    for (; k < n && from + k < 0; ++k) out[k] = element_from_float<T>(v[0]);
    long long const inside = std::min(n, last - from + 1);
    if (k < inside) {
        float const* __restrict p = v + (from + k);
        T* __restrict o = out + k;
        std::size_t const m = static_cast<std::size_t>(inside - k);
        if constexpr (std::is_same_v<T, std::int8_t>) samples_to_int8(p, o, m);
        else if constexpr (std::is_same_v<T, std::int16_t>) samples_to_int16(p, o, m);
        else if constexpr (std::is_same_v<T, float>) std::memcpy(o, p, m * sizeof(float));
        else
            for (std::size_t e = 0; e < m; ++e) o[e] = element_from_float<T>(p[e]);
        k = inside;
    }
    for (; k < n; ++k) out[k] = element_from_float<T>(v[last]);
}


} // namespace

void SEGY3DBrickWriter::sum_pairs(Loaded const& loaded, TraceBand const& band, Pairs& pairs, int first,
                                  int last) const
{
    long long const samples = static_cast<long long>(band.samples), n = 2 * pairs.mCount;
    thread_local std::vector<double> scratch;
    scratch.resize(static_cast<std::size_t>(n));
    double* const colsum = scratch.data();
    for (long long p = first; p < last; ++p)
        for (long long q = 0; q < pairs.side; ++q) {
            std::size_t const at = static_cast<std::size_t>(p * pairs.side + q);
            std::fill_n(colsum, n, 0.0);
            int count = 0;
            // The traces in the order the pass has always added them: inline, then crossline.
            for (long long di = 0; di < 2; ++di)
                for (long long dj = 0; dj < 2; ++dj) {
                    int const t = loaded.slots[static_cast<std::size_t>((2 * p + di) * loaded.side + 2 * q + dj)];
                    float const* v = t < 0 ? nullptr : band.trace(static_cast<std::size_t>(t));
                    if (!v) continue;
                    add_clamped(v, samples, 2 * pairs.mFrom, colsum, n);
                    ++count;
                }
            pairs.counts[at] = count;
            if (count > 0) sum_sample_pairs(colsum, pairs.sums.data() + at * static_cast<std::size_t>(pairs.mCount), pairs.mCount);
        }
}

// A column's bricks share their traces and differ only in the samples they
// take, so each trace is walked once, front to back, for all of them: walking
// it brick by brick costs a cache miss for every few samples. Each trace is
// converted once over the column's whole range; the bricks then copy their
// rows out of it.
//
// The thread's scratch vectors are reached through plain pointers in the
// loops: in a shared library every use of a thread_local costs a call.
template <class T>
bool SEGY3DBrickWriter::fill_fine(Column const& column, Loaded const& loaded, TraceBand const& band,
                                  std::vector<Brick>& bricks) const
{
    long long const bs = brick_size, core = brick_size - 2 * border, side = loaded.side;
    long long const i0 = column.inl * core - border - loaded.inl0;
    long long const j0 = column.crl * core - border - loaded.crl0;
    long long const samples = static_cast<long long>(band.samples);
    std::size_t const count = bricks.size();
    thread_local std::vector<T*> outs;
    thread_local std::vector<T> rows;
    outs.resize(count);
    T* const* const out = outs.data();
    for (std::size_t b = 0; b < count; ++b) outs[b] = reinterpret_cast<T*>(bricks[b].data.data());
    // Brick b takes the column's elements from b * core on; the column starts `border` before the first sample.
    long long const elements = (static_cast<long long>(count) - 1) * core + bs;
    rows.resize(static_cast<std::size_t>(elements));
    T* const row = rows.data();
    T u; // the undefined value, for what no trace reaches
    std::memcpy(&u, undef_brick_.data(), sizeof u);
    bool any = false;
    for (long long i = 0; i < bs; ++i)
        for (long long j = 0; j < bs; ++j) {
            int const t = loaded.slots[static_cast<std::size_t>((i0 + i) * side + j0 + j)];
            float const* v = t < 0 ? nullptr : band.trace(static_cast<std::size_t>(t));
            if (!v) {
                for (std::size_t b = 0; b < count; ++b) std::fill_n(out[b] + (i * bs + j) * bs, bs, u);
                continue;
            }
            copy_clamped(v, samples, -border, row, elements);
            for (std::size_t b = 0; b < count; ++b)
                copy_row(out[b] + (i * bs + j) * bs, row + static_cast<long long>(b) * core, bs);
            any = true;
        }
    return any;
}

// Each level-l element averages 2^l samples of 2^l x 2^l traces: the sums
// of 2^(l-1) x 2^(l-1) pairs over 2^(l-1) pairs of samples.
template <class T>
bool SEGY3DBrickWriter::fill_coarse(Column const& column, Pairs const& pairs, std::vector<Brick>& bricks) const
{
    long long const bs = brick_size, s = 1LL << column.level, t = s / 2, core = brick_size - 2 * border;
    long long const p0 = ((column.inl * core - border) * s - pairs.inl0) / 2;
    long long const q0 = ((column.crl * core - border) * s - pairs.crl0) / 2;
    std::size_t const count = bricks.size();
    thread_local std::vector<T*> outs;
    thread_local std::vector<double> elementSums;
    thread_local std::vector<T> values;
    outs.resize(count);
    T* const* const out = outs.data();
    for (std::size_t b = 0; b < count; ++b) outs[b] = reinterpret_cast<T*>(bricks[b].data.data());
    long long const elements = (static_cast<long long>(count) - 1) * core + bs;
    elementSums.resize(static_cast<std::size_t>(elements));
    values.resize(static_cast<std::size_t>(elements));
    double* const esum = elementSums.data();
    T* const value = values.data();
    T u;
    std::memcpy(&u, undef_brick_.data(), sizeof u);
    // Element e of the column covers the sample pairs from t * (e - border) on.
    long long const shift = -t * border - pairs.mFrom;
    bool any = false;
    for (long long ci = 0; ci < bs; ++ci)
        for (long long cj = 0; cj < bs; ++cj) {
            std::fill_n(esum, elements, 0.0);
            int traced = 0;
            for (long long a = 0; a < t; ++a)
                for (long long b = 0; b < t; ++b) {
                    std::size_t const at = static_cast<std::size_t>((p0 + ci * t + a) * pairs.side + q0 + cj * t + b);
                    if (pairs.counts[at] == 0) continue;
                    traced += pairs.counts[at];
                    double const* sum = pairs.sums.data() + at * static_cast<std::size_t>(pairs.mCount) + shift;
                    add_runs(sum, t, esum, elements);
                }
            if (traced == 0) {
                for (std::size_t b = 0; b < count; ++b) std::fill_n(out[b] + (ci * bs + cj) * bs, bs, u);
                continue;
            }
            double const n = static_cast<double>(traced) * static_cast<double>(s);
            for (long long e = 0; e < elements; ++e) value[e] = element_from<T>(esum[e] / n);
            for (std::size_t b = 0; b < count; ++b)
                copy_row(out[b] + (ci * bs + cj) * bs, value + static_cast<long long>(b) * core, bs);
            any = true;
        }
    return any;
}

void SEGY3DBrickWriter::fill_column(Column const& column, Loaded const& loaded, TraceBand const& band,
                                    Pairs const& pairs, double& fillSeconds) const
{
    auto const t0 = Clock::now();
    // The bricks stay with the thread from column to column: fresh buffers
    // would cost a page fault for every 4 KB of them.
    thread_local std::vector<Brick> bricks;
    bricks.resize(grid_.counts(column.level)[0]);
    for (std::size_t b = 0; b < bricks.size(); ++b) {
        bricks[b].level = column.level;
        bricks[b].id = grid_.pos2id(static_cast<unsigned>(b), column.crl, column.inl, column.level);
        bricks[b].data.resize(undef_brick_.size());
    }
    auto const typed = [&](auto zero) {
        using T = decltype(zero);
        return column.level == 0 ? fill_fine<T>(column, loaded, band, bricks) : fill_coarse<T>(column, pairs, bricks);
    };
    bool any = true;
    switch (data_type) {
    case 1:
    case 2: any = typed(std::int8_t{}); break;
    case 3:
    case 4: any = typed(std::int16_t{}); break;
    case 5: any = typed(std::int32_t{}); break;
    case 6: any = typed(std::uint32_t{}); break;
    case 7: any = typed(std::int64_t{}); break;
    case 8: any = typed(std::uint64_t{}); break;
    case 9: any = typed(float{}); break;
    case 10: any = typed(double{}); break;
    default: // bits and unknown types are left undefined
        for (Brick& b : bricks) b.data = undef_brick_;
        break;
    }
    if (!any) // no trace reaches them: undefined
        for (Brick& b : bricks) b.data.clear();
    fillSeconds = std::chrono::duration<double>(Clock::now() - t0).count();
    for (Brick const& b : bricks) writer->add_brick(b);
}


} // namespace Tolmar
