// The index file reader on any bytes: the index read, its description
// checked and the cube opened through it on a SEG-Y file of its own, then
// read as the tool reads it. TOLMAR_FUZZ_SEGY names the SEG-Y file that the
// seed indexes were made from (scripts/fuzz.sh writes both).

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "foundation/CompressedIndex.h"
#include "fuzz_cube_reads.h"
#include "fuzz_input.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    if (!std::getenv("TOLMAR_FUZZ_SEGY")) {
        std::fprintf(stderr, "fuzz_index: set TOLMAR_FUZZ_SEGY to the SEG-Y file of the seed indexes\n");
        std::exit(2);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    tolmar_fuzz::quiet();
    std::string const index = tolmar_fuzz::as_file(data, size, ".idx");
    Tolmar::CompressedIndex direct;
    if (direct.read(index)) direct.description_problem();
    Tolmar::Seismic3DTraceReader cube(std::getenv("TOLMAR_FUZZ_SEGY"), index);
    tolmar_fuzz::read_cube(cube);
    return 0;
}
