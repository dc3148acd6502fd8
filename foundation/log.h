#pragma once
// Trace lines for a developer, written to the process's debug stream
// (platform/debug_stream.h), never to a file or the console. No levels.

#include "platform/api.h"

#include <string>

TOLMAR_PUBLIC_BEGIN

namespace Util {

// The text and a line end.
void logc(char const* text);
void log(wchar_t const* text);
// Name, separator, value, line end; a null value prints "null".
void log(wchar_t const* name, wchar_t const* value);
void log(wchar_t const* name, std::wstring const& value);
// A VARIANT_BOOL: "true" for the all-ones value -1 only, else "false".
void log(wchar_t const* name, short variantBool);
void log(wchar_t const* name, bool value);
void log(wchar_t const* name, double value);
void log(wchar_t const* name, int value);
void log(wchar_t const* name, long value);
void log(wchar_t const* name, long long value);
// printf formatting into a buffer of 2048 characters (longer text is cut);
// no line end is added.
void logf(char const* format, ...) __attribute__((format(printf, 1, 2)));
void logf(wchar_t const* format, ...);

} // namespace Util

TOLMAR_PUBLIC_END
