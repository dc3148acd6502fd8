// The survey scan: one walk over the trace headers of every file.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <climits>
#include <cstdlib>

#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#endif

#include "foundation/Ma.h"
#include "foundation/log.h"
#include "platform/mapped_file.h"
#include "segy/SEGYreader3D.h"
#include "segy/TraceRangeWorkers.h"

namespace Tolmar {

namespace {

using Clock = std::chrono::steady_clock;

// Times many short calls: the time-stamp counter costs a few cycles where the
// system clock costs tens of nanoseconds. Converted to seconds against the
// steady clock over the whole scan.
class TickClock {
public:
    using Ticks = unsigned long long;
    static Ticks now()
    {
#if defined(__x86_64__) || defined(__i386__)
        return __rdtsc();
#else
        return static_cast<Ticks>(Clock::now().time_since_epoch().count());
#endif
    }
    double seconds(Ticks ticks) const
    {
        Ticks const spanTicks = now() - startTicks_;
        double const span = std::chrono::duration<double>(Clock::now() - start_).count();
        return spanTicks > 0 ? span * static_cast<double>(ticks) / static_cast<double>(spanTicks) : 0.0;
    }

private:
    Clock::time_point start_ = Clock::now();
    Ticks startTicks_ = now();
};

bool near_zero(double v) { return v > -1e-6 && v < 1e-6; }

// |a - b| without overflow: header words may hold any int.
long long dist(int a, int b) { return std::llabs(static_cast<long long>(a) - b); }

// The line step from two traces d apart and the wanted step s: d itself, or
// the first multiple of d from s upwards when d is finer than wanted.
int learned_step(long long d, int s)
{
    if (d >= s) return static_cast<int>(std::min<long long>(d, INT_MAX));
    return static_cast<int>(s % d > 0 ? s - s % d + d : s);
}

} // namespace

// State of one scan; the reader's members receive what it learns.
class SEGYreader3D::Walk {
public:
    Walk(SEGYreader3D& r, Type const* types, int const* positions, bool skipZeroXY, bool fullScan)
        : r_(r), types_(types), positions_(positions), skipZeroXY_(skipZeroXY), fullScan_(fullScan)
    {
    }

    int run();

private:
    struct Header {
        int tsn = 0, inl = 0, crl = 0, ns = 0;
        double x = 0.0, y = 0.0, z = 0.0;
    };

    bool openCurrent();
    bool nextFile();
    int walkFile();
    bool headerAt(std::streamoff pos, Header& h);
    void learnSteps(Header const& h);
    bool dropped(Header const& h) const;
    template <class ShortOf>
    void hop(int inl, ShortOf shortOf);
    void takeReferences(Header const& h);
    bool readSamples(Header const& h, std::streamoff pos);
    void foldAmplitudes(double low, double high);
    void collectWorkers();
    void report(Clock::time_point start) const;
    // A failed scan says why to its user, under the import's title, and
    // leaves the reason where the caller reads it.
    static void fail_line(std::string const& line) { tellUser("SEG-Y 3D import", line); }

    SEGYreader3D& r_;
    Type const* types_;
    int const* positions_;
    bool skipZeroXY_, fullScan_;

