#pragma once
// The folder for temporary files, with a trailing separator: the value of
// QUELDRIN_TMPDIR when that is set, otherwise TMPDIR, otherwise /tmp.

#include <string>

class TempPath {
public:
    static std::string GetTempPathA();
    static std::wstring GetTempPathW();
};
