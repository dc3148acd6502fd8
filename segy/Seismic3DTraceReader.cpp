#include "segy/Seismic3DTraceReader.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

#include "foundation/Ma.h"
#include "foundation/Streamer3DGridReader.h"
#include "foundation/StreamerIndexedSEGY3DReader.h"
#include "foundation/log.h"
#include "foundation/sample_decode.h"
#include "foundation/slices.h"
#include "platform/last_error.h"
#include "segy/SeismicCubeManager.h"

namespace Tolmar {

namespace {

// Element size of a brick file's storage kind, as the layers count it.
int bytes_per_sample(Info3DGrid::eDataType type)
{
    return type == Info3DGrid::INT8 ? 1 : type == Info3DGrid::INT16 ? 2 : 4;
}

} // namespace

Seismic3DTraceReader::Seismic3DTraceReader(std::string const& brickPath)
{
    errorFile_ = brickPath;
    brickReader = SeismicCubeManager::getInstance().get_brick_reader(brickPath, &error_);
    valid_ = brickReader != nullptr;
    if (!valid_) return;
    error_.clear();
    SEGYCubeInfo const& info = brickReader->info;
    inlStart = info.inlineRange[0];
    inlStop = info.inlineRange[1];
    inlStep = info.inlineRange[2];
    crlStart = info.crosslineRange[0];
    crlStop = info.crosslineRange[1];
    crlStep = info.crosslineRange[2];
    zStart = info.zStart;
    zStop = info.zStop;
    zStep = info.zStep;
    xInl = info.xInl;
    xCrl = info.xCrl;
    x0 = info.x0;
    yInl = info.yInl;
    yCrl = info.yCrl;
    y0 = info.y0;
    bytesPerSample = bytes_per_sample(info.type);
}

Seismic3DTraceReader::Seismic3DTraceReader(std::string const& segyPath, std::string const& indexPath)
{
    auto const refuse = [this](std::string const& file, std::string why) {
        errorFile_ = file;
        error_ = std::move(why);
        Util::logf("Seismic3DTraceReader: '%s' %s\n", file.c_str(), error_.c_str());
        platform::set_last_error_info(file + ": " + error_);
    };
    CompressedIndex index;
    errorFile_ = indexPath;
    if (!index.read(indexPath, &error_)) return;
    if (std::string const why = index.description_problem(); !why.empty()) {
        refuse(indexPath, "has a header in which " + why);
        return;
    }
    // The index must be this file's: a file that cannot hold its traces is
    // another, or was cut short since.
    SampleCoding coding;
    sample_coding_for_format(index.header.format, index.header.ibmFloat, coding);
    long long const traceBytes = 240 + static_cast<long long>(index.header.nSamples) * sample_bytes(coding);
    std::error_code ec;
    auto const size = static_cast<long long>(std::filesystem::file_size(segyPath, ec));
    long long const holds = ec ? 0 : std::max(0LL, size - 3600) / traceBytes;
    if (!ec && index.num_traces() > holds) {
        refuse(segyPath, "holds " + std::to_string(holds) + " traces, fewer than the " +
                             std::to_string(index.num_traces()) + " of its index " + indexPath);
        return;
    }
    errorFile_ = segyPath;
    indexedReader = open_indexed_segy3d_reader(segyPath, index, &error_);
    valid_ = indexedReader != nullptr;
    if (!valid_) return;
    error_.clear();
    IndexedSEGYHeader const& h = indexedReader->header();
    inlStart = h.inlStart;
    inlStop = h.inlStop;
    inlStep = h.inlStep;
    crlStart = h.crlStart;
    crlStop = h.crlStop;
    crlStep = h.crlStep;
    zStart = h.zStart;
    zStop = h.zStop;
    zStep = h.zStep;
    xInl = h.xInl;
    xCrl = h.xCrl;
    x0 = h.x0;
    yInl = h.yInl;
    yCrl = h.yCrl;
    y0 = h.y0;
}

float Seismic3DTraceReader::undef()
{
    if (brickReader) return static_cast<float>(brickReader->get_undef_value());
    return std::numeric_limits<float>::max();
}

bool Seismic3DTraceReader::trace(int inl, int crl, double from, double to, std::vector<float>& out)
{
    if (brickReader) return Tolmar::trace(brickReader, inl, crl, from, to, out);
    if (!indexedReader) return false;
    std::vector<TraceKey> const keys{TraceKey{inl, crl}};
    std::vector<Trace> traces;
    indexedReader->request_traces(keys);
    indexedReader->get_traces_blocking(keys, traces);
    if (traces.empty() || traces[0].samples.empty()) return false;
    out = std::move(traces[0].samples);
    return true;
}

bool Seismic3DTraceReader::traced(double inl, double crl, double from, double to, std::vector<float>& out)
{
    if (!valid_) return false;
    double const inlLast = inlStop, crlLast = crlStop;
    if (!(inl >= inlStart && inl <= inlLast && crl >= crlStart && crl <= crlLast)) return false;
    if (from < zStart || to > zStop) return false;
    if (inlStop == inlStart || crlStop == crlStart) return false; // no second line to lean on

    int i = Ma::fromDoubleToIntFloor((inl - inlStart) / (inlStop - inlStart), inlStart, inlStop, inlStep);
    int j = Ma::fromDoubleToIntFloor((crl - crlStart) / (crlStop - crlStart), crlStart, crlStop, crlStep);
    if (i == inlStop) i -= inlStep;
    if (j == crlStop) j -= crlStep;
    double const a = (inl - i) / inlStep, b = (crl - j) / crlStep;

    std::vector<float> t00, t01, t10, t11;
    if (!trace(i, j, zStart, zStop, t00) || !trace(i, j + crlStep, zStart, zStop, t01) ||
        !trace(i + inlStep, j, zStart, zStop, t10) || !trace(i + inlStep, j + crlStep, zStart, zStop, t11))
        return false;
    if (t00.size() != t01.size() || t00.size() != t10.size() || t00.size() != t11.size()) {
        Util::logc("The neighbour traces have different length!");
        Util::logf("trace_00.size() %zu\n", t00.size());
        Util::logf("trace_01.size() %zu\n", t01.size());
        Util::logf("trace_10.size() %zu\n", t10.size());
        Util::logf("trace_11.size() %zu\n", t11.size());
        return false;
    }
    if (t00.empty()) return false;
    long long const first = static_cast<long long>((from - zStart) / zStep);
    long long const last = std::min(static_cast<long long>((to - zStart) / zStep), static_cast<long long>(t00.size()) - 1);
    if (last < first) return false;
    out.resize(static_cast<std::size_t>(last - first + 1));
    float const u = undef();
    for (long long k = first; k <= last; ++k) {
        auto const s = static_cast<std::size_t>(k);
        float& o = out[static_cast<std::size_t>(k - first)];
        if (t00[s] == u || t01[s] == u || t10[s] == u || t11[s] == u)
            o = u;
        else
            o = static_cast<float>((1 - a) * (1 - b) * t00[s] + (1 - a) * b * t01[s] + (1 - b) * a * t10[s] +
                                   a * b * t11[s]);
    }
    return true;
}

template <class Before>
bool Seismic3DTraceReader::indexed_slice(std::vector<SampleKey> const& keys, Before before, std::vector<float>& out)
{
    std::vector<std::pair<SampleKey, float>> got;
    indexedReader->request_samples(keys);
    indexedReader->get_samples_blocking(keys, got);
    std::sort(got.begin(), got.end(), [&](auto const& p, auto const& q) { return before(p.first, q.first); });
    out.resize(got.size());
    for (std::size_t n = 0; n < got.size(); ++n) out[n] = got[n].second;
    return true;
}

// An inline or crossline from the index, sorted by sample, then along the line.
bool Seismic3DTraceReader::indexed_line(int line, bool isInline, std::vector<float>& out)
{
    if (!indexedReader) return false;
    int const samples = static_cast<int>((zStop - zStart) / zStep + 1.0);
    int const start = isInline ? crlStart : inlStart, stop = isInline ? crlStop : inlStop;
    int const step = isInline ? crlStep : inlStep;
    std::vector<SampleKey> keys;
    for (long long wide = start; wide <= stop; wide += step) {
        int const n = static_cast<int>(wide);
        for (int k = 0; k < samples; ++k) keys.push_back(isInline ? SampleKey{line, n, k} : SampleKey{n, line, k});
    }
    auto const along = [isInline](SampleKey const& p) { return isInline ? p.crl : p.inl; };
    return indexed_slice(
        keys, [&](SampleKey const& p, SampleKey const& q) { return std::pair(p.sample, along(p)) < std::pair(q.sample, along(q)); },
        out);
}

bool Seismic3DTraceReader::inlslice(int inl, std::vector<float>& out)
{
    vec<int, 2> size;
    return brickReader ? iline(brickReader, inl, out, size) : indexed_line(inl, true, out);
}

bool Seismic3DTraceReader::crlslice(int crl, std::vector<float>& out)
{
    vec<int, 2> size;
    return brickReader ? crossline(brickReader, crl, out, size) : indexed_line(crl, false, out);
}

bool Seismic3DTraceReader::timeslice(double z, std::vector<float>& out)
{
    vec<int, 2> size;
    if (brickReader) return Tolmar::timeslice(brickReader, z, out, size);
    if (!indexedReader) return false;
    int const k = static_cast<int>((z - zStart) / zStep + 0.5);
    std::vector<SampleKey> keys;
    for (long long c = crlStart; c <= crlStop; c += crlStep)
        for (long long i = inlStart; i <= inlStop; i += inlStep)
            keys.push_back(SampleKey{static_cast<int>(i), static_cast<int>(c), k});
    return indexed_slice(
        keys, [](SampleKey const& p, SampleKey const& q) { return std::tie(p.crl, p.inl) < std::tie(q.crl, q.inl); },
        out);
}

bool Seismic3DTraceReader::timesliceRow(std::vector<float> const& slice, double crl, std::vector<float>& out)
{
    int const ni = ninl(), nc = ncrl();
    if (nc < 2 || slice.size() < static_cast<std::size_t>(ni) * static_cast<std::size_t>(nc)) return false;
    float const f = static_cast<float>((crl - crlStart) / crlStep);
    if (!(f >= 0.0f && f <= static_cast<float>(nc - 1))) return false;
    int i = static_cast<int>(f);
    if (i == nc - 1) --i;
    float const t = f - static_cast<float>(i);
    out.resize(static_cast<std::size_t>(ni));
    float const* r0 = slice.data() + static_cast<std::size_t>(i) * ni;
    float const* r1 = r0 + ni;
    for (int k = 0; k < ni; ++k) out[static_cast<std::size_t>(k)] = (1 - t) * r0[k] + t * r1[k];
    return true;
}

bool Seismic3DTraceReader::timesliceColumn(std::vector<float> const& slice, double inl, std::vector<float>& out)
{
    int const ni = ninl(), nc = ncrl();
    if (ni < 2 || slice.size() < static_cast<std::size_t>(ni) * static_cast<std::size_t>(nc)) return false;
    double const f = (inl - inlStart) / inlStep;
    if (!(f >= 0.0 && f <= ni - 1)) return false;
    int i = static_cast<int>(f);
    if (i == ni - 1) --i;
    double const t = f - i;
    float const u = undef();
    out.resize(static_cast<std::size_t>(nc));
    for (int r = 0; r < nc; ++r) {
        float const left = slice[static_cast<std::size_t>(r) * ni + i], right = slice[static_cast<std::size_t>(r) * ni + i + 1];
        out[static_cast<std::size_t>(r)] =
            left == u || right == u ? u : static_cast<float>((1 - t) * left + t * right);
    }
    return true;
}

double Seismic3DTraceReader::inLd(double px, double py) const
{
    return ((px - x0) * yCrl - (py - y0) * xCrl) / (xInl * yCrl - yInl * xCrl);
}

double Seismic3DTraceReader::crLd(double px, double py) const
{
    return ((py - y0) * xInl - (px - x0) * yInl) / (yCrl * xInl - xCrl * yInl);
}

double Seismic3DTraceReader::inlSpacing() const { return std::hypot(xInl * inlStep, yInl * inlStep); }

double Seismic3DTraceReader::crlSpacing() const { return std::hypot(xCrl * crlStep, yCrl * crlStep); }

void Seismic3DTraceReader::rotationAndFlip(bool& flip, double& angle) const
{
    flip = !(yCrl * xInl - xCrl * yInl > 0.0);
    double const vx = flip ? xCrl : xInl, vy = flip ? yCrl : yInl;
    angle = std::atan2(vy, vx) * 180.0 / 3.141592653589793;
    if (angle < 0.0) angle = 360.0 - angle; // kept as the layers have always had it: -30 gives 390
}

void Seismic3DTraceReader::getBounds(double bounds[4]) const
{
    double const xs[4] = {x(inlStart, crlStart), x(inlStart, crlStop), x(inlStop, crlStart), x(inlStop, crlStop)};
    double const ys[4] = {y(inlStart, crlStart), y(inlStart, crlStop), y(inlStop, crlStart), y(inlStop, crlStop)};
    bounds[0] = *std::min_element(xs, xs + 4);
    bounds[1] = *std::max_element(xs, xs + 4);
    bounds[2] = *std::min_element(ys, ys + 4);
    bounds[3] = *std::max_element(ys, ys + 4);
}

bool Seismic3DTraceReader::getHistogram(float& low, float& high, std::vector<unsigned long long>& bins) const
{
    if (brickReader) {
        low = brickReader->info.minValue;
        high = brickReader->info.maxValue;
        bins = brickReader->get_histogram();
        return true;
    }
    if (!indexedReader) return false;
    low = indexedReader->header().minAmplitude;
    high = indexedReader->header().maxAmplitude;
    bins = indexedReader->get_histogram();
    return true;
}

} // namespace Tolmar
