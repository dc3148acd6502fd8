#include "foundation/Streamer3DGridBase.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif
#include <xxhash.h>
// For ZSTD_c_literalCompressionMode, which is used only when the library
// that runs is the release these headers come from.
#define ZSTD_STATIC_LINKING_ONLY
#include <zstd.h>

#include "foundation/survey_checks.h"

namespace Tolmar {

// Numbers go to the file as they stand in memory.
static_assert(std::endian::native == std::endian::little, "the brick file is little-endian");

namespace {

// zstd's fast end: bricks are written while a survey is scanned and read
// while it is drawn, so speed matters more than the last few percent.
constexpr int kZstdLevel = 1;
// One-byte elements: their differences are small numbers of which few
// repeat in runs, so nearly all that zstd saves comes from the entropy coding
// of its literals, and little from matches. The fastest match search, with
// the literals still coded, takes well under half the time of level 1 for
// files a few percent larger.
constexpr int kZstdByteLevel = -50;

template <class T>
void put(unsigned char*& p, T v)
{
    std::memcpy(p, &v, sizeof v);
    p += sizeof v;
}

template <class T>
T get(unsigned char const*& p)
{
    T v;
    std::memcpy(&v, p, sizeof v);
    p += sizeof v;
    return v;
}

// A value of the element type, clamped to its range: the 64-bit limits do
// not survive a trip through a double.
template <class T>
T to_element(double v)
{
    if constexpr (std::numeric_limits<T>::is_integer) {
        if (std::isnan(v)) return T(0);
        if (v >= static_cast<double>(std::numeric_limits<T>::max())) return std::numeric_limits<T>::max();
        if (v <= static_cast<double>(std::numeric_limits<T>::lowest())) return std::numeric_limits<T>::lowest();
        return static_cast<T>(v);
    } else {
        return static_cast<T>(v);
    }
}

template <class T>
void fill(std::vector<char>& data, double value)
{
    T const v = to_element<T>(value);
    std::size_t const n = data.size() / sizeof(T);
    for (std::size_t i = 0; i < n; ++i) std::memcpy(data.data() + i * sizeof(T), &v, sizeof v);
}

// One compression and one decompression context per thread, kept for the
// thread's life: making them costs more than a small brick's compression.
struct ZstdContexts {
    ZSTD_CCtx* c = nullptr;
    ZSTD_DCtx* d = nullptr;
    int setFor = 0; // the element size c's parameters were set for; 0 before the first
    std::vector<char> planes;
    std::vector<std::uint64_t> deltas; // 8-byte aligned scratch for the widest element
    ~ZstdContexts()
    {
        ZSTD_freeCCtx(c);
        ZSTD_freeDCtx(d);
    }
};

ZstdContexts& contexts()
{
    thread_local ZstdContexts z;
    return z;
}

// The parameters of a brick of elementBytes-byte elements, set only when
// they change: setting them is cheap, but a context whose parameters stay
// keeps its tables from brick to brick.
void set_parameters(ZstdContexts& z, unsigned elementBytes)
{
    int const kind = elementBytes == 1 ? 1 : 2;
    if (z.setFor == kind) return;
    z.setFor = kind;
    ZSTD_CCtx_reset(z.c, ZSTD_reset_parameters);
    static bool const sameRelease = ZSTD_versionNumber() / 100 == ZSTD_VERSION_NUMBER / 100;
    if (kind == 1 && sameRelease &&
        !ZSTD_isError(ZSTD_CCtx_setParameter(z.c, ZSTD_c_compressionLevel, kZstdByteLevel)) &&
        !ZSTD_isError(ZSTD_CCtx_setParameter(z.c, ZSTD_c_literalCompressionMode, ZSTD_ps_enable)))
        return;
    ZSTD_CCtx_reset(z.c, ZSTD_reset_parameters);
    ZSTD_CCtx_setParameter(z.c, ZSTD_c_compressionLevel, kZstdLevel);
}

} // namespace

double Streamer3DGridBase::default_undef_value(Info3DGrid::eDataType type)
{
    switch (type) {
    case Info3DGrid::BIT1: return 1;
    case Info3DGrid::INT8: return std::numeric_limits<std::int8_t>::max();
    case Info3DGrid::UINT8: return std::numeric_limits<std::uint8_t>::max();
    case Info3DGrid::INT16: return std::numeric_limits<std::int16_t>::max();
    case Info3DGrid::UINT16: return std::numeric_limits<std::uint16_t>::max();
    case Info3DGrid::INT32: return std::numeric_limits<std::int32_t>::max();
    case Info3DGrid::UINT32: return std::numeric_limits<std::uint32_t>::max();
    case Info3DGrid::INT64: return static_cast<double>(std::numeric_limits<std::int64_t>::max());
    case Info3DGrid::UINT64: return static_cast<double>(std::numeric_limits<std::uint64_t>::max());
    case Info3DGrid::FLOAT: return std::numeric_limits<float>::max();
    case Info3DGrid::DOUBLE: return std::numeric_limits<double>::max();
    }
    return 0;
}

bool Streamer3DGridBase::is_supported_type(Info3DGrid::eDataType type)
{
    return Info3DGrid::is_valid(type) && type != Info3DGrid::BIT1 && type != Info3DGrid::INT64 &&
           type != Info3DGrid::UINT64;
}

void Streamer3DGridBase::fill_brick_data_with_undef_values(Brick& brick) const
{
    brick.data.assign(brickBytes_, 0);
    switch (type_) {
    case Info3DGrid::BIT1: std::fill(brick.data.begin(), brick.data.end(), static_cast<char>(0xFF)); break;
    case Info3DGrid::INT8: fill<std::int8_t>(brick.data, undef_); break;
    case Info3DGrid::UINT8: fill<std::uint8_t>(brick.data, undef_); break;
    case Info3DGrid::INT16: fill<std::int16_t>(brick.data, undef_); break;
    case Info3DGrid::UINT16: fill<std::uint16_t>(brick.data, undef_); break;
    case Info3DGrid::INT32: fill<std::int32_t>(brick.data, undef_); break;
    case Info3DGrid::UINT32: fill<std::uint32_t>(brick.data, undef_); break;
    case Info3DGrid::INT64: fill<std::int64_t>(brick.data, undef_); break;
    case Info3DGrid::UINT64: fill<std::uint64_t>(brick.data, undef_); break;
    case Info3DGrid::FLOAT: fill<float>(brick.data, undef_); break;
    case Info3DGrid::DOUBLE: fill<double>(brick.data, undef_); break;
    }
}

bool Streamer3DGridBase::set_up(vec<unsigned, 3> const& totalSize, Info3DGrid::eDataType type, unsigned brickSize,
                                unsigned border, double minValue, double maxValue, double undefValue)
{
    BrickGrid grid(totalSize, brickSize, border);
    if (!grid.valid()) return false;
    // Ids are 32-bit within a level; the coarser levels hold fewer bricks.
    auto const& c = grid.counts(0);
    unsigned long long finest = 0;
    if (__builtin_mul_overflow(static_cast<unsigned long long>(c[0]), c[1], &finest) ||
        __builtin_mul_overflow(finest, static_cast<unsigned long long>(c[2]), &finest) || finest >= BrickGrid::kNoBrick)
        return false;
    std::vector<std::uint64_t> starts{0};
    for (unsigned l = 0; l < grid.num_levels(); ++l) starts.push_back(starts.back() + grid.bricks_in_level(l));
    grid_ = grid;
    levelStart_ = std::move(starts);
    type_ = type;
    min_ = minValue;
    max_ = maxValue;
    undef_ = undefValue;
    brickBytes_ = static_cast<std::size_t>(
        Info3DGrid::bytes_for(type, static_cast<unsigned long long>(brickSize) * brickSize * brickSize));
    return true;
}

// ---- header and table -------------------------------------------------------

std::vector<unsigned char> Streamer3DGridBase::encode_header(std::uint64_t histogramOffset,
                                                             std::uint64_t histogramBins) const
{
    std::size_t const n = header_bytes();
    std::vector<unsigned char> out(n + kSumBytes);
    unsigned char* p = out.data();
    std::memcpy(p, kMagic, sizeof kMagic);
    p += sizeof kMagic;
    put(p, kVersion);
    put(p, static_cast<std::uint32_t>(n));
    put(p, static_cast<std::uint32_t>(type_));
    put(p, static_cast<std::uint32_t>(grid_.brick_size()));
    put(p, static_cast<std::uint32_t>(grid_.border()));
    for (int a = 0; a < 3; ++a) put(p, static_cast<std::uint32_t>(grid_.total_size()[a]));
    put(p, min_);
    put(p, max_);
    put(p, undef_);
    put(p, total_bricks());
    put(p, histogramOffset);
    put(p, histogramBins);
    put(p, static_cast<std::uint32_t>(info.type));
    for (int a = 0; a < 3; ++a) put(p, static_cast<std::int32_t>(info.inlineRange[a]));
    for (int a = 0; a < 3; ++a) put(p, static_cast<std::int32_t>(info.crosslineRange[a]));
    for (double v : {info.zStart, info.zStop, info.zStep}) put(p, v);
    put(p, info.minValue);
    put(p, info.maxValue);
    for (double v : {info.xInl, info.xCrl, info.x0, info.yInl, info.yCrl, info.y0}) put(p, v);
    put(p, static_cast<std::uint32_t>(grid_.num_levels()));
    for (auto const& c : grid_.level_counts())
        for (int a = 0; a < 3; ++a) put(p, static_cast<std::uint32_t>(c[a]));
    put(p, static_cast<std::uint32_t>(info.name.size()));
    std::memcpy(p, info.name.data(), info.name.size());
    p += info.name.size();
    put(p, static_cast<std::uint64_t>(XXH64(out.data(), n, 0)));
    return out;
}

bool Streamer3DGridBase::decode_header(unsigned char const* p, std::size_t n, std::uint64_t& histogramOffset,
                                       std::uint64_t& histogramBins, std::string& why)
{
    why = "has an inconsistent header";
    if (n < kFixedHeaderBytes) return false;
    unsigned char const* const end = p + n;
    p += kPreambleBytes; // magic, version and length were checked by the caller
    auto const type = get<std::uint32_t>(p);
    auto const brickSize = get<std::uint32_t>(p);
    auto const border = get<std::uint32_t>(p);
    vec<unsigned, 3> total;
    for (int a = 0; a < 3; ++a) total[a] = get<std::uint32_t>(p);
    double const minValue = get<double>(p), maxValue = get<double>(p), undefValue = get<double>(p);
    auto const bricks = get<std::uint64_t>(p);
    histogramOffset = get<std::uint64_t>(p);
    histogramBins = get<std::uint64_t>(p);
    SEGYCubeInfo cube;
    auto const cubeType = get<std::uint32_t>(p);
    for (int a = 0; a < 3; ++a) cube.inlineRange[a] = get<std::int32_t>(p);
    for (int a = 0; a < 3; ++a) cube.crosslineRange[a] = get<std::int32_t>(p);
    cube.zStart = get<double>(p);
    cube.zStop = get<double>(p);
    cube.zStep = get<double>(p);
    cube.minValue = get<float>(p);
    cube.maxValue = get<float>(p);
    for (double* v : {&cube.xInl, &cube.xCrl, &cube.x0, &cube.yInl, &cube.yCrl, &cube.y0}) *v = get<double>(p);
    auto const levels = get<std::uint32_t>(p);

    if (!Info3DGrid::is_valid(static_cast<int>(type)) ||
        !is_supported_type(static_cast<Info3DGrid::eDataType>(type))) {
        why = "has an element type this program cannot read";
        return false;
    }
    if (!Info3DGrid::is_valid(static_cast<int>(cubeType))) {
        why = "has an unknown survey element type";
        return false;
    }
    cube.type = static_cast<Info3DGrid::eDataType>(cubeType);
    why = grid_problem(total, brickSize, border);
    if (why.empty()) why = description_problem(cube, total);
    if (!why.empty()) {
        why = "has a header in which " + why;
        return false;
    }
    // The grid follows from the sizes; the stored counts must agree with it.
    if (!set_up(total, static_cast<Info3DGrid::eDataType>(type), brickSize, border, minValue, maxValue, undefValue)) {
        why = "has a grid of more bricks than a level can number";
        return false;
    }
    why = "has level counts that its sizes do not make";
    if (levels != grid_.num_levels() || static_cast<std::size_t>(end - p) < 12 * std::size_t(levels) + 4) return false;
    for (auto const& c : grid_.level_counts())
        for (int a = 0; a < 3; ++a)
            if (get<std::uint32_t>(p) != c[a]) return false;
    auto const nameBytes = get<std::uint32_t>(p);
    why = "has a name length that does not fit its header";
    if (nameBytes != static_cast<std::size_t>(end - p)) return false;
    why = "has a brick count that its grid does not make";
    if (bricks != total_bricks()) return false;
    cube.name.assign(reinterpret_cast<char const*>(p), nameBytes);
    info = std::move(cube);
    return true;
}

std::string Streamer3DGridBase::grid_problem(vec<unsigned, 3> const& totalSize, unsigned brickSize, unsigned border)
{
    if (brickSize > kMaxBrickSize)
        return "the brick size " + std::to_string(brickSize) + " is above " + std::to_string(kMaxBrickSize);
    if (static_cast<unsigned long long>(brickSize) <= 2ULL * border)
        return "the border " + std::to_string(border) + " leaves no core in a brick of " + std::to_string(brickSize);
    for (int a = 0; a < 3; ++a)
        if (totalSize[a] == 0) return std::string("the total size along the ") + kAxisNames[a] + " is 0";
    return {};
}

std::string Streamer3DGridBase::description_problem(SEGYCubeInfo const& cube, vec<unsigned, 3> const& totalSize)
{
    std::string why = survey_problem(cube.inlineRange, cube.crosslineRange, cube.zStart, cube.zStop, cube.zStep);
    if (!why.empty()) return why;
    // The description may name fewer lines than the cube holds, never more:
    // every line it names must be a position in the cube.
    long long const counts[3] = {sample_count(cube.zStart, cube.zStop, cube.zStep),
                                 line_count(cube.crosslineRange[0], cube.crosslineRange[1], cube.crosslineRange[2]),
                                 line_count(cube.inlineRange[0], cube.inlineRange[1], cube.inlineRange[2])};
    for (int a = 0; a < 3; ++a)
        if (counts[a] > static_cast<long long>(totalSize[a]))
            return std::string("the survey's ") + std::to_string(counts[a]) + " " + kAxisNames[a] + " exceed the cube's " +
                   std::to_string(totalSize[a]);
    for (double v : {cube.xInl, cube.xCrl, cube.x0, cube.yInl, cube.yCrl, cube.y0})
        if (!std::isfinite(v)) return "the map transform is not finite";
    if (static_cast<unsigned long long>(totalSize[0]) * totalSize[1] > kMaxSliceElements ||
        static_cast<unsigned long long>(totalSize[1]) * totalSize[2] > kMaxSliceElements ||
        static_cast<unsigned long long>(totalSize[0]) * totalSize[2] > kMaxSliceElements)
        return "the cube of " + std::to_string(totalSize[0]) + " x " + std::to_string(totalSize[1]) + " x " +
               std::to_string(totalSize[2]) + " has slices of more than " + std::to_string(kMaxSliceElements) +
               " samples";
    return {};
}

void Streamer3DGridBase::encode_entry(TableEntry const& e, unsigned char* p)
{
    put(p, e.offset);
    put(p, e.size);
    put(p, e.encoding);
    put(p, std::uint8_t(0));
    put(p, std::uint16_t(0));
    put(p, e.checksum);
}

Streamer3DGridBase::TableEntry Streamer3DGridBase::decode_entry(unsigned char const* p)
{
    TableEntry e;
    e.offset = get<std::uint64_t>(p);
    e.size = get<std::uint32_t>(p);
    e.encoding = get<std::uint8_t>(p);
    p += 3;
    e.checksum = get<std::uint64_t>(p);
    return e;
}

// ---- brick encoding ---------------------------------------------------------
//
// Seismic amplitudes change slowly from sample to sample. Each element is
// replaced by its difference from the sample before (of the bit patterns, as
// unsigned integers that wrap, so that floats come back exactly), and the
// differences' bytes are grouped by position: their high bytes are then
// mostly alike, which zstd finds, where on interleaved bytes it barely
// compresses floats.

namespace {

// Two passes that the compiler turns into vector code: the differences
// within each row, then the split of their bytes into planes.
template <class U>
void to_delta_planes(char const* __restrict data, std::size_t n, unsigned row, U* __restrict deltas,
                     char* __restrict planes)
{
    for (std::size_t r = 0; r < n; r += row) {
        char const* in = data + r * sizeof(U);
        U* d = deltas + r;
        std::memcpy(d, in, sizeof(U));
        for (unsigned e = 1; e < row; ++e) {
            U a, b;
            std::memcpy(&a, in + e * sizeof(U), sizeof a);
            std::memcpy(&b, in + (e - 1) * sizeof(U), sizeof b);
            d[e] = static_cast<U>(a - b);
        }
    }
    for (unsigned b = 0; b < sizeof(U); ++b) {
        char* __restrict plane = planes + b * n;
        for (std::size_t e = 0; e < n; ++e) plane[e] = static_cast<char>(deltas[e] >> (8 * b));
    }
}

#if defined(__x86_64__) && defined(__GNUC__)
// Four-byte elements in one pass, eight at a time: the differences, then each
// one's bytes gathered by position within each half (pshufb) and the halves'
// groups put side by side (a permute), so that each plane takes eight bytes.
__attribute__((target("avx2"))) void to_delta_planes32_avx2(char const* data, std::size_t n, unsigned row,
                                                            char* planes)
{
    __m256i const gather = _mm256_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 0, 4, 8, 12, 1, 5,
                                            9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    __m256i const sideBySide = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    auto const* in = reinterpret_cast<std::uint32_t const*>(data);
    for (std::size_t r = 0; r < n; r += row) {
        // The first elements one by one, so that the rest of the row is whole vectors.
        unsigned const head = row % 8 == 0 ? 8 : row % 8;
        for (unsigned e = 0; e < head && e < row; ++e) {
            std::uint32_t const d = e == 0 ? in[r] : in[r + e] - in[r + e - 1];
            for (unsigned b = 0; b < 4; ++b) planes[b * n + r + e] = static_cast<char>(d >> (8 * b));
        }
        for (unsigned e = head; e + 8 <= row; e += 8) {
            __m256i const cur = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(in + r + e));
            __m256i const prev = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(in + r + e - 1));
            __m256i const bytes = _mm256_permutevar8x32_epi32(
                _mm256_shuffle_epi8(_mm256_sub_epi32(cur, prev), gather), sideBySide);
            __m128i const lo = _mm256_castsi256_si128(bytes), hi = _mm256_extracti128_si256(bytes, 1);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(planes + r + e), lo);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(planes + n + r + e), _mm_unpackhi_epi64(lo, lo));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(planes + 2 * n + r + e), hi);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(planes + 3 * n + r + e), _mm_unpackhi_epi64(hi, hi));
        }
    }
}

