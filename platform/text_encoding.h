#pragma once
// Wide strings are UTF-32 here; the debug stream and files take UTF-8.

#include "platform/api.h"

#include <string>
#include <string_view>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::platform {

std::string to_utf8(std::wstring_view text);
// Malformed bytes become U+FFFD.
std::wstring from_utf8(std::string_view text);

} // namespace Tolmar::platform

TOLMAR_PUBLIC_END
