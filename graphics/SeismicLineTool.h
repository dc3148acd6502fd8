#pragma once
// A tool that works on a seismic line's section with the mouse: the line
// forwards clicks and moves as (trace, sample) positions on the section and
// asks the tool to draw itself within the line's drawing.

#include "platform/api.h"

#include <vector>

#include "graphics/ISeismicAmplitudesReader.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class SeismicLineTool {
public:
    // Trace positions x, y (as many as the line has traces), the section's
    // top and bottom z, its sample count, and the amplitudes (not owned).
    SeismicLineTool(std::vector<double> x, std::vector<double> y, double ztop, double zbot, int nsamples,
                    ISeismicAmplitudesReader* amplitudes);
    virtual ~SeismicLineTool() = default;

    virtual void mouseClick(double trace, double sample) = 0;
    virtual void mouseMove(double trace, double sample) = 0;
    virtual void draw() = 0;

    // The point of the section at a fractional trace and sample: x and y
    // between the neighbouring traces, z between top and bottom.
    void plane2world(double trace, double sample, double& px, double& py, double& pz) const;

    int trace_count() const { return ntraces; }
    int sample_count() const { return nsamples; }

protected:
    std::vector<double> x, y;
    double ztop, zbot;
    int ntraces;
    int nsamples;
    ISeismicAmplitudesReader* amplitudes;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
