#pragma once
// The GPU brick pool: one large 3D texture shared by every open cube of the
// process, cut into cells of one brick each (slots), and the decision, once
// per round, of which bricks live in it. Each cube has a data source that
// records what of it is resident and keeps its layout map; each renderer of
// a cube holds a line handler on that data source.
//
// Everything here runs on the thread that owns the GL context, with a
// context current, so nothing is locked. The only work shared with another
// thread is the brick reader's loading, behind the reader's own lock.

#include "platform/api.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "foundation/vec.h"
#include "graphics/GPUCubeMemorySeams.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class CubeGeometrySource;
class GPUCubeMemoryDataSource;
class GPUCubeMemoryLineHandler;
class Streamer3DGridBase;
class Streamer3DGridReader;

class GPUCubeMemoryManager {
public:
    // The pool that the renderers share, sized from the driver's free memory
    // at the first call, which must come with a context current.
    static GPUCubeMemoryManager& getInstance();

    // A pool of its own, sized by the seams' free memory; the renderers use
    // getInstance, a separate pool serves tests. Needs a current context.
    explicit GPUCubeMemoryManager(GPUCubeMemorySeams seams = {});
    // A pool of at most `pool_bytes` of texture, whatever the driver reports
    // (see set_pool_bytes); seams.free_memory_bytes is not asked. Needs a
    // current context.
    explicit GPUCubeMemoryManager(std::uint64_t pool_bytes, GPUCubeMemorySeams seams = {});
    // Deletes the pool texture and the pixel buffers; data sources still
    // held elsewhere are cut loose and give back nothing afterwards.
    ~GPUCubeMemoryManager();
    GPUCubeMemoryManager(GPUCubeMemoryManager const&) = delete;
    GPUCubeMemoryManager& operator=(GPUCubeMemoryManager const&) = delete;

    // A handle for one renderer of the cube. Renderers of the same reader
    // share one data source, so they share its resident bricks. Null for a
    // null reader.
    std::shared_ptr<GPUCubeMemoryLineHandler> add(std::shared_ptr<Streamer3DGridReader> const& reader,
                                                  CubeGeometrySource& renderer);
    // Lets the handler go; with the cube's last handler the data source
    // leaves the pool and its slots return to the free list at once.
    void remove(std::shared_ptr<GPUCubeMemoryLineHandler> const& handler);

    std::size_t freelist_size() const { return freelist.size(); }
    std::size_t get_freelist_size() const { return freelist.size(); }
    // Pool texture size in texels.
    vec<unsigned, 3> const& gpu_mem_size() const { return gpu_mem_size_; }
    // Usable slots: the limit of one round's wanted bricks over all cubes.
    unsigned& max_bricks_in_gpu_mem() { return max_bricks_in_gpu_mem_; }
    // GL name of the pool texture (GL_TEXTURE_3D).
    unsigned data_tex() const { return data_tex_; }
    // Edge of a pool cell in texels, border included.
    unsigned get_brick_size() const { return brick_size; }

    // Re-sizes the pool to at most `bytes` of texture (at least two cells:
    // the reserved one and one brick), within the driver's largest 3D
    // texture and the 256 slots per axis that a layout entry can name.
    // Every cube gives back its resident bricks and streams them again.
    void set_pool_bytes(std::uint64_t bytes);
    // Bytes of the pool texture as allocated.
    std::uint64_t pool_bytes() const;
    // Bytes of one pool cell: a brick of 36^3 half floats.
    static std::uint64_t cell_bytes();
    // Slots per axis of the pool that set_pool_bytes makes: the shape with
    // the most whole cells in `bytes`, no axis above `most_per_axis`, and
    // never fewer than two cells.
    static vec<unsigned, 3> pool_slots_for(std::uint64_t bytes, unsigned most_per_axis);

    // Puts the renderer's walk in place of the root-only default.
    void set_brick_selector(BrickSelector selector) { seams_.select_bricks = std::move(selector); }

    // Pool edge in texels for the free memory in bytes: half of it at two
    // bytes per texel, in whole slots, or 256 texels when the driver does not
    // tell or tells 50,000,000 bytes or less.
    static unsigned pool_edge_for(std::optional<std::uint64_t> free_bytes);
    // Uploads that each of `cubes` cubes may make in a round that comes
    // `elapsed_ms` after the last: 2000 bricks a second over all of them, and
    // no credit for more than a second.
    static int upload_budget(int elapsed_ms, std::size_t cubes);

private:
    friend class Seismic3DRenderer;       // paces rounds from its draw call
    friend class GPUCubeMemoryDataSource; // takes and returns slots
    friend struct GPUCubeMemoryProbe;     // tests drive rounds and look inside

    // One round, unless the last came less than 20 ms ago.
    void poke();
    // One round over all cubes: wanted bricks, fair shares of the slots,
    // evictions, requests and uploads.
    void stream_all(int elapsed_ms);
    void restart_streaming();
    void create_textures_for_data();
    // The texture, the free list and the pixel buffers of a new pool.
    void start_pool(vec<unsigned, 3> const& edge_texels);
    // The slots per axis that `bytes` buys on this driver.
    vec<unsigned, 3> slots_for(std::uint64_t bytes) const;
    // Takes the next free slot for the brick and uploads it. A float brick
    // is mapped (cube_value_mapping) in place first, so the same data must
    // not be uploaded twice.
    void upload_brick(unsigned type, std::vector<char> const& data, vec<unsigned, 3>& slot,
                      Streamer3DGridBase const& grid);
    void remove_brick(vec<unsigned, 3> const& slot);

    std::map<std::shared_ptr<Streamer3DGridReader>, std::shared_ptr<GPUCubeMemoryDataSource>> data_sources;
    std::set<vec<unsigned, 3>> used_slots;
    std::list<vec<unsigned, 3>> freelist;
    unsigned max_bricks_in_gpu_mem_ = 0;
    unsigned brick_size = 36;
    vec<unsigned, 3> gpu_mem_size_{{0, 0, 0}};
    unsigned data_tex_ = ~0u;
    unsigned pbo_index = 0;
    std::vector<unsigned> pbos;

    GPUCubeMemorySeams seams_;
    std::uint64_t last_stream_tick_ = 0;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
