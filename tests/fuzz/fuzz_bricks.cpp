// The brick file reader on any bytes: the file opened as the tool opens it,
// sliced, and its bricks of every level read and decoded.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/Streamer3DGridReader.h"
#include "fuzz_cube_reads.h"
#include "fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    tolmar_fuzz::quiet();
    std::string const path = tolmar_fuzz::as_file(data, size, ".tmf");
    Tolmar::Seismic3DTraceReader cube(path);
    tolmar_fuzz::read_cube(cube);
    if (!cube.valid()) return 0;
    // The first few bricks of each level: the decoder sees every level's shape.
    auto const& reader = cube.brickReader;
    std::vector<Tolmar::BrickKey> keys;
    for (unsigned level = 0; level < reader->get_num_levels(); ++level)
        for (unsigned id = 0; id < 8 && id < reader->grid().bricks_in_level(level); ++id)
            keys.push_back(Tolmar::BrickKey{level, id});
    std::vector<Tolmar::Streamer3DGridReader::BrickView> views;
    reader->get_brick_views_blocking(keys, views);
    return 0;
}
