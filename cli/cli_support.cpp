#include "cli/cli_support.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <unistd.h>

#include "foundation/sample_decode.h"

namespace tolmar_cli {

void fail(std::string const& file, std::string const& problem)
{
    std::cerr << "tolmar: " << file << ": " << problem << "\n";
    throw CLI::RuntimeError(1);
}

void refuse_existing(std::string const& path, bool force)
{
    std::error_code ec;
    if (!force && std::filesystem::exists(std::filesystem::symlink_status(path, ec)))
        fail(path, "exists; use --force to overwrite");
}

ProgressBar::ProgressBar(std::string label) : label_(std::move(label)) {}

ProgressBar::~ProgressBar()
{
    if (shown_) std::cerr << "\n";
}

void ProgressBar::operator()(double fraction)
{
    int const percent = static_cast<int>(std::clamp(fraction, 0.0, 1.0) * 100);
    if (percent == percent_) return;
    percent_ = percent;
    shown_ = true;
    int const filled = percent * 40 / 100;
    std::cerr << "\r" << label_ << " [" << std::string(static_cast<std::size_t>(filled), '#')
              << std::string(static_cast<std::size_t>(40 - filled), ' ') << "] " << percent << "%" << std::flush;
}

std::function<void(double)> ProgressBar::callback()
{
    if (!::isatty(2)) return {};
    return [this](double f) { (*this)(f); };
}

void HeaderPositions::add_options(CLI::App& cmd)
{
    auto const byte = [&](char const* name, int& v, char const* what) {
        cmd.add_option(name, v, std::string("Byte position of the ") + what)
            ->capture_default_str()
            ->check(CLI::Range(1, 237))
            ->group("Header positions");
    };
    byte("--inline-byte", inl, "inline number");
    byte("--crossline-byte", crl, "crossline number");
    byte("--x-byte", x, "x coordinate");
    byte("--y-byte", y, "y coordinate");
    byte("--scaler-byte", scaler, "coordinate scaler");
    byte("--delay-byte", delay, "delay recording time");
}

void HeaderPositions::fill(Tolmar::SEGYreader::Type* types, int* positions) const
{
    using R = Tolmar::SEGYreader;
    int const p[R::SlotCount] = {17, inl, crl, scaler, x, y, delay, 69, 41};
    R::Type const t[R::SlotCount] = {R::Integer32, R::Integer32, R::Integer32, R::Integer16, R::Integer32,
                                     R::Integer32, R::Integer16, R::Integer16, R::Integer32};
    std::copy(p, p + R::SlotCount, positions);
    std::copy(t, t + R::SlotCount, types);
}

void Encoding::add_options(CLI::App& cmd)
{
    cmd.add_option("--byte-order", byteOrder, "Byte order of the file")
        ->capture_default_str()
        ->check(CLI::IsMember({"auto", "big", "little"}));
    cmd.add_option("--float", floatKind, "Float kind of format codes 1 and 5")
        ->capture_default_str()
        ->check(CLI::IsMember({"auto", "ibm", "ieee"}));
}

namespace {

bool readable_format(int format)
{
    Tolmar::SampleCoding coding;
    return Tolmar::sample_coding_for_format(format, true, coding);
}

} // namespace

void Encoding::detect(std::string const& path)
{
    std::ifstream s(path, std::ios::binary);
    if (!s) fail(path, "cannot open the file");
    unsigned char head[3600];
    if (!s.read(reinterpret_cast<char*>(head), sizeof head)) fail(path, "too short for SEG-Y text and reel headers");

    int const big = head[3224] << 8 | head[3225], little = head[3225] << 8 | head[3224];
    if (byteOrder == "auto") {
        if (readable_format(big)) littleEndian = false;
        else if (readable_format(little)) littleEndian = true;
        else fail(path, "the reel header's format code (" + std::to_string(big) + ") is not a SEG-Y sample format");
    } else {
        littleEndian = byteOrder == "little";
    }
    format = littleEndian ? little : big;
    if (!readable_format(format))
        fail(path, "format code " + std::to_string(format) + " is not a sample format this tool reads");
    ibm = floatKind == "auto" ? format == 1 : floatKind == "ibm";

    // Text headers are mostly blanks: 0x40 in EBCDIC, 0x20 in ASCII.
    int ebcdicBlanks = 0, asciiBlanks = 0;
    for (int i = 0; i < 3200; ++i) {
        ebcdicBlanks += head[i] == 0x40;
        asciiBlanks += head[i] == 0x20;
    }
    asciiText = asciiBlanks > ebcdicBlanks;
}

void Encoding::apply(Tolmar::SEGYreader& reader) const
{
    reader.setLittleEndian(littleEndian);
    reader.setIbmFloat(ibm);
    reader.setIsAscii(asciiText);
}

std::string format_name(int format, bool ibm)
{
    switch (format) {
    case 1:
    case 5: return ibm ? "ibm" : "ieee";
    case 2: return "int32";
    case 3: return "int16";
    case 8: return "int8";
    default: return "code " + std::to_string(format);
    }
}

double now_seconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double seconds_since(double start)
{
    return now_seconds() - start;
}

} // namespace tolmar_cli
