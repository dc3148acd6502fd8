#include "graphics/SeismicLineTool.h"

namespace Tolmar {

SeismicLineTool::SeismicLineTool(std::vector<double> xs, std::vector<double> ys, double top, double bottom,
                                 int samples, ISeismicAmplitudesReader* reader)
    : x(std::move(xs)), y(std::move(ys)), ztop(top), zbot(bottom), ntraces(static_cast<int>(x.size())),
      nsamples(samples), amplitudes(reader)
{
    y.resize(x.size());
}

void SeismicLineTool::plane2world(double trace, double sample, double& px, double& py, double& pz) const
{
    if (ntraces < 1) {
        px = py = pz = 0;
        return;
    }
    int k = static_cast<int>(trace);
    if (k >= ntraces - 1) k = ntraces - 2;
    if (k < 0) k = 0;
    std::size_t const a = static_cast<std::size_t>(k);
    std::size_t const b = ntraces > 1 ? a + 1 : a;
    double const t = trace - k;
    px = x[a] + (x[b] - x[a]) * t;
    py = y[a] + (y[b] - y[a]) * t;
    double const v = nsamples > 1 ? sample / (nsamples - 1) : 0;
    pz = (1 - v) * ztop + v * zbot;
}

} // namespace Tolmar
