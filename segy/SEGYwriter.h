#pragma once
// Writes SEG-Y files for tests, demos and synthetic surveys: any format code,
// either byte order, IBM or IEEE floats, header words at chosen positions and
// a text header in EBCDIC or ASCII. The file is written under a temporary
// name and renamed into place by close(), so a failed run never leaves a
// half-written file under the final name.

#include "platform/api.h"

#include <fstream>
#include <string>
#include <vector>

#include "segy/SEGYreader.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class SEGYwriter {
public:
    // A trace header word: 1-based position, type and value (converted to
    // the type with rounding and saturation).
    struct Word {
        int position;
        SEGYreader::Type type;
        double value;
    };

    SEGYwriter() = default;
    ~SEGYwriter();
    SEGYwriter(SEGYwriter const&) = delete;
    SEGYwriter& operator=(SEGYwriter const&) = delete;

    // Format code of the reel header; it also fixes the sample width (2 bytes
    // for 3, 1 for 8, 4 otherwise). Unknown codes write IEEE words.
    void setFormat(int code) { format_ = code; }
    void setLittleEndian(bool on) { littleEndian_ = on; }
    // Float samples and Float32 header words as IBM words instead of IEEE.
    void setIbmFloat(bool on) { ibmFloat_ = on; }
    // Text header in ASCII instead of EBCDIC.
    void setAsciiText(bool on) { asciiText_ = on; }
    // Up to 40 lines; each is cut or padded with blanks to 80 characters.
    void setTextHeader(std::vector<std::string> lines) { text_ = std::move(lines); }
    void setSampleInterval(int microseconds) { interval_ = microseconds; }
    // Samples per trace, written to the reel header (current and original
    // count) and to bytes 115-116 of every trace header.
    void setSampleCount(int n) { nSamples_ = n; }
    // Any reel header field, at a 0-based offset within its 400 bytes;
    // width 16 or 32 bits. Applied after the fields above.
    void setReelWord(int offset, int widthBits, int value);

    // Creates the temporary file and writes the text and reel headers.
    bool open(std::string const& path);
    // Writes one trace: default words (sequence number at 1, sample count at
    // 115, interval at 117), then `words` over them, then sampleCount samples.
    bool writeTrace(std::vector<Word> const& words, float const* samples);
    bool writeTrace(std::vector<Word> const& words, std::vector<float> const& samples);
    // Flushes and renames the file into place.
    bool close();
    // Why the last operation failed.
    std::string const& error() const { return error_; }

    // Sample or header word encodings, exposed for tests that build bytes by hand.
    static void encodeSamples(float const* in, int n, int format, bool ibm, bool littleEndian,
                              std::vector<char>& out);
    static void encodeWord(unsigned char* header, Word const& w, bool ibm, bool littleEndian);

private:
    struct ReelWord {
        int offset, width, value;
    };
    bool fail(std::string message);

    int format_ = 1;
    bool littleEndian_ = false;
    bool ibmFloat_ = true;
    bool asciiText_ = false;
    std::vector<std::string> text_;
    int interval_ = 4000;
    int nSamples_ = 0;
    std::vector<ReelWord> reelWords_;

    std::string path_, tempPath_;
    std::ofstream out_;
    std::vector<char> buffer_;
    int traceCount_ = 0;
    std::string error_;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
