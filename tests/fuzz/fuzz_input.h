#pragma once
// What the fuzz targets share: the readers take paths, so each input goes to
// a file first; the library's log and the scan's prints are silenced, as a
// flood of them would slow the fuzzer to a crawl.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "platform/debug_stream.h"
#include "platform/user_output.h"

namespace tolmar_fuzz {

inline void quiet()
{
    static bool done = false;
    if (done) return;
    done = true;
    Tolmar::platform::set_debug_sink([](std::string_view) {});
    Tolmar::platform::set_output_sink([](std::string_view) {});
}

// A path of this process's own with the given extension, under TMPDIR.
inline std::string scratch_path(char const* extension)
{
    char const* dir = std::getenv("TMPDIR");
    return std::string(dir && *dir ? dir : "/tmp") + "/tolmar_fuzz_" + std::to_string(::getpid()) + extension;
}

// Writes the input to scratch_path(extension) and answers the path. A fresh
// file each time: readers are shared by file identity, and an old reader
// must not answer for new bytes.
inline std::string as_file(std::uint8_t const* data, std::size_t size, char const* extension)
{
    std::string const path = scratch_path(extension);
    std::remove(path.c_str());
    if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
        if (size > 0) std::fwrite(data, 1, size, f);
        std::fclose(f);
    }
    return path;
}

} // namespace tolmar_fuzz
