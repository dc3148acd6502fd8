#pragma once
// Turns a scanned SEG-Y survey into a multi-resolution brick file in one
// pass. The survey is walked in work units: a square column of level-0
// bricks over the whole z range, with the traces around it. Every brick that
// a unit's traces fill, at each level the pass handles, is computed straight
// from those traces, so no trace is read twice and no coarse brick is read
// back from disk. The next unit's traces are read while this one is filled.

#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "foundation/BrickGrid.h"
#include "foundation/StreamKeys.h"
#include "foundation/vec.h"

namespace Tolmar {

class StreamerIndexedSEGY3DReader;
class Streamer3DGridLowLevelWriter;

class SEGY3DBrickWriter {
public:
    // One block of the pass: the traces of an inline and a crossline range
    // (start, stop, step) and the bricks they fill.
    struct WorkUnit {
        vec<int, 3> inl;
        vec<int, 3> crl;
        std::vector<BrickKey> keys;
    };

    // Where the time of run() went, in seconds of wall time.
    struct Timings {
        double reading = 0.0;     // waiting for traces the streaming thread had not read yet
        double filling = 0.0;
        double compressing = 0.0;
        double writing = 0.0;
    };

    // dataType: an Info3DGrid::eDataType; totalSize: samples, crosslines,
    // inlines; zRange: z start and stop (ms). Traces come from reader, bricks
    // go to writer, which must have been created with the same grid.
    void set(int dataType, vec<unsigned, 3> const& totalSize, vec<int, 3> const& inlRange,
             vec<int, 3> const& crlRange, vec<double, 2> const& zRange, int brickSize, int border, double undefValue,
             std::shared_ptr<StreamerIndexedSEGY3DReader> traceReader,
             std::shared_ptr<Streamer3DGridLowLevelWriter> brickWriter);

    // Fills and hands over every brick of the finest levels (at most three,
    // fewer when a unit would hold more than 2000 bricks); the writer derives
    // the rest. A trace the reader cannot give leaves undefined values.
    void run();

    Timings const& timings() const { return timings_; }
    // Called with the fraction of work units done after each unit.
    void set_progress(std::function<void(double)> progress) { progress_ = std::move(progress); }

private:
    void plan_work(std::vector<WorkUnit>& units, int numLevels, std::vector<vec<unsigned, 3>> const& levelCounts) const;
    void assemble_trace_key_list(std::vector<TraceKey>& keys, vec<int, 3> const& inl, vec<int, 3> const& crl) const;
    void assemble_inl_crl_pair_to_tracenum(std::map<std::pair<int, int>, int>& lookup, std::vector<Trace> const& traces,
                                           int extension) const;
    void fill_brick(Brick& brick, std::vector<Trace> const& traces, std::map<std::pair<int, int>, int> const& lookup);

    void window_of(unsigned level, vec<unsigned, 3> const& pos, std::map<std::pair<int, int>, int> const& lookup,
                   std::vector<int>& window) const;
    // Fills count bricks of one level that share their inline and crossline position.
    void fill_column(Brick* const* column, std::size_t count, std::vector<Trace> const& traces,
                     std::map<std::pair<int, int>, int> const& lookup) const;
    template <class T>
    void fill_typed(Brick* const* column, std::size_t count, std::vector<Trace> const& traces,
                    std::map<std::pair<int, int>, int> const& lookup) const;
    // Fills a unit's bricks on all cores, a column at a time.
    void fill_all(std::vector<Brick>& bricks, std::vector<Trace> const& traces,
                  std::map<std::pair<int, int>, int> const& lookup) const;

    int data_type = 9;
    vec<unsigned, 3> total_size_{{0, 0, 0}};
    vec<int, 3> inl_rng_{{0, 0, 1}};
    vec<int, 3> crl_rng_{{0, 0, 1}};
    vec<double, 2> z_rng_{{0.0, 0.0}};
    int brick_size = 36;
    int border = 2;
    double undef = 0.0;
    std::shared_ptr<StreamerIndexedSEGY3DReader> reader;
    std::shared_ptr<Streamer3DGridLowLevelWriter> writer;

    BrickGrid grid_;
    std::vector<char> undef_brick_; // a brick of undefined values, as the writer makes them
    Timings timings_;
    std::function<void(double)> progress_;
};

} // namespace Tolmar