    std::unique_ptr<std::istream> s_;
    platform::MappedStreamBuf const* mapped_ = nullptr;
    std::unique_ptr<TraceRangeWorkers> workers_;
    std::list<std::string>::const_iterator nextName_;
    double interval_ = 1.0; // file's sample interval, ms
    long long total_ = 0;
    long long c_ = -1;
    int crlOrder_ = -1;
    int prevInl_ = -1, prevCrl_ = -1;
    bool first_ = true;
    bool haveAmplitudes_ = false;
    std::vector<TracePlace> places_;
    std::streamoff next_ = 0;    // header of the next trace in the current file
    std::streamoff lastPos_ = 0;
    TickClock::Ticks headerTicks_ = 0;
    double traceSeconds_ = 0.0;
    TickClock clock_;
};

bool SEGYreader3D::Walk::openCurrent()
{
    collectWorkers(); // their traces point into the mapping about to close
    mapped_ = nullptr;
    s_.reset();
    if (r_.filename_.empty()) return false;
    s_ = platform::open_binary_input(r_.filename_);
    if (!*s_) return false;
    mapped_ = dynamic_cast<platform::MappedStreamBuf const*>(s_->rdbuf());
    r_.skipEBCDICheader(s_.get());
    r_.readReelHeader(s_.get());
    next_ = s_->tellg();
    return static_cast<bool>(*s_);
}

bool SEGYreader3D::Walk::nextFile()
{
    if (nextName_ == r_.fileNames_.end()) return false;
    r_.setFile(*nextName_++);
    return true;
}

// The header at pos: in place from a mapped file, else through the stream.
bool SEGYreader3D::Walk::headerAt(std::streamoff pos, Header& h)
{
    auto const t0 = TickClock::now();
    bool ok;
    if (mapped_) {
        ok = pos >= 0 && static_cast<std::size_t>(pos) + 240 <= mapped_->size();
        if (ok)
            r_.decodeTraceHeader(reinterpret_cast<unsigned char const*>(mapped_->data()) + pos, types_, positions_,
                                 &h.tsn, nullptr, &h.inl, &h.crl, &h.x, &h.y, &h.z, nullptr, &h.ns);
    } else {
        s_->clear();
        s_->seekg(pos);
        r_.readTraceHeader(s_.get(), types_, positions_, &h.tsn, nullptr, &h.inl, &h.crl, &h.x, &h.y, &h.z,
                           nullptr, &h.ns);
        ok = static_cast<bool>(*s_);
    }
    headerTicks_ += TickClock::now() - t0;
    ++r_.headersRead_;
    return ok;
}

void SEGYreader3D::Walk::learnSteps(Header const& h)
{
    IRange& ir = r_.iRange_;
    if (prevInl_ != -1 && r_.inlOrder_ == -1 && dist(h.inl, prevInl_) > 0) {
        ir.inlStep = learned_step(dist(h.inl, prevInl_), r_.inlRange_.step);
        prevCrl_ = -1;
        r_.inlOrder_ = h.inl > prevInl_ ? 1 : 0;
    } else if (prevCrl_ != -1 && crlOrder_ == -1 && dist(h.crl, prevCrl_) > 0) {
        ir.crlStep = learned_step(dist(h.crl, prevCrl_), r_.crlRange_.step);
        crlOrder_ = h.crl > prevCrl_ ? 1 : 0;
    }
}

bool SEGYreader3D::Walk::dropped(Header const& h) const
{
    long long const dInl = dist(h.inl, prevInl_), dCrl = dist(h.crl, prevCrl_);
    if (dInl > 0 && dInl < r_.iRange_.inlStep) return true;
    if (h.crl < r_.crlRange_.start || h.crl > r_.crlRange_.stop) return true;
    if (dCrl > 0 && dCrl < r_.iRange_.crlStep) return true;
    // Only the integer parts count: a trace at (0.7, -0.9) has no coordinates.
    return skipZeroXY_ && std::fabs(h.x) < 1.0 && std::fabs(h.y) < 1.0;
}

// Crosses unwanted inlines of a sorted file by halving jumps from the trace
// just passed: a landing that is still short of the target is kept, any other
// is undone. Traces jumped over are neither indexed nor tested.
template <class ShortOf>
void SEGYreader3D::Walk::hop(int inl, ShortOf shortOf)
{
    long long const traceBytes = r_.traceBytes();
    for (long long R = total_ - c_;;) {
        R /= 2;
        if (R < 2 || !shortOf(inl)) return;
        std::streamoff const landing = next_ + (R - 1) * traceBytes;
        if (landing + traceBytes > r_.fileSize_) continue; // past the end: as if overshot
        Header h;
        if (headerAt(landing, h) && shortOf(h.inl)) {
            next_ = landing + traceBytes;
            c_ += R;
            inl = h.inl;
        }
    }
}

void SEGYreader3D::Walk::takeReferences(Header const& h)
{
    DRange& d = r_.dRange_;
    IRange& ir = r_.iRange_;
    SurveyPoint* p = r_.reference_;
    SurveyPoint const here{true, h.inl, h.crl, h.x, h.y};
    Range<double> const& zr = r_.zRange_;
    if (first_) {
        ir.inlStart = ir.inlStop = h.inl;
        ir.crlStart = ir.crlStop = h.crl;
        d.zMin = h.z;
        if (h.z < zr.start) {
            d.zMin = zr.start;
            double const rem = std::fmod(zr.start, interval_);
            if (!near_zero(rem)) d.zMin += interval_ - rem;
        }
        d.zMax = r_.zStop(h.z);
        if (d.zMax > zr.stop) {
            d.zMax = zr.stop;
            double const rem = std::fmod(zr.stop, d.zStep);
            if (!near_zero(rem)) d.zMax -= rem;
        }
        d.xMin = d.xMax = h.x;
        d.yMin = d.yMax = h.y;
        p[0] = here;
        for (int i = 1; i < 5; ++i) p[i] = SurveyPoint{false, h.inl, h.crl, h.x, h.y};
        return;
    }

    if (!p[1].set && h.crl != p[0].crl) p[1] = here;
    auto const dCrl = [&](SurveyPoint const& q) { return dist(q.crl, p[0].crl); };
    auto const dInl = [&](SurveyPoint const& q) { return dist(q.inl, p[0].inl); };
    if (dCrl(here) > dCrl(p[2]))
        p[2] = here;
    else if (dInl(here) > dInl(p[3]))
        p[3] = here;
    else if (dCrl(here) > dCrl(p[4]) && dInl(here) > dInl(p[4]))
        p[4] = here;

    ir.inlStart = std::min(ir.inlStart, h.inl);
    ir.inlStop = std::max(ir.inlStop, h.inl);
    ir.crlStart = std::min(ir.crlStart, h.crl);
    ir.crlStop = std::max(ir.crlStop, h.crl);

    if (h.z > zr.start && h.z < d.zMin) {
        d.zMin = h.z;
        double const rem = std::fmod(h.z, interval_);
        if (!near_zero(rem)) d.zMin += interval_ - rem;
    } else if (h.z > d.zMin && r_.zStop(h.z) > d.zMax && r_.zStop(h.z) < zr.stop) {
        d.zMax = r_.zStop(h.z);
        double const rem = std::fmod(d.zMax, d.zStep);
        if (!near_zero(rem)) d.zMax -= rem;
    }

    d.xMin = std::min(d.xMin, h.x);
    d.xMax = std::max(d.xMax, h.x);
    d.yMin = std::min(d.yMin, h.y);
    d.yMax = std::max(d.yMax, h.y);
}

// The samples of an accepted trace in a full scan. Traces of a mapped file go
// to the workers, which fold them into the amplitude range in parallel; a
// plain stream is read here. False when the trace cannot be read.
bool SEGYreader3D::Walk::readSamples(Header const& h, std::streamoff pos)
{
    DRange& d = r_.dRange_;
    int const count = h.ns > 0 ? h.ns : static_cast<int>((d.zMax - d.zMin) / d.zStep + 1.5);
    SamplePick const pick = r_.pickSamples(0.0, d.zStep * 1000.0, count);
    SampleCoding coding;
    bool const validFormat = sample_coding_for_format(r_.format_, r_.ibmFloat_, coding);
    std::size_t const sampleBytes = static_cast<std::size_t>(std::max(0, r_.nSamples_)) * r_.nBytes();
    std::size_t const at = static_cast<std::size_t>(pos) + 240;
    if (mapped_ && validFormat && at + sampleBytes <= mapped_->size()) {
        if (!workers_) {
            TraceRangeWorkers::Decoding const how{r_.littleEndian_, r_.sTransform_, r_.sMin_, r_.sMax_};
            workers_ = std::make_unique<TraceRangeWorkers>(how, r_.navigationType_ == NavOutlineLive);
        }
        workers_->add(reinterpret_cast<unsigned char const*>(mapped_->data()) + at, pick, coding, h.inl,
                      h.crl, pos);
        return true;
    }

    SEGYtrace trace(h.tsn, 0, h.inl, h.crl, static_cast<float>(h.x), static_cast<float>(h.y), d.zMin, count);
    auto const t0 = Clock::now();
    s_->clear();
    s_->seekg(pos + 240);
    bool const ok = r_.readTrace(s_.get(), &trace, 0.0, d.zStep * 1000.0);
    traceSeconds_ += std::chrono::duration<double>(Clock::now() - t0).count();
    if (!ok) return false;
    double const lo = trace.sMin(), hi = trace.sMax();
    foldAmplitudes(lo, hi);
    if (r_.navigationType_ == NavOutlineLive && near_zero(lo) && near_zero(hi))
        r_.deadTraces_[{h.inl, h.crl}] = pos;
    return true;
}

void SEGYreader3D::Walk::foldAmplitudes(double low, double high)
{
    DRange& d = r_.dRange_;
    d.sMin = haveAmplitudes_ ? std::min(d.sMin, low) : low;
    d.sMax = haveAmplitudes_ ? std::max(d.sMax, high) : high;
    haveAmplitudes_ = true;
    r_.scannedMin_ = d.sMin;
    r_.scannedMax_ = d.sMax;
}

void SEGYreader3D::Walk::collectWorkers()
{
    if (!workers_) return;
    TraceRangeWorkers::Result const got = workers_->finish();
    traceSeconds_ += got.seconds;
    if (got.any) foldAmplitudes(got.low, got.high);
    if (got.anyRaw) {
        r_.dRange_.rawMin = std::min(r_.dRange_.rawMin, got.rawLow);
        r_.dRange_.rawMax = std::max(r_.dRange_.rawMax, got.rawHigh);
    }
    for (auto const& [inl, crl, pos] : got.dead) r_.deadTraces_[{inl, crl}] = pos;
}

int SEGYreader3D::Walk::walkFile()
{
    Range<int> const& wanted = r_.inlRange_;
    while (c_ < r_.nTraces() - 1) {
        ++c_;
        if (r_.progress_ && (c_ & 4095) == 0) r_.progress_(static_cast<double>(c_) / static_cast<double>(total_));
        std::streamoff const pos = next_;
        Header h;
        if (!headerAt(pos, h)) break; // the file is shorter than when it was measured
        lastPos_ = pos;
        next_ = pos + r_.traceBytes();

        if (h.inl == prevInl_ && h.crl == prevCrl_) {
            fail_line("Multiple instances of crossline " + std::to_string(h.crl) + "on inline " +
                      std::to_string(h.inl));
            return -5;
        }
        r_.traceIndex_.add(h.inl, h.crl, pos);
        if (h.ns != r_.nSamples_ && !r_.overruleSampleCount(h.ns)) {
            fail_line(r_.sampleCountMismatch(h.ns));
            return -1;
        }
        // Before the steps are learnt from it: a garbage number would set them.
        if (r_.passOverUnwanted_ && (h.inl < wanted.start || h.inl > wanted.stop || h.crl < r_.crlRange_.start ||
                                     h.crl > r_.crlRange_.stop))
            continue;
        learnSteps(h);

        if (h.inl < wanted.start) {
            if (r_.inlOrder_ == 0) break;
            if (!r_.variableTrace_) hop(h.inl, [&](int inl) { return inl < wanted.start; });
            continue;
        }
        if (h.inl > wanted.stop) {
            if (r_.inlOrder_ == 1) break;
            // Falling inlines hop while above the start, not the stop, and may
            // be carried past wanted inlines.
            if (!r_.variableTrace_) hop(h.inl, [&](int inl) { return inl > wanted.start; });
            continue;
        }
        if (dropped(h)) continue;
        if (r_.inlCrlVerify_ && !(r_.inlVerify_.first < h.inl && h.inl < r_.inlVerify_.second &&
                                  r_.crlVerify_.first < h.crl && h.crl < r_.crlVerify_.second))
            return -4;
        if (r_.xyVerify_ && !(r_.xVerify_.first < h.x && h.x < r_.xVerify_.second &&
                              r_.yVerify_.first < h.y && h.y < r_.yVerify_.second))
            return -3;

        takeReferences(h);
        if (fullScan_ && !readSamples(h, pos)) continue;
        TracePlace const place{h.inl, h.crl, static_cast<float>(h.x - r_.reference_[0].x),
                               static_cast<float>(h.y - r_.reference_[0].y)};
        places_.push_back(place);
        first_ = false;
        if (fullScan_ && c_ < static_cast<long long>(r_.selected_.size()))
            r_.selected_[static_cast<std::size_t>(c_)] = true;
        prevInl_ = h.inl;
        prevCrl_ = h.crl;
    }
    return 1;
}

void SEGYreader3D::Walk::report(Clock::time_point start) const
{
    double const seconds = std::chrono::duration<double>(Clock::now() - start).count();
    auto const megabytes = static_cast<float>(static_cast<double>(lastPos_ + r_.traceBytes()) * 9.5367431640625e-07);
    Util::logf("total_time(%f) read_trace_header(%f) read_trace(%f) MBs(%f) MB/s = %f\n", seconds,
               clock_.seconds(headerTicks_),
               traceSeconds_, static_cast<double>(megabytes), seconds > 0.0 ? megabytes / seconds : 0.0);
    auto const n = static_cast<unsigned long long>(r_.traceIndex_.num_traces());
    Util::logf("trace_idx_.size(%llu) key_size(%u) value_size(%u) ~%fMB\n", n, 8u, 16u,
               static_cast<double>(n) * 24.0 * 9.5367431640625e-07);
}

int SEGYreader3D::Walk::run()
{
    auto const start = Clock::now();
    std::string const firstFile = r_.filename_;
    // Every path ends on the first file with the stream closed.
    auto const done = [&](int result) {
        workers_.reset(); // drains its queue, which points into the mapping
        s_.reset();
        r_.setFile(firstFile);
        return result;
    };
    nextName_ = std::find(r_.fileNames_.begin(), r_.fileNames_.end(), firstFile);
    nextName_ = nextName_ == r_.fileNames_.end() ? r_.fileNames_.begin() : std::next(nextName_);
    if (!openCurrent()) return done(0);

    DRange& d = r_.dRange_;
    interval_ = r_.zStep();
    d.zStep = r_.zStepFor(r_.zRange_.step);
    total_ = r_.nTraces(r_.fileNames_);
    if (fullScan_) r_.selected_.assign(static_cast<std::size_t>(total_), false);
    for (SurveyPoint& p : r_.reference_) p.set = false;
    r_.inlOrder_ = -1;
    r_.iRange_ = IRange{};

    for (;;) {
        int const result = walkFile();
        if (result != 1) return done(result);
        if (!nextFile()) break;
        if (!openCurrent()) return done(0);
    }
    collectWorkers();
    r_.gridKind_ = GridFitted;
    bool const spanned = std::all_of(std::begin(r_.reference_), std::end(r_.reference_),
                                     [](SurveyPoint const& p) { return p.set; });
    if (spanned) r_.fitAffineGrid();
    if (!spanned || !r_.gridUsable()) {
        if (!r_.fallbackGrid_ || !r_.makeFallbackGrid()) return done(0);
    }
    r_.measureGrid(places_);
    places_ = {};
    r_.calculateNavi();
    done(1);
    if (r_.progress_) r_.progress_(1.0);
    report(start);
    Util::logc("SEGYreader3D::scan DONE");
    return 1;
}

int SEGYreader3D::scan(Type const* types, int const* positions, bool skipZeroXY, bool fullScan)
{
    Util::logc("SEGYreader3D::scan START");
    traceIndex_.clear();
    deadTraces_.clear();
    headersRead_ = 0;
    corrections_ = Corrections{};
    transformMaxError_ = std::numeric_limits<double>::quiet_NaN();
    return Walk(*this, types, positions, skipZeroXY, fullScan).run();
}

// Three reference traces that span a plane give the affine grid.
void SEGYreader3D::fitAffineGrid()
{
    SurveyPoint const* p = reference_;
    auto const spans = [&](SurveyPoint const& a, SurveyPoint const& b) {
        return !Ma::pointsOnLine(p[0].x, p[0].y, p[0].inl, a.x, a.y, a.inl, b.x, b.y, b.inl) &&
               !Ma::pointsOnLine(p[0].x, p[0].y, p[0].crl, a.x, a.y, a.crl, b.x, b.y, b.crl);
    };
    SurveyPoint const* a = &p[1];
    SurveyPoint const* b = &p[2];
    if (spans(p[2], p[3])) {
        a = &p[2];
        b = &p[3];
    } else if (spans(p[2], p[4])) {
        a = &p[2];
        b = &p[4];
    }
    double const dxA = a->x - p[0].x, dyA = a->y - p[0].y, dxB = b->x - p[0].x, dyB = b->y - p[0].y;
    Ma::PlaneFunction2D const inlPlane(0.0, 0.0, p[0].inl, dxA, dyA, a->inl, dxB, dyB, b->inl);
    Ma::PlaneFunction2D const crlPlane(0.0, 0.0, p[0].crl, dxA, dyA, a->crl, dxB, dyB, b->crl);
    dRange_.inlSpacing = inlPlane.getIncrement() * iRange_.inlStep;
    dRange_.crlSpacing = crlPlane.getIncrement() * iRange_.crlStep;
    trans_.xInl = inlPlane.getXIncrement();
    trans_.xCrl = crlPlane.getXIncrement();
    trans_.yInl = inlPlane.getYIncrement();
    trans_.yCrl = crlPlane.getYIncrement();
    trans_.x0 = p[0].x - trans_.xInl * p[0].inl - trans_.xCrl * p[0].crl;
    trans_.y0 = p[0].y - trans_.yInl * p[0].inl - trans_.yCrl * p[0].crl;
}

// The fit divides by the spread of the reference traces: coordinates that
// coincide give infinities, and a grid that maps every line to one point is
// no grid.
bool SEGYreader3D::gridUsable() const
{
    Trans const& t = trans_;
    for (double v : {t.x0, t.xInl, t.xCrl, t.y0, t.yInl, t.yCrl})
        if (!std::isfinite(v)) return false;
    return std::fabs(t.xInl * t.yCrl - t.yInl * t.xCrl) > 0.0;
}

bool SEGYreader3D::makeFallbackGrid()
{
    SurveyPoint const* p = reference_;
    if (!p[0].set) return false;
    IRange& ir = iRange_;
    if (ir.inlStep < 1) ir.inlStep = std::max(1, inlRange_.step);
    if (ir.crlStep < 1) ir.crlStep = std::max(1, crlRange_.step);

    // Along the one line the farthest trace gives direction and spacing; the
    // other axis is taken at right angles (a clockwise quarter turn from the
    // crosslines' direction to the inlines'), as long.
    Trans t;
    bool const oneInline = ir.inlStart == ir.inlStop, oneCrossline = ir.crlStart == ir.crlStop;
    SurveyPoint const& far = oneInline ? p[2] : p[3];
    double const dx = far.x - p[0].x, dy = far.y - p[0].y;
    double const lines = oneInline ? static_cast<double>(far.crl) - p[0].crl
                                   : static_cast<double>(far.inl) - p[0].inl;
    if (oneInline != oneCrossline && lines != 0.0 && std::hypot(dx, dy) > 0.0) {
        double const ux = dx / lines, uy = dy / lines;
        if (oneInline) {
            t.xCrl = ux, t.yCrl = uy, t.xInl = uy, t.yInl = -ux;
            gridKind_ = GridOneInline;
        } else {
            t.xInl = ux, t.yInl = uy, t.xCrl = -uy, t.yCrl = ux;
            gridKind_ = GridOneCrossline;
        }
    } else {
        t.xInl = 1.0, t.yInl = 0.0, t.xCrl = 0.0, t.yCrl = 1.0;
        gridKind_ = GridLineNumbers;
    }
    t.x0 = p[0].x - t.xInl * p[0].inl - t.xCrl * p[0].crl;
    t.y0 = p[0].y - t.yInl * p[0].inl - t.yCrl * p[0].crl;
    trans_ = t;
    dRange_.inlSpacing = std::hypot(t.xInl, t.yInl) * ir.inlStep;
    dRange_.crlSpacing = std::hypot(t.xCrl, t.yCrl) * ir.crlStep;
    return true;
}

void SEGYreader3D::measureGrid(std::vector<TracePlace> const& places)
{
    transformMaxError_ = std::numeric_limits<double>::quiet_NaN();
    if (gridKind_ == GridLineNumbers) return;
    // Relative to the first trace, so that large map coordinates lose nothing.
    SurveyPoint const& p0 = reference_[0];
    Trans const& t = trans_;
    double worst = 0.0;
    for (TracePlace const& q : places) {
        double const di = static_cast<double>(q.inl) - p0.inl, dc = static_cast<double>(q.crl) - p0.crl;
        double const ex = t.xInl * di + t.xCrl * dc - q.dx, ey = t.yInl * di + t.yCrl * dc - q.dy;
        worst = std::max(worst, std::hypot(ex, ey));
    }
    transformMaxError_ = worst;
}

} // namespace Tolmar
