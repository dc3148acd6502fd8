// `tolmar demo`: writes a small synthetic survey and shows what the library
// reads back from it.

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "cli/commands.h"
#include "segy/SEGYcube.h"
#include "segy/SEGYreader3D.h"
#include "segy/Seismic3DTraceReader.h"
#include "segy/cube_histogram.h"
#include "segy/SEGYreader.h"
#include "segy/SEGYwriter.h"

namespace tolmar_cli {

namespace {

using Tolmar::SEGYreader;

// Standard SEG-Y revision 1 header positions: shot point, inline,
// crossline, scaler, x, y, delay, depth scaler, depth.
constexpr int kPositions[SEGYreader::SlotCount] = {17, 189, 193, 71, 181, 185, 109, 69, 41};
constexpr SEGYreader::Type kTypes[SEGYreader::SlotCount] = {
    SEGYreader::Integer32, SEGYreader::Integer32, SEGYreader::Integer32, SEGYreader::Integer16,
    SEGYreader::Integer32, SEGYreader::Integer32, SEGYreader::Integer16, SEGYreader::Integer16,
    SEGYreader::Integer32};

// Reads every trace of a file in order into a cube.
class SurveyWalker : public SEGYreader {
public:
    SurveyWalker() : SEGYreader(3) {}

    bool walk(Tolmar::SEGYcube& cube)
    {
        std::ifstream s(filename(), std::ios::binary);
        if (!s || !skipEBCDICheader(&s) || !readReelHeader(&s)) return false;
        for (long long i = 0, n = nTraces(); i < n; ++i) {
            int tsn = 0, inl = 0, crl = 0, ns = 0;
            double x = 0, y = 0, z = 0;
            readTraceHeader(&s, kTypes, kPositions, &tsn, nullptr, &inl, &crl, &x, &y, &z, nullptr, &ns);
            Tolmar::SEGYtrace trace(tsn, 0, inl, crl, static_cast<float>(x), static_cast<float>(y), z, nSamples());
            readTrace(&s, &trace, 0.0, sampleRate());
            if (!s) return false;
            cube.addTrace(trace);
        }
        cube.setBbox();
        return true;
    }
};

bool write_demo_survey(std::string const& path, int inlines, int crosslines, int samples)
{
    Tolmar::SEGYwriter w;
    w.setFormat(1);
    w.setIbmFloat(true);
    w.setSampleCount(samples);
    w.setSampleInterval(4000);
    w.setTextHeader({"C 1 TOLMAR DEMO SURVEY", "C 2 SYNTHETIC DIPPING REFLECTORS, IBM FLOATS",
                     "C 3 INLINE 189-192 CROSSLINE 193-196 X 181-184 Y 185-188 SCALER 71-72"});
    if (!w.open(path)) return false;
    std::vector<float> trace(samples);
    for (int il = 0; il < inlines; ++il) {
        for (int xl = 0; xl < crosslines; ++xl) {
            for (int k = 0; k < samples; ++k) {
                double const depth = k - 0.3 * il - 0.2 * xl;
                trace[k] = static_cast<float>(std::sin(depth * 0.25) * std::exp(-k / 150.0) * 1000.0);
            }
            double const x = 500000.0 + il * 12.5 * 0.6 - xl * 12.5 * 0.8;
            double const y = 6700000.0 + il * 12.5 * 0.8 + xl * 12.5 * 0.6;
            w.writeTrace({{189, SEGYreader::Integer32, 1000.0 + il},
                          {193, SEGYreader::Integer32, 2000.0 + 2 * xl},
                          {71, SEGYreader::Integer16, -100},
                          {181, SEGYreader::Integer32, x * 100},
                          {185, SEGYreader::Integer32, y * 100},
                          {109, SEGYreader::Integer16, 8}},
                         trace);
        }
    }
    return w.close();
}

// "a + b * inline - c * crossline", with signs where they belong.
std::string affine(double a, double b, double c)
{
    char text[160];
    std::snprintf(text, sizeof text, "%.3f %c %.6g * inline %c %.6g * crossline", a, b < 0 ? '-' : '+',
                  std::abs(b), c < 0 ? '-' : '+', std::abs(c));
    return text;
}

double seconds_since(std::chrono::steady_clock::time_point t0)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// Scans the survey into an index file and a brick file, then reads both back.
bool import_survey(std::string const& segy, std::string const& dir)
{
    std::string const index = (std::filesystem::path(dir) / "demo.idx").string();
    std::string const bricks = (std::filesystem::path(dir) / "demo.tmf").string();
    Tolmar::SEGYreader3D scanner;
    scanner.setFile(segy);
    scanner.setIbmFloat(true);
    scanner.setStorage(32);
    scanner.setInlRange(-2147483647, 2147483647, 1);
    scanner.setCrlRange(-2147483647, 2147483647, 1);
    scanner.setZRange(-1e9, 1e9, 0.001);
    auto t0 = std::chrono::steady_clock::now();
    if (scanner.scan(kTypes, kPositions, false, true) != 1) {
        std::cerr << "tolmar: " << segy << ": the survey cannot be scanned\n";
        return false;
    }
    double const scanned = seconds_since(t0);
    t0 = std::chrono::steady_clock::now();
    if (scanner.write_index(index) != 1) {
        std::cerr << "tolmar: " << index << ": cannot write the index file\n";
        return false;
    }
    double const indexed = seconds_since(t0);
    t0 = std::chrono::steady_clock::now();
    if (scanner.read_brick(dir + "/", "demo", kTypes, kPositions, false) != 1) {
        std::cerr << "tolmar: " << bricks << ": cannot write the brick file\n";
        return false;
    }
    double const bricked = seconds_since(t0);

    Tolmar::Seismic3DTraceReader fromIndex(segy, index), fromBricks(bricks);
    std::vector<float> a, b;
    int const inl = fromBricks.inlStart + fromBricks.inlStep * (fromBricks.ninl() / 2);
    int const crl = fromBricks.crlStart + fromBricks.crlStep * (fromBricks.ncrl() / 2);
    if (!fromIndex.valid() || !fromBricks.valid() ||
        !fromIndex.trace(inl, crl, fromIndex.zStart, fromIndex.zStop, a) ||
        !fromBricks.trace(inl, crl, fromBricks.zStart, fromBricks.zStop, b) || a != b) {
        std::cerr << "tolmar: " << dir << ": the index and the bricks do not read back the same trace\n";
        return false;
    }
    float low = 0, high = 0;
    getEffectiveRange(bricks.c_str(), 1.0f, 1.0f, &low, &high);
    std::cout << "\nImported:\n"
              << "  scan " << scanned << " s, index " << index << " (" << std::filesystem::file_size(index)
              << " bytes) " << indexed << " s, bricks " << bricks << " (" << std::filesystem::file_size(bricks)
              << " bytes) " << bricked << " s\n"
              << "  trace " << inl << "/" << crl << " reads the same from both (" << a.size() << " samples)\n"
              << "  effective amplitude range (1% cut at each end) " << low << ".." << high << "\n";
    return true;
}

int run_demo(std::string const& dir)
{
    auto const t0 = std::chrono::steady_clock::now();
    std::filesystem::create_directories(dir);
    std::string const path = (std::filesystem::path(dir) / "demo.sgy").string();
    if (!write_demo_survey(path, 20, 30, 250)) {
        std::cerr << "tolmar: cannot write " << path << "\n";
        return 1;
    }
    std::cout << "Wrote " << path << " (" << std::filesystem::file_size(path) << " bytes)\n\n";

    SurveyWalker reader;
    reader.setIbmFloat(true);
    reader.setFile(path);
    std::cout << "Text header:\n";
    int line = 0;
    for (auto const& l : reader.EBCDICheader()) {
        if (line++ == 4) break;
        std::cout << "  " << l.substr(0, l.find_last_not_of(' ') + 1) << "\n";
    }
    int format = 0;
    std::cout << "\nReel header:\n";
    for (auto const& [name, value] : reader.reelHeader(&format, false))
        std::cout << "  " << name << ": " << value << "\n";

    Tolmar::SEGYcube cube(4000, 0);
    if (!reader.walk(cube)) {
        std::cerr << "tolmar: cannot read " << path << "\n";
        return 1;
    }
    unsigned long long traces = 0;
    std::cout << "\nFirst trace header (non-zero words):\n";
    for (auto const& [bytes, value] : reader.traceHeader(0, kTypes, kPositions, traces))
        if (value != 0) std::cout << "  " << bytes << ": " << value << "\n";

    double x0, xInl, xCrl, y0, yInl, yCrl;
    cube.trans(&x0, &xInl, &xCrl, &y0, &yInl, &yCrl);
    std::cout << "\nSurvey read back:\n"
              << "  traces " << traces << ", samples " << reader.nSamples() << ", format " << format
              << ", interval " << reader.sampleRate() << " us\n"
              << "  inlines " << cube.inlineStart() << ".." << cube.inlineStop() << " step " << cube.inlineStep()
              << ", crosslines " << cube.crlineStart() << ".." << cube.crlineStop() << " step " << cube.crlineStep() << "\n"
              << "  z " << cube.zStart() << ".." << cube.zStop() << " ms step " << cube.zStep() << "\n"
              << "  amplitude " << cube.sMin() << ".." << cube.sMax() << "\n"
              << "  x = " << affine(x0, xInl, xCrl) << "\n"
              << "  y = " << affine(y0, yInl, yCrl) << "\n";
    if (!import_survey(path, dir)) return 1;
    double const ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    std::cout << "\nDone in " << ms << " ms.\n";
    return 0;
}

} // namespace

void add_demo_command(CLI::App& app)
{
    auto* cmd = app.add_subcommand("demo", "Write a small synthetic survey and show what the library reads from it");
    static std::string dir = "tolmar-demo";
    cmd->add_option("DIR", dir, "Output folder")->capture_default_str();
    cmd->callback([] {
        int const rc = run_demo(dir);
        if (rc != 0) throw CLI::RuntimeError(rc);
    });
}

} // namespace tolmar_cli
