// Tracking a horizon across a long line: two clicks 20,000 traces apart on
// a section of 3,000 samples a trace, each trace between them snapped
// around its neighbour's pick in a window of 20 samples each way. The
// amplitudes come from memory, as a raster's cached blocks would, so the
// figure is the tracking itself; "window reads" counts what it asks for.

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "graphics/LineInterpreter.h"

namespace {

constexpr int kTraces = 20000, kSamples = 3000;

// A reflector dipping a third of a sample a trace over a ringing background.
class Section : public Tolmar::ISeismicAmplitudesReader {
public:
    Section() : values(static_cast<std::size_t>(kTraces) * kSamples)
    {
        for (int t = 0; t < kTraces; ++t)
            for (int s = 0; s < kSamples; ++s) {
                double const at = 500 + t / 3.0 * 0.1;
                values[static_cast<std::size_t>(t) * kSamples + s] =
                    static_cast<float>(std::exp(-std::pow((s - at) / 3.0, 2)) + 0.2 * std::sin(s * 0.3));
            }
    }
    void getAmplitudes(int trace, int first, int last, std::vector<float>& out) override
    {
        out.assign(static_cast<std::size_t>(last - first + 1), 0.0f);
        for (int s = std::max(first, 0); s <= std::min(last, kSamples - 1); ++s)
            out[static_cast<std::size_t>(s - first)] = values[static_cast<std::size_t>(trace) * kSamples + s];
    }
    std::vector<float> values;
};

void BM_TrackHorizon(benchmark::State& state)
{
    static Section section;
    std::vector<double> x(kTraces), y(kTraces, 0.0);
    for (int i = 0; i < kTraces; ++i) x[static_cast<std::size_t>(i)] = i * 12.5;
    for (auto _ : state) {
        Tolmar::LineInterpreter tool(x, y, 0, -(kSamples - 1) * 2.0, kSamples, &section);
        tool.addHorizon("TEST", Tolmar::SnapPeak, 20);
        tool.setActiveHorizon("TEST");
        tool.mouseClick(0, 500);
        tool.mouseClick(kTraces - 1, 500 + (kTraces - 1) / 30.0);
        benchmark::DoNotOptimize(tool.activeHorizon().samples.data());
    }
    state.counters["traces/s"] = benchmark::Counter(static_cast<double>(kTraces) * state.iterations(),
                                                    benchmark::Counter::kIsRate);
}
BENCHMARK(BM_TrackHorizon)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
