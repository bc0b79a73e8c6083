#include <gtest/gtest.h>
#include <pelta/peltadisk.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "support/files.h"

/* Memory for a store's record that is not to be had: the library's allocations come through here. */

namespace {
bool hasMemory = true;
}

extern "C" {
void* __real_malloc(std::size_t bytes);
void* __wrap_malloc(std::size_t bytes);

void* __wrap_malloc(std::size_t bytes) {
    if (hasMemory || bytes != sizeof(peltaDisk)) return __real_malloc(bytes);
    errno = ENOMEM;
    return nullptr;
}
}

namespace {

TEST(PeltaDiskWithoutMemory, OpensNothingAndSaysWhy) {
    const ScratchFolder folder;
    const WithVariable scratch("PROMAX_SCRATCH_HOME", folder.path().c_str());
    std::vector<char> buffer(100, 'x');
    const Printed printed = printedBy([&] {
        hasMemory = false;
        EXPECT_EQ(peltaDiskOpen(buffer.size(), 3, buffer.data()), nullptr);
        hasMemory = true;
    });
    EXPECT_EQ(printed.text, std::string("peltaDiskOpen, Error with open: ") + std::strerror(ENOMEM) + "\n");
    EXPECT_EQ(printed.unflushed, 0u);
    EXPECT_EQ(buffer, std::vector<char>(100, 'x'));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));

    peltaDisk* const disk = peltaDiskOpen(buffer.size(), 3, buffer.data());
    ASSERT_NE(disk, nullptr);
    peltaDiskClose(disk);
    std::free(disk);
}

}
