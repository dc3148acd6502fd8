#pragma once
// The stream through which objects persist their state in a document: a
// sequence of typed values, read back in the order written. A file stream
// (FileVariantStream.h) stands in for the host's document.

#include "platform/api.h"

#include <cstdint>
#include <string>
#include <variant>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

// Empty, a 4-byte integer, a double, a boolean, a string.
using Variant = std::variant<std::monostate, std::int32_t, double, bool, std::wstring>;

class IVariantStream {
public:
    virtual ~IVariantStream() = default;
    // False when the value cannot be written.
    virtual bool write(Variant const& value) = 0;
    // False at the end of the stream or when the next value is damaged;
    // `value` is then unchanged.
    virtual bool read(Variant& value) = 0;
};

} // namespace Tolmar::host

namespace Tolmar {

// Write or read one value; a failure is logged as "Error writing: <label>"
// or "Error reading: <label>". A read value of another type than `expected`
// is a failure too, and leaves `value` unchanged.
bool writeVariantStream(host::IVariantStream* stream, host::Variant const& value, char const* label);
bool readVariantStream(host::IVariantStream* stream, host::Variant& value, char const* label);

} // namespace Tolmar

TOLMAR_PUBLIC_END
