#include "segy/SEGY3DBrickWriter.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <limits>
#include <thread>

#include "foundation/Streamer3DGridLowLevelWriter.h"
#include "foundation/log.h"
#include "segy/SEGY3DBrickWriter_parts.h"
#include "segy/WorkerTeam.h"

namespace Tolmar {

namespace {

using Clock = std::chrono::steady_clock;

// Inlines of a unit's window that one reading task reads, and pair rows one
// summing task sums: small enough that the cores finish a round together.
constexpr int kRowsPerTask = 8;
constexpr int kPairRowsPerTask = 4;
constexpr int kLocateRowsPerTask = 16;
// Bands of inlines a unit's traces are read in.
constexpr unsigned kBands = 2;

double since(Clock::time_point t0) { return std::chrono::duration<double>(Clock::now() - t0).count(); }

void add_seconds(std::atomic<double>& total, double s)
{
    double v = total.load();
    while (!total.compare_exchange_weak(v, v + s)) {
    }
}

} // namespace

void SEGY3DBrickWriter::set(int dataType, vec<unsigned, 3> const& totalSize, vec<int, 3> const& inlRange,
                            vec<int, 3> const& crlRange, int brickSize, int borderSize, double undefValue,
                            std::shared_ptr<TraceWindowReader> traceReader,
                            std::shared_ptr<Streamer3DGridLowLevelWriter> brickWriter)
{
    data_type = dataType;
    total_size_ = totalSize;
    inl_rng_ = inlRange;
    crl_rng_ = crlRange;
    brick_size = brickSize;
    border = borderSize;
    undef = undefValue;
    reader = std::move(traceReader);
    writer = std::move(brickWriter);
}

bool SEGY3DBrickWriter::run()
{
    Util::logc("SEGY3DBrickWriter::run()");
    Util::logf(" total_size_ = %d %d %d\n", total_size_[0], total_size_[1], total_size_[2]);
    Util::logf(" inl_rng_ = %d %d %d\n", inl_rng_[0], inl_rng_[1], inl_rng_[2]);
    Util::logf(" crl_rng_ = %d %d %d\n", crl_rng_[0], crl_rng_[1], crl_rng_[2]);
    timings_ = Timings{};
    if (!reader || !writer || brick_size <= 2 * border || border < 0 || inl_rng_[2] < 1 || crl_rng_[2] < 1) {
        Util::logc("SEGY3DBrickWriter: nothing to do");
        return true;
    }
    grid_ = BrickGrid(total_size_, static_cast<unsigned>(brick_size), static_cast<unsigned>(border));
    if (!grid_.valid()) {
        Util::logc("SEGY3DBrickWriter: nothing to do");
        return true;
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
    plan_work(units, h);
    std::size_t const n = units.size();
    double const encodedBefore = writer->encode_seconds(), writtenBefore = writer->write_seconds();
    std::atomic<double> reading{0.0}, filling{0.0};

    // Each level-l element averages 2^l samples of 2^l x 2^l traces: the
    // coarser levels are summed from pairs of samples of 2 x 2 traces, which
    // reach as far before the first sample as their coarsest bricks do.
    Pairs pairs;
    if (h > 1) {
        long long const core = brick_size - 2 * border, S = 1LL << (h - 1);
        pairs.mFrom = -border * S / 2;
        long long end = 0;
        for (int l = 1; l < h; ++l) {
            long long const t = 1LL << (l - 1), elements = (counts[static_cast<std::size_t>(l)][0] - 1LL) * core + brick_size;
            end = std::max(end, t * (elements - border));
        }
        pairs.mCount = end - pairs.mFrom;
    }

    // A unit's traces are read a band of inlines at a time: the level-0
    // columns of a band need only its lines, and the coarser columns only the
    // pairs. A band's samples are the largest block of memory the pass
    // touches, and the first touch of fresh memory is dear. Each round of the
    // team runs tasks that need the same things done: the columns and pairs
    // of a band; the reading of the next band; the coarser columns of a unit
    // beside the reading of the next unit's first band. The largest tasks go
    // first in a round, so that the cores finish it together.
    Loaded located[2]; // this unit and the next
    TraceBand band;
    auto const read = [&](Loaded const& l, std::size_t task) {
        auto const t0 = Clock::now();
        int const from = band.row0 + static_cast<int>(task) * kRowsPerTask;
        reader->read_rows(band, l.traces, from, std::min(from + kRowsPerTask, band.row0 + band.rows));
        add_seconds(reading, since(t0));
    };
    auto const readTasks = [&] { return static_cast<std::size_t>((band.rows + kRowsPerTask - 1) / kRowsPerTask); };
    auto const locate = [&](Loaded& l, std::size_t task) {
        int const from = static_cast<int>(task) * kLocateRowsPerTask;
        reader->locate_rows(l.traces, from, from + kLocateRowsPerTask);
    };
    auto const locateTasks = [&](Loaded const& l) {
        return static_cast<std::size_t>((l.traces.inlines + kLocateRowsPerTask - 1) / kLocateRowsPerTask);
    };
    auto const fill = [&](Column const& column, Loaded const& l) {
        double fillSeconds = 0.0;
        fill_column(column, l, band, pairs, fillSeconds);
        add_seconds(filling, fillSeconds);
    };
    // The coarsest level of the pass is what finish() derives the next from;
    // its bricks are few unless it is level 0.
    if (h > 1) writer->keep_level(static_cast<unsigned>(h - 1));
    WorkerTeam team(std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, 8));
    bool held = true;
    if (n > 0) {
        shape(units[0], located[0]);
        team.run(locateTasks(located[0]), [&](std::size_t task) { locate(located[0], task); });
        place_traces(units[0], located[0]);
        held = hold_band(units[0], located[0], 0, band);
        if (held) team.run(readTasks(), [&](std::size_t task) { read(located[0], task); });
    }
    for (std::size_t i = 0; i < n && held; ++i) {
        Util::logf("SEGY3DBrickWriter: work unit %zu/%zu(%f)\n", i, n, static_cast<double>(i) / static_cast<double>(n));
        WorkUnit const& unit = units[i];
        Loaded& current = located[i % 2];
        Loaded& next = located[(i + 1) % 2];
        if (!unit.coarse.empty()) {
            pairs.inl0 = unit.inl0;
            pairs.crl0 = unit.crl0;
            pairs.side = unit.side / 2;
            std::size_t const n2 = static_cast<std::size_t>(pairs.side) * static_cast<std::size_t>(pairs.side);
            pairs.counts.resize(n2);
            pairs.sums.resize(n2 * static_cast<std::size_t>(pairs.mCount));
        }
        std::size_t const bands = unit.bands.size();
        for (std::size_t b = 0; b < bands && held; ++b) {
            if (b > 0) {
                held = hold_band(unit, current, static_cast<int>(b), band);
                if (!held) break;
                team.run(readTasks(), [&](std::size_t task) { read(current, task); });
            }
            // The last band's round also looks up where the next unit's traces are.
            std::vector<Column> const& fine = unit.bands[b].fine;
            // Plain names, not a structured binding: the lambdas below capture them.
            int const firstPair = unit.bands[b].pairRows.first, lastPair = unit.bands[b].pairRows.second;
            std::size_t const pairTasks =
                unit.coarse.empty() ? 0 : static_cast<std::size_t>((lastPair - firstPair + kPairRowsPerTask - 1) / kPairRowsPerTask);
            std::size_t nextTasks = 0;
            if (b + 1 == bands && i + 1 < n) {
                shape(units[i + 1], next);
                nextTasks = locateTasks(next);
            }
            team.run(fine.size() + pairTasks + nextTasks, [&](std::size_t task) {
                if (task < fine.size()) return fill(fine[task], current);
                task -= fine.size();
                if (task < pairTasks) {
                    auto const t0 = Clock::now();
                    int const first = firstPair + static_cast<int>(task) * kPairRowsPerTask;
                    sum_pairs(current, band, pairs, first, std::min(lastPair, first + kPairRowsPerTask));
                    add_seconds(filling, since(t0));
                    return;
                }
                locate(next, task - pairTasks);
            });
        }
        if (!held) break;
        std::size_t chunks = 0;
        if (i + 1 < n) {
            place_traces(units[i + 1], next);
            held = hold_band(units[i + 1], next, 0, band);
            if (held) chunks = readTasks();
        }
        team.run(unit.coarse.size() + chunks, [&](std::size_t task) {
            if (task < unit.coarse.size()) return fill(unit.coarse[task], current);
            read(next, task - unit.coarse.size());
        });
        if (progress_) progress_(static_cast<double>(i + 1) / static_cast<double>(n));
    }
    timings_.reading = reading.load();
    timings_.filling = filling.load();
    timings_.compressing = writer->encode_seconds() - encodedBefore;
    timings_.writing = writer->write_seconds() - writtenBefore;
    Util::logc(held ? "SEGY3DBrickWriter: done" : "SEGY3DBrickWriter: out of memory");
    return held;
}

void SEGY3DBrickWriter::plan_work(std::vector<WorkUnit>& units, int numLevels) const
{
    auto const& levelCounts = grid_.level_counts();
    int const active = std::min(numLevels, static_cast<int>(levelCounts.size()));
    unsigned const S = 1u << (numLevels - 1);
    Util::logf(" level_0_brick_step = %u\n", S);
    int const core = brick_size - 2 * border;
    // Every brick of a unit, at every level, lies within the unit's core and
    // the border of its coarsest bricks.
    int const g = border * static_cast<int>(S);
    unsigned const bands = std::min(kBands, S), perBand = S / bands;

    for (unsigned bi = 0; bi < levelCounts[0][2]; bi += S)
        for (unsigned bj = 0; bj < levelCounts[0][1]; bj += S) {
            WorkUnit unit;
            unit.inl0 = static_cast<int>(bi) * core - g;
            unit.crl0 = static_cast<int>(bj) * core - g;
            unit.side = static_cast<int>(S) * core + 2 * g;
            unit.bands.resize(bands);
            int const pairRows = active > 1 ? unit.side / 2 : 0;
            for (unsigned b = 0; b < bands; ++b) {
                Band& band = unit.bands[b];
                // The level-0 bricks of the band's inline positions, and its share of the pair rows.
                int const k0 = static_cast<int>(b * perBand), k1 = static_cast<int>((b + 1) * perBand);
                band.lines = {k0 * core + g - border, k1 * core + g + border};
                band.pairRows = {pairRows * static_cast<int>(b) / static_cast<int>(bands),
                                 pairRows * static_cast<int>(b + 1) / static_cast<int>(bands)};
                if (band.pairRows.second > band.pairRows.first)
                    band.lines = {std::min(band.lines.first, 2 * band.pairRows.first),
                                  std::max(band.lines.second, 2 * band.pairRows.second)};
            }
            for (int l = active - 1; l >= 0; --l) {
                unsigned const s = 1u << l, c = S / s;
                auto const& cnt = levelCounts[static_cast<std::size_t>(l)];
                for (unsigned i = 0; i < c && bi / s + i < cnt[2]; ++i)
                    for (unsigned j = 0; j < c && bj / s + j < cnt[1]; ++j) {
                        Column const column{static_cast<unsigned>(l), bj / s + j, bi / s + i};
                        if (l == 0) unit.bands[i / perBand].fine.push_back(column);
                        else unit.coarse.push_back(column);
                    }
            }
            units.push_back(std::move(unit));
        }
}

// The survey's lines within the unit's window and one line past it, as the
// pass has always read them (the edge rules below can reach back from it).
void SEGY3DBrickWriter::shape(WorkUnit const& unit, Loaded& loaded) const
{
    auto const lines = [](vec<int, 3> const& rng, int first, int side) {
        long long const last = (static_cast<long long>(rng[1]) - rng[0]) / rng[2];
        long long const lo = std::clamp<long long>(first, 0, last);
        long long const hi = std::clamp<long long>(static_cast<long long>(first) + side, 0, last);
        return std::make_pair(static_cast<int>(lo), static_cast<int>(hi - lo + 1));
    };
    auto const [inl0, inlines] = lines(inl_rng_, unit.inl0, unit.side);
    auto const [crl0, crosslines] = lines(crl_rng_, unit.crl0, unit.side);
    reader->shape(loaded.traces, inl0, inlines, crl0, crosslines);
}

// The traces a band's lines take, edge copies included, as a range of the
// window's inlines; false without memory for them.
bool SEGY3DBrickWriter::hold_band(WorkUnit const& unit, Loaded const& loaded, int b, TraceBand& band) const
{
    auto const [lo, hi] = unit.bands[static_cast<std::size_t>(b)].lines;
    int first = std::numeric_limits<int>::max(), last = -1;
    int const crosslines = std::max(1, loaded.traces.crosslines);
    std::size_t const side = static_cast<std::size_t>(loaded.side);
    for (int p = std::max(0, lo); p < std::min(hi, loaded.side); ++p)
        for (std::size_t q = 0; q < side; ++q) {
            int const t = loaded.slots[static_cast<std::size_t>(p) * side + q];
            if (t < 0) continue;
            first = std::min(first, t / crosslines);
            last = std::max(last, t / crosslines);
        }
    if (last < 0) first = last = 0; // no trace: an empty band
    else ++last;
    return reader->hold(band, loaded.traces, first, last - first);
}

// Edge traces are repeated outwards, so that a brick border beyond the survey
// sees the edge. The first trace to claim a line keeps it. Traces count as
// there when the index has them; one that then cannot be read leaves its
// lines empty. The rules that test
// a crossline against the last inline are kept as they were designed: the
// outer corners at the last crossline are extended only when those two numbers
// coincide.
void SEGY3DBrickWriter::place_traces(WorkUnit const& unit, Loaded& loaded) const
{
    TraceWindow const& w = loaded.traces;
    int const side = unit.side;
    loaded.inl0 = unit.inl0;
    loaded.crl0 = unit.crl0;
    loaded.side = side;
    loaded.slots.assign(static_cast<std::size_t>(side) * static_cast<std::size_t>(side), -1);
    // As far as the border of the unit's coarsest bricks reaches: a unit is
    // as wide as those bricks, whose level-0 step is side / brick_size.
    long long const g = static_cast<long long>(border) * (side / brick_size);
    int const firstInl = inl_rng_[0], lastInl = inl_rng_[1], firstCrl = crl_rng_[0], lastCrl = crl_rng_[1];
    for (int i = 0; i < w.inlines; ++i)
        for (int j = 0; j < w.crosslines; ++j) {
            std::size_t const t = static_cast<std::size_t>(i) * static_cast<std::size_t>(w.crosslines) +
                                  static_cast<std::size_t>(j);
            if (w.offsets[t] < 0) continue;
            long long const a = w.inl0 + i, b = w.crl0 + j; // line indices
            long long const inl = inl_rng_[0] + static_cast<long long>(inl_rng_[2]) * a;
            long long const crl = crl_rng_[0] + static_cast<long long>(crl_rng_[2]) * b;
            auto const put = [&](long long p, long long q) {
                p -= unit.inl0;
                q -= unit.crl0;
                if (p < 0 || q < 0 || p >= side || q >= side) return;
                int& slot = loaded.slots[static_cast<std::size_t>(p * side + q)];
                if (slot < 0) slot = static_cast<int>(t);
            };
            put(a, b);
            if (inl != firstInl && inl != lastInl && crl != firstCrl && crl != lastCrl) continue;
            for (long long d = 1; d <= g; ++d)
                for (long long f = 1; f <= g; ++f) {
                    if (inl == firstInl) put(a - d, b);
                    if (inl == firstInl && crl == firstCrl) put(a - d, b - f);
                    if (inl == lastInl) put(a + d, b);
                    if (inl == lastInl && crl == firstCrl) put(a + d, b - f);
                    if (crl == firstCrl) put(a, b - d);
                    if (crl == firstCrl && crl == lastInl) put(a - d, b + f);
                    if (crl == lastCrl) put(a, b + d);
                    if (crl == lastCrl && crl == lastInl) put(a + d, b + f);
                }
        }
}


} // namespace Tolmar
