#include "support/scratchstore.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "support/failure.h"
#include "support/libraryvoice.h"

namespace pelta {
namespace {

constexpr const char* variable = "PROMAX_SCRATCH_HOME";
constexpr std::size_t longestTransfer = 1 << 30; /* counts come back as int */

std::string temporaryFolder() {
    std::error_code problem;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(problem);
    return problem ? "/tmp" : folder.string();
}

std::string folderBeside(const std::string& outputName) {
    std::error_code problem;
    const bool isFile = std::filesystem::is_regular_file(outputName, problem) || !std::filesystem::exists(outputName, problem);
    if (outputName == "-" || !isFile) return temporaryFolder();
    return std::filesystem::absolute(outputName, problem).parent_path().string();
}

double megabytes(std::uint64_t bytes) { return static_cast<double>(bytes) / (1 << 20); }

}

ScratchPlace::ScratchPlace(const std::string& outputName) {
    const char* given = std::getenv(variable);
    isNamed = given && *given;
    name = isNamed ? given : folderBeside(outputName);
    if (!isNamed) setenv(variable, name.c_str(), 1);
}

ScratchStore::ScratchStore(const ScratchPlace& folder, std::size_t blockBytes, std::uint64_t expectedBytes)
    : _folder(folder.name), _blockBytes(blockBytes) {
    std::error_code problem;
    const std::filesystem::space_info space = std::filesystem::space(_folder, problem);
    if (!problem && space.available < expectedBytes)
        fail("scratch folder {}: has {:.0f} MB free and {:.0f} are needed; {} names another", _folder,
             megabytes(space.available), megabytes(expectedBytes), variable);
    const LibraryVoice silent;
    _disk = peltaDiskOpen(blockBytes, 0, nullptr);
    if (!_disk)
        fail("scratch folder {}: cannot make a file there: {}; {} names another", _folder, std::strerror(errno), variable);
}

ScratchStore::~ScratchStore() {
    peltaDiskClose(_disk);
    std::free(_disk);
}

void ScratchStore::write(std::uint64_t position, const unsigned char* bytes, std::size_t count) {
    const LibraryVoice silent;
    auto* data = const_cast<unsigned char*>(bytes);
    while (count > 0) {
        const auto block = static_cast<std::size_t>(position / _blockBytes),
                   start = static_cast<std::size_t>(position % _blockBytes);
        const std::size_t piece = std::min({count, _blockBytes - start, longestTransfer});
        errno = ENOSPC; /* should nothing be taken, without an error */
        const int written = peltaDiskWritePartial(_disk, block, start, piece, reinterpret_cast<float*>(data));
        if (written <= 0)
            fail("scratch folder {}: cannot hold more than {:.0f} MB: {}; {} names another", _folder, megabytes(position),
                 std::strerror(errno), variable);
        /* The store refuses to read what it does not count. */
        _disk->blkTotal = std::max(_disk->blkTotal, block);
        data += written;
        position += static_cast<std::uint64_t>(written);
        count -= static_cast<std::size_t>(written);
    }
}

void ScratchStore::read(std::uint64_t position, unsigned char* bytes, std::size_t count) {
    const LibraryVoice silent;
    while (count > 0) {
        const auto block = static_cast<std::size_t>(position / _blockBytes),
                   start = static_cast<std::size_t>(position % _blockBytes);
        const std::size_t piece = std::min({count, _blockBytes - start, longestTransfer});
        errno = EIO; /* should it end too early */
        const int got = peltaDiskReadPartial(_disk, block, start, piece, reinterpret_cast<float*>(bytes));
        if (got <= 0)
            fail("scratch folder {}: cannot be read at {:.0f} MB: {}", _folder, megabytes(position), std::strerror(errno));
        bytes += got;
        position += static_cast<std::uint64_t>(got);
        count -= static_cast<std::size_t>(got);
    }
}

}
