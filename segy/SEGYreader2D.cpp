#include "segy/SEGYreader2D.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <new>
#include <string>

#include "foundation/rescale.h"
#include "foundation/sample_decode.h"
#include "platform/huge_pages.h"
#include "platform/mapped_file.h"
#include "platform/user_output.h"
#include "segy/ShotPointRepair.h"

namespace Tolmar {

namespace {

constexpr char kTitle[] = "SEG-Y 2D import";

// Traces of a line may start at different times (statics, a changed delay),
// but a line whose traces spread over more than this many trace lengths is
// a garbage z word, and its buffer would be mostly empty.
constexpr double kMaxZSpread = 4.0;

} // namespace

struct SEGYreader2D::Header {
    int tsn = 0, sp = 0, inl = 0, crl = 0, ns = 0;
    double x = 0.0, y = 0.0, z = 0.0, depth = 0.0;
};

// The samples of a trace that lie in the wanted z window.
struct SEGYreader2D::Window {
    double z = 0.0;     // of the first sample taken
    double first = 0.0; // that sample's index in the trace
    int count = 0;      // samples taken, ranges[8] apart
};

// Which traces of the file make the line, in file order. With a list from
// analyze: the traces it names, each with the inserted entries before it.
// Without: from the first trace whose SP lies in the wanted range and whose
// samples reach the z window, every spStep-th trace until the SP leaves the
// range.
class SEGYreader2D::Selection {
public:
    enum Verdict { Skip, Take, Stop };
    using Entries = std::vector<SEGYtrace>;

    Selection(int const* spRange, Entries const& list)
        : list_(list), lo_(std::min(spRange[0], spRange[1])), hi_(std::max(spRange[0], spRange[1])),
          step_(std::max(1, spRange[2]))
    {
    }

    // The trace at `position` (from 1) with its SP, and whether its samples reach the window.
    Verdict judge(long long position, int sp, bool inWindow)
    {
        inserts_ = {list_.end(), list_.end()};
        entry_ = nullptr;
        if (!list_.empty()) return fromList(position, inWindow);
        bool const inRange = sp >= lo_ && sp <= hi_;
        if (!started_) {
            started_ = inRange && inWindow;
            return started_ ? Take : Skip;
        }
        if (!inRange) return Stop;
        return (++counted_ % step_ == 0 && inWindow) ? Take : Skip;
    }

    // The entries inserted before the trace just taken.
    std::pair<Entries::const_iterator, Entries::const_iterator> inserts() const { return inserts_; }

    // An entry marked as a taper gives the trace its SP and place.
    void relabel(Header& h) const
    {
        if (!entry_ || !(entry_->taperOn() || entry_->taperOff())) return;
        h.sp = entry_->sP();
        h.x = entry_->utmX();
        h.y = entry_->utmY();
    }

private:
    Verdict fromList(long long position, bool inWindow)
    {
        for (;;) {
            auto next = cursor_;
            while (next != list_.end() && next->insert()) ++next;
            if (next == list_.end()) return Stop;
            if (next->tsn() > position) return Skip;
            auto const from = cursor_;
            cursor_ = next + 1;
            // An entry of a trace already passed (another file, or one
            // outside the window now) is dropped with its inserts.
            if (next->tsn() < position) continue;
            if (!inWindow) return Skip;
            inserts_ = {from, next};
            entry_ = &*next;
            return Take;
        }
    }

    Entries const& list_;
    Entries::const_iterator cursor_ = list_.begin();
    std::pair<Entries::const_iterator, Entries::const_iterator> inserts_{list_.end(), list_.end()};
    SEGYtrace const* entry_ = nullptr;
    long long lo_, hi_, step_;
    bool started_ = false;
    long long counted_ = 0;
};

SEGYreader2D::SEGYreader2D() : SEGYreader(2) {}

bool SEGYreader2D::openLine(std::unique_ptr<std::istream>& s, double* ranges)
{
    if (filename_.empty()) return false;
    s = platform::open_binary_input(filename_);
    if (!*s) return false;
    skipEBCDICheader(s.get());
    if (!readReelHeader(s.get()) || !*s) return false;
    if (nSamples_ < 1 || !(sampleRate_ >= 1.0)) {
        tellUser(kTitle, "The reel header gives no samples per trace or no sample interval");
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
    tellUser(kTitle, sampleCountMismatch(traceSamples));
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
                platform::user_output(kTitle);
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
            tellUser(kTitle, "Trace " + std::to_string(i + 1) + " starts at " + std::to_string(h.z) +
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
        tellUser(kTitle, "No trace of the line lies in the SP range and the z window");
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
        tellUser(kTitle, "A line of " + std::to_string(lineTraces) + " traces of " + std::to_string(perTrace) +
                             " samples does not fit in memory");
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
