#pragma once
// Conversion of the SEG-Y text header between EBCDIC and ASCII.

#include "platform/api.h"

#include <string>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class EBCDICconverter {
public:
    // Each byte mapped through the text header's code table; a length below
    // 1 gives an empty string.
    std::string EBCDICtoASCII(char const* text, int length) const;
    // Each character below code 128 mapped through the inverse table into
    // out, which must have room for text.size() bytes. Characters from 128 up
    // are skipped.
    void ASCIItoEBCDIC(std::string const& text, char* out) const;
    // Copies the bytes one by one.
    std::string ASCIItoASCII(char const* text, int length) const;

    // The table itself: ASCII code of each EBCDIC byte.
    static unsigned char toASCII(unsigned char ebcdic);
    static unsigned char toEBCDIC(unsigned char ascii);
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
