#ifndef PELTA_TOOL_TEXTHEADER_H
#define PELTA_TOOL_TEXTHEADER_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "segy/layout.h"

namespace pelta::segy {

inline constexpr int textLineCount = 40, textLineLength = 80;

/* The alphabet of a text header of 3,200 bytes; EBCDIC, the older one, when nothing speaks for either. */
TextEncoding textEncodingOf(const unsigned char* header);

/* Mostly letters, digits and blanks of one alphabet, which traces and their headers seldom are. */
bool looksLikeText(const unsigned char* bytes, std::size_t count);

/* Whether a text header of 3,200 bytes holds "((SEG: EndText))", with any blanks, in capitals or not, in either alphabet. */
bool endsText(const unsigned char* block);

/* The 40 lines of 80 characters of the text header (or of extended header k = 1, 2, ...) as printable ASCII, with blanks for
 * everything else; no lines when there is no such header. */
std::vector<std::string> textLines(const Preamble& preamble, const Layout& layout, int header = 0);
/* Replaces line (0 .. 39) of the text header, in the file's own encoding. */
void setTextLine(Preamble& preamble, const Layout& layout, int line, std::string_view text);

}

#endif
