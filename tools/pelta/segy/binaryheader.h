#ifndef PELTA_TOOL_BINARYHEADER_H
#define PELTA_TOOL_BINARYHEADER_H

#include "segy/headerwords.h"

namespace pelta::segy {

/* Words of the binary header, counted like everything in it from the start of the file. */
inline constexpr HeaderWord intervalWord{3217, 2}, samplesWord{3221, 2}, formatWord{3225, 2}, unitWord{3255, 2};
/* Since revision 1: one word in the byte order of the file, of which revision 2 makes two bytes, major first. */
inline constexpr HeaderWord revisionWord{3501, 2}, revisionMajorWord{3501, 1}, revisionMinorWord{3502, 1},
    fixedLengthWord{3503, 2}, extendedHeadersWord{3505, 2};
/* Since revision 2. */
inline constexpr HeaderWord extendedSamplesWord{3269, 4}, extendedIntervalWord{3273, 8}, byteOrderWord{3297, 4},
    extraTraceHeadersWord{3507, 4}, traceCountWord{3513, 8}, firstTraceWord{3521, 8}, trailerWord{3529, 4};

inline constexpr std::int64_t mostTextHeaders = 32767; /* what extendedHeadersWord can count; no trailer is longer either */
inline constexpr std::int64_t byteOrderConstant = 0x01020304;
inline constexpr std::int64_t metresUnit = 1, feetUnit = 2;

}

#endif
