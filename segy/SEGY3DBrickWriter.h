#pragma once
// Turns a scanned SEG-Y survey into a multi-resolution brick file in one
// pass. The survey is walked in work units: a square of columns of level-0
// bricks over the whole z range, with the traces around it. Every brick that
// a unit's traces fill, at each level the pass handles, is computed straight
// from those traces, so no coarse brick is read back from disk.
//
// A unit's traces are read a band of inlines at a time, and its coarser
// levels are averaged from sums over pairs of its traces. All cores share
// each step: reading and decoding, and the filling, compressing and writing
// of columns, each column by one core from its first brick to its last.

#include "platform/api.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "foundation/BrickGrid.h"
#include "foundation/StreamKeys.h"
#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class Streamer3DGridLowLevelWriter;
class TraceWindowReader;
struct TraceBand;

class SEGY3DBrickWriter {
public:
    // Where the time of run() went, in seconds summed over the threads that
    // did each kind of work; they add up to about the cores times the wall time.
    struct Timings {
        double reading = 0.0; // reading and decoding traces
        double filling = 0.0;
        double compressing = 0.0;
        double writing = 0.0;
    };

    // dataType: an Info3DGrid::eDataType; totalSize: samples, crosslines,
    // inlines; the ranges are (start, stop, step) of the survey's lines.
    // Traces come from reader, bricks go to writer, which must have been
    // created with the same grid.
    void set(int dataType, vec<unsigned, 3> const& totalSize, vec<int, 3> const& inlRange,
             vec<int, 3> const& crlRange, int brickSize, int border, double undefValue,
             std::shared_ptr<TraceWindowReader> traceReader,
             std::shared_ptr<Streamer3DGridLowLevelWriter> brickWriter);

    // Fills and hands over every brick of the finest levels (at most three,
    // fewer when a unit would hold more than 2000 bricks); the writer derives
    // the rest. A trace the reader cannot give leaves undefined values.
    // False, with a log line, when a unit's traces found no memory.
    bool run();

    Timings const& timings() const { return timings_; }
    // Called with the fraction of work units done after each unit.
    void set_progress(std::function<void(double)> progress) { progress_ = std::move(progress); }

private:
    // Every brick of one level at one crossline and inline brick position.
    struct Column {
        unsigned level, crl, inl;
    };
    // A band of a unit's inlines: its lines [first, second) of the unit's
    // window, the level-0 columns within them and the pair rows it sums.
    struct Band {
        std::pair<int, int> lines{0, 0};
        std::pair<int, int> pairRows{0, 0};
        std::vector<Column> fine;
    };
    // One block of the pass: the lines of a square window, which may reach
    // past the survey, its bands and the coarser columns (coarsest first).
    struct WorkUnit {
        int inl0, crl0, side;
        std::vector<Band> bands;
        std::vector<Column> coarse;
    };
    // A unit's traces, where they are in the file, and for each line of its
    // window the trace that stands there (edge traces repeated outwards), -1
    // where there is none.
    struct Loaded;
    // For each pair of inlines and pair of crosslines of a unit's window, the
    // number of traces there and their samples summed in pairs: every
    // coarser level averages these.
    struct Pairs;

    void plan_work(std::vector<WorkUnit>& units, int numLevels) const;
    // Sizes the unit's window of traces, none located yet.
    void shape(WorkUnit const& unit, Loaded& loaded) const;
    void place_traces(WorkUnit const& unit, Loaded& loaded) const;
    // Sizes `band` for the traces band b of the unit takes; false without memory for them.
    bool hold_band(WorkUnit const& unit, Loaded const& loaded, int b, TraceBand& band) const;
    // Sums the pairs of pair rows [first, last) of the unit's window.
    void sum_pairs(Loaded const& loaded, TraceBand const& band, Pairs& pairs, int first, int last) const;
    // Fills a column's bricks, from the traces (level 0) or the pairs, and
    // hands them to the writer; tells the time spent filling.
    void fill_column(Column const& column, Loaded const& loaded, TraceBand const& band, Pairs const& pairs,
                     double& fillSeconds) const;
    template <class T>
    bool fill_fine(Column const& column, Loaded const& loaded, TraceBand const& band, std::vector<Brick>& bricks) const;
    template <class T>
    bool fill_coarse(Column const& column, Pairs const& pairs, std::vector<Brick>& bricks) const;

    int data_type = 9;
    vec<unsigned, 3> total_size_{{0, 0, 0}};
    vec<int, 3> inl_rng_{{0, 0, 1}};
    vec<int, 3> crl_rng_{{0, 0, 1}};
    int brick_size = 36;
    int border = 2;
    double undef = 0.0;
    std::shared_ptr<TraceWindowReader> reader;
    std::shared_ptr<Streamer3DGridLowLevelWriter> writer;

    BrickGrid grid_;
    std::vector<char> undef_brick_; // a brick of undefined values, as the writer makes them
    Timings timings_;
    std::function<void(double)> progress_;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
