#include "foundation/HResultCheck.h"

#include "foundation/log.h"
#include "platform/last_error.h"

bool HResultCheckFunc(long hresult, char const* expression, char const* file, int line)
{
    if (hresult >= 0) return true;
    auto const info = Tolmar::platform::take_last_error_info();
    auto const at = static_cast<unsigned>(line);
    if (info)
        Util::logf("HResult Error: '%s' caught at %s:%u  %s\n", info->c_str(), file, at, expression);
    else
        Util::logf("HResult Error caught at %s:%u  %s\n", file, at, expression);
    return false;
}
