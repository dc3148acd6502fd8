#include "foundation/SEGY3D_read_trace.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "foundation/sample_decode.h"
#include "platform/mapped_file.h"

namespace Tolmar {

namespace {

struct Pick {
    SampleCoding coding;
    std::size_t n = 0, stride = 1, count = 0;
};

// The coding and which samples: a stride from the sample interval and the z
// step, a count from the window.
bool pick_samples(IndexedSEGYHeader const& header, Pick& p)
{
    if (!sample_coding_for_format(header.format, header.ibmFloat, p.coding) || header.nSamples <= 0) return false;
    p.n = static_cast<std::size_t>(header.nSamples);
    p.stride = 1;
    p.count = p.n;
    if (header.zStep > 0.0 && header.sampleRate > 0.0 && header.zStop >= header.zStart) {
        double const ratio = std::round(header.zStep * 1000.0 / header.sampleRate);
        p.stride = ratio >= 1.0 && ratio < static_cast<double>(p.n) ? static_cast<std::size_t>(ratio) : 1;
        double const wanted = std::round((header.zStop - header.zStart) / header.zStep) + 1.0;
        p.count = std::min(static_cast<std::size_t>(std::max(1.0, std::min(wanted, static_cast<double>(p.n)))),
                           (p.n - 1) / p.stride + 1);
    }
    return true;
}

void decode_picked_samples(unsigned char const* raw, Pick const& p, IndexedSEGYHeader const& header, float* out)
{
    if (p.stride == 1) {
        decode_samples(raw, out, p.count, p.coding, header.littleEndian);
    } else {
        thread_local std::vector<float> all;
        all.resize(p.n);
        decode_samples(raw, all.data(), p.n, p.coding, header.littleEndian);
        for (std::size_t i = 0; i < p.count; ++i) out[i] = all[i * p.stride];
    }
    if (header.sTransform) clamp_coded_samples(out, p.count, p.coding, header.sMin, header.sMax);
    if (header.rescale)
        rescale_samples(out, p.count, header.maxAbsAmplitude, header.scale, header.lowValue, header.highValue);
}

void decode_picked_samples(unsigned char const* raw, Pick const& p, IndexedSEGYHeader const& header,
                           std::vector<float>& out)
{
    out.resize(p.count);
    decode_picked_samples(raw, p, header, out.data());
}

} // namespace

bool SEGY3D_read_trace(std::istream& stream, long long offset, IndexedSEGYHeader const& header,
                       std::vector<float>& out)
{
    out.clear();
    Pick p;
    if (!pick_samples(header, p) || offset < 0) return false;
    std::size_t const bytes = p.n * sample_bytes(p.coding);

    stream.clear();
    stream.seekg(offset + 240, std::ios::beg);
    thread_local std::vector<unsigned char> buffer;
    unsigned char const* raw = nullptr;
    auto* mapped = dynamic_cast<platform::MappedStreamBuf*>(stream.rdbuf());
    if (mapped && stream.good()) raw = reinterpret_cast<unsigned char const*>(mapped->peek(bytes));
    if (!raw) {
        buffer.resize(bytes);
        stream.read(reinterpret_cast<char*>(buffer.data()), static_cast<std::streamsize>(bytes));
        if (static_cast<std::size_t>(stream.gcount()) != bytes) return false;
        raw = buffer.data();
    }
    decode_picked_samples(raw, p, header, out);
    return true;
}

bool SEGY3D_decode_trace(unsigned char const* trace, IndexedSEGYHeader const& header, std::vector<float>& out)
{
    out.clear();
    Pick p;
    if (!pick_samples(header, p)) return false;
    decode_picked_samples(trace + 240, p, header, out);
    return true;
}

std::size_t SEGY3D_trace_samples(IndexedSEGYHeader const& header)
{
    Pick p;
    return pick_samples(header, p) ? p.count : 0;
}

bool SEGY3D_decode_trace(unsigned char const* trace, IndexedSEGYHeader const& header, float* out)
{
    Pick p;
    if (!pick_samples(header, p)) return false;
    decode_picked_samples(trace + 240, p, header, out);
    return true;
}

} // namespace Tolmar
