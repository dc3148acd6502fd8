#include "graphics/tile_renderer/PlaneTiler.h"

#include <algorithm>
#include <cmath>

namespace Tolmar {

namespace {

// Textures must hold a tile's samples and border whole, so sizes round up;
// the closest power of two could be smaller than the data.
int power_of_two_at_least(int n)
{
    int p = 1;
    while (p < n) p <<= 1;
    return p;
}

} // namespace

void PlaneTiler::split_in_tiles(vec<int, 2> const& size, int border, int tile_size, bool, std::vector<Tile>& out)
{
    out.clear();
    int const stride = tile_size - 2 * border - 1;
    if (stride <= 0 || size[0] <= 0 || size[1] <= 0) return;
    int const columns = static_cast<int>(std::ceil(static_cast<float>(size[0]) / static_cast<float>(stride)));
    int const rows = static_cast<int>(std::ceil(static_cast<float>(size[1]) / static_cast<float>(stride)));
    out.reserve(static_cast<std::size_t>(columns) * rows);
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c) {
            Tile t;
            t.index.set(c, r);
            int const cell[2] = {c, r};
            for (int a = 0; a < 2; ++a) {
                int const start = cell[a] * stride - border;
                t.dst_pos[a] = start < 0 ? -start : 0;
                t.src_pos[a] = start < 0 ? 0 : start;
                t.data_size[a] = std::min(size[a] - t.src_pos[a], tile_size - t.dst_pos[a]);
                t.tex_size[a] = power_of_two_at_least(t.data_size[a] + t.dst_pos[a]);
                float const tex = static_cast<float>(t.tex_size[a]);
                t.tc_min[a] = (static_cast<float>(border) + 0.5f) / tex;
                t.tc_max[a] =
                    (static_cast<float>(std::min(t.tex_size[a] - border, t.data_size[a] + t.dst_pos[a])) - 0.5f) /
                    tex;
                // A plane one sample wide has no extent to divide.
                float const extent = static_cast<float>(std::max(size[a] - 1, 1));
                t.unit_min[a] = static_cast<float>(cell[a] * stride) / extent;
                t.unit_max[a] = std::min(1.0f, static_cast<float>((cell[a] + 1) * stride) / extent);
            }
            out.push_back(t);
        }
}

void PlaneTiler::time_frame(vec<float, 2> const* unit_rect, vec<double, 4> const& x, vec<double, 4> const& y,
                            vec<double, 4> const& z, vec<double, 3>* out)
{
    auto at = [&](double u, double v) {
        return vec<double, 3>{{x[0] + (x[1] - x[0]) * u + (x[0] - x[3]) * (v - 1),
                               y[0] + (y[1] - y[0]) * u + (y[0] - y[3]) * (v - 1), z[0]}};
    };
    double const u0 = unit_rect[0][0], v0 = unit_rect[0][1], u1 = unit_rect[1][0], v1 = unit_rect[1][1];
    out[0] = at(u0, v1);
    out[1] = at(u1, v1);
    out[2] = at(u1, v0);
    out[3] = at(u0, v0);
}

void PlaneTiler::inl_crl_frame(vec<float, 2> const* unit_rect, vec<double, 4> const& x, vec<double, 4> const& y,
                               vec<double, 4> const& z, vec<double, 3>* out)
{
    auto at = [&](double u, double v) {
        return vec<double, 3>{{x[0] + (x[1] - x[0]) * u, y[0] + (y[1] - y[0]) * u, z[3] + (z[0] - z[3]) * v}};
    };
    double const u0 = unit_rect[0][0], v0 = unit_rect[0][1], u1 = unit_rect[1][0], v1 = unit_rect[1][1];
    out[0] = at(u0, v1);
    out[1] = at(u1, v1);
    out[2] = at(u1, v0);
    out[3] = at(u0, v0);
}

} // namespace Tolmar
