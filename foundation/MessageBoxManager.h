#pragma once
// The process-wide message box: the installed one, or a MessageBoxLog.

#include "platform/api.h"

#include <atomic>

#include "foundation/IMessageBox.h"
#include "foundation/MessageBoxLog.h"

TOLMAR_PUBLIC_BEGIN

namespace Util {

class MessageBoxManager {
public:
    static MessageBoxManager& instance();
    // The box stays owned by the caller and must outlive its installation;
    // null restores the log.
    void installMessageBox(IMessageBox* box) { installed_.store(box); }
    IMessageBox* getmessageBox();

private:
    MessageBoxManager() = default;
    std::atomic<IMessageBox*> installed_{nullptr};
    MessageBoxLog log_;
};

} // namespace Util

TOLMAR_PUBLIC_END
