#include "cli/synthetic_survey.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <numbers>
#include <vector>

#include "segy/SEGYwriter.h"

namespace tolmar_cli {

namespace {

using Tolmar::SEGYreader;

// The model works in samples, not seconds, so a survey looks the same at any
// sample interval.
constexpr double kFrequency = 0.1;     // wavelet peak, cycles per sample
constexpr double kMinThickness = 9.0;  // layers never come closer, which bounds the sum
constexpr double kReach = 2.5 / kFrequency; // beyond this a wavelet adds nothing
constexpr double kNoise = 0.03;
constexpr double kFloatScale = 1000.0;
constexpr double kIntegerFill = 0.95; // of the type's range, at the proven bound

std::uint64_t mix(std::uint64_t h)
{
    h += 0x9e3779b97f4a7c15ULL;
    h = (h ^ (h >> 30)) * 0xbf58476d1ce4e5b9ULL;
    h = (h ^ (h >> 27)) * 0x94d049bb133111ebULL;
    return h ^ (h >> 31);
}

// Uniform in [0, 1) from the seed and up to three keys.
double hash01(unsigned seed, std::uint64_t a, std::uint64_t b = 0, std::uint64_t c = 0)
{
    std::uint64_t h = mix(seed);
    h = mix(h ^ a);
    h = mix(h ^ b);
    h = mix(h ^ c);
    return static_cast<double>(h >> 11) * 0x1.0p-53;
}

double ricker(double tau)
{
    double const a = std::numbers::pi * kFrequency * tau * std::numbers::pi * kFrequency * tau;
    return (1.0 - 2.0 * a) * std::exp(-a);
}

// The largest |ricker| at or beyond |tau|: non-increasing, unlike |ricker|.
double envelope(double tau)
{
    double const sideLobe = std::sqrt(1.5) / (std::numbers::pi * kFrequency);
    tau = std::abs(tau);
    return tau < sideLobe ? std::max(std::abs(ricker(tau)), std::abs(ricker(sideLobe))) : std::abs(ricker(tau));
}

// Largest sum of |ricker| over spikes kMinThickness or more apart: for the
// nearest spike at a <= s/2 the others lie no closer than a + m s and s - a + m s.
// Each cell is bounded from its ends, since the terms are monotone in a.
double wavelet_sum_bound()
{
    constexpr int cells = 256;
    double const s = kMinThickness, h = s / 2 / cells;
    double best = 0.0;
    for (int i = 0; i < cells; ++i) {
        double sum = 0.0;
        for (int m = 0; m * s < 4 * kReach; ++m) sum += envelope(i * h + m * s) + envelope(s - (i + 1) * h + m * s);
        best = std::max(best, sum);
    }
    return best;
}

struct Layer {
    double extra, gradU, gradV, reflectivity;
};

class Model {
public:
    explicit Model(SynthOptions const& o) : o_(o), n_(std::max(1, o.samples))
    {
        double const s = n_;
        foldAmplitude_ = 0.025 * s + 3.0;
        foldPhase_ = 2 * std::numbers::pi * hash01(o.seed, 1);
        dipAngle_ = 2 * std::numbers::pi * hash01(o.seed, 2);
        // Enough layers that even the thinnest stack reaches past the last sample.
        double depth = 0.0, strongest = 0.0;
        for (std::uint64_t n = 0; depth < 1.2 * s + 2 * kReach + foldAmplitude_; ++n) {
            Layer l;
            l.extra = 2.0 + 12.0 * hash01(o.seed, 10, n);
            l.gradU = 1.6 * hash01(o.seed, 11, n) - 0.8;
            l.gradV = 1.6 * hash01(o.seed, 12, n) - 0.8;
            double const r = 0.15 + 0.85 * std::pow(hash01(o.seed, 13, n), 2.0);
            // The first is the sea floor, the strongest reflector, which
            // makes the peak amplitude close to the proven bound.
            l.reflectivity = n == 0 ? 1.5 : hash01(o.seed, 14, n) < 0.5 ? -r : r;
            strongest = std::max(strongest, std::abs(l.reflectivity));
            layers_.push_back(l);
            depth += kMinThickness + 0.2 * l.extra;
        }
        for (auto& l : layers_) l.reflectivity /= strongest;
        static double const waveletBound = wavelet_sum_bound();
        double const bound = waveletBound + kNoise;
        int const code = synth_format_code(o.format);
        double const limit = code == 2 ? 2147483647.0 : code == 3 ? 32767.0 : code == 8 ? 127.0 : 0.0;
        scale_ = limit > 0 ? kIntegerFill * limit / bound : kFloatScale;
    }

