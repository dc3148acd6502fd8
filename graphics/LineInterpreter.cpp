#include "graphics/LineInterpreter.h"

#include <GL/glew.h>

#include <cfloat>
#include <cmath>

#include "foundation/log.h"

namespace Tolmar {

namespace {

// A value of index i of a is a peak of m * a: higher than one neighbour and
// not lower than the other, so that a plateau counts once, at either end.
bool is_peak(std::vector<float> const& a, std::size_t i, double m)
{
    double const before = m * a[i - 1], here = m * a[i], after = m * a[i + 1];
    return (here > before && here >= after) || (here >= before && here > after);
}

int round_to_int(double v) { return static_cast<int>(v + 0.5); }

} // namespace

LineInterpreter::LineInterpreter(std::vector<double>& xs, std::vector<double>& ys, double top, double bottom,
                                 int samples, ISeismicAmplitudesReader* reader)
    : SeismicLineTool(xs, ys, top, bottom, samples, reader)
{
}

void LineInterpreter::addHorizon(std::string name, SnapMode mode, int window)
{
    Horizon h;
    h.mode = mode;
    h.window = std::max(window, 1);
    h.samples.assign(static_cast<std::size_t>(std::max(ntraces, 0)), DBL_MAX);
    h.buffer.resize(static_cast<std::size_t>(2 * h.window + 1));
    horizons[std::move(name)] = std::move(h);
}

void LineInterpreter::setActiveHorizon(std::string name)
{
    active = horizons[std::move(name)];
    if (active.samples.size() != static_cast<std::size_t>(std::max(ntraces, 0)))
        active.samples.assign(static_cast<std::size_t>(std::max(ntraces, 0)), DBL_MAX);
    active.buffer.resize(static_cast<std::size_t>(2 * active.window + 1));
}

double LineInterpreter::snapSample(int trace, int sample) { return snapSample(trace, sample, active.buffer); }

double LineInterpreter::snapSample(int trace, int sample, std::vector<float>& buffer)
{
    int const window = active.window;
    if (!amplitudes) return sample;
    amplitudes->getAmplitudes(trace, sample - window, sample + window, buffer);
    if (buffer.size() != static_cast<std::size_t>(2 * window + 1)) return sample;
    double const m = active.mode;
    std::size_t const c = static_cast<std::size_t>(window);
    // Outward from the clicked sample, the shallower side first at each offset.
    for (std::size_t offset = 0; offset <= c; ++offset) {
        for (std::size_t i : {c - offset, c + offset}) {
            if (i < 1 || i + 1 >= buffer.size() || !is_peak(buffer, i, m)) continue;
            // The vertex of the parabola through the three samples; the
            // position counts from one sample below the peak's index.
            double const d = (static_cast<double>(buffer[i + 1]) - buffer[i - 1]) / 2;
            double const e = (buffer[i + 1] - d) - buffer[i];
            double const vertex = e != 0 ? -0.5 * d / e : 0;
            return sample + (static_cast<double>(i) + 1 + vertex) - window;
        }
    }
    return sample;
}

void LineInterpreter::mouseClick(double trace, double sample)
{
    int const t = round_to_int(trace), s = round_to_int(sample);
    if (t < 0 || t >= ntraces) return;
    double const snapped = snapSample(t, s);
    Util::logf("LineInterpreter::click: trace=%f, sample=%f\n", static_cast<double>(t), snapped);
    active.picks.push_back(vec<double, 2>{{static_cast<double>(t), snapped}});
    active.samples[static_cast<std::size_t>(t)] = snapped;
    if (active.picks.size() >= 2) {
        // Forward from the older pick only, so that the new click does not
        // pull the track towards itself.
        int const from = static_cast<int>(active.picks[active.picks.size() - 2][0]);
        for (int k = from + 1; k < t; ++k) {
            double const previous = active.samples[static_cast<std::size_t>(k - 1)];
            active.samples[static_cast<std::size_t>(k)] = snapSample(k, round_to_int(previous));
        }
    }
    save2feature();
}

void LineInterpreter::mouseMove(double trace, double /*sample*/)
{
    if (active.picks.empty()) return;
    cursor_trace = round_to_int(trace);
    Util::logf("ctrace=%d\n", cursor_trace);
}

std::vector<double> LineInterpreter::preview(int to)
{
    std::vector<double> track;
    if (active.picks.empty()) return track;
    int const from = static_cast<int>(active.picks.back()[0]);
    double previous = active.picks.back()[1];
    std::vector<float> buffer(active.buffer.size());
    for (int k = from + 1; k <= std::min(to, ntraces - 1); ++k) {
        previous = snapSample(k, round_to_int(previous), buffer);
        track.push_back(previous);
    }
    return track;
}

void LineInterpreter::draw()
{
    if (active.picks.empty()) return;
    auto vertex = [this](double trace, double sample) {
        double px = 0, py = 0, pz = 0;
        plane2world(trace, sample, px, py, pz);
        glVertex3d(px, py, pz);
    };
    glDisable(GL_DEPTH_TEST);
    glColor3f(0, 0, 1);
    glPointSize(5);
    glBegin(GL_POINTS);
    for (auto const& p : active.picks) vertex(p[0], p[1]);
    glEnd();
    if (active.picks.size() >= 2) {
        int const first = static_cast<int>(active.picks.front()[0]), last = static_cast<int>(active.picks.back()[0]);
        glLineWidth(3);
        glBegin(GL_LINE_STRIP);
        for (int k = std::min(first, last); k <= std::max(first, last); ++k) {
            double const s = active.samples[static_cast<std::size_t>(k)];
            if (s != DBL_MAX) vertex(k, s);
        }
        glEnd();
    }
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glColor4f(1, 1, 0, 0.4f);
    glLineWidth(25);
    glBegin(GL_LINE_STRIP);
    int const from = static_cast<int>(active.picks.back()[0]);
    vertex(from, active.picks.back()[1]);
    auto const track = preview(cursor_trace);
    for (std::size_t k = 0; k < track.size(); ++k) vertex(from + 1 + static_cast<double>(k), track[k]);
    glEnd();
    glDisable(GL_BLEND);
    glEnable(GL_DEPTH_TEST);
    glLineWidth(1);
}

void LineInterpreter::save2feature()
{
    if (!active.feature || active.picks.size() < 2) return;
    int const first = static_cast<int>(active.picks.front()[0]), last = static_cast<int>(active.picks.back()[0]);
    std::vector<vec<double, 3>> vertices;
    for (int k = first; k <= last; ++k) {
        double const s = active.samples[static_cast<std::size_t>(k)];
        if (s == DBL_MAX) continue;
        vec<double, 3> p{};
        plane2world(k, s, p[0], p[1], p[2]);
        vertices.push_back(p);
    }
    if (vertices.size() >= 2) active.feature->store(vertices);
}

} // namespace Tolmar
