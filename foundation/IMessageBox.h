#pragma once
// Where the library's messages to a user go. The embedding program installs
// a real dialog through MessageBoxManager.

#include "platform/api.h"

TOLMAR_PUBLIC_BEGIN

namespace Util {

class IMessageBox {
public:
    virtual ~IMessageBox() = default;
    // Converts UTF-8 to wide characters and calls the wide form.
    virtual void show(char const* text, unsigned int flags);
    virtual void show(wchar_t const* text, unsigned int flags) = 0;
};

} // namespace Util

TOLMAR_PUBLIC_END
