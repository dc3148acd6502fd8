// Writing a scanned survey as a brick file.

#include <chrono>
#include <cmath>
#include <thread>

#include "foundation/SEGYCubeInfo.h"
#include "foundation/Streamer3DGridLowLevelWriter.h"
#include "foundation/log.h"
#include "foundation/rescale.h"
#include "foundation/survey_checks.h"
#include "segy/SEGYreader3D.h"
#include "segy/TraceWindowReader.h"

namespace Tolmar {

SEGYreader3D::Rescaling SEGYreader3D::rescaling() const
{
    Rescaling r;
    get_storage_dependent_values(r.type, r.undefValue, r.low, r.high);
    r.m = scanned_max_abs();
    r.scale = rescale_factor(r.low, r.high, r.m);
    r.on = rescalingOn(r.scale);
    get_amp_range(r.on, r.m, r.scale, r.low, r.high, r.minAmplitude, r.maxAmplitude);
    return r;
}

void SEGYreader3D::fill_indexed_header(Rescaling const& r, IndexedSEGYHeader& h) const
{
    setIndexedSEGYHeaderValues(h);
    h.rescale = r.on;
    h.maxAbsAmplitude = r.m;
    h.scale = r.scale;
    h.lowValue = r.low;
    h.highValue = r.high;
    h.inlStart = iRange_.inlStart;
    h.inlStop = iRange_.inlStop;
    h.inlStep = iRange_.inlStep;
    h.crlStart = iRange_.crlStart;
    h.crlStop = iRange_.crlStop;
    h.crlStep = iRange_.crlStep;
    h.zStart = dRange_.zMin;
    h.zStop = dRange_.zMax;
    h.zStep = dRange_.zStep;
    h.minAmplitude = static_cast<float>(r.minAmplitude);
    h.maxAmplitude = static_cast<float>(r.maxAmplitude);
    h.xInl = trans_.xInl;
    h.xCrl = trans_.xCrl;
    h.x0 = trans_.x0;
    h.yInl = trans_.yInl;
    h.yCrl = trans_.yCrl;
    h.y0 = trans_.y0;
}

void SEGYreader3D::round_mapped_amplitudes(Rescaling const& r)
{
    if (!r.on) return;
    dRange_.sMin = round_half_away(r.minAmplitude);
    dRange_.sMax = round_half_away(r.maxAmplitude);
}

int SEGYreader3D::read_brick(std::string const& folder, std::string const& name, Type const*, int const*, bool)
{
    std::string const path = folder + name + ".tmf";
    IRange const& ir = iRange_;
    if (ir.inlStep < 1 || ir.crlStep < 1 || !(dRange_.zStep > 0.0)) {
        Util::logc("read_brick: the survey has not been scanned");
        return 0;
    }
    // A few garbage line numbers stretch the grid far beyond the traces;
    // its bricks would be written, and held, for nothing.
    long long const cells = line_count(ir.inlStart, ir.inlStop, ir.inlStep) * line_count(ir.crlStart, ir.crlStop, ir.crlStep);
    if (grid_absurd(cells, traceIndex_.num_traces())) {
        Util::logf("read_brick: a grid of %lld cells for %lld traces; narrow the inline and crossline ranges\n", cells,
                   traceIndex_.num_traces());
        return 0;
    }
    double const samples = std::trunc((dRange_.zMax - dRange_.zMin) / dRange_.zStep + 1.5);
    vec<unsigned, 3> const size{{samples > 0.0 ? static_cast<unsigned>(samples) : 0u,
                                 static_cast<unsigned>((ir.crlStop - ir.crlStart) / ir.crlStep + 1),
                                 static_cast<unsigned>((ir.inlStop - ir.inlStart) / ir.inlStep + 1)}};

    Rescaling const r = rescaling();
    IndexedSEGYHeader& h = traceIndex_.header;
    fill_indexed_header(r, h);
    SEGYCubeInfo info;
    info.name = name;
    info.type = r.type;
    info.inlineRange = vec<int, 3>{{h.inlStart, h.inlStop, h.inlStep}};
    info.crosslineRange = vec<int, 3>{{h.crlStart, h.crlStop, h.crlStep}};
    info.zStart = h.zStart;
    info.zStop = h.zStop;
    info.zStep = h.zStep;
    info.minValue = h.minAmplitude;
    info.maxValue = h.maxAmplitude;
    info.xInl = h.xInl;
    info.xCrl = h.xCrl;
    info.x0 = h.x0;
    info.yInl = h.yInl;
    info.yCrl = h.yCrl;
    info.y0 = h.y0;

    auto writer = open_grid3d_low_level_writer();
    if (!writer) {
        Util::logc("!brick_writer");
        return 0;
    }
    if (!writer->create(path, size, r.type, 36, 2, r.minAmplitude, r.maxAmplitude, r.undefValue, info)) {
        Util::logc("!brick_writer->create");
        return 0;
    }
    // The histogram (of the mapped amplitudes, as in an index file) reads its
    // own sample of traces beside the pass.
    std::vector<unsigned long long> bins;
    std::thread histogram([&] { generate_histogram_for_index(h, bins); });
    struct Join {
        std::thread& t;
        ~Join()
        {
            if (t.joinable()) t.join();
        }
    } const joinHistogram{histogram};
    auto reader = std::make_shared<TraceWindowReader>();
    if (!reader->open(filename_, traceIndex_)) {
        Util::logc("!trace_reader");
        return 0;
    }

    SEGY3DBrickWriter bricks;
    bricks.set(r.type, size, info.inlineRange, info.crosslineRange, 36, 2, r.undefValue, reader, writer);
    bricks.set_progress(progress_);
    bool const filled = bricks.run();
    brickTimings_ = bricks.timings();
    bricks = SEGY3DBrickWriter(); // lets the traces go before the last levels are derived
    reader.reset();
    if (!filled) {
        writer->abandon(); // a cube with bricks missing is no cube
        Util::logc("!brick_writer->run");
        return 0;
    }
    histogram.join();
    writer->set_histogram(bins);
    auto const t0 = std::chrono::steady_clock::now();
    bool const finished = writer->finish(); // derives the coarser levels and renames the file into place
    brickTimings_.writing += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    if (!finished) {
        Util::logc("!brick_writer->finish");
        return 0;
    }
    Util::logc("read_brick done");
    round_mapped_amplitudes(r);
    return 1;
}

} // namespace Tolmar
