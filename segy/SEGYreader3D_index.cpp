// The index file of a scanned survey and its amplitude histogram.

#include <algorithm>
#include <fstream>

#include "foundation/SEGY3D_read_trace.h"
#include "foundation/log.h"
#include "foundation/survey_checks.h"
#include "segy/SEGYreader3D.h"

namespace Tolmar {

int SEGYreader3D::write_index(std::string const& path)
{
    Rescaling const r = rescaling();
    IndexedSEGYHeader h;
    fill_indexed_header(r, h);
    traceIndex_.header = h;
    std::vector<unsigned long long> bins;
    generate_histogram_for_index(h, bins);
    traceIndex_.set_histogram(bins);
    if (!traceIndex_.write(path)) return 0;
    round_mapped_amplitudes(r);
    return 1;
}

void SEGYreader3D::generate_histogram_for_index(IndexedSEGYHeader const& header,
                                                std::vector<unsigned long long>& bins)
{
    bins.assign(65536, 0);
    if (header.inlStep < 1 || header.crlStep < 1) return;
    if (header.inlStart > header.inlStop || header.crlStart > header.crlStop) return;
    // Wide: a range may span more lines than an int counts.
    long long const nInl = line_count(header.inlStart, header.inlStop, header.inlStep);
    long long const nCrl = line_count(header.crlStart, header.crlStop, header.crlStep);
    std::ifstream ifs(filename_, std::ios::binary);
    if (!ifs) {
        Util::logf("!ifs %s\n", filename_.c_str());
        return;
    }
    long long const n = std::min({nInl, nCrl, 50LL});
    if (n < 1) return;
    long long const incInl = nInl / n * header.inlStep;
    long long const incCrl = nCrl / n * header.crlStep;
    float const low = header.minAmplitude, high = header.maxAmplitude;
    std::vector<float> samples;
    for (long long inl = header.inlStart; inl <= header.inlStop; inl += incInl)
        for (long long crl = header.crlStart; crl <= header.crlStop; crl += incCrl) {
            long long offset = 0;
            if (!traceIndex_.lookup(static_cast<int>(inl), static_cast<int>(crl), offset) ||
                !SEGY3D_read_trace(ifs, offset, header, samples))
                continue;
            for (float s : samples) {
                // NaN (low equal to high) goes to the first bin: a float that
                // cannot become an integer must not be converted.
                float const f = ((s - low) / (high - low)) * 65536.0f;
                std::size_t const bin = !(f >= 0.0f) ? 0 : f >= 65535.0f ? 65535 : static_cast<std::size_t>(f);
                ++bins[bin];
            }
        }
}

} // namespace Tolmar
