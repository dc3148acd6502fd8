#pragma once
// Checks the status of a host call: 0 and above is success. A failure is
// logged with the thread's last error description, the place and the
// expression; nothing is thrown.

#include "platform/api.h"

TOLMAR_PUBLIC_BEGIN

bool HResultCheckFunc(long hresult, char const* expression, char const* file, int line);

// Checks an expression's status with its own text and place.
#define HR_CHECK(expr) HResultCheckFunc(static_cast<long>(expr), #expr, __FILE__, __LINE__)

TOLMAR_PUBLIC_END
