#pragma once
// A message box that writes to the debug stream: the sink when none is installed.

#include "platform/api.h"
#include "foundation/IMessageBox.h"

TOLMAR_PUBLIC_BEGIN

namespace Util {

class MessageBoxLog : public IMessageBox {
public:
    using IMessageBox::show;
    void show(wchar_t const* text, unsigned int flags) override;
};

} // namespace Util

TOLMAR_PUBLIC_END
