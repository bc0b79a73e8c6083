#include <gtest/gtest.h>
#include <pelta/formats.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Table = std::array<unsigned char, 256>;

Table tableFromHex(const char* digits) {
    std::istringstream stream(digits);
    Table table{};
    unsigned value;
    for (unsigned char& entry : table) {
        stream >> std::hex >> value;
        entry = static_cast<unsigned char>(value);
    }
    EXPECT_TRUE(stream);
    return table;
}

/* Row = high nibble of the byte that is translated, column = its low nibble. */
const Table& ebcdicOfAscii() {
    static const Table table = tableFromHex(
        "00 01 02 03 37 2D 2E 2F 16 05 25 0B 0C 0D 0E 0F "
        "10 11 12 13 3C 3D 32 26 18 19 3F 27 1C 1D 1E 1F "
        "40 5A 7F 7B 5B 6C 50 7D 4D 5D 5C 4E 6B 60 4B 61 "
        "F0 F1 F2 F3 F4 F5 F6 F7 F8 F9 7A 5E 4C 7E 6E 6F "
        "7C C1 C2 C3 C4 C5 C6 C7 C8 C9 D1 D2 D3 D4 D5 D6 "
        "D7 D8 D9 E2 E3 E4 E5 E6 E7 E8 E9 4A E0 4F 5F 6D "
        "79 81 82 83 84 85 86 87 88 89 91 92 93 94 95 96 "
        "97 98 99 A2 A3 A4 A5 A6 A7 A8 A9 C0 6A D0 A1 07 "
        "20 21 22 23 24 15 06 17 28 29 2A 2B 2C 09 0A 1B "
        "30 31 1A 33 34 35 36 08 38 39 3A 3B 04 14 3E E1 "
        "41 42 43 44 45 46 47 48 49 51 52 53 54 55 56 57 "
        "58 59 62 63 64 65 66 67 68 69 70 71 72 73 74 75 "
        "76 77 78 80 8A 8B 8C 8D 8E 8F 90 9A 9B 9C 9D 9E "
        "9F A0 AA AB AC AD AE AF B0 B1 B2 B3 B4 B5 B6 B7 "
        "B8 B9 BA BB BC BD BE BF CA CB CC CD CE CF DA DB "
        "DC DD DE DF EA EB EC ED EE EF FA FB FC FD FE FF ");
    return table;
}

const Table& asciiOfEbcdic() {
    static const Table table = tableFromHex(
        "00 01 02 03 1A 09 0A 7F 1A 1A 0A 0B 0C 0D 0E 0F "
        "10 11 12 13 1A 0A 08 1A 18 19 1A 1A 1A 1A 1A 1A "
        "1A 1A 1A 1A 1A 0A 17 1B 1A 1A 1A 1A 1A 05 06 07 "
        "1A 1A 16 1A 1A 1A 1A 04 1A 1A 1A 1A 14 15 1A 1A "
        "20 A6 E1 9C BE 1A 1A 1A F5 1A BD 2E 3C 28 2B 7C "
        "26 1A AA 1A 22 EF 87 85 8A 8D 21 24 2A 29 3B 5E "
        "2D 2F 95 97 61 6F 98 85 8A 82 BA 2C 25 5F 3E 3F "
        "8D 95 97 81 87 84 89 8B 94 60 3A 23 40 27 3D 22 "
        "81 61 62 63 64 65 66 67 68 69 83 88 8C 93 96 A0 "
        "82 6A 6B 6C 6D 6E 6F 70 71 72 A1 A2 92 A4 41 45 "
        "49 7E 73 74 75 76 77 78 79 7A 4F 55 41 5B 59 4A "
        "45 45 49 4F 55 59 53 8E 45 49 99 9A 41 5D 49 4F "
        "7B 41 42 43 44 45 46 47 48 49 55 41 90 49 1A 1A "
        "7D 4A 4B 4C 4D 4E 4F 50 51 52 4F 55 A5 1A 1A 1A "
        "5C 1A 53 54 55 56 57 58 59 5A 1A 86 87 1A 1A 1A "
        "30 31 32 33 34 35 36 37 38 39 91 1A 8F 80 1A FF ");
    return table;
}

