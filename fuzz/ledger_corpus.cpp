#include <fstream>
#include <iostream>
#include <string>

#include "support/plainledger.h"

/* usage: ledger_corpus FOLDER: writes a ledger for each way that records are kept, cut short and ended. */

namespace {

bool write(const std::string& folder, const char* name, const std::string& bytes) {
    std::ofstream file(folder + "/" + name, std::ios::binary);
    return static_cast<bool>((file << bytes).flush());
}

}

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: ledger_corpus FOLDER\n";
        return 2;
    }
    const std::string folder = argv[1], three = record("bob north L101 nmo 126 0 4711") +
                                                record("carol south L7 agc 99 11 -3") +
                                                record("alice north L101 nmo 126 0 12345");
    const std::string longest(24, 'n');
    const bool isWhole = write(folder, "three_records", three) && write(folder, "cut_short", three.substr(0, 300)) &&
                         write(folder, "ended_by_zero", record(std::string(1, '\0')) + three) &&
                         write(folder, "all_blank", std::string(3 * recordLength, ' ')) &&
                         write(folder, "names_side_by_side", record(longest + longest + longest + longest + "126 0 5")) &&
                         write(folder, "signs", record("\t alice\nnorth\vL101\fnmo\r+126 \t-0 +12x")) &&
                         write(folder, "largest_counts", record("a b c d 2147483648 -1 9223372036854775808"));
    return isWhole ? 0 : 1;
}
