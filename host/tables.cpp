#include <pelta/host.h>

#include <cstring>

namespace {

/* Header entries numbered 1, 2, 3, ... in their order of declaration: entry k stands in element k - 1 of a header. */
stdHdrStruct numberedEntries() {
    constexpr int entryCount = sizeof(stdHdrStruct) / sizeof(int);
    int numbers[entryCount];
    for (int i = 0; i < entryCount; ++i) numbers[i] = i + 1;
    stdHdrStruct entries;
    std::memcpy(&entries, numbers, sizeof(entries));
    return entries;
}

stdHdrStruct headerEntries = numberedEntries();
globalCharStruct texts = {};

}

stdHdrStruct* stdHdr = &headerEntries;
globalCharStruct* globalChar = &texts;
