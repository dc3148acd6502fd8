// The text header's code table.

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "segy/EBCDICconverter.h"

namespace {

using Tolmar::EBCDICconverter;

TEST(Ebcdic, TableIsAPermutationWithTheExpectedLetters)
{
    std::set<int> seen;
    for (int e = 0; e < 256; ++e) seen.insert(EBCDICconverter::toASCII(static_cast<unsigned char>(e)));
    EXPECT_EQ(seen.size(), 256u);
    // Letters, digits and blank as in every EBCDIC code page; then where this
    // table follows the older UNIX tables rather than code page 037, and
    // unprintable positions mapped one to one onto the remaining codes.
    std::string const letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    unsigned char const firstOfRun[] = {0xC1, 0xD1, 0xE2}, runStart[] = {0, 9, 18, 26};
    for (int run = 0; run < 3; ++run)
        for (int i = runStart[run]; i < runStart[run + 1]; ++i) {
            auto const code = static_cast<unsigned char>(firstOfRun[run] + i - runStart[run]);
            EXPECT_EQ(EBCDICconverter::toASCII(code), letters[i]);
            EXPECT_EQ(EBCDICconverter::toASCII(static_cast<unsigned char>(code - 0x40)), letters[i] + 32);
        }
    for (int d = 0; d < 10; ++d) EXPECT_EQ(EBCDICconverter::toASCII(static_cast<unsigned char>(0xF0 + d)), '0' + d);
    for (auto [code, ascii] : {std::pair{0x40, ' '}, {0x4A, '['}, {0x5A, ']'}, {0x4F, '!'}, {0x5F, '^'}, {0x6A, '|'},
                               {0xC0, '{'}, {0xD0, '}'}, {0xE0, '\\'}, {0xA1, '~'}, {0x79, '`'}, {0x25, '\n'}})
        EXPECT_EQ(EBCDICconverter::toASCII(static_cast<unsigned char>(code)), ascii) << code;
    EXPECT_EQ(EBCDICconverter::toASCII(0x04), 0x9C);
    EXPECT_EQ(EBCDICconverter::toASCII(0xFF), 0xFF);
}

TEST(Ebcdic, ConversionsBothWays)
{
    EBCDICconverter c;
    std::string ascii;
    for (int i = 0; i < 128; ++i) ascii.push_back(static_cast<char>(i));
    std::string ebcdic(ascii.size(), '\0');
    c.ASCIItoEBCDIC(ascii, ebcdic.data());
    EXPECT_EQ(c.EBCDICtoASCII(ebcdic.data(), static_cast<int>(ebcdic.size())), ascii);

    EXPECT_EQ(c.EBCDICtoASCII("\xC8\x89", 2), "Hi");
    EXPECT_EQ(c.EBCDICtoASCII("\xC8\x89", 0), "");
    EXPECT_EQ(c.EBCDICtoASCII("\xC8\x89", -3), "");
    EXPECT_EQ(c.ASCIItoASCII("ab\0c", 4), std::string("ab\0c", 4));
    EXPECT_EQ(c.ASCIItoASCII("abc", 0), "");

    // Characters from 128 up are left alone in the output.
    std::string high = "A\xE9Z";
    char out[3] = {'x', 'y', 'z'};
    c.ASCIItoEBCDIC(high, out);
    EXPECT_EQ(static_cast<unsigned char>(out[0]), 0xC1);
    EXPECT_EQ(out[1], 'y');
    EXPECT_EQ(static_cast<unsigned char>(out[2]), 0xE9);
}

} // namespace
