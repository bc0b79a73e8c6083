#include "segy/textheader.h"

#include <pelta/formats.h>

#include <algorithm>
#include <array>
#include <cctype>

namespace pelta::segy {
namespace {

bool isPrintable(unsigned char c) { return c >= ' ' && c < 0x7F; }

std::array<unsigned char, 256> readableBytes() {
    std::array<unsigned char, 256> readable;
    for (int c = 0; c < 256; ++c) readable[c] = static_cast<unsigned char>(c);
    ebcdicToAscii(readable.data(), 256);
    for (unsigned char& c : readable)
        if (!isPrintable(c)) c = ' ';
    return readable;
}

/* Letters, digits and blanks: what text consists of and other bytes seldom are, in both alphabets. */
int plainCharacters(const unsigned char* bytes, std::size_t count, TextEncoding encoding) {
    static const std::array<unsigned char, 256> fromEbcdic = readableBytes();
    const auto isPlain = [&](unsigned char c) {
        if (encoding == TextEncoding::ascii) return c == ' ' || std::isalnum(c) != 0;
        return c == 0x40 || (c > 0x40 && std::isalnum(fromEbcdic[c]) != 0);
    };
    return static_cast<int>(std::count_if(bytes, bytes + count, isPlain));
}

}

TextEncoding textEncodingOf(const unsigned char* header) {
    const int ascii = plainCharacters(header, textHeaderBytes, TextEncoding::ascii);
    const int ebcdic = plainCharacters(header, textHeaderBytes, TextEncoding::ebcdic);
    return ascii > ebcdic ? TextEncoding::ascii : TextEncoding::ebcdic;
}

bool looksLikeText(const unsigned char* bytes, std::size_t count) {
    const int enough = static_cast<int>(count * 3 / 4);
    return plainCharacters(bytes, count, TextEncoding::ascii) >= enough ||
           plainCharacters(bytes, count, TextEncoding::ebcdic) >= enough;
}

bool endsText(const unsigned char* block) {
    for (const bool fromEbcdic : {true, false}) {
        std::string text(reinterpret_cast<const char*>(block), textHeaderBytes);
        if (fromEbcdic) ebcdicToAscii(reinterpret_cast<unsigned char*>(text.data()), textHeaderBytes);
        text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
        for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        if (text.find("((SEG:ENDTEXT))") != std::string::npos) return true;
    }
    return false;
}

namespace {

std::size_t textHeaderPosition(int header) {
    return header == 0 ? 0 : textHeaderBytes + binaryHeaderBytes + static_cast<std::size_t>(header - 1) * textHeaderBytes;
}

}

std::vector<std::string> textLines(const Preamble& preamble, const Layout& layout, int header) {
    if (header < 0 || header > layout.extendedTextHeaders) return {};
    const std::size_t position = textHeaderPosition(header);
    if (position + textHeaderBytes > preamble.size()) return {};
    std::string text(preamble.begin() + static_cast<std::ptrdiff_t>(position),
                     preamble.begin() + static_cast<std::ptrdiff_t>(position) + textHeaderBytes);
    if (layout.textEncoding == TextEncoding::ebcdic)
        ebcdicToAscii(reinterpret_cast<unsigned char*>(text.data()), textHeaderBytes);
    for (char& c : text)
        if (!isPrintable(static_cast<unsigned char>(c))) c = ' ';
    std::vector<std::string> lines;
    for (int k = 0; k < textLineCount; ++k) lines.push_back(text.substr(k * textLineLength, textLineLength));
    return lines;
}

void setTextLine(Preamble& preamble, const Layout& layout, int line, std::string_view text) {
    if (line < 0 || line >= textLineCount || preamble.size() < textHeaderBytes) return;
    std::string padded(text.substr(0, textLineLength));
    padded.resize(textLineLength, ' ');
    if (layout.textEncoding == TextEncoding::ebcdic)
        asciiToEbcdic(reinterpret_cast<unsigned char*>(padded.data()), textLineLength);
    std::copy(padded.begin(), padded.end(), preamble.begin() + std::ptrdiff_t{line} * textLineLength);
}

}
