#pragma once
// The folder for temporary files, with a trailing separator: the value of
// QUELDRIN_TMPDIR when that is set, otherwise TMPDIR, otherwise /tmp.

#include "platform/api.h"

#include <string>

TOLMAR_PUBLIC_BEGIN

class TempPath {
public:
    static std::string GetTempPathA();
    static std::wstring GetTempPathW();
};

TOLMAR_PUBLIC_END
