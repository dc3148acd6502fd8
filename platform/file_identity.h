#pragma once
// What makes a file itself rather than its name: the same file reached by
// different paths (links, relative paths, "..") has one identity, so caches
// keyed on it hold one entry per file.

#include "platform/api.h"

#include <compare>
#include <cstdint>
#include <string>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::platform {

// The file index in two halves and the volume it lives on. Unique among the
// files that exist at one time; the index of a deleted file may be reused.
struct FileIdentity {
    std::uint32_t high = 0;
    std::uint32_t low = 0;
    std::uint32_t volume = 0;

    auto operator<=>(FileIdentity const&) const = default;
};

// The identity of the file the path names, symbolic links followed. False,
// with `out` left alone, when the file cannot be reached.
bool get_unique_file_identifier(std::string const& path, FileIdentity& out);

} // namespace Tolmar::platform

TOLMAR_PUBLIC_END
