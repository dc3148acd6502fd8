#pragma once
// Horizon picking on a seismic line: each click is moved to the nearest peak
// (or trough) of its trace, and between two clicks the horizon is tracked
// from trace to trace, each trace snapped around where its neighbour's
// horizon lies. Horizons are kept by name as one sample position a trace
// and written to a line feature after every click.

#include "platform/api.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "foundation/vec.h"
#include "graphics/SeismicLineTool.h"
#include "host/IPolylineFeature.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// A factor on the amplitude: peaks are the maxima of mode * amplitude.
enum SnapMode { SnapTrough = -1, SnapPeak = 1 };

struct Horizon {
    SnapMode mode = SnapPeak;
    int window = 20;                       // samples searched each way
    std::vector<vec<double, 2>> picks;     // clicks as (trace, snapped sample), in order
    std::vector<double> samples;           // one a trace; DBL_MAX where not picked
    std::vector<float> buffer;             // 2 * window + 1 amplitudes
    std::shared_ptr<host::IPolylineFeature> feature;
};

class LineInterpreter : public SeismicLineTool {
public:
    LineInterpreter(std::vector<double>& x, std::vector<double>& y, double ztop, double zbot, int nsamples,
                    ISeismicAmplitudesReader* reader);

    // Enters an empty horizon under the name, replacing one of that name.
    void addHorizon(std::string name, SnapMode mode, int window);
    // Works on a copy of the named horizon from now on; a name not entered
    // yet gets an empty one.
    void setActiveHorizon(std::string name);
    // Where the active horizon is written after each click (may be null).
    void setFeature(std::shared_ptr<host::IPolylineFeature> feature) { active.feature = std::move(feature); }

    void mouseClick(double trace, double sample) override;
    void mouseMove(double trace, double sample) override;
    void draw() override;

    Horizon const& activeHorizon() const { return active; }
    int cursorTrace() const { return cursor_trace; }
    // The horizon tracked from the last pick to `to` as the preview shows
    // it: positions for the traces after the last pick's up to `to`.
    std::vector<double> preview(int to);

private:
    // The peak nearest to `sample` on the trace, in samples with a fraction;
    // `sample` itself when the window holds none.
    double snapSample(int trace, int sample);
    double snapSample(int trace, int sample, std::vector<float>& buffer);
    void save2feature();

    std::map<std::string, Horizon> horizons;
    Horizon active;
    int cursor_trace = -1;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
