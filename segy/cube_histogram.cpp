#include "segy/cube_histogram.h"

#include <string>
#include <vector>

#include "foundation/Histogram.h"
#include "foundation/log.h"
#include "segy/Seismic3DTraceReader.h"

using Tolmar::Histogram;
using Tolmar::Seismic3DTraceReader;

namespace {

thread_local std::string lastError;
thread_local bool failed = false;

// The reader of the call, its failure recorded for getCubeHistogramError.
Seismic3DTraceReader const& checked(Seismic3DTraceReader const& reader)
{
    failed = !reader.valid();
    if (failed) lastError = reader.error_file() + ": " + (reader.error().empty() ? "cannot be read" : reader.error());
    return reader;
}

void sum_down(Seismic3DTraceReader const& reader, float* low, float* high, unsigned long long* bins, int nBins)
{
    Util::logf("getBrickHistogram(%d)\n", nBins);
    float lo = 0.0f, hi = 0.0f;
    std::vector<unsigned long long> source;
    if (!reader.getHistogram(lo, hi, source)) return;
    *low = lo;
    *high = hi;
    if (nBins <= 0) return;
    std::size_t const ratio = source.size() / static_cast<std::size_t>(nBins);
    Util::logf("ratio:%d\n", static_cast<int>(ratio));
    if (ratio == 0) return; // fewer source bins than asked for: nothing to sum
    for (std::size_t i = 0; i < static_cast<std::size_t>(nBins) && i * ratio < source.size(); ++i) {
        unsigned long long sum = 0;
        for (std::size_t j = i * ratio; j < (i + 1) * ratio && j < source.size(); ++j) sum += source[j];
        bins[i] = sum;
    }
}

void effective_range(Seismic3DTraceReader const& reader, float cutLow, float cutHigh, float* outLow, float* outHigh)
{
    float lo = 0.0f, hi = 0.0f;
    std::vector<unsigned long long> bins;
    if (!reader.getHistogram(lo, hi, bins)) return;
    Histogram::amplitudeScale(bins, lo, hi, cutLow, cutHigh, *outLow, *outHigh);
}

std::string str(char const* s) { return s ? s : ""; }

} // namespace

extern "C" {

void getBrickHistogram(char const* path, float* low, float* high, unsigned long long* bins, int nBins)
{
    sum_down(checked(Seismic3DTraceReader(str(path))), low, high, bins, nBins);
}

void getIndexHistogram(char const* segyPath, char const* indexPath, float* low, float* high,
                       unsigned long long* bins, int nBins)
{
    sum_down(checked(Seismic3DTraceReader(str(segyPath), str(indexPath))), low, high, bins, nBins);
}

void getEffectiveRange(char const* path, float cutLow, float cutHigh, float* outLow, float* outHigh)
{
    Util::logc("Entered Seismic3DTraceReader_getEffectiveRange()");
    effective_range(checked(Seismic3DTraceReader(str(path))), cutLow, cutHigh, outLow, outHigh);
    Util::logc("Leaving Seismic3DTraceReader_getEffectiveRange()");
}

void getEffectiveRangeIndex(char const* segyPath, char const* indexPath, float cutLow, float cutHigh,
                            float* outLow, float* outHigh)
{
    Util::logc("Entered Seismic3DTraceReader_getEffectiveRangeIndex()");
    effective_range(checked(Seismic3DTraceReader(str(segyPath), str(indexPath))), cutLow, cutHigh, outLow, outHigh);
    Util::logc("Leaving Seismic3DTraceReader_getEffectiveRangeIndex()");
}

void getPercentCut(char const* path, float effLow, float effHigh, float* cutLow, float* cutHigh)
{
    Seismic3DTraceReader const reader{str(path)};
    checked(reader);
    float lo = 0.0f, hi = 0.0f;
    std::vector<unsigned long long> bins;
    if (!reader.getHistogram(lo, hi, bins)) return;
    Histogram::effectiveAmplitude2PercentCut(bins, lo, hi, effLow, effHigh, *cutLow, *cutHigh);
}

char const* getCubeHistogramError(void) { return failed ? lastError.c_str() : nullptr; }

} // extern "C"
