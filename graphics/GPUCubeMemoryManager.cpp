#include "graphics/GPUCubeMemoryManager.h"

#include <GL/glew.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

#include "foundation/Streamer3DGridReader.h"
#include "foundation/log.h"
#include "graphics/GPUCubeMemoryDataSource.h"
#include "graphics/GPUCubeMemoryLineHandler.h"
#include "graphics/cube_value_mapping.h"
#include "graphics/gl_start.h"
#include "graphics/texture_3d.h"

namespace Tolmar {

namespace {

constexpr char const* kPath = "graphics\\GPUCubeMemoryManager.cpp";

constexpr unsigned kPixelBuffers = 100;
constexpr unsigned kFallbackEdge = 256;
constexpr std::uint64_t kLeastFreeBytes = 50000000;
// Larger pools are not asked for. The cap counts slots, not texels: 756
// slots make an edge far beyond any 3D texture a driver allows today.
constexpr unsigned kMostSlotsPerAxis = 756;
constexpr unsigned kPoolBrickEdge = 36;
// A layout entry names a slot coordinate in one byte.
constexpr unsigned kMostNamedSlots = 256;
// The greatest half float: every sample of the reserved cell reads above any
// undefined-value threshold.
constexpr float kUndefinedTexel = 65504.0f;
constexpr unsigned kMinRoundMs = 20;
constexpr int kBricksPerSecond = 2000;

} // namespace

GPUCubeMemoryManager& GPUCubeMemoryManager::getInstance()
{
    static GPUCubeMemoryManager instance;
    return instance;
}

unsigned GPUCubeMemoryManager::pool_edge_for(std::optional<std::uint64_t> free_bytes)
{
    if (!free_bytes || *free_bytes <= kLeastFreeBytes) return kFallbackEdge;
    double const cellBytes = 2.0 * kPoolBrickEdge * kPoolBrickEdge * kPoolBrickEdge;
    auto const bricks = static_cast<std::uint64_t>(static_cast<double>(*free_bytes) * 0.5 / cellBytes);
    auto slots = static_cast<unsigned>(std::floor(std::pow(static_cast<double>(bricks), 1.0 / 3.0)));
    slots = std::min(slots, kMostSlotsPerAxis);
    unsigned const edge = slots * kPoolBrickEdge;
    int const e = static_cast<int>(edge);
    Util::logf("Using a 3D texture pool with dimmension: %dx%dx%d = %d bricks\n", e, e, e,
               static_cast<int>(slots * slots * slots));
    return edge;
}

int GPUCubeMemoryManager::upload_budget(int elapsed_ms, std::size_t cubes)
{
    if (cubes == 0) return 0;
    float const seconds = static_cast<float>(std::min(elapsed_ms, 1000) / 1000.0);
    return static_cast<int>(seconds * static_cast<double>(kBricksPerSecond)) / static_cast<int>(cubes);
}

GPUCubeMemoryManager::GPUCubeMemoryManager(GPUCubeMemorySeams seams) : seams_(std::move(seams))
{
    glew_init();
    std::optional<std::uint64_t> const free_bytes =
        seams_.free_memory_bytes ? seams_.free_memory_bytes() : std::optional<std::uint64_t>();
    unsigned const edge = pool_edge_for(free_bytes);
    start_pool(vec<unsigned, 3>{{edge, edge, edge}});
}

GPUCubeMemoryManager::GPUCubeMemoryManager(std::uint64_t pool_bytes, GPUCubeMemorySeams seams)
    : seams_(std::move(seams))
{
    glew_init();
    start_pool(slots_for(pool_bytes) * brick_size);
}

void GPUCubeMemoryManager::start_pool(vec<unsigned, 3> const& edge_texels)
{
    gpu_mem_size_ = edge_texels;
    create_textures_for_data();
    restart_streaming();
    pbos.assign(kPixelBuffers, 0);
    glGenBuffers(static_cast<GLsizei>(pbos.size()), pbos.data());
}

std::uint64_t GPUCubeMemoryManager::cell_bytes()
{
    return std::uint64_t(2) * kPoolBrickEdge * kPoolBrickEdge * kPoolBrickEdge;
}

std::uint64_t GPUCubeMemoryManager::pool_bytes() const
{
    return std::uint64_t(2) * gpu_mem_size_[0] * gpu_mem_size_[1] * gpu_mem_size_[2];
}

vec<unsigned, 3> GPUCubeMemoryManager::pool_slots_for(std::uint64_t bytes, unsigned most_per_axis)
{
    unsigned const most = std::max(most_per_axis, 1u);
    std::uint64_t const cells = std::max<std::uint64_t>(bytes / cell_bytes(), 2);
    // Every (y, z) tried, x as long as it fits: a cube-shaped pool would
    // waste up to a whole face of cells, a large share of a small budget.
    vec<unsigned, 3> best{{std::min(2u, most), 1, 1}};
    std::uint64_t bestCells = 0;
    for (unsigned z = 1; z <= most; ++z)
        for (unsigned y = 1; y <= most; ++y) {
            std::uint64_t const face = std::uint64_t(y) * z;
            if (face > cells) break;
            auto const x = static_cast<unsigned>(std::min<std::uint64_t>(most, cells / face));
            if (x * face > bestCells) {
                bestCells = x * face;
                best = vec<unsigned, 3>{{x, y, z}};
            }
        }
    return best;
}

vec<unsigned, 3> GPUCubeMemoryManager::slots_for(std::uint64_t bytes) const
{
    GLint most3d = 0;
    glGetIntegerv(GL_MAX_3D_TEXTURE_SIZE, &most3d);
    unsigned const perAxis = std::min(kMostNamedSlots, static_cast<unsigned>(std::max(most3d, 0)) / brick_size);
    vec<unsigned, 3> const slots = pool_slots_for(bytes, perAxis);
    Util::logf("Using a 3D texture pool of %ux%ux%u bricks\n", slots[0], slots[1], slots[2]);
    return slots;
}

void GPUCubeMemoryManager::set_pool_bytes(std::uint64_t bytes)
{
    // The slots are numbered afresh, so no cube may keep an old one: each
    // gives all back now, and the next rounds stream its bricks again.
    for (auto const& entry : data_sources) entry.second->release();
    gpu_mem_size_ = slots_for(bytes) * brick_size;
    create_textures_for_data();
    restart_streaming();
    for (auto const& entry : data_sources) {
        entry.second->create_layout();
        entry.second->loading_ = true;
    }
}

GPUCubeMemoryManager::~GPUCubeMemoryManager()
{
    for (auto& entry : data_sources) {
        GPUCubeMemoryDataSource& source = *entry.second;
        // Its layout texture goes while the context is surely current.
        source.release();
        // A data source that a renderer's handler keeps alive must not call
        // back into a pool that is gone.
        source.manager_ = nullptr;
        // Handlers and data source hold each other; break the ring.
        source.line_handlers_.clear();
    }
    data_sources.clear();
    if (data_tex_ != ~0u) glDeleteTextures(1, &data_tex_);
    if (!pbos.empty()) glDeleteBuffers(static_cast<GLsizei>(pbos.size()), pbos.data());
}

void GPUCubeMemoryManager::create_textures_for_data()
{
    data_tex_ = new_texture_3d(GL_TEXTURE0, data_tex_, GL_LINEAR);
    glTexImage3D(GL_TEXTURE_3D, 0, GL_INTENSITY16F_ARB, static_cast<GLsizei>(gpu_mem_size_[0]),
                 static_cast<GLsizei>(gpu_mem_size_[1]), static_cast<GLsizei>(gpu_mem_size_[2]), 0, GL_LUMINANCE,
                 GL_FLOAT, nullptr);
    // The reserved cell: layout entries of zero point here.
    std::vector<float> const undefined(std::size_t(brick_size) * brick_size * brick_size, kUndefinedTexel);
    GLsizei const b = static_cast<GLsizei>(brick_size);
    glTexSubImage3D(GL_TEXTURE_3D, 0, 0, 0, 0, b, b, b, GL_LUMINANCE, GL_FLOAT, undefined.data());
    check_gl_error(kPath, static_cast<unsigned>(__LINE__));
}

void GPUCubeMemoryManager::restart_streaming()
{
    used_slots.clear();
    freelist.clear();
    unsigned const nx = gpu_mem_size_[0] / brick_size, ny = gpu_mem_size_[1] / brick_size,
                   nz = gpu_mem_size_[2] / brick_size;
    // x innermost: new bricks fill the pool along x first.
    for (unsigned z = 0; z < nz; ++z)
        for (unsigned y = 0; y < ny; ++y)
            for (unsigned x = 0; x < nx; ++x)
                if (x != 0 || y != 0 || z != 0) freelist.push_back(vec<unsigned, 3>{{x, y, z}});
    max_bricks_in_gpu_mem_ = static_cast<unsigned>(freelist.size());
}

std::shared_ptr<GPUCubeMemoryLineHandler> GPUCubeMemoryManager::add(std::shared_ptr<Streamer3DGridReader> const& reader,
                                                                    CubeGeometrySource& renderer)
{
    if (!reader) return nullptr;
    auto& source = data_sources[reader];
    if (!source) source = std::make_shared<GPUCubeMemoryDataSource>(this, reader);
    auto handler = std::make_shared<GPUCubeMemoryLineHandler>(source, &renderer);
    source->line_handlers_.insert(handler);
    return handler;
}

void GPUCubeMemoryManager::remove(std::shared_ptr<GPUCubeMemoryLineHandler> const& handler)
{
    if (!handler || !handler->data_source()) return;
    auto const& source = handler->data_source();
    source->line_handlers_.erase(handler);
    if (!source->line_handlers_.empty()) return;
    auto const it = data_sources.find(source->reader());
    if (it == data_sources.end() || it->second != source) return;
    // The renderer may hold its handler, and through it the data source, a
    // while longer; the slots are wanted back now.
    source->release();
    data_sources.erase(it);
}

void GPUCubeMemoryManager::poke()
{
    std::uint64_t const now = seams_.tick_ms ? seams_.tick_ms() : steady_tick_ms();
    if (now < last_stream_tick_ || now - last_stream_tick_ < kMinRoundMs) return;
    std::uint64_t const elapsed = now - last_stream_tick_;
    last_stream_tick_ = now;
    stream_all(static_cast<int>(std::min<std::uint64_t>(elapsed, INT_MAX)));
}

void GPUCubeMemoryManager::stream_all(int elapsed_ms)
{
    struct Entry {
        std::set<BrickKey> wanted;
        GPUCubeMemoryDataSource* source;
    };
    std::vector<Entry> entries;
    for (auto const& [reader, source] : data_sources) {
        Entry e{{}, source.get()};
        int missing = 0;
        source->collect_wanted_bricks(e.wanted, missing);
        if (missing != 0) entries.push_back(std::move(e));
    }
    if (entries.empty()) return;

    // Smallest first: a cube that wants less than its share leaves the rest
    // to the larger ones that follow.
    std::stable_sort(entries.begin(), entries.end(),
                     [](Entry const& a, Entry const& b) { return a.wanted.size() < b.wanted.size(); });
    std::size_t const n = entries.size();
    std::size_t budget = max_bricks_in_gpu_mem_;
    std::size_t share = budget / n;
    int const uploads = upload_budget(elapsed_ms, n);
    for (std::size_t i = 0; i < n; ++i) {
        auto& wanted = entries[i].wanted;
        // The front is the finest level and lowest id: coarse data stays.
        while (wanted.size() > share) wanted.erase(wanted.begin());
        int uploaded = 0;
        entries[i].source->stream(wanted, uploads, uploaded);
        budget -= wanted.size();
        if (std::size_t const left = n - i - 1; left > 0) share = budget / left;
    }
}

void GPUCubeMemoryManager::upload_brick(unsigned type, std::vector<char> const& data, vec<unsigned, 3>& slot,
                                        Streamer3DGridBase const& grid)
{
    if (freelist.empty()) {
        slot = vec<unsigned, 3>{{0, 0, 0}};
        return;
    }
    slot = freelist.front();
    if (slot == vec<unsigned, 3>{{0, 0, 0}}) Util::logc("UNDEF: (0,0,0) in freelist");
    freelist.pop_front();
    used_slots.insert(slot);

    bind_texture_3d(GL_TEXTURE0, data_tex_);
    check_gl_error(kPath, static_cast<unsigned>(__LINE__));

    std::size_t const cells = std::size_t(brick_size) * brick_size * brick_size;
    if (grid.get_type() == Info3DGrid::FLOAT && data.size() >= cells * sizeof(float)) {
        // Mapped in the caller's buffer rather than a copy: a float brick is
        // uploaded once and then dropped, so the copy would only cost time.
        CubeValueMapping const m = cube_value_mapping(grid);
        char* p = const_cast<char*>(data.data());
        for (std::size_t i = 0; i < cells; ++i, p += sizeof(float)) {
            float v;
            std::memcpy(&v, p, sizeof v);
            double const mapped = (v - m.translate) * m.scale;
            // The undefined value maps far beyond what a half-float texel
            // holds. Stored as infinity it would turn the linear fetches
            // around it into NaN (infinity minus infinity), which passes
            // the shader's undefined test and is coloured; it stays at the
            // greatest half float instead, which still reads as undefined.
            float const out = mapped > kUndefinedTexel    ? kUndefinedTexel
                              : mapped < -kUndefinedTexel ? -kUndefinedTexel
                                                          : static_cast<float>(mapped);
            std::memcpy(p, &out, sizeof out);
        }
    }

    // A ring of orphaned buffers: the driver copies one into the texture in
    // the background while the next is filled.
    pbo_index = (pbo_index + 1) % kPixelBuffers;
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, pbos[pbo_index]);
    glBufferData(GL_PIXEL_UNPACK_BUFFER, static_cast<GLsizeiptr>(data.size()), nullptr, GL_STREAM_DRAW);
    void const* pixels = nullptr; // an offset into the bound buffer
    if (void* mapped = glMapBuffer(GL_PIXEL_UNPACK_BUFFER, GL_WRITE_ONLY)) {
        std::memcpy(mapped, data.data(), data.size());
        glUnmapBuffer(GL_PIXEL_UNPACK_BUFFER);
    } else {
        // A buffer that cannot be mapped: upload from memory instead.
        glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
        pixels = data.data();
    }
    GLsizei const b = static_cast<GLsizei>(brick_size);
    glTexSubImage3D(GL_TEXTURE_3D, 0, static_cast<GLint>(brick_size * slot[0]),
                    static_cast<GLint>(brick_size * slot[1]), static_cast<GLint>(brick_size * slot[2]), b, b, b,
                    GL_LUMINANCE, type, pixels);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    glDisable(GL_TEXTURE_3D);
}

void GPUCubeMemoryManager::remove_brick(vec<unsigned, 3> const& slot)
{
    if (slot == vec<unsigned, 3>{{0, 0, 0}}) {
        Util::logc("GPUCubeMemoryManager::remove_brick(0,0,0)");
        return;
    }
    used_slots.erase(slot);
    freelist.push_back(slot);
}

} // namespace Tolmar
