#include "foundation/slices.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "foundation/Streamer3DGridReader.h"

namespace Tolmar {

namespace {

// A box of cube indices, both ends included, along (samples, crosslines, inlines).
struct Box {
    int lo[3];
    int hi[3];
    bool empty() const { return lo[0] > hi[0] || lo[1] > hi[1] || lo[2] > hi[2]; }
};

int line_index(int number, vec<int, 3> const& range)
{
    int const step = range[2] != 0 ? range[2] : 1;
    return static_cast<int>(std::floor((static_cast<double>(number) - range[0]) / step + 0.5));
}

int sample_index(double z, SEGYCubeInfo const& info)
{
    if (!(info.zStep > 0.0)) return 0;
    double const k = std::floor((z - info.zStart) / info.zStep + 0.5);
    return static_cast<int>(std::clamp(k, -1.0, 1e9));
}

float element(std::vector<char> const& data, std::size_t i, Info3DGrid::eDataType type)
{
    char const* p = data.data();
    switch (type) {
    case Info3DGrid::INT8: return static_cast<float>(static_cast<std::int8_t>(p[i]));
    case Info3DGrid::UINT8: return static_cast<float>(static_cast<std::uint8_t>(p[i]));
    case Info3DGrid::INT16: { std::int16_t v; std::memcpy(&v, p + 2 * i, 2); return v; }
    case Info3DGrid::UINT16: { std::uint16_t v; std::memcpy(&v, p + 2 * i, 2); return v; }
    case Info3DGrid::INT32: { std::int32_t v; std::memcpy(&v, p + 4 * i, 4); return static_cast<float>(v); }
    case Info3DGrid::UINT32: { std::uint32_t v; std::memcpy(&v, p + 4 * i, 4); return static_cast<float>(v); }
    case Info3DGrid::DOUBLE: { double v; std::memcpy(&v, p + 8 * i, 8); return static_cast<float>(v); }
    default: { float v; std::memcpy(&v, p + 4 * i, 4); return v; }
    }
}

// Copies the box, clipped to the cube, out of the level-0 bricks; the axis
// order[0] runs fastest in `out`, then order[1]. `size` gets the extents
// along order[0] and order[1].
bool extract(Streamer3DGridReader& r, Box b, int const order[3], std::vector<float>& out, vec<int, 2>& size)
{
    vec<unsigned, 3> const& total = r.get_total_size();
    for (int a = 0; a < 3; ++a) {
        b.lo[a] = std::max(b.lo[a], 0);
        b.hi[a] = std::min(b.hi[a], static_cast<int>(total[a]) - 1);
    }
    if (b.empty()) return false;
    int const core = static_cast<int>(r.get_brick_size() - 2 * r.get_border());
    int const border = static_cast<int>(r.get_border()), bs = static_cast<int>(r.get_brick_size());

    std::vector<BrickKey> keys;
    for (int z = b.lo[2] / core; z <= b.hi[2] / core; ++z)
        for (int y = b.lo[1] / core; y <= b.hi[1] / core; ++y)
            for (int x = b.lo[0] / core; x <= b.hi[0] / core; ++x)
                keys.push_back(BrickKey{0, r.pos2id(static_cast<unsigned>(x), static_cast<unsigned>(y), static_cast<unsigned>(z), 0)});
    std::vector<Streamer3DGridReader::BrickView> bricks;
    if (!r.get_brick_views_blocking(keys, bricks)) return false;

    int const n[3] = {b.hi[0] - b.lo[0] + 1, b.hi[1] - b.lo[1] + 1, b.hi[2] - b.lo[2] + 1};
    out.assign(static_cast<std::size_t>(n[0]) * n[1] * n[2], static_cast<float>(r.get_undef_value()));
    int const o0 = order[0], o1 = order[1], o2 = order[2];
    std::size_t stride[3];
    stride[o0] = 1;
    stride[o1] = static_cast<std::size_t>(n[o0]);
    stride[o2] = static_cast<std::size_t>(n[o0]) * n[o1];
    auto const type = r.get_type();
    // Brick by brick: the part of the box inside each brick's core.
    for (auto const& brick : bricks) {
        if (!brick.data || brick.data->empty()) continue; // undefined: stays the undefined value
        auto const pos = r.id2pos(brick.key);
        int lo[3], hi[3];
        for (int a = 0; a < 3; ++a) {
            lo[a] = std::max(b.lo[a], static_cast<int>(pos[a]) * core);
            hi[a] = std::min(b.hi[a], static_cast<int>(pos[a] + 1) * core - 1);
        }
        for (int z = lo[2]; z <= hi[2]; ++z)
            for (int y = lo[1]; y <= hi[1]; ++y) {
                std::size_t const src = (static_cast<std::size_t>(z - static_cast<int>(pos[2]) * core + border) * bs +
                                         static_cast<std::size_t>(y - static_cast<int>(pos[1]) * core + border)) * bs +
                                        static_cast<std::size_t>(border - static_cast<int>(pos[0]) * core);
                std::size_t const dst = static_cast<std::size_t>(z - b.lo[2]) * stride[2] +
                                        static_cast<std::size_t>(y - b.lo[1]) * stride[1];
                for (int x = lo[0]; x <= hi[0]; ++x)
                    out[dst + static_cast<std::size_t>(x - b.lo[0]) * stride[0]] =
                        element(*brick.data, src + static_cast<std::size_t>(x), type);
            }
    }
    size.set(n[o0], n[o1]);
    return true;
}

// The inclusive index range of two line numbers, in either order.
void line_range(int a, int b, vec<int, 3> const& range, int& lo, int& hi)
{
    lo = line_index(a, range);
    hi = line_index(b, range);
    if (lo > hi) std::swap(lo, hi);
}

bool in(int index, unsigned count) { return index >= 0 && index < static_cast<int>(count); }

constexpr int kSamplesThenCrosslines[3] = {0, 1, 2};
constexpr int kSamplesThenInlines[3] = {0, 2, 1};
constexpr int kInlinesThenCrosslines[3] = {2, 1, 0};

} // namespace

bool iline(GridReaderPtr const& reader, int inl, int crlStart, int crlStop, double zStart, double zStop,
           std::vector<float>& out, vec<int, 2>& size)
{
    if (!reader) return false;
    auto const& info = reader->info;
    int const i = line_index(inl, info.inlineRange);
    if (!in(i, reader->get_total_size()[2])) return false;
    int c0, c1;
    line_range(crlStart, crlStop, info.crosslineRange, c0, c1);
    Box const b{{sample_index(zStart, info), c0, i}, {sample_index(zStop, info), c1, i}};
    return extract(*reader, b, kSamplesThenCrosslines, out, size);
}

bool iline(GridReaderPtr const& reader, int inl, std::vector<float>& out, vec<int, 2>& size)
{
    if (!reader) return false;
    auto const& info = reader->info;
    return iline(reader, inl, info.crosslineRange[0], info.crosslineRange[1], info.zStart, info.zStop, out, size);
}

bool crossline(GridReaderPtr const& reader, int crl, int inlStart, int inlStop, double zStart, double zStop,
               std::vector<float>& out, vec<int, 2>& size)
{
    if (!reader) return false;
    auto const& info = reader->info;
    int const c = line_index(crl, info.crosslineRange);
    if (!in(c, reader->get_total_size()[1])) return false;
    int i0, i1;
    line_range(inlStart, inlStop, info.inlineRange, i0, i1);
    Box const b{{sample_index(zStart, info), c, i0}, {sample_index(zStop, info), c, i1}};
    return extract(*reader, b, kSamplesThenInlines, out, size);
}

bool crossline(GridReaderPtr const& reader, int crl, std::vector<float>& out, vec<int, 2>& size)
{
    if (!reader) return false;
    auto const& info = reader->info;
    return crossline(reader, crl, info.inlineRange[0], info.inlineRange[1], info.zStart, info.zStop, out, size);
}

bool timeslice(GridReaderPtr const& reader, double z, int inlStart, int inlStop, int crlStart, int crlStop,
               std::vector<float>& out, vec<int, 2>& size)
{
    if (!reader) return false;
    auto const& info = reader->info;
    int const k = sample_index(z, info);
    if (!in(k, reader->get_total_size()[0])) return false;
    int i0, i1, c0, c1;
    line_range(inlStart, inlStop, info.inlineRange, i0, i1);
    line_range(crlStart, crlStop, info.crosslineRange, c0, c1);
    Box const b{{k, c0, i0}, {k, c1, i1}};
    return extract(*reader, b, kInlinesThenCrosslines, out, size);
}

bool timeslice(GridReaderPtr const& reader, double z, std::vector<float>& out, vec<int, 2>& size)
{
    if (!reader) return false;
    auto const& info = reader->info;
    return timeslice(reader, z, info.inlineRange[0], info.inlineRange[1], info.crosslineRange[0],
                     info.crosslineRange[1], out, size);
}

bool trace(GridReaderPtr const& reader, int inl, int crl, double zStart, double zStop, std::vector<float>& out)
{
    if (!reader) return false;
    auto const& info = reader->info;
    int const i = line_index(inl, info.inlineRange), c = line_index(crl, info.crosslineRange);
    if (!in(i, reader->get_total_size()[2]) || !in(c, reader->get_total_size()[1])) return false;
    int k0 = sample_index(zStart, info), k1 = sample_index(zStop, info);
    if (k0 > k1) std::swap(k0, k1);
    vec<int, 2> size;
    return extract(*reader, Box{{k0, c, i}, {k1, c, i}}, kSamplesThenCrosslines, out, size);
}

} // namespace Tolmar
