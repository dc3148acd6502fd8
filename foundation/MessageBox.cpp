#include "foundation/IMessageBox.h"
#include "foundation/MessageBoxLog.h"
#include "foundation/MessageBoxManager.h"

#include <string>

#include "foundation/log.h"
#include "platform/text_encoding.h"

namespace Util {

void IMessageBox::show(char const* text, unsigned int flags)
{
    std::wstring const wide = Tolmar::platform::from_utf8(text ? text : "");
    show(wide.c_str(), flags);
}

void MessageBoxLog::show(wchar_t const* text, unsigned int)
{
    log(text ? text : L"");
}

MessageBoxManager& MessageBoxManager::instance()
{
    static MessageBoxManager manager;
    return manager;
}

IMessageBox* MessageBoxManager::getmessageBox()
{
    IMessageBox* box = installed_.load();
    return box ? box : &log_;
}

} // namespace Util