bool cpu_has_avx2()
{
    static bool const has = __builtin_cpu_supports("avx2");
    return has;
}
#define TOLMAR_DELTA_AVX2 1
#endif

// One-byte elements are their own single plane: one pass.
void to_delta_plane(char const* __restrict data, std::size_t n, unsigned row, char* __restrict plane)
{
    auto const* in = reinterpret_cast<unsigned char const*>(data);
    auto* out = reinterpret_cast<unsigned char*>(plane);
    for (std::size_t r = 0; r < n; r += row) {
        out[r] = in[r];
        for (unsigned e = 1; e < row; ++e) out[r + e] = static_cast<unsigned char>(in[r + e] - in[r + e - 1]);
    }
}

template <class U>
void from_delta_planes(char const* planes, std::size_t n, unsigned row, char* data)
{
    auto const* p = reinterpret_cast<unsigned char const*>(planes);
    for (std::size_t r = 0; r < n; r += row) {
        U prev = 0;
        for (std::size_t e = r; e < r + row; ++e) {
            U d = 0;
            for (unsigned b = 0; b < sizeof(U); ++b) d = static_cast<U>(d | static_cast<U>(p[b * n + e]) << (8 * b));
            prev = static_cast<U>(prev + d);
            std::memcpy(data + e * sizeof(U), &prev, sizeof prev);
        }
    }
}

} // namespace

