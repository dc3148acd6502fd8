#include "foundation/BrickGrid.h"

namespace Tolmar {

BrickGrid::BrickGrid(vec<unsigned, 3> const& totalSize, unsigned brickSize, unsigned border)
    : totalSize_(totalSize), brickSize_(brickSize), border_(border)
{
    // In 64 bits: a border of 2^31 or more must not wrap into a small one.
    if (static_cast<unsigned long long>(brickSize) <= 2ULL * border) return;
    vec<unsigned, 3> c;
    for (int a = 0; a < 3; ++a) {
        if (totalSize[a] == 0) return;
        c[a] = static_cast<unsigned>((static_cast<unsigned long long>(totalSize[a]) + core() - 1) / core());
    }
    counts_.push_back(c);
    while (c[0] > 1 || c[1] > 1 || c[2] > 1) {
        for (int a = 0; a < 3; ++a) c[a] = (c[a] + 1) / 2;
        counts_.push_back(c);
    }
}

unsigned long long BrickGrid::bricks_in_level(unsigned level) const
{
    if (level >= counts_.size()) return 0;
    auto const& c = counts_[level];
    return static_cast<unsigned long long>(c[0]) * c[1] * c[2];
}

bool BrickGrid::contains(BrickKey const& key) const
{
    return key.level < counts_.size() && key.id < bricks_in_level(key.level);
}

vec<unsigned, 3> BrickGrid::id2pos(BrickKey const& key) const
{
    vec<unsigned, 3> pos{{0, 0, 0}};
    if (key.level >= counts_.size()) return pos;
    auto const& c = counts_[key.level];
    pos[0] = key.id % c[0];
    pos[1] = (key.id / c[0]) % c[1];
    pos[2] = key.id / (c[0] * c[1]);
    return pos;
}

unsigned BrickGrid::pos2id(unsigned x, unsigned y, unsigned z, unsigned level) const
{
    if (level >= counts_.size()) return kNoBrick;
    auto const& c = counts_[level];
    return (z * c[1] + y) * c[0] + x;
}

unsigned BrickGrid::pos2id(vec<unsigned, 3> const& pos, unsigned level) const
{
    return pos2id(pos[0], pos[1], pos[2], level);
}

bool BrickGrid::is_root(BrickKey const& key) const
{
    return !counts_.empty() && key.level == counts_.size() - 1 && key.id == 0;
}

bool BrickGrid::get_parent(BrickKey const& key, BrickKey& parent) const
{
    if (!contains(key) || key.level + 1 >= counts_.size()) return false;
    auto const pos = id2pos(key);
    parent.level = key.level + 1;
    parent.id = pos2id(pos[0] / 2, pos[1] / 2, pos[2] / 2, parent.level);
    return true;
}

bool BrickGrid::get_children(BrickKey const& key, BrickKey (*children)[2][2]) const
{
    if (!contains(key) || key.level == 0) return false;
    auto const pos = id2pos(key);
    unsigned const finer = key.level - 1;
    auto const& c = counts_[finer];
    for (unsigned dx = 0; dx < 2; ++dx)
        for (unsigned dy = 0; dy < 2; ++dy)
            for (unsigned dz = 0; dz < 2; ++dz) {
                unsigned const x = 2 * pos[0] + dx, y = 2 * pos[1] + dy, z = 2 * pos[2] + dz;
                BrickKey& child = children[dx][dy][dz];
                child.level = finer;
                child.id = (x < c[0] && y < c[1] && z < c[2]) ? pos2id(x, y, z, finer) : kNoBrick;
            }
    return true;
}

} // namespace Tolmar
