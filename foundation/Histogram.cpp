#include "foundation/Histogram.h"

#include <algorithm>
#include <numeric>

namespace Tolmar {

namespace {

// The amplitude below which `count` of the total lies, walking up from low.
double amplitude_below(std::vector<unsigned long long> const& bins, double low, double width, double count)
{
    double cumulative = 0.0;
    for (std::size_t i = 0; i < bins.size(); ++i) {
        double const c = static_cast<double>(bins[i]);
        if (c > 0.0 && cumulative + c >= count)
            return low + width * (static_cast<double>(i) + (count - cumulative) / c);
        cumulative += c;
    }
    return low + width * static_cast<double>(bins.size());
}

// The counts below amplitude a.
double counts_below(std::vector<unsigned long long> const& bins, double low, double width, double a)
{
    double const pos = width > 0.0 ? (a - low) / width : 0.0;
    if (!(pos > 0.0)) return 0.0;
    double cumulative = 0.0;
    for (std::size_t i = 0; i < bins.size(); ++i) {
        double const c = static_cast<double>(bins[i]);
        if (pos < static_cast<double>(i + 1)) return cumulative + c * (pos - static_cast<double>(i));
        cumulative += c;
    }
    return cumulative;
}

double total_of(std::vector<unsigned long long> const& bins)
{
    return std::accumulate(bins.begin(), bins.end(), 0.0,
                           [](double s, unsigned long long b) { return s + static_cast<double>(b); });
}

} // namespace

void Histogram::amplitudeScale(std::vector<unsigned long long> const& bins, float low, float high, float cutLow,
                               float cutHigh, float& outLow, float& outHigh)
{
    double const total = total_of(bins);
    if (total <= 0.0 || bins.empty()) {
        outLow = low;
        outHigh = high;
        return;
    }
    double const width = (static_cast<double>(high) - low) / static_cast<double>(bins.size());
    double const lowCount = total * std::clamp(static_cast<double>(cutLow), 0.0, 100.0) / 100.0;
    double const highCount = total * (1.0 - std::clamp(static_cast<double>(cutHigh), 0.0, 100.0) / 100.0);
    outLow = static_cast<float>(amplitude_below(bins, low, width, lowCount));
    outHigh = static_cast<float>(amplitude_below(bins, low, width, highCount));
}

void Histogram::effectiveAmplitude2PercentCut(std::vector<unsigned long long> const& bins, float low, float high,
                                              float effLow, float effHigh, float& cutLow, float& cutHigh)
{
    double const total = total_of(bins);
    if (total <= 0.0 || bins.empty()) {
        cutLow = 0.0f;
        cutHigh = 0.0f;
        return;
    }
    double const width = (static_cast<double>(high) - low) / static_cast<double>(bins.size());
    cutLow = static_cast<float>(100.0 * counts_below(bins, low, width, effLow) / total);
    cutHigh = static_cast<float>(100.0 * (total - counts_below(bins, low, width, effHigh)) / total);
}

} // namespace Tolmar
