#include "graphics/GPUCubeMemoryDataSource.h"

#include <GL/glew.h>

#include "foundation/BrickGrid.h"
#include "foundation/Streamer3DGridReader.h"
#include "foundation/log.h"
#include "graphics/CubeGeometrySource.h"
#include "graphics/GPUCubeMemoryLineHandler.h"
#include "graphics/GPUCubeMemoryManager.h"
#include "graphics/gl_start.h"
#include "graphics/layout_entry.h"
#include "graphics/texture_3d.h"

namespace Tolmar {

namespace {

constexpr char const* kPath = "graphics\\GPUCubeMemoryDataSource.cpp";
constexpr int kMostEvictionsPerRound = 50;
vec<unsigned, 3> const kReservedSlot{{0, 0, 0}};

GLenum gl_type_of(Info3DGrid::eDataType type)
{
    switch (type) {
    case Info3DGrid::INT8: return GL_BYTE;
    case Info3DGrid::UINT8: return GL_UNSIGNED_BYTE;
    case Info3DGrid::INT16: return GL_SHORT;
    case Info3DGrid::UINT16: return GL_UNSIGNED_SHORT;
    case Info3DGrid::INT32: return GL_INT;
    case Info3DGrid::UINT32: return GL_UNSIGNED_INT;
    case Info3DGrid::FLOAT: return GL_FLOAT;
    case Info3DGrid::DOUBLE: return GL_DOUBLE;
    default: return GL_UNSIGNED_BYTE;
    }
}

} // namespace

GPUCubeMemoryDataSource::GPUCubeMemoryDataSource(GPUCubeMemoryManager* manager,
                                                 std::shared_ptr<Streamer3DGridReader> reader)
    : manager_(manager), reader_(std::move(reader))
{
    if (reader_->get_brick_size() != manager_->get_brick_size())
        Util::logf("GPUCubeMemoryDataSource: bricks of %u samples do not fit the pool's cells of %u; %s stays "
                   "undefined\n",
                   reader_->get_brick_size(), manager_->get_brick_size(), reader_->path().c_str());
    create_layout();
}

GPUCubeMemoryDataSource::~GPUCubeMemoryDataSource() { release(); }

void GPUCubeMemoryDataSource::release()
{
    if (layout_tex_ != ~0u) {
        glDeleteTextures(1, &layout_tex_);
        layout_tex_ = ~0u;
    }
    if (manager_) {
        // Undefined bricks share the reserved cell and own no slot.
        for (auto const& [key, slot] : resident_)
            if (slot != kReservedSlot) manager_->remove_brick(slot);
    }
    resident_.clear();
}

void GPUCubeMemoryDataSource::create_layout()
{
    layout_tex_ = new_texture_3d(GL_TEXTURE1, layout_tex_, GL_NEAREST);
    auto const& counts = reader_->get_level_counts();
    layout_.assign(counts.size(), {});
    for (std::size_t l = 0; l < counts.size(); ++l)
        layout_[l].assign(std::size_t(counts[l][0]) * counts[l][1] * counts[l][2], 0u);
    if (!counts.empty()) {
        // Zeros rather than no data: a map drawn before the first upload then
        // reads as undefined instead of whatever the memory held.
        glTexImage3D(GL_TEXTURE_3D, 0, GL_RGBA8, static_cast<GLsizei>(counts[0][0]),
                     static_cast<GLsizei>(counts[0][1]), static_cast<GLsizei>(counts[0][2]), 0, GL_RGBA,
                     GL_UNSIGNED_BYTE, layout_[0].data());
    }
    glActiveTexture(GL_TEXTURE0);
    check_gl_error(kPath, static_cast<unsigned>(__LINE__));
}

void GPUCubeMemoryDataSource::collect_wanted_bricks(std::set<BrickKey>& wanted, int& missing)
{
    wanted.clear();
    missing = 0;
    loading_ = false;
    // A cube whose bricks do not fit the pool's cells is never streamed, so
    // it must not look as if it were still loading.
    if (!manager_ || reader_->get_brick_size() != manager_->get_brick_size()) return;
    std::vector<int> indices, handlerIndices;
    std::vector<vec<float, 3>> vertices, handlerVertices;
    for (auto const& handler : line_handlers_) {
        if (!handler->renderer()) continue;
        handler->renderer()->get_geometry_in_cubespace(handlerIndices, handlerVertices);
        int const offset = static_cast<int>(vertices.size());
        for (int i : handlerIndices) indices.push_back(i + offset);
        vertices.insert(vertices.end(), handlerVertices.begin(), handlerVertices.end());
    }
    BrickSelector const& select = manager_->seams_.select_bricks;
    if (select)
        select(indices, vertices, manager_->max_bricks_in_gpu_mem(), *reader_, wanted);
    else
        select_root_brick(indices, vertices, manager_->max_bricks_in_gpu_mem(), *reader_, wanted);
    for (BrickKey const& key : wanted)
        if (!resident_.count(key)) ++missing;
    loading_ = missing != 0;
}

void GPUCubeMemoryDataSource::stream(std::set<BrickKey>& wanted, int budget, int& uploads)
{
    uploads = 0;
    if (!manager_ || reader_->get_brick_size() != manager_->get_brick_size()) return;

    // Evictions, finest level first: a brick with a resident child is
    // spared, and by the time its children are gone it comes up itself, so
    // what stays resident is a connected tree under the root.
    int evictions = 0;
    for (auto it = resident_.begin(); it != resident_.end() && evictions < kMostEvictionsPerRound;) {
        BrickKey const key = it->first;
        ++it; // evict_brick erases the entry
        if (wanted.count(key) || has_resident_child(key) || reader_->is_undef_brick(key)) continue;
        evict_brick(key);
        ++evictions;
    }

    // Requests, coarsest first, so that a coarse brick shows before the
    // finer ones under it arrive.
    std::vector<BrickKey> requests;
    for (auto it = wanted.rbegin(); it != wanted.rend(); ++it) {
        BrickKey const& key = *it;
        if (reader_->is_undef_brick(key)) {
            // Nothing to load: the reserved cell already reads as undefined.
            resident_[key] = kReservedSlot;
            continue;
        }
        if (requests.size() >= manager_->freelist_size()) break;
        if (!resident_.count(key)) {
            requests.push_back(key);
            // Compared after the addition: a budget of 0 still lets one through.
            if (static_cast<long long>(requests.size()) >= budget) break;
        }
    }
    reader_->request_bricks(requests);
    std::vector<Brick> bricks;
    reader_->get_bricks_if_loaded(requests, bricks);

    GLenum const type = gl_type_of(reader_->get_type());
    std::size_t const cell = std::size_t(manager_->get_brick_size()) * manager_->get_brick_size() *
                             manager_->get_brick_size();
    std::size_t const bytes = static_cast<std::size_t>(Info3DGrid::bytes_for(reader_->get_type(), cell));
    for (Brick const& brick : bricks) {
        if (manager_->freelist_size() == 0) break;
        if (brick.data.size() != bytes) continue; // would read past the brick
        ++uploads;
        vec<unsigned, 3> slot{{0, 0, 0}};
        manager_->upload_brick(type, brick.data, slot, *reader_);
        BrickKey const key{brick.level, brick.id};
        resident_[key] = slot;
        write_layout(key, slot, static_cast<unsigned char>(key.level));
    }

    if (evictions > 0 || uploads > 0) {
        clear_undefined_layout();
        upload_layout();
    }
}

void GPUCubeMemoryDataSource::evict_brick(BrickKey const& key)
{
    if (reader_->is_root(key)) return;
    auto const it = resident_.find(key);
    if (it == resident_.end()) return;
    vec<unsigned, 3> const slot = it->second;
    resident_.erase(it);
    if (manager_) manager_->remove_brick(slot);
    BrickKey parent;
    if (reader_->get_parent(key, parent)) {
        auto const p = resident_.find(parent);
        if (p != resident_.end()) {
            write_layout(key, p->second, static_cast<unsigned char>(parent.level));
            return;
        }
    }
    write_layout(key, kReservedSlot, static_cast<unsigned char>(key.level));
}

bool GPUCubeMemoryDataSource::has_resident_child(BrickKey const& key) const
{
    BrickKey children[2][2][2];
    for (auto& plane : children)
        for (auto& row : plane)
            for (auto& child : row) child = BrickKey{BrickGrid::kNoBrick, BrickGrid::kNoBrick};
    if (!reader_->get_children(key, children)) return false;
    for (auto const& plane : children)
        for (auto const& row : plane)
            for (auto const& child : row)
                if (child.level != BrickGrid::kNoBrick && child.id != BrickGrid::kNoBrick && resident_.count(child))
                    return true;
    return false;
}

void GPUCubeMemoryDataSource::write_layout(BrickKey const& key, vec<unsigned, 3> const& slot, unsigned char level)
{
    auto const& counts = reader_->get_level_counts();
    if (key.level >= counts.size()) return;
    std::uint32_t const entry = pack_layout_entry(slot, level);
    vec<unsigned, 3> pos = reader_->id2pos(key);
    vec<unsigned, 3> extent{{1, 1, 1}};
    for (unsigned l = key.level;; --l) {
        auto const& c = counts[l];
        for (unsigned z = pos[2]; z < pos[2] + extent[2] && z < c[2]; ++z)
            for (unsigned y = pos[1]; y < pos[1] + extent[1] && y < c[1]; ++y)
                for (unsigned x = pos[0]; x < pos[0] + extent[0] && x < c[0]; ++x)
                    layout_[l][reader_->pos2id(x, y, z, l)] = entry;
        if (l == 0) break;
        // An axis that stopped halving keeps its extent.
        for (int a = 0; a < 3; ++a)
            if (counts[l - 1][a] > c[a]) {
                extent[a] *= 2;
                pos[a] *= 2;
            }
    }
}

void GPUCubeMemoryDataSource::clear_undefined_layout()
{
    if (layout_.empty()) return;
    auto& level0 = layout_[0];
    for (std::size_t id = 0; id < level0.size(); ++id)
        if (reader_->is_undef_brick(BrickKey{0, static_cast<unsigned>(id)})) level0[id] = 0;
}

void GPUCubeMemoryDataSource::upload_layout()
{
    auto const& counts = reader_->get_level_counts();
    if (counts.empty() || layout_tex_ == ~0u) return;
    bind_texture_3d(GL_TEXTURE1, layout_tex_);
    check_gl_error(kPath, static_cast<unsigned>(__LINE__));
    glTexSubImage3D(GL_TEXTURE_3D, 0, 0, 0, 0, static_cast<GLsizei>(counts[0][0]), static_cast<GLsizei>(counts[0][1]),
                    static_cast<GLsizei>(counts[0][2]), GL_RGBA, GL_UNSIGNED_BYTE, layout_[0].data());
    check_gl_error(kPath, static_cast<unsigned>(__LINE__));
}

BrickCoverage GPUCubeMemoryDataSource::coverage(std::set<BrickKey> const& wanted) const
{
    BrickCoverage c;
    c.bricks_per_level.assign(layout_.size(), 0);
    if (layout_.empty()) return c;
    // A resident brick has a slot of its own, so distinct slots at a level
    // count distinct bricks, however many positions each covers.
    std::vector<std::set<vec<unsigned, 3>>> shown(layout_.size());
    for (BrickKey const& key : wanted) {
        if (key.level != 0 || key.id >= layout_[0].size() || reader_->is_undef_brick(key)) continue;
        ++c.positions;
        LayoutEntry const e = unpack_layout_entry(layout_[0][key.id]);
        if (e.slot == kReservedSlot || e.level >= shown.size())
            ++c.holes;
        else
            shown[e.level].insert(e.slot);
    }
    for (std::size_t l = 0; l < shown.size(); ++l) c.bricks_per_level[l] = static_cast<unsigned>(shown[l].size());
    return c;
}

} // namespace Tolmar
