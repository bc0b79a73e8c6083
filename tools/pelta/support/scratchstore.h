#ifndef PELTA_TOOL_SCRATCHSTORE_H
#define PELTA_TOOL_SCRATCHSTORE_H

#include <pelta/peltadisk.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace pelta {

/* The folder for working files: that of PROMAX_SCRATCH_HOME. Where the variable is not set or empty it is set, for the library
 * reads it, to the folder of the output, which has to have room for as much; to the system's folder of temporary files where
 * the output is standard output ("-") or a device. */
struct ScratchPlace {
    explicit ScratchPlace(const std::string& outputName);
    std::string name;
    bool isNamed = true; /* by the variable */
};

/* Bytes beyond the memory, in a block store of the library: gone with the object, or with the process. */
class ScratchStore {
  public:
    /* Fails when the folder cannot be written, or is known to have no room for expectedBytes (0: not known). */
    ScratchStore(const ScratchPlace& folder, std::size_t blockBytes, std::uint64_t expectedBytes);
    ~ScratchStore();
    ScratchStore(const ScratchStore&) = delete;
    ScratchStore& operator=(const ScratchStore&) = delete;

    void write(std::uint64_t position, const unsigned char* bytes, std::size_t count);
    /* What was written there. */
    void read(std::uint64_t position, unsigned char* bytes, std::size_t count);

  private:
    std::string _folder;
    std::size_t _blockBytes;
    peltaDisk* _disk;
};

}

#endif
