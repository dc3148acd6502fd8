// Writes the small seeds of the index and brick targets: the index of a
// survey with a 16-bin histogram in place of 65536 (whose half megabyte
// would be cut by the fuzzer's input limit), and brick cubes of a few small
// bricks in three element types, some bricks undefined.
//   make_seeds INDEX_IN INDEX_OUT BRICKS_DIR

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "foundation/CompressedIndex.h"
#include "foundation/Streamer3DGridLowLevelWriter.h"

namespace {

bool write_cube(std::string const& path, Tolmar::Info3DGrid::eDataType type)
{
    using namespace Tolmar;
    SEGYCubeInfo info;
    info.name = "seed";
    info.inlineRange = vec<int, 3>{{100, 105, 1}};
    info.crosslineRange = vec<int, 3>{{200, 208, 2}};
    info.zStart = 0;
    info.zStop = 76;
    info.zStep = 4;
    info.xInl = 12.5;
    info.yCrl = 25;
    vec<unsigned, 3> const total{{20, 5, 6}};
    auto w = open_grid3d_low_level_writer();
    if (!w->create(path, total, type, 8, 1, -100, 100, NAN, info)) return false;
    std::vector<Brick> bricks;
    unsigned const count = static_cast<unsigned>(w->grid().bricks_in_level(0));
    for (unsigned id = 0; id < count; ++id) {
        if (id == 1) continue; // an undefined brick
        Brick b;
        b.level = 0;
        b.id = id;
        w->fill_brick_data_with_undef_values(b);
        std::size_t const bytes = Info3DGrid::bytes_for(type, 1);
        for (std::size_t i = 0; i + bytes <= b.data.size(); i += bytes) {
            std::int8_t const v = static_cast<std::int8_t>((i / bytes * 7 + id) % 50);
            if (type == Info3DGrid::FLOAT) {
                float const f = v;
                std::memcpy(b.data.data() + i, &f, sizeof f);
            } else {
                b.data[i] = static_cast<char>(v);
            }
        }
        bricks.push_back(std::move(b));
    }
    w->add_bricks(bricks);
    w->set_histogram(std::vector<unsigned long long>(16, 5));
    return w->finish();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: make_seeds INDEX_IN INDEX_OUT BRICKS_DIR\n");
        return 2;
    }
    Tolmar::CompressedIndex index;
    if (!index.read(argv[1])) return 1;
    index.set_histogram(std::vector<unsigned long long>(16, 3));
    if (!index.write(argv[2])) return 1;
    std::string const dir = argv[3];
    using T = Tolmar::Info3DGrid;
    return write_cube(dir + "/int8.tmf", T::INT8) && write_cube(dir + "/int16.tmf", T::INT16) &&
                   write_cube(dir + "/float.tmf", T::FLOAT)
               ? 0
               : 1;
}
