#include "segy/SEGYreader3D.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

#include "foundation/SEGY3D_read_trace.h"
#include "foundation/log.h"
#include "foundation/rescale.h"

namespace Tolmar {

SEGYreader3D::SEGYreader3D() : SEGYreader(3), transformMaxError_(std::numeric_limits<double>::quiet_NaN()) {}

void SEGYreader3D::setInlRange(int start, int stop, int step)
{
    if (stop >= start && step >= 1) inlRange_ = {start, stop, step};
}

void SEGYreader3D::setCrlRange(int start, int stop, int step)
{
    if (stop >= start && step >= 1) crlRange_ = {start, stop, step};
}

void SEGYreader3D::setZRange(double start, double stop, double step)
{
    if (!(start > stop) && step > 0.0) zRange_ = {start, stop, step};
}

void SEGYreader3D::get_storage_dependent_values(Info3DGrid::eDataType& type, double& undefValue, double& low,
                                                double& high) const
{
    // The integer kinds keep their top value for missing data, so no valid sample reaches it.
    switch (storage(format_)) {
    case 8:
        type = Info3DGrid::INT8;
        undefValue = 127;
        low = -126;
        high = 126;
        break;
    case 16:
        type = Info3DGrid::INT16;
        undefValue = 32767;
        low = -32766;
        high = 32766;
        break;
    default:
        type = Info3DGrid::FLOAT;
        undefValue = FLT_MAX;
        low = -FLT_MAX;
        high = FLT_MAX;
    }
}

double SEGYreader3D::undef() const
{
    Info3DGrid::eDataType type;
    double undefValue, low, high;
    get_storage_dependent_values(type, undefValue, low, high);
    return undefValue;
}

void SEGYreader3D::get_amp_range(bool rescale, double offset, double scale, double low, double high,
                                 double& outMin, double& outMax) const
{
    outMin = dRange_.sMin;
    outMax = dRange_.sMax;
    if (!rescale) return;
    outMin = rescale_amplitude(outMin, offset, scale, low, high);
    outMax = rescale_amplitude(outMax, offset, scale, low, high);
}

// Outline of the survey: the rectangle of the ranges, walked along the first
// inline, the last crossline, back along the last inline and down the first
// crossline to where it began.
void SEGYreader3D::calculateNavi()
{
    navigation_.clear();
    if (navigationType_ != NavRectangle)
        Util::logc("SEGYreader3D::calculateNavi: traced outlines are not available; using the rectangle");
    IRange const& r = iRange_;
    if (r.inlStep < 1 || r.crlStep < 1) return;
    int const z = static_cast<int>(dRange_.zMin);
    auto const add = [&](long long inlNo, long long crlNo) {
        auto const inl = static_cast<double>(inlNo), crl = static_cast<double>(crlNo);
        navigation_.push_back({{trans_.x0 + trans_.xInl * inl + trans_.xCrl * crl,
                                trans_.y0 + trans_.yInl * inl + trans_.yCrl * crl},
                               z});
    };
    // Wide counters: a range may end near the largest int. The edges are
    // straight, so a survey whose span of line numbers far exceeds its
    // traces (one garbage header number can do that) gets no more points
    // per edge than it has traces; the corners stay.
    long long const most = std::max(1LL, traceIndex_.num_traces());
    auto const stride = [most](long long from, long long to, long long step) {
        long long const lines = (to - from) / step;
        return lines > most ? (lines + most - 1) / most * step : step;
    };
    long long const crlStride = stride(r.crlStart, r.crlStop, r.crlStep);
    long long const inlStride = stride(r.inlStart, r.inlStop, r.inlStep);
    for (long long crl = r.crlStart; crl < r.crlStop; crl += crlStride) add(r.inlStart, crl);
    for (long long inl = r.inlStart; inl < r.inlStop; inl += inlStride) add(inl, r.crlStop);
    for (long long crl = r.crlStop; crl > r.crlStart; crl -= crlStride) add(r.inlStop, crl);
    for (long long inl = r.inlStop; inl > r.inlStart; inl -= inlStride) add(inl, r.crlStart);
    add(r.inlStart, r.crlStart);
}

int SEGYreader3D::skipInitial(std::ifstream* stream)
{
    if (!stream) return 0;
    skipEBCDICheader(stream);
    readReelHeader(stream);
    if (!*stream) {
        stream->close();
        return 0;
    }
    return 1;
}

int SEGYreader3D::readNextInl(std::istream* stream, Type const* types, int const* positions, int samplesPerTrace,
                              long long bufferSize, int& inl, long long& traceCounter)
{
    if (!stream || bufferSize < 0) return 0;
    double const low = scalarMin_ + 2.0, high = scalarMax_ - 1.0;
    double const m = scanned_max_abs();
    double const scale = rescale_factor(low, high, m);
    bool const rescale = rescalingOn(scale);

    amplitudes_.assign(static_cast<std::size_t>(bufferSize), scalarMax_);
    int const perTrace = std::max(0, samplesPerTrace);
    auto const wanted = static_cast<std::size_t>(perTrace);
    bool const rising = inlOrder_ != 0;
    auto const laterSelected = [&](long long from) {
        auto const begin = selected_.begin() + std::min<long long>(from, static_cast<long long>(selected_.size()));
        return std::find(begin, selected_.end(), true) != selected_.end();
    };

    int read = 0;
    while (traceCounter < nTraces() - 1) {
        ++traceCounter;
        bool const isSelected = traceCounter >= 0 && traceCounter < static_cast<long long>(selected_.size()) &&
                                selected_[static_cast<std::size_t>(traceCounter)];
        if (!isSelected) {
            bool const atEnd = inl != -1 && (rising ? inl >= iRange_.inlStop : inl <= iRange_.inlStart);
            if (atEnd && !laterSelected(traceCounter + 1)) break;
            skipTraceHeadersAndTraces(stream, 1);
            continue;
        }
        int tsn = 0, il = 0, xl = 0, ns = 0;
        double x = 0.0, y = 0.0, z = 0.0;
        readTraceHeader(stream, types, positions, &tsn, nullptr, &il, &xl, &x, &y, &z, nullptr, &ns);
        if (!*stream) break;
        if (inl != -1 && il != inl) {
            // The next inline has begun: leave its first trace for the next call.
            --traceCounter;
            inl = il;
            skipTraceHeader(stream, true);
            break;
        }
        SEGYtrace trace(tsn, 0, il, xl, static_cast<float>(x), static_cast<float>(y), z, perTrace);
        readTrace(stream, &trace, (dRange_.zMin - z) / zStep(), dRange_.zStep * 1000.0);
        inl = il;
        if (iRange_.crlStep < 1) continue;
        long long const at = (static_cast<long long>(xl) - iRange_.crlStart) / iRange_.crlStep * perTrace;
        if (at < 0 || at + perTrace > bufferSize) continue;
        float* out = amplitudes_.data() + at;
        for (std::size_t k = 0; k < wanted; ++k) {
            double const v = trace.sample(static_cast<unsigned>(k)); // missing samples read as 0
            out[k] = static_cast<float>(rescale ? rescale_amplitude(v, m, scale, low, high) : v);
        }
        ++read;
    }
    if (rescale) {
        dRange_.sMin = rescale_amplitude(dRange_.sMin, m, scale, low, high);
        dRange_.sMax = rescale_amplitude(dRange_.sMax, m, scale, low, high);
    }
    return read > 0 ? 1 : 0;
}

void SEGYreader3D::getInl(std::istream& stream, int inl, std::vector<float>& out)
{
    out.clear();
    IndexedSEGYHeader const& h = traceIndex_.header;
    if (h.crlStep < 1) return;
    std::vector<float> samples;
    for (long long crl = h.crlStart; crl <= h.crlStop; crl += h.crlStep) {
        long long offset = 0;
        if (traceIndex_.lookup(inl, static_cast<int>(crl), offset) && SEGY3D_read_trace(stream, offset, h, samples)) {
            out.insert(out.end(), samples.begin(), samples.end());
        } else {
            out.insert(out.end(), static_cast<std::size_t>(std::max(0, h.nSamples)), static_cast<float>(undef()));
        }
    }
}

} // namespace Tolmar
