#include "graphics/brick_selector.h"

#include "foundation/Streamer3DGridReader.h"

namespace Tolmar {

void select_root_brick(std::vector<int> const&, std::vector<vec<float, 3>> const&, unsigned,
                       Streamer3DGridReader const& reader, std::set<BrickKey>& wanted)
{
    // The root goes in even when undefined: the pool then records it as
    // resident in the reserved cell and stops asking for it.
    if (reader.get_num_levels() > 0) wanted.insert(BrickKey{reader.get_num_levels() - 1, 0});
}

} // namespace Tolmar
