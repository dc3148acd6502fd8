#include "foundation/log.h"

#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <string>

#include "platform/debug_stream.h"
#include "platform/text_encoding.h"

namespace Util {

namespace {

constexpr std::size_t kLogfBuffer = 2048;

void line(std::string text)
{
    text.push_back('\n');
    Tolmar::platform::debug_write(text);
}

void named(wchar_t const* name, std::string const& value)
{
    line(Tolmar::platform::to_utf8(name ? name : L"null") + ": " + value);
}

} // namespace

void logc(char const* text) { line(text ? text : "null"); }

void log(wchar_t const* text) { line(Tolmar::platform::to_utf8(text ? text : L"null")); }

void log(wchar_t const* name, wchar_t const* value)
{
    named(name, value ? Tolmar::platform::to_utf8(value) : "null");
}

void log(wchar_t const* name, std::wstring const& value) { named(name, Tolmar::platform::to_utf8(value)); }

void log(wchar_t const* name, short variantBool) { named(name, variantBool == -1 ? "true" : "false"); }

void log(wchar_t const* name, bool value) { named(name, value ? "true" : "false"); }

void log(wchar_t const* name, double value)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.17g", value);
    named(name, text);
}

void log(wchar_t const* name, int value) { named(name, std::to_string(value)); }
void log(wchar_t const* name, long value) { named(name, std::to_string(value)); }
void log(wchar_t const* name, long long value) { named(name, std::to_string(value)); }

void logf(char const* format, ...)
{
    char text[kLogfBuffer];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    Tolmar::platform::debug_write(text);
}

void logf(wchar_t const* format, ...)
{
    wchar_t text[kLogfBuffer];
    text[0] = L'\0';
    va_list args;
    va_start(args, format);
    int const n = std::vswprintf(text, kLogfBuffer, format, args);
    va_end(args);
    // vswprintf fails on text that does not fit; keep what was written, cut at the end.
    if (n < 0) text[kLogfBuffer - 1] = L'\0';
    Tolmar::platform::debug_write(Tolmar::platform::to_utf8(text));
}

} // namespace Util
