#include <fstream>
#include <iostream>

#include "support/segyfiles.h"

/* usage: segy_layout_corpus FOLDER: writes one small file for each way that a layout is found. */

namespace {

bool write(const std::string& folder, const char* name, const std::string& bytes) {
    std::ofstream file(folder + "/" + name, std::ios::binary);
    return static_cast<bool>(file.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush());
}

std::string contradictoryCounts() {
    std::string file = makeSegy({.traces = 2, .samples = 20, .format = 1});
    putWord(file, 3221, 2, 75);
    return file;
}

std::string openTextHeaders() {
    std::string file = makeSegy({.traces = 1, .revision = 1, .afterBinaryHeader = textBlock(false, "((SEG: EndText))")});
    putWord(file, 3505, 2, -1);
    return file;
}

std::string revision2() {
    std::string file = makeSegy({.traces = 1, .revision = 2, .extraTraceHeaders = 1, .isLittle = true, .isAscii = true});
    putWord(file, 3221, 2, 0, true);
    putWord(file, 3269, 4, 8, true);
    putWord(file, 3273, 8, 0x409F400000000000, true); /* 2000 us */
    putWord(file, 3297, 4, 16909060, true);
    putWord(file, 3513, 8, 1, true);
    putWord(file, 3521, 8, 3600, true);
    putWord(file, 3529, 4, -1, true);
    return file + textBlock(true, "((SEG: EndText))");
}

}

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: segy_layout_corpus FOLDER\n";
        return 2;
    }
    const std::string folder = argv[1];
    const bool isWhole = write(folder, "ieee", makeSegy({.traces = 1})) &&
                         write(folder, "int16_little_ascii", makeSegy({.format = 3, .isLittle = true, .isAscii = true})) &&
                         write(folder, "ibm_contradictory_counts", contradictoryCounts()) &&
                         write(folder, "open_text_headers", openTextHeaders()) && write(folder, "revision_2", revision2());
    return isWhole ? 0 : 1;
}