    // Reflector depths, in samples, of one trace's footwall; ascending.
    void reflectors(int il, int xl, std::vector<double>& z) const
    {
        double const u = unit(il, o_.inlines), v = unit(xl, o_.crosslines), s = n_;
        double const fold = foldAmplitude_ * std::sin(2 * std::numbers::pi * (0.9 * u + 0.35 * v) + foldPhase_) *
                            (0.6 + 0.4 * std::cos(2 * std::numbers::pi * (0.5 * v - 0.2 * u) + foldPhase_));
        double const dip = 0.05 * s * (std::cos(dipAngle_) * u + std::sin(dipAngle_) * v);
        double depth = 0.06 * s + fold + dip;
        z.resize(layers_.size());
        for (std::size_t n = 0; n < layers_.size(); ++n) {
            auto const& l = layers_[n];
            depth += kMinThickness + l.extra * (1.0 + l.gradU * (u - 0.5) + l.gradV * (v - 0.5));
            z[n] = depth;
        }
    }

    float sample(int il, int xl, int k, std::vector<double> const& z) const
    {
        // A normal fault: the plane dips towards negative p, and above it the
        // hanging wall sits lower by a throw that dies out along strike.
        double const theta = std::numbers::pi / 3;
        double const di = il - 0.55 * (o_.inlines - 1), dj = xl - 0.45 * (o_.crosslines - 1);
        double const diagonal = std::max(1.0, std::hypot(o_.inlines, o_.crosslines));
        double const p = di * std::cos(theta) + dj * std::sin(theta);
        double const along = (-di * std::sin(theta) + dj * std::cos(theta)) / diagonal;
        bool const hanging = p + k * 0.3 * diagonal / n_ < 0;
        double const shift = hanging ? (0.03 * n_ + 4.0) * (0.65 + 0.35 * std::cos(2 * std::numbers::pi * along)) : 0.0;

        double const t = k - shift;
        double sum = 0.0;
        for (auto it = std::lower_bound(z.begin(), z.end(), t - kReach); it != z.end() && *it <= t + kReach; ++it)
            sum += layers_[static_cast<std::size_t>(it - z.begin())].reflectivity * ricker(t - *it);
        double const gain = std::exp(-k / (1.5 * n_));
        double const noise = 2.0 * hash01(o_.seed, 20 + static_cast<std::uint64_t>(il),
                                          static_cast<std::uint64_t>(xl), static_cast<std::uint64_t>(k)) - 1.0;
        return static_cast<float>(scale_ * (gain * sum + kNoise * noise));
    }

private:
    static double unit(int index, int count) { return count > 1 ? static_cast<double>(index) / (count - 1) : 0.0; }

