#include "cli/synthetic_line.h"

#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

#include "segy/SEGYwriter.h"

namespace tolmar_cli {

namespace {

using Tolmar::SEGYreader;

constexpr double kFrequency = 0.030; // cycles a millisecond: a 30 Hz Ricker

double ricker(double ms)
{
    double const a = std::numbers::pi * kFrequency * ms * std::numbers::pi * kFrequency * ms;
    return (1.0 - 2.0 * a) * std::exp(-a);
}

// A value in 0..1 from the numbers, the same on every machine.
double hash01(std::uint64_t a, std::uint64_t b, std::uint64_t c)
{
    std::uint64_t h = a * 0x9E3779B97F4A7C15ull ^ (b + 0x632BE59BD9B4E019ull) * 0xBF58476D1CE4E5B9ull ^
                      (c + 0x94D049BB133111EBull) * 0x94D049BB133111EBull;
    h ^= h >> 31;
    h *= 0xD6E8FEB86659FD93ull;
    h ^= h >> 32;
    return static_cast<double>(h >> 11) / 9007199254740992.0;
}

double multiplier(int scaler) { return scaler < 0 ? -scaler : scaler > 0 ? 1.0 / scaler : 1.0; }

} // namespace

double line_reflector_time(LineSynthOptions const& o, int i) { return o.reflectorMs + o.dipMsPerTrace * i; }

void line_position(LineSynthOptions const& o, int i, double& x, double& y)
{
    int const bend = o.traces / 2;
    double const a0 = o.azimuthDeg * std::numbers::pi / 180, a1 = (o.azimuthDeg + o.bendDeg) * std::numbers::pi / 180;
    int const before = std::min(i, bend), after = std::max(i - bend, 0);
    x = o.x0 + o.spacing * (before * std::sin(a0) + after * std::sin(a1));
    y = o.y0 + o.spacing * (before * std::cos(a0) + after * std::cos(a1));
}

bool line_shot_present(LineSynthOptions const& o, int i)
{
    if (o.gapEvery <= 0) return true;
    int const period = o.gapEvery + o.gapLength;
    // The first and the last shot points are always there.
    return i == o.traces - 1 || i % period < o.gapEvery;
}

int line_shot_count(LineSynthOptions const& o)
{
    int n = 0;
    for (int i = 0; i < o.traces; ++i) n += line_shot_present(o, i) ? 1 : 0;
    return n;
}

int line_trace_count(LineSynthOptions const& o)
{
    int n = 0;
    for (int i = 0; i < o.traces; ++i)
        if (line_shot_present(o, i)) n += o.repeatEvery > 0 && i % o.repeatEvery == o.repeatEvery - 1 ? 2 : 1;
    return n;
}

bool write_synthetic_line(std::string const& path, LineSynthOptions const& o, std::string& error)
{
    int const code = o.format == "ibm" ? 1 : o.format == "int16" ? 3 : 5;
    Tolmar::SEGYwriter w;
    w.setFormat(code);
    w.setIbmFloat(code == 1);
    w.setSampleInterval(o.intervalUs);
    w.setSampleCount(o.samples);
    w.setTextHeader({"C 1 TOLMAR SYNTHETIC 2D LINE, SEED " + std::to_string(o.seed),
                     "C 2 SHOT POINT 17-20, CDP X 181-184, CDP Y 185-188 (INT32), SCALER 71-72",
                     "C40 END TEXTUAL HEADER"});
    w.setReelWord(28, 16, 1);
    w.setReelWord(54, 16, 1);
    w.setReelWord(300, 16, 0x0100);
    w.setReelWord(302, 16, 1);
    if (!w.open(path)) {
        error = "cannot create the file";
        return false;
    }
    double const ms = o.intervalUs / 1000.0, mul = multiplier(o.scaler);
    double const gain = code == 3 ? 8000 : 1000;
    std::vector<float> trace(static_cast<std::size_t>(o.samples));
    int tsn = 0;
    for (int i = 0; i < o.traces; ++i) {
        if (!line_shot_present(o, i)) continue;
        for (int k = 0; k < o.samples; ++k) {
            double const t = k * ms;
            double v = ricker(t - line_reflector_time(o, i));
            for (int f = 1; f <= 4; ++f) v += 0.45 * (f % 2 ? 1 : -1) * ricker(t - f * o.samples * ms / 5.0);
            v += 0.04 * (2 * hash01(o.seed, static_cast<std::uint64_t>(i), static_cast<std::uint64_t>(k)) - 1);
            trace[static_cast<std::size_t>(k)] = static_cast<float>(gain * v);
        }
        double x = 0, y = 0;
        line_position(o, i, x, y);
        int const copies = o.repeatEvery > 0 && i % o.repeatEvery == o.repeatEvery - 1 ? 2 : 1;
        for (int c = 0; c < copies; ++c) {
            bool const ok = w.writeTrace({{1, SEGYreader::Integer32, static_cast<double>(++tsn)},
                                          {17, SEGYreader::Integer32, static_cast<double>(o.spStart + i * o.spStep)},
                                          {21, SEGYreader::Integer32, static_cast<double>(i + 1)},
                                          {181, SEGYreader::Integer32, x * mul},
                                          {185, SEGYreader::Integer32, y * mul},
                                          {71, SEGYreader::Integer16, static_cast<double>(o.scaler)}},
                                         trace);
            if (!ok) {
                error = "cannot write the file; is the disk full?";
                return false;
            }
        }
    }
    if (!w.close()) {
        error = "cannot put the finished file in place";
        return false;
    }
    return true;
}

} // namespace tolmar_cli
