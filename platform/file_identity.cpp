#include "platform/file_identity.h"

#include <sys/stat.h>

namespace Tolmar::platform {

bool get_unique_file_identifier(std::string const& path, FileIdentity& out)
{
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) return false;
    // Widened first: a shift by 32 of a 32-bit ino_t would be undefined.
    auto const ino = static_cast<std::uint64_t>(st.st_ino);
    out.high = static_cast<std::uint32_t>(ino >> 32);
    out.low = static_cast<std::uint32_t>(ino);
    out.volume = static_cast<std::uint32_t>(st.st_dev);
    return true;
}

} // namespace Tolmar::platform