std::size_t Streamer3DGridBase::encode_brick(std::vector<char> const& data, std::vector<char>& stored,
                                             std::uint8_t& encoding) const
{
    auto& z = contexts();
    if (!z.c) z.c = ZSTD_createCCtx();
    unsigned const size = element_bytes(), row = grid_.brick_size();
    std::size_t const n = data.size() / size;
    z.planes.resize(data.size());
    z.deltas.resize((data.size() + 7) / 8);
    switch (size) {
    case 1: to_delta_plane(data.data(), n, row, z.planes.data()); break;
    case 2: to_delta_planes(data.data(), n, row, reinterpret_cast<std::uint16_t*>(z.deltas.data()), z.planes.data()); break;
    case 4:
#ifdef TOLMAR_DELTA_AVX2
        if (cpu_has_avx2()) {
            to_delta_planes32_avx2(data.data(), n, row, z.planes.data());
            break;
        }
#endif
        to_delta_planes(data.data(), n, row, reinterpret_cast<std::uint32_t*>(z.deltas.data()), z.planes.data());
        break;
    default: to_delta_planes(data.data(), n, row, z.deltas.data(), z.planes.data()); break;
    }
    std::size_t const bound = ZSTD_compressBound(data.size());
    if (stored.size() < bound) stored.resize(bound);
    std::size_t r = 0;
    if (z.c) {
        set_parameters(z, size);
        r = ZSTD_compress2(z.c, stored.data(), stored.size(), z.planes.data(), data.size());
    }
    if (z.c && !ZSTD_isError(r) && r < data.size()) {
        encoding = kZstdDeltaPlanes;
        return r;
    }
    std::memcpy(stored.data(), data.data(), data.size());
    encoding = kRaw;
    return data.size();
}

