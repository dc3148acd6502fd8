#include "cli/cli_support.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <unistd.h>


namespace tolmar_cli {

void fail(std::string const& file, std::string const& problem)
{
    std::cerr << "tolmar: " << file << ": " << problem << "\n";
    throw CLI::RuntimeError(1);
}

void fail_with_reason(std::string const& file, std::string const& reason)
{
    std::string const prefix = file + ": ";
    fail(file, reason.compare(0, prefix.size(), prefix) == 0 ? reason.substr(prefix.size()) : reason);
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

void Encoding::add_options(CLI::App& cmd)
{
    cmd.add_option("--byte-order", byteOrder, "Byte order of the file")
        ->capture_default_str()
        ->check(CLI::IsMember({"auto", "big", "little"}));
    cmd.add_option("--float", floatKind, "Float kind of format codes 1 and 5")
        ->capture_default_str()
        ->check(CLI::IsMember({"auto", "ibm", "ieee"}));
}

void Encoding::detect(std::string const& path)
{
    auto const order = byteOrder == "auto" ? Tolmar::SEGYByteOrder::Detect
                       : byteOrder == "little" ? Tolmar::SEGYByteOrder::Little
                                               : Tolmar::SEGYByteOrder::Big;
    auto const kind = floatKind == "auto" ? Tolmar::SEGYFloatKind::Detect
                      : floatKind == "ibm"  ? Tolmar::SEGYFloatKind::Ibm
                                            : Tolmar::SEGYFloatKind::Ieee;
    std::string why;
    if (!Tolmar::detect_segy_coding(path, order, kind, coding, why)) fail(path, why);
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
