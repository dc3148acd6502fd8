#include "segy/SEGYcoding.h"

#include <algorithm>
#include <fstream>

#include "foundation/sample_decode.h"

namespace Tolmar {

void SEGYHeaderPositions::fill(SEGYreader::Type* types, int* positions) const
{
    using R = SEGYreader;
    int const p[R::SlotCount] = {17, inl, crl, scaler, x, y, delay, 69, 41};
    R::Type const t[R::SlotCount] = {R::Integer32, R::Integer32, R::Integer32, R::Integer16, R::Integer32,
                                     R::Integer32, R::Integer16, R::Integer16, R::Integer32};
    std::copy(p, p + R::SlotCount, positions);
    std::copy(t, t + R::SlotCount, types);
}

void SEGYCoding::apply(SEGYreader& reader) const
{
    reader.setLittleEndian(littleEndian);
    reader.setIbmFloat(ibmFloat);
    reader.setIsAscii(asciiText);
}

namespace {

bool readable_format(int format)
{
    SampleCoding coding;
    return sample_coding_for_format(format, true, coding);
}

} // namespace

bool detect_segy_coding(std::string const& path, SEGYByteOrder order, SEGYFloatKind kind, SEGYCoding& out,
                        std::string& why)
{
    std::ifstream s(path, std::ios::binary);
    if (!s) {
        why = "cannot open the file";
        return false;
    }
    unsigned char head[3600];
    if (!s.read(reinterpret_cast<char*>(head), sizeof head)) {
        why = "too short for SEG-Y text and reel headers";
        return false;
    }
    int const big = head[3224] << 8 | head[3225], little = head[3225] << 8 | head[3224];
    SEGYCoding c;
    if (order == SEGYByteOrder::Detect) {
        if (readable_format(big)) c.littleEndian = false;
        else if (readable_format(little)) c.littleEndian = true;
        else {
            why = "the reel header's format code (" + std::to_string(big) + ") is not a SEG-Y sample format";
            return false;
        }
    } else {
        c.littleEndian = order == SEGYByteOrder::Little;
    }
    c.format = c.littleEndian ? little : big;
    if (!readable_format(c.format)) {
        why = "format code " + std::to_string(c.format) + " is not a sample format this library reads";
        return false;
    }
    c.ibmFloat = kind == SEGYFloatKind::Detect ? c.format == 1 : kind == SEGYFloatKind::Ibm;
    // Text headers are mostly blanks: 0x40 in EBCDIC, 0x20 in ASCII.
    int ebcdicBlanks = 0, asciiBlanks = 0;
    for (int i = 0; i < 3200; ++i) {
        ebcdicBlanks += head[i] == 0x40;
        asciiBlanks += head[i] == 0x20;
    }
    c.asciiText = asciiBlanks > ebcdicBlanks;
    out = c;
    return true;
}

std::string segy_format_name(int format, bool ibmFloat)
{
    switch (format) {
    case 1:
    case 5: return ibmFloat ? "ibm" : "ieee";
    case 2: return "int32";
    case 3: return "int16";
    case 8: return "int8";
    default: return "code " + std::to_string(format);
    }
}

} // namespace Tolmar
