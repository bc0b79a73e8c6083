#ifndef PELTA_TESTS_MEMORY_H
#define PELTA_TESTS_MEMORY_H

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstddef>
#include <fstream>

/* From now on this process gets no more than so many bytes beyond what it has; what it releases counts no longer, but for small
 * pieces. */
inline void leaveMemory(std::size_t bytes) {
    mallopt(M_MMAP_THRESHOLD, 1 << 15);
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlim_t room = static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + bytes;
    const rlimit limit{room, room};
    setrlimit(RLIMIT_AS, &limit);
}

#endif
