// Reading a line into the amplitudes buffer.

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <exception>
#include <string>

#include "foundation/rescale.h"
#include "foundation/sample_decode.h"
#include "platform/huge_pages.h"
#include "platform/user_output.h"
#include "segy/SEGYreader2D_parts.h"

namespace Tolmar {

namespace {

// Traces of a line may start at different times (statics, a changed delay),
// but a line whose traces spread over more than this many trace lengths is
// a garbage z word, and its buffer would be mostly empty.
constexpr double kMaxZSpread = 4.0;

} // namespace

int SEGYreader2D::read(Type const* types, int const* positions, int* spRange, double* ranges,
                       std::vector<SEGYtrace> const& traces, bool headersOnly)
{
    amplitudes_.clear();
    std::unique_ptr<std::istream> s;
    if (!openLine(s, ranges)) return 0;
    SampleCoding coding;
    if (!sample_coding_for_format(format_, ibmFloat_, coding)) {
        printInvalidFormat(format_);
        return 0;
    }
    int const wanted[3] = {spRange[0], spRange[1], spRange[2]};
    double const step = ranges[8];
    double const spread = kMaxZSpread * nSamples_ * sampleRate_ / 1000.0;
    // Whole microseconds: the z step is a multiple of the interval, and
    // truncation could take a hair off it and with it a whole stride.
    SEGYcube cube(static_cast<int>(std::lround(step * 1000.0)), format_);
    Selection select(wanted, traces);
    // The amplitude range decides how samples are mapped onto a narrower
    // storage kind, so it is measured before they go to the buffer. Floats
    // stored as floats are never mapped: their range is measured on the
    // way into the buffer, and each trace is decoded once.
    bool const measureFirst = headersOnly || storage(format_) != 32;
    int used = 0;
    double zLow = 0.0, zHigh = 0.0;
    long long const n = nTraces();
    for (long long i = 0; i < n; ++i) {
        Header h;
        if (!readHeader(s.get(), types, positions, h)) return 0;
        if (i == 0) {
            if (h.sp < -99999 || h.sp > 99999) {
                platform::user_output(kLineImportTitle);
                platform::user_output("SP settings may be wrong.");
            }
            if (!firstTraceAgrees(h.ns)) return 0;
        }
        Window w;
        bool const inWindow = zWindow(h.z, ranges, w);
        Selection::Verdict const v = select.judge(i + 1, h.sp, inWindow);
        if (v == Selection::Stop) break;
        if (v == Selection::Skip) {
            skipTrace(s.get());
            continue;
        }
        select.relabel(h);
        double const last = w.z + (w.count - 1) * step;
        zLow = used == 0 ? w.z : std::min(zLow, w.z);
        zHigh = used == 0 ? last : std::max(zHigh, last);
        if (zHigh - zLow > spread) {
            tellUser(kLineImportTitle, "Trace " + std::to_string(i + 1) + " starts at " + std::to_string(h.z) +
                                           " ms, too far from the line's other traces; narrow the z window");
            return 0;
        }
        SEGYtrace t(h.tsn, h.sp, h.inl, h.crl, static_cast<float>(h.x), static_cast<float>(h.y), w.z, w.count,
                    measureFirst);
        if (measureFirst) {
            readTrace(s.get(), &t, w.first, step * 1000.0);
            widenAmplitudes(ranges, t, used == 0);
        } else {
            skipTrace(s.get());
        }
        // On a line the inline never changes, and a cube keeps every trace
        // it is given until it has learnt both steps: without its samples.
        cube.addTrace(SEGYtrace(h.tsn, h.sp, h.inl, h.crl, t.utmX(), t.utmY(), w.z, w.count, false));
        ++used;
    }
    if (used == 0) {
        tellUser(kLineImportTitle, "No trace of the line lies in the SP range and the z window");
        return 0;
    }
    cube.setBbox();
    spRange[0] = cube.spStart();
    spRange[1] = cube.spStop();
    spRange[3] = cube.inlineStart();
    spRange[4] = cube.inlineStop();
    spRange[5] = cube.inlineStep();
    spRange[6] = cube.crlineStart();
    spRange[7] = cube.crlineStop();
    spRange[8] = cube.crlineStep();
    ranges[0] = cube.xMin();
    ranges[1] = cube.xMax();
    ranges[2] = cube.yMin();
    ranges[3] = cube.yMax();
    ranges[6] = cube.zStart();
    ranges[7] = cube.zStop();
    ranges[8] = cube.zStep();
    if (headersOnly) return 1;

    cube.deleteAllTraces();
    s->clear();
    s->seekg(firstTraceOffset_);
    float low = 0.0f, high = 0.0f;
    readAndCreateLine(s.get(), cube, used, wanted, ranges, measureFirst, types, positions, traces, low, high);
    if (low != ranges[9] || high != ranges[10]) {
        ranges[9] = round_half_away(low);
        ranges[10] = round_half_away(high);
    }
    return nTracesUsed_ > 0 ? 1 : 0;
}

void SEGYreader2D::readAndCreateLine(std::istream* s, SEGYcube const& cube, int tracesRead, int const* spRange,
                                     double* ranges, bool measured, Type const* types, int const* positions,
                                     std::vector<SEGYtrace> const& traces, float& low, float& high)
{
    long long const lineTraces =
        tracesRead + std::count_if(traces.begin(), traces.end(), [](SEGYtrace const& t) { return t.insert(); });
    switch (storage(format_)) {
    case 8: setScalarRange(-128.0f, 127.0f); break;
    case 16: setScalarRange(-32768.0f, 32767.0f); break;
    default: setScalarRange(-FLT_MAX, FLT_MAX);
    }
    double const lo = scalarMin_ + 2.0, hi = scalarMax_ - 1.0;
    // Not measured yet: 32-bit floats, which the rule leaves as they are.
    double const m = measured ? std::max(std::fabs(ranges[9]), std::fabs(ranges[10])) : 0.0;
    double const scale = rescale_factor(lo, hi, m);
    bool const rescale = rescalingOn(scale);
    auto const mapped = [&](double v) { return rescale ? rescale_amplitude(v, m, scale, lo, hi) : v; };

    int const perTrace = cube.nSamples();
    double const step = ranges[8];
    nTracesUsed_ = 0;
    nSamplesUsed_ = perTrace;
    zStopUsed_ = cube.zStart() + (perTrace - 1) * step;
    // A forced start z stays what the next trace headers are read with.
    if (!zStartOverride_) zStart_ = cube.zStart();
    navigation_.clear();
    try {
        // The storage kind's top value stands for missing samples.
        std::size_t const total = static_cast<std::size_t>(lineTraces) * static_cast<std::size_t>(perTrace);
        amplitudes_ = {};
        amplitudes_.reserve(total);
        platform::advise_huge_pages(amplitudes_.data(), total * sizeof(float));
        amplitudes_.assign(total, scalarMax_);
        navigation_.reserve(static_cast<std::size_t>(lineTraces));
    } catch (std::exception const&) { // bad_alloc, or a length beyond the vector's
        amplitudes_ = {};
        tellUser(kLineImportTitle, "A line of " + std::to_string(lineTraces) + " traces of " +
                                       std::to_string(perTrace) + " samples does not fit in memory");
        return;
    }

    Selection select(spRange, traces);
    long long placed = 0;
    bool anyRead = false;
    long long const n = nTraces();
    for (long long i = 0; i < n && placed < lineTraces; ++i) {
        Header h;
        if (!readHeader(s, types, positions, h)) break;
        Window w;
        bool const inWindow = zWindow(h.z, ranges, w);
        Selection::Verdict const v = select.judge(i + 1, h.sp, inWindow);
        if (v == Selection::Stop) break;
        if (v == Selection::Skip) {
            skipTrace(s);
            continue;
        }
        auto [insert, end] = select.inserts();
        for (; insert != end && placed < lineTraces; ++insert, ++placed)
            navigation_.push_back({{insert->utmX(), insert->utmY()}, insert->sP()});
        if (placed == lineTraces) break;
        select.relabel(h);
        SEGYtrace t(h.tsn, h.sp, h.inl, h.crl, static_cast<float>(h.x), static_cast<float>(h.y), w.z, w.count);
        if (readTrace(s, &t, w.first, step * 1000.0)) {
            if (!measured) widenAmplitudes(ranges, t, !anyRead);
            anyRead = true;
            long long const at = std::llround((w.z - cube.zStart()) / step);
            long long const count = at < 0 ? 0 : std::min<long long>(static_cast<long long>(t.size()), perTrace - at);
            float const* from = t.samples().data();
            float* to = amplitudes_.data() + placed * perTrace + at;
            std::copy(from, from + count, to);
            if (rescale) rescale_samples(to, static_cast<std::size_t>(count), m, scale, lo, hi);
        } else {
            platform::user_output("Cannot read trace " + std::to_string(i + 1));
            s->clear();
            s->seekg(firstTraceOffset_ + (i + 1) * traceBytes());
        }
        navigation_.push_back({{h.x, h.y}, h.sp});
        ++placed;
    }
    amplitudes_.resize(static_cast<std::size_t>(placed) * static_cast<std::size_t>(perTrace));
    nTracesUsed_ = static_cast<int>(placed);
    low = static_cast<float>(mapped(ranges[9]));
    high = static_cast<float>(mapped(ranges[10]));
}

} // namespace Tolmar
