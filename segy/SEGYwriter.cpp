#include "segy/SEGYwriter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <unistd.h>

#include "foundation/byte_order.h"
#include "foundation/ibm_float.h"
#include "segy/EBCDICconverter.h"

namespace Tolmar {

namespace {

template <typename I>
I round_saturate(double v)
{
    if (!(v == v)) return 0;
    v = std::nearbyint(v);
    if (v <= static_cast<double>(std::numeric_limits<I>::min())) return std::numeric_limits<I>::min();
    if (v >= static_cast<double>(std::numeric_limits<I>::max())) return std::numeric_limits<I>::max();
    return static_cast<I>(v);
}

std::uint32_t float_word(float v, bool ibm) { return ibm ? float_to_ibm(v) : float_bits(v); }

} // namespace

SEGYwriter::~SEGYwriter()
{
    if (out_.is_open()) {
        out_.close();
        std::remove(tempPath_.c_str());
    }
}

void SEGYwriter::setReelWord(int offset, int widthBits, int value)
{
    reelWords_.push_back({offset, widthBits, value});
}

bool SEGYwriter::fail(std::string message)
{
    error_ = std::move(message);
    return false;
}

bool SEGYwriter::open(std::string const& path)
{
    if (out_.is_open()) return fail("a file is already open");
    path_ = path;
    tempPath_ = path + ".tmp" + std::to_string(::getpid());
    out_.open(tempPath_, std::ios::binary | std::ios::trunc);
    if (!out_) return fail("cannot create " + tempPath_);
    traceCount_ = 0;

    char text[3200];
    std::memset(text, ' ', sizeof text);
    for (std::size_t i = 0; i < text_.size() && i < 40; ++i) {
        std::string const& line = text_[i];
        std::memcpy(text + 80 * i, line.data(), std::min<std::size_t>(line.size(), 80));
    }
    if (!asciiText_) {
        std::string const ascii(text, sizeof text);
        EBCDICconverter().ASCIItoEBCDIC(ascii, text);
    }
    out_.write(text, sizeof text);

    unsigned char reel[400] = {};
    auto const u16 = [](int v) { return static_cast<std::uint16_t>(v); };
    store_u16(reel + 16, u16(interval_), littleEndian_);
    store_u16(reel + 18, u16(interval_), littleEndian_);
    store_u16(reel + 20, u16(nSamples_), littleEndian_);
    store_u16(reel + 22, u16(nSamples_), littleEndian_);
    store_u16(reel + 24, u16(format_), littleEndian_);
    for (auto const& w : reelWords_) {
        if (w.offset < 0 || w.offset + w.width / 8 > 400) continue;
        if (w.width == 32) store_u32(reel + w.offset, static_cast<std::uint32_t>(w.value), littleEndian_);
        else store_u16(reel + w.offset, u16(w.value), littleEndian_);
    }
    out_.write(reinterpret_cast<char*>(reel), sizeof reel);
    return out_ ? true : fail("cannot write " + tempPath_);
}

void SEGYwriter::encodeWord(unsigned char* header, Word const& w, bool ibm, bool littleEndian)
{
    int const size = w.type == SEGYreader::Integer16 ? 2 : 4;
    if (w.position < 1 || w.position + size - 1 > 240) return;
    unsigned char* p = header + w.position - 1;
    switch (w.type) {
    case SEGYreader::Integer16:
        store_u16(p, static_cast<std::uint16_t>(round_saturate<std::int16_t>(w.value)), littleEndian);
        break;
    case SEGYreader::Integer32:
        store_u32(p, static_cast<std::uint32_t>(round_saturate<std::int32_t>(w.value)), littleEndian);
        break;
    default: store_u32(p, float_word(static_cast<float>(w.value), ibm), littleEndian); break;
    }
}

void SEGYwriter::encodeSamples(float const* in, int n, int format, bool ibm, bool littleEndian,
                               std::vector<char>& out)
{
    int const width = format == 3 ? 2 : format == 8 ? 1 : 4;
    out.resize(static_cast<std::size_t>(std::max(0, n)) * width);
    auto* o = reinterpret_cast<unsigned char*>(out.data());
    for (int i = 0; i < n; ++i) {
        switch (format) {
        case 2: store_u32(o + 4 * i, static_cast<std::uint32_t>(round_saturate<std::int32_t>(in[i])), littleEndian); break;
        case 3: store_u16(o + 2 * i, static_cast<std::uint16_t>(round_saturate<std::int16_t>(in[i])), littleEndian); break;
        case 8: o[i] = static_cast<unsigned char>(round_saturate<std::int8_t>(in[i])); break;
        case 1:
        case 5: store_u32(o + 4 * i, float_word(in[i], ibm), littleEndian); break;
        default: store_u32(o + 4 * i, float_bits(in[i]), littleEndian); break;
        }
    }
}

bool SEGYwriter::writeTrace(std::vector<Word> const& words, float const* samples)
{
    if (!out_.is_open()) return fail("no file is open");
    unsigned char header[240] = {};
    ++traceCount_;
    encodeWord(header, {1, SEGYreader::Integer32, static_cast<double>(traceCount_)}, ibmFloat_, littleEndian_);
    encodeWord(header, {115, SEGYreader::Integer16, static_cast<double>(nSamples_)}, ibmFloat_, littleEndian_);
    encodeWord(header, {117, SEGYreader::Integer16, static_cast<double>(interval_)}, ibmFloat_, littleEndian_);
    for (auto const& w : words) encodeWord(header, w, ibmFloat_, littleEndian_);
    out_.write(reinterpret_cast<char*>(header), sizeof header);
    encodeSamples(samples, nSamples_, format_, ibmFloat_, littleEndian_, buffer_);
    out_.write(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
    return out_ ? true : fail("cannot write " + tempPath_);
}

bool SEGYwriter::writeTrace(std::vector<Word> const& words, std::vector<float> const& samples)
{
    if (static_cast<int>(samples.size()) < nSamples_) return fail("a trace needs as many samples as the sample count");
    return writeTrace(words, samples.data());
}

bool SEGYwriter::close()
{
    if (!out_.is_open()) return fail("no file is open");
    out_.close();
    if (!out_) {
        std::remove(tempPath_.c_str());
        return fail("cannot write " + tempPath_);
    }
    if (std::rename(tempPath_.c_str(), path_.c_str()) != 0) {
        std::remove(tempPath_.c_str());
        return fail("cannot rename " + tempPath_ + " to " + path_);
    }
    return true;
}

} // namespace Tolmar
