#ifndef PELTA_TOOL_TEXTHEADER_H
#define PELTA_TOOL_TEXTHEADER_H

#include <cstddef>

#include "segy/layout.h"

namespace pelta::segy {

/* How text is told from other bytes; what it says is read by textLines (layout.h). */

/* The alphabet of a text header of 3,200 bytes; EBCDIC, the older one, when nothing speaks for either. */
TextEncoding textEncodingOf(const unsigned char* header);

/* Mostly letters, digits and blanks of one alphabet, which traces and their headers seldom are. */
bool looksLikeText(const unsigned char* bytes, std::size_t count);

/* Whether a text header of 3,200 bytes holds "((SEG: EndText))", with any blanks, in capitals or not, in either alphabet. */
bool endsText(const unsigned char* block);

}

#endif
