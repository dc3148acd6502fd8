// A line's track and its shot-point repair.

#include "segy/SEGYreader2D.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "platform/mapped_file.h"
#include "segy/SEGYreader2D_parts.h"
#include "segy/ShotPointRepair.h"

namespace Tolmar {

SEGYreader2D::SEGYreader2D() : SEGYreader(2) {}

bool SEGYreader2D::openLine(std::unique_ptr<std::istream>& s, double* ranges)
{
    if (filename_.empty()) return false;
    s = platform::open_binary_input(filename_);
    if (!*s) return false;
    skipEBCDICheader(s.get());
    if (!readReelHeader(s.get()) || !*s) return false;
    if (nSamples_ < 1 || !(sampleRate_ >= 1.0 && sampleRate_ <= 1e6)) {
        tellUser(kLineImportTitle, "No samples per trace, or a sample interval outside 1 microsecond to 1 second");
        return false;
    }
    // A step longer than a trace takes its first sample only; the cube
    // keeps the step in whole microseconds.
    if (ranges) ranges[8] = std::min({zStepFor(ranges[8]), sampleRate_ / 1000.0 * nSamples_, INT_MAX / 1000.0});
    return true;
}

bool SEGYreader2D::readHeader(std::istream* s, Type const* types, int const* positions, Header& h)
{
    readTraceHeader(s, types, positions, &h.tsn, &h.sp, &h.inl, &h.crl, &h.x, &h.y, &h.z, &h.depth, &h.ns);
    return static_cast<bool>(*s);
}

// Samples stay on the trace's own grid: a trace whose z is no multiple of
// the interval still starts the window at one of its samples.
bool SEGYreader2D::zWindow(double z, double const* ranges, Window& w) const
{
    double const interval = sampleRate_ / 1000.0, zMin = ranges[6], zMax = ranges[7];
    double last = z + (nSamples_ - 1) * interval;
    if (!std::isfinite(z) || z > zMax || last < zMin) return false;
    w.z = z;
    if (z < zMin) {
        double const r = std::fmod(zMin - z, interval);
        w.z = r > 0.0 ? zMin + interval - r : zMin;
    }
    if (last > zMax) last = zMax - std::fmod(zMax - z, interval);
    if (w.z > last) return false;
    w.first = std::round((w.z - z) / interval);
    // Rounding down: a sample past the window's end is not taken.
    w.count = static_cast<int>((last - w.z) / ranges[8] + 1e-6) + 1;
    return true;
}

void SEGYreader2D::widenAmplitudes(double* ranges, SEGYtrace const& t, bool first)
{
    ranges[9] = first ? t.sMin() : std::min(ranges[9], static_cast<double>(t.sMin()));
    ranges[10] = first ? t.sMax() : std::max(ranges[10], static_cast<double>(t.sMax()));
}

bool SEGYreader2D::firstTraceAgrees(int traceSamples)
{
    if (traceSamples == nSamples_ || overruleSampleCount(traceSamples)) return true;
    tellUser(kLineImportTitle, sampleCountMismatch(traceSamples));
    return false;
}

int SEGYreader2D::analyze(Type const* types, int const* positions, int* spRange, double* ranges,
                          std::vector<SEGYtrace>& traces)
{
    traces.clear();
    std::unique_ptr<std::istream> s;
    if (!openLine(s, ranges)) return 0;
    long long const n = nTraces();
    // Inserted traces number at most the file's (or a few dozen in a short
    // line): a line missing more than half its shot points is no line with
    // gaps, and a jump beyond that is a renumbering or a garbage word.
    ShotPointRepair repair(traces, spRange[2], std::max(n, 64LL));
    std::vector<SEGYtrace> const none;
    Selection select(spRange, none);
    for (long long i = 0; i < n; ++i) {
        Header h;
        if (!readHeader(s.get(), types, positions, h)) return 0;
        if (i == 0) firstTraceAgrees(h.ns);
        Window w;
        bool const inWindow = zWindow(h.z, ranges, w);
        Selection::Verdict const v = select.judge(i + 1, h.sp, inWindow);
        if (v == Selection::Stop) break;
        if (v == Selection::Take)
            repair.add(SEGYtrace(static_cast<int>(i + 1), h.sp, h.inl, h.crl, static_cast<float>(h.x),
                                 static_cast<float>(h.y), w.z, w.count, false));
        skipTrace(s.get());
    }
    repair.finish();
    return 1;
}

int SEGYreader2D::readNavigation(Type const* types, int const* positions, int* spRange, double* ranges)
{
    navigation_.clear();
    std::unique_ptr<std::istream> s;
    if (!openLine(s, nullptr)) return 0;
    double const length = (nSamples_ - 1) * sampleRate_ / 1000.0;
    long long const n = nTraces();
    navigation_.reserve(static_cast<std::size_t>(n));
    for (long long i = 0; i < n; ++i) {
        Header h;
        if (!readHeader(s.get(), types, positions, h)) break;
        double const last = h.z + length;
        if (i == 0) {
            spRange[0] = spRange[1] = h.sp;
            ranges[0] = ranges[1] = h.x;
            ranges[2] = ranges[3] = h.y;
            ranges[6] = h.z;
            ranges[7] = std::max(h.z, last);
            ranges[11] = ranges[12] = h.depth;
        } else {
            spRange[0] = std::min(spRange[0], h.sp);
            spRange[1] = std::max(spRange[1], h.sp);
            ranges[0] = std::min(ranges[0], h.x);
            ranges[1] = std::max(ranges[1], h.x);
            ranges[2] = std::min(ranges[2], h.y);
            ranges[3] = std::max(ranges[3], h.y);
            ranges[6] = std::min(ranges[6], h.z);
            ranges[7] = std::max({ranges[7], h.z, last});
            ranges[11] = std::min(ranges[11], h.depth);
            ranges[12] = std::max(ranges[12], h.depth);
        }
        navigation_.push_back({{h.x, h.y}, h.sp});
        skipTrace(s.get());
    }
    return 1;
}

} // namespace Tolmar
