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
    // Letters, digits and blank as in every EBCDIC code page.
    std::string const upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ", lower = "abcdefghijklmnopqrstuvwxyz";
    unsigned char const upperCodes[] = {0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9,
                                        0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7, 0xD8, 0xD9,
                                        0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9};
    for (int i = 0; i < 26; ++i) {
        EXPECT_EQ(EBCDICconverter::toASCII(upperCodes[i]), upper[i]);
        EXPECT_EQ(EBCDICconverter::toASCII(static_cast<unsigned char>(upperCodes[i] - 0x40)), lower[i]);
    }
    for (int d = 0; d < 10; ++d) EXPECT_EQ(EBCDICconverter::toASCII(static_cast<unsigned char>(0xF0 + d)), '0' + d);
    EXPECT_EQ(EBCDICconverter::toASCII(0x40), ' ');
    // Where this table follows the older UNIX tables rather than code page 037.
    EXPECT_EQ(EBCDICconverter::toASCII(0x4A), '[');
    EXPECT_EQ(EBCDICconverter::toASCII(0x5A), ']');
    EXPECT_EQ(EBCDICconverter::toASCII(0x4F), '!');
    EXPECT_EQ(EBCDICconverter::toASCII(0x5F), '^');
    EXPECT_EQ(EBCDICconverter::toASCII(0x6A), '|');
    EXPECT_EQ(EBCDICconverter::toASCII(0xC0), '{');
    EXPECT_EQ(EBCDICconverter::toASCII(0xD0), '}');
    EXPECT_EQ(EBCDICconverter::toASCII(0xE0), '\\');
    EXPECT_EQ(EBCDICconverter::toASCII(0xA1), '~');
    EXPECT_EQ(EBCDICconverter::toASCII(0x79), '`');
    // Unprintable positions map one to one onto the remaining codes.
    EXPECT_EQ(EBCDICconverter::toASCII(0x04), 0x9C);
    EXPECT_EQ(EBCDICconverter::toASCII(0xFF), 0xFF);
    EXPECT_EQ(EBCDICconverter::toASCII(0x25), '\n');
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
