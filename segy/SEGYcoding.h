#pragma once
// What a program needs to read a SEG-Y file it knows nothing of: the
// standard positions of revision 1's trace header words, and how the file
// codes its samples and text header, learnt from its first 3600 bytes.

#include "platform/api.h"

#include <string>

#include "segy/SEGYreader.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// Byte positions (counted from 1) of the trace header words a 3D survey
// needs. The readers keep no defaults; these are SEG-Y revision 1's.
struct SEGYHeaderPositions {
    int inl = 189, crl = 193, x = 181, y = 185, scaler = 71, delay = 109;

    // The reader's nine slots: shot point 17, the words above, depth scaler 69, depth 41.
    void fill(SEGYreader::Type* types, int* positions) const;
};

// How a file codes its samples and its text header.
struct SEGYCoding {
    int format = 0; // the reel header's sample format code
    bool littleEndian = false;
    bool ibmFloat = true; // for format codes 1 and 5
    bool asciiText = false;

    void apply(SEGYreader& reader) const;
};

enum class SEGYByteOrder { Detect, Big, Little };
enum class SEGYFloatKind { Detect, Ibm, Ieee };

// Reads the text and reel headers of path. Unless given, the byte order is
// the one under which the reel header's format code is a sample format this
// library reads, and the float kind IBM for code 1 and IEEE for 5; the text
// header is ASCII when it holds more ASCII blanks than EBCDIC ones. False
// when the file cannot be read or its format code is no sample format, with
// the reason in `why`.
bool detect_segy_coding(std::string const& path, SEGYByteOrder order, SEGYFloatKind kind, SEGYCoding& out,
                        std::string& why);

// A name for a sample format code: ibm, ieee, int32, int16, int8, or "code N".
std::string segy_format_name(int format, bool ibmFloat);

} // namespace Tolmar

TOLMAR_PUBLIC_END