bool Streamer3DGridBase::decode_brick(char const* stored, std::size_t size, std::uint8_t encoding,
                                      std::vector<char>& data) const
{
    if (encoding == kRaw) {
        if (size != brickBytes_) return false;
        data.assign(stored, stored + size);
        return true;
    }
    if (encoding != kZstdDeltaPlanes) return false;
    auto& z = contexts();
    if (!z.d) z.d = ZSTD_createDCtx();
    if (!z.d) return false;
    z.planes.resize(brickBytes_);
    std::size_t const r = ZSTD_decompressDCtx(z.d, z.planes.data(), brickBytes_, stored, size);
    if (ZSTD_isError(r) || r != brickBytes_) return false;
    unsigned const bytes = element_bytes(), row = grid_.brick_size();
    std::size_t const n = brickBytes_ / bytes;
    data.resize(brickBytes_);
    switch (bytes) {
    case 1: from_delta_planes<std::uint8_t>(z.planes.data(), n, row, data.data()); break;
    case 2: from_delta_planes<std::uint16_t>(z.planes.data(), n, row, data.data()); break;
    case 4: from_delta_planes<std::uint32_t>(z.planes.data(), n, row, data.data()); break;
    default: from_delta_planes<std::uint64_t>(z.planes.data(), n, row, data.data()); break;
    }
    return true;
}

} // namespace Tolmar
