#include <pelta/peltadisk.h>
#include <sys/mman.h>

#include <cstdint>
#include <cstring>

#include "storage/scratchfile.h"

namespace {

/* Takes the name off the file, makes it size bytes long and maps it; null with the message printed on failure. */
void* mapFile(int file, const char* name, unsigned long size) {
    if (::unlink(name) != 0) {
        std::puts("mapMemory: unlink() failed.");
        return nullptr;
    }
    const auto last = static_cast<off_t>(std::uint64_t{size} - 1);  // -1 for no size, in both word sizes
    if (::lseek(file, last, SEEK_SET) == -1) {
        std::printf("mapMemory: lseek64() failed on file: %s   size: %ld.\n", name, static_cast<long>(last));
        return nullptr;
    }
    if (::write(file, "", 1) != 1) {
        std::printf("mapMemory: write() failed on file: %s.\n", name);
        return nullptr;
    }
    void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory != MAP_FAILED) return memory;
    std::printf("mapMemory: mmap64() failed on file: %s   errno: %s.\n", name, std::strerror(errno));
    return nullptr;
}

}

void* mapMemory(unsigned long size) {
    ScratchName name;
    const int made = makeScratchFile(name);
    if (made < 0) {
        std::puts("mapMemory: mkstemp() failed.");
        return nullptr;
    }
    const int file = openScratchFile(name, made);
    if (file < 0) {
        std::printf("mapMemory: open() failed on file: %s.\n", name);
        return nullptr;
    }
    void* const memory = mapFile(file, name, size);
    if (!memory) {
        removeScratchFile(name, file);
        ::close(file);
    }
    return memory;
}
