#include "foundation/scale_and_color.h"

#include <cmath>

namespace Tolmar {

void scale_and_color_amplitudes(vec<float, 2> const& range, std::vector<vec<unsigned char, 4>> const& colors,
                                std::vector<float> const& amplitudes, std::vector<vec<unsigned char, 4>>& out)
{
    out.clear();
    if (colors.empty()) return;
    out.resize(amplitudes.size());
    double const n = static_cast<double>(colors.size());
    double const span = static_cast<double>(range[1]) - range[0];
    for (std::size_t i = 0; i < amplitudes.size(); ++i) {
        double const a = amplitudes[i];
        double t = span != 0.0 ? (a - range[0]) / span : (a >= range[0] ? 1.0 : 0.0);
        double idx = std::floor(t * n);
        if (!(idx >= 0.0)) idx = 0.0; // below the range, or NaN
        if (idx > n - 1.0) idx = n - 1.0;
        out[i] = colors[static_cast<std::size_t>(idx)];
    }
}

} // namespace Tolmar
