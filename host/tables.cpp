#include <pelta/host.h>

#include <cstring>

namespace {

/* Header entries numbered 0, 1, 2, ... in their order of declaration. */
stdHdrStruct numberedEntries() {
    constexpr int entryCount = sizeof(stdHdrStruct) / sizeof(int);
    int numbers[entryCount];
    for (int i = 0; i < entryCount; ++i) numbers[i] = i;
    stdHdrStruct entries;
    std::memcpy(&entries, numbers, sizeof(entries));
    return entries;
}

stdHdrStruct headerEntries = numberedEntries();
globalCharStruct texts = {};

}

stdHdrStruct* stdHdr = &headerEntries;
globalCharStruct* globalChar = &texts;
