// The saved-document reader on any bytes. An odd first byte wraps the rest
// in a valid header and checksum, so that the fuzzer reaches the values
// themselves and not only the checksum test; an even one passes the rest as
// it is. Every value is read, and a cube slice loads from the stream.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "foundation/Ma.h"
#include "fuzz_input.h"
#include "graphics/CubeSlice.h"
#include "host/FileVariantStream.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    tolmar_fuzz::quiet();
    if (size == 0) return 0;
    std::vector<unsigned char> bytes;
    if (data[0] & 1) {
        bytes = {'T', 'M', 'V', 'S', 1, 0, 0, 0};
        bytes.insert(bytes.end(), data + 1, data + size);
        unsigned const sum =
            Tolmar::Ma::calculateChecksum(0x564d5453u, bytes.data(), static_cast<unsigned>(bytes.size()));
        for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<unsigned char>(sum >> (8 * i)));
    } else {
        bytes.assign(data + 1, data + size);
    }
    auto stream = Tolmar::host::FileVariantStream::from_bytes(bytes);
    if (!stream) return 0;
    Tolmar::CubeSlice slice;
    slice.load(stream.get());
    Tolmar::host::Variant value;
    while (stream->read(value)) {
    }
    return 0;
}
