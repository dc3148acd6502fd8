#pragma once
// Wide strings are UTF-32 here; the debug stream and files take UTF-8.

#include <string>
#include <string_view>

namespace Tolmar::platform {

std::string to_utf8(std::wstring_view text);
// Malformed bytes become U+FFFD.
std::wstring from_utf8(std::string_view text);

} // namespace Tolmar::platform