    SynthOptions const& o_;
    double n_;
    double foldAmplitude_ = 0, foldPhase_ = 0, dipAngle_ = 0, scale_ = 1;
    std::vector<Layer> layers_;
};

double coordinate_multiplier(int scaler) { return scaler < 0 ? -scaler : scaler == 0 ? 1.0 : 1.0 / scaler; }

std::string format_line(char const* fmt, auto... args)
{
    char text[128];
    std::snprintf(text, sizeof text, fmt, args...);
    return text;
}

void synthetic_position(SynthOptions const& o, int inlineIndex, int crosslineIndex, double& x, double& y)
{
    double const a = o.azimuthDeg * std::numbers::pi / 180.0, s = std::sin(a), c = std::cos(a);
    x = o.x0 + o.spacing * (inlineIndex * s + crosslineIndex * c);
    y = o.y0 + o.spacing * (inlineIndex * c - crosslineIndex * s);
}

std::string check_synth_options(SynthOptions const& o)
{
    if (o.inlines < 1 || o.crosslines < 1 || o.samples < 1)
        return "inline, crossline and sample counts must be at least 1";
    if (o.samples > 32767) return "at most 32767 samples fit a trace";
    if (o.inlineStep < 1 || o.crosslineStep < 1) return "line steps must be at least 1";
    if (o.intervalUs < 1 || o.intervalUs > 65535) return "the sample interval must be 1 to 65535 microseconds";
    if (synth_format_code(o.format) == 0)
        return "unknown sample format '" + o.format + "'; use ibm, ieee, int32, int16 or int8";
    if (o.scaler < -32768 || o.scaler > 32767) return "the coordinate scaler must fit 16 bits";
    if (!(o.spacing > 0) || !std::isfinite(o.spacing)) return "the line spacing must be positive";
    auto const fits = [](long long start, long long step, int n) { return start + step * (n - 1) <= INT_MAX; };
    if (!fits(o.inlineStart, o.inlineStep, o.inlines) || !fits(o.crosslineStart, o.crosslineStep, o.crosslines))
        return "line numbers must fit 32 bits";
    // The grid is affine, so its corners hold the extreme coordinates.
    double const mul = coordinate_multiplier(o.scaler);
    for (int i : {0, o.inlines - 1})
        for (int j : {0, o.crosslines - 1}) {
            double x = 0, y = 0;
            synthetic_position(o, i, j, x, y);
            if (!(std::abs(std::nearbyint(x * mul)) <= INT_MAX && std::abs(std::nearbyint(y * mul)) <= INT_MAX))
                return format_line("the coordinates do not fit 32-bit header words with scaler %d", o.scaler);
        }
    return {};
}

} // namespace

int synth_format_code(std::string const& format)
{
    if (format == "ibm") return 1;
    if (format == "int32") return 2;
    if (format == "int16") return 3;
    if (format == "ieee") return 5;
    if (format == "int8") return 8;
    return 0;
}

float synthetic_amplitude(SynthOptions const& options, int inlineIndex, int crosslineIndex, int sample)
{
    Model const model(options);
    std::vector<double> z;
    model.reflectors(inlineIndex, crosslineIndex, z);
    return model.sample(inlineIndex, crosslineIndex, sample, z);
}

bool trace_present(SynthOptions const& o, int inlineIndex, int crosslineIndex)
{
    if (!o.irregular) return true;
    double const u = o.inlines > 1 ? static_cast<double>(inlineIndex) / (o.inlines - 1) : 0.0;
    double const v = o.crosslines > 1 ? static_cast<double>(crosslineIndex) / (o.crosslines - 1) : 0.0;
    // The cut stays clear of (1, 0) and (0, 1), the hole of every edge.
    bool const corner = u + v > 1.5;
    double const a = (u - 0.35) / 0.16, b = (v - 0.4) / 0.14;
    return !corner && a * a + b * b >= 1.0;
}

long long synthetic_trace_count(SynthOptions const& o)
{
    long long n = 0;
    for (int i = 0; i < o.inlines; ++i)
        for (int j = 0; j < o.crosslines; ++j) n += trace_present(o, i, j);
    return n;
}

bool write_synthetic_survey(std::string const& path, SynthOptions const& o, std::string& error,
                            std::function<void(double)> progress)
{
    error = check_synth_options(o);
    if (!error.empty()) return false;
    auto const folder = std::filesystem::path(path).parent_path();
    std::error_code ec;
    if (!folder.empty() && !std::filesystem::is_directory(folder, ec)) {
        error = "the folder " + folder.string() + " does not exist";
        return false;
    }

    int const code = synth_format_code(o.format);
    int const lastInl = o.inlineStart + (o.inlines - 1) * o.inlineStep;
    int const lastCrl = o.crosslineStart + (o.crosslines - 1) * o.crosslineStep;
    Tolmar::SEGYwriter w;
    w.setFormat(code);
    w.setIbmFloat(code == 1);
    w.setLittleEndian(o.littleEndian);
    w.setSampleInterval(o.intervalUs);
    w.setSampleCount(o.samples);
    w.setTextHeader({
        "C 1 TOLMAR SYNTHETIC 3D SURVEY, SEED " + std::to_string(o.seed),
        "C 2 MODEL: RICKER WAVELET, FOLDED DIPPING REFLECTORS, NORMAL FAULT, NOISE",
        format_line("C 3 INLINES %d-%d STEP %d, CROSSLINES %d-%d STEP %d%s", o.inlineStart, lastInl, o.inlineStep,
                    o.crosslineStart, lastCrl, o.crosslineStep, o.irregular ? ", IRREGULAR" : ""),
        format_line("C 4 %d SAMPLES, INTERVAL %d US, FORMAT %d, %s, %s", o.samples, o.intervalUs, code,
                    o.littleEndian ? "LITTLE-ENDIAN" : "BIG-ENDIAN",
                    o.crosslineSorted ? "CROSSLINE-SORTED" : "INLINE-SORTED"),
        "C 5 TRACE HEADER BYTES: INLINE 189-192, CROSSLINE 193-196 (INT32)",
        format_line("C 6 CDP X 181-184, CDP Y 185-188 (INT32), SCALER 71-72 = %d, DELAY 109-110 = 0", o.scaler),
        format_line("C 7 GRID ORIGIN X %.2f Y %.2f, INLINE AZIMUTH %.2f DEG, SPACING %.2f", o.x0, o.y0,
                    o.azimuthDeg, o.spacing),
        "C40 END TEXTUAL HEADER",
    });
    w.setReelWord(28, 16, 4);  // sorting: stacked traces
    w.setReelWord(54, 16, 1);  // metres
    // Little-endian files are a revision 2 feature, announced by the byte-order word.
    w.setReelWord(300, 16, o.littleEndian ? 0x0200 : 0x0100);
    w.setReelWord(302, 16, 1); // fixed trace length
    if (o.littleEndian) w.setReelWord(96, 32, 0x01020304);

    if (!w.open(path)) {
        error = std::string("cannot create the file: ") + std::strerror(errno);
        return false;
    }
    Model const model(o);
    double const mul = coordinate_multiplier(o.scaler);
    std::vector<double> z;
    std::vector<float> trace(static_cast<std::size_t>(o.samples));
    int const outer = o.crosslineSorted ? o.crosslines : o.inlines;
    int const inner = o.crosslineSorted ? o.inlines : o.crosslines;
    for (int a = 0; a < outer; ++a) {
        for (int b = 0; b < inner; ++b) {
            int const i = o.crosslineSorted ? b : a, j = o.crosslineSorted ? a : b;
            if (!trace_present(o, i, j)) continue;
            model.reflectors(i, j, z);
            for (int k = 0; k < o.samples; ++k) trace[static_cast<std::size_t>(k)] = model.sample(i, j, k, z);
            double x = 0, y = 0;
            synthetic_position(o, i, j, x, y);
            bool const ok = w.writeTrace({{189, SEGYreader::Integer32, static_cast<double>(o.inlineStart + i * o.inlineStep)},
                                          {193, SEGYreader::Integer32, static_cast<double>(o.crosslineStart + j * o.crosslineStep)},
                                          {181, SEGYreader::Integer32, x * mul},
                                          {185, SEGYreader::Integer32, y * mul},
                                          {71, SEGYreader::Integer16, static_cast<double>(o.scaler)},
                                          {109, SEGYreader::Integer16, 0.0}},
                                         trace);
            if (!ok) {
                // The writer's destructor removes its temporary file.
                error = "cannot write the file; is the disk full?";
                return false;
            }
        }
        if (progress) progress(static_cast<double>(a + 1) / outer);
    }
    if (!w.close()) {
        error = std::filesystem::is_directory(path, ec) ? "a folder of that name is in the way"
                                                        : "cannot put the finished file in place";
        return false;
    }
    return true;
}

} // namespace tolmar_cli
