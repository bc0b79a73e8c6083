#include <fstream>
#include <iostream>
#include <string>

/* usage: typed_lists_corpus FOLDER: writes one list for each way that numbers are written and parted. */

namespace {

bool write(const std::string& folder, const char* name, const char* text) {
    std::ofstream file(folder + "/" + name, std::ios::binary);
    return static_cast<bool>((file << text).flush());
}

}

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: typed_lists_corpus FOLDER\n";
        return 2;
    }
    const std::string folder = argv[1];
    const bool isWhole = write(folder, "integers", "10, 20;30 0017 99999999999999999999") &&
                         write(folder, "floats", "1.5 -2.5 .5 80. 1e3 0x1.8p3 inf nan 12abc") &&
                         write(folder, "ties", "16777217 1.00000017881393432617187499 0.0000000001") &&
                         write(folder, "groups", "1 2/3 4 5//6/ /7");
    return isWhole ? 0 : 1;
}