Table allBytes() {
    Table bytes;
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(0));
    return bytes;
}

std::string toEbcdic(std::string text) {
    asciiToEbcdic(reinterpret_cast<unsigned char*>(text.data()), static_cast<int>(text.size()));
    return text;
}

std::string toAscii(std::string text) {
    ebcdicToAscii(reinterpret_cast<unsigned char*>(text.data()), static_cast<int>(text.size()));
    return text;
}

TEST(AsciiToEbcdic, WritesTheFirstLineOfATextHeader) {
    EXPECT_EQ(toEbcdic("C 1 CLIENT: A-1\n"), "\xC3\x40\xF1\x40\xC3\xD3\xC9\xC5\xD5\xE3\x7A\x40\xC1\x60\xF1\x25");
}

TEST(EbcdicToAscii, ReadsTheFirstLineOfATextHeader) {
    EXPECT_EQ(toAscii("\xC3\x40\xF1\x40\xC3\xD3\xC9\xC5\xD5\xE3\x7A\x40\xC1\x60\xF1\x25"), "C 1 CLIENT: A-1\n");
}

TEST(AsciiToEbcdic, TranslatesEveryByteByTheUnixTable) {
    Table bytes = allBytes();
    asciiToEbcdic(bytes.data(), 256);
    EXPECT_EQ(bytes, ebcdicOfAscii());
}

TEST(AsciiToEbcdic, IsAPermutation) {
    Table bytes = allBytes();
    asciiToEbcdic(bytes.data(), 256);
    EXPECT_EQ(std::set<unsigned char>(bytes.begin(), bytes.end()).size(), 256u);
}

TEST(EbcdicToAscii, TranslatesEveryByteByItsOwnTable) {
    Table bytes = allBytes();
    ebcdicToAscii(bytes.data(), 256);
    EXPECT_EQ(bytes, asciiOfEbcdic());
}

TEST(EbcdicToAscii, ReadsBothLineEndsAsNewline) { EXPECT_EQ(toAscii("\x15\x25"), "\n\n"); }

TEST(EbcdicToAscii, GivesSubForCodesWithoutAnEquivalent) {
    Table bytes = allBytes();
    ebcdicToAscii(bytes.data(), 256);
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 0x1A), 51);
}

TEST(EbcdicToAscii, ReturnsWhatAsciiToEbcdicWroteButForBracketsAndBar) {
    std::string lost;
    for (char c = 0x20; c < 0x7F; ++c)
        if (toAscii(toEbcdic(std::string(1, c))) != std::string(1, c)) lost += c;
    EXPECT_EQ(lost, "[]|");
    EXPECT_EQ(toEbcdic("[]|"), "\x4A\x4F\x6A");
    EXPECT_EQ(toAscii("\x4A\x4F\x6A"), "\xBD\x7C\xBA");
}

TEST(Translation, TakesTextOfEveryLengthAndTouchesNothingBehindIt) {
    std::mt19937 engine(7);
    for (int offset : {0, 1, 5})
        for (int length = 0; length < 400; ++length) {
            std::vector<unsigned char> text(offset + length + 70);
            for (unsigned char& byte : text) byte = static_cast<unsigned char>(engine() >> 13);
            std::vector<unsigned char> ascii = text, ebcdic = text, expectedAscii = text, expectedEbcdic = text;
            for (int i = offset; i < offset + length; ++i) {
                expectedAscii[i] = asciiOfEbcdic()[text[i]];
                expectedEbcdic[i] = ebcdicOfAscii()[text[i]];
            }
            ebcdicToAscii(ascii.data() + offset, length);
            asciiToEbcdic(ebcdic.data() + offset, length);
            ASSERT_EQ(ascii, expectedAscii) << length << " bytes";
            ASSERT_EQ(ebcdic, expectedEbcdic) << length << " bytes";
        }
}

TEST(Translation, DoesNothingForACountOfZeroOrLess) {
    for (int count : {0, -1, -256}) {
        Table bytes = allBytes();
        ebcdicToAscii(bytes.data(), count);
        asciiToEbcdic(bytes.data(), count);
        EXPECT_EQ(bytes, allBytes()) << count;
    }
}

}
