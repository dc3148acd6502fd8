#include "foundation/SEGY3D_read_trace.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "foundation/rescale.h"
#include "foundation/sample_decode.h"
#include "platform/mapped_file.h"

namespace Tolmar {

bool SEGY3D_read_trace(std::istream& stream, long long offset, IndexedSEGYHeader const& header,
                       std::vector<float>& out)
{
    out.clear();
    SampleCoding coding;
    if (!sample_coding_for_format(header.format, header.ibmFloat, coding) || header.nSamples <= 0 || offset < 0)
        return false;
    std::size_t const n = static_cast<std::size_t>(header.nSamples);
    std::size_t const width = sample_bytes(coding);

    // Which samples: a stride from the sample interval and the z step, a count from the window.
    std::size_t stride = 1, count = n;
    if (header.zStep > 0.0 && header.sampleRate > 0.0 && header.zStop >= header.zStart) {
        double const ratio = std::round(header.zStep * 1000.0 / header.sampleRate);
        stride = ratio >= 1.0 && ratio < static_cast<double>(n) ? static_cast<std::size_t>(ratio) : 1;
        double const wanted = std::round((header.zStop - header.zStart) / header.zStep) + 1.0;
        count = std::min(static_cast<std::size_t>(std::max(1.0, std::min(wanted, static_cast<double>(n)))),
                         (n - 1) / stride + 1);
    }

    stream.clear();
    stream.seekg(offset + 240, std::ios::beg);
    std::size_t const bytes = n * width;
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

    std::vector<float> all(stride == 1 ? count : n);
    decode_samples(raw, all.data(), all.size(), coding, header.littleEndian);
    out.resize(count);
    for (std::size_t i = 0; i < count; ++i) out[i] = all[i * stride];

    if (header.sTransform) clamp_coded_samples(out.data(), out.size(), coding, header.sMin, header.sMax);
    if (header.rescale)
        for (float& v : out)
            v = static_cast<float>(rescale_amplitude(v, header.maxAbsAmplitude, header.scale, header.lowValue,
                                                     header.highValue));
    return true;
}

} // namespace Tolmar
