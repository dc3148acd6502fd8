#include "foundation/TempPath.h"

#include <cstdlib>

#include "platform/text_encoding.h"

std::string TempPath::GetTempPathA()
{
    if (char const* own = std::getenv("QUELDRIN_TMPDIR")) return std::string(own) + "/";
    char const* tmp = std::getenv("TMPDIR");
    std::string dir = tmp && *tmp ? tmp : "/tmp";
    if (dir.back() != '/') dir.push_back('/');
    return dir;
}

std::wstring TempPath::GetTempPathW() { return Tolmar::platform::from_utf8(GetTempPathA()); }
