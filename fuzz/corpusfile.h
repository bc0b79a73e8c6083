#ifndef PELTA_FUZZ_CORPUSFILE_H
#define PELTA_FUZZ_CORPUSFILE_H

#include <fstream>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

/* Writes texts under their names into the folder that is the only argument; the exit status. */
inline int writeCorpus(int argc, char** argv, const std::vector<std::pair<std::string, std::string>>& texts) {
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " FOLDER\n";
        return 2;
    }
    for (const auto& [name, text] : texts) {
        std::ofstream file(argv[1] + ("/" + name), std::ios::binary);
        if (!file.write(text.data(), static_cast<std::streamsize>(text.size())).flush()) return 1;
    }
    return 0;
}

#endif
