#include <gtest/gtest.h>
#include <pelta/fileio.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>
#include <string_view>

namespace {

/* The room of a line of more than 2 GiB, all of whose pages are the same. */
class HugeRoom {
  public:
    explicit HugeRoom(std::size_t length) : length_(length) {
        const int memory = memfd_create("line", 0);
        bytes_ = static_cast<char*>(mmap(nullptr, length, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        bool mapped = ftruncate(memory, piece) == 0 && bytes_ != MAP_FAILED;
        for (std::size_t at = 0; mapped && at < length; at += piece)
            mapped = mmap(bytes_ + at, piece, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, memory, 0) != MAP_FAILED;
        close(memory);
        if (!mapped) throw std::bad_alloc();
    }
    ~HugeRoom() { munmap(bytes_, length_); }
    HugeRoom(const HugeRoom&) = delete;
    HugeRoom& operator=(const HugeRoom&) = delete;
    char* bytes() const { return bytes_; }

  private:
    static constexpr std::size_t piece = 1 << 20;
    std::size_t length_;
    char* bytes_;
};

/* Gives a line of as many bytes as a result can count, and a few more. */
ssize_t nextOfALongLine(void* position, char* bytes, std::size_t room) {
    constexpr std::size_t countable = INT_MAX - 1;
    std::size_t& at = *static_cast<std::size_t*>(position);
    if (at > countable) return 0;
    std::size_t length = std::min(room, countable - at);
    if (length > 0) std::memset(bytes, 'x', length);
    else length = std::string_view("tail\n").copy(bytes, room);
    at += length;
    return static_cast<ssize_t>(length);
}

TEST(FileIO, SplitsALineThatNoResultCanCount) {
    if (sizeof(void*) == 4) GTEST_SKIP() << "no room for such a line in 32 bits";
    const HugeRoom room(std::size_t{3} << 30);
    std::size_t position = 0;
    fileIOStruct file = {};
    file.fp = fopencookie(&position, "r", {.read = nextOfALongLine, .write = nullptr, .seek = nullptr, .close = nullptr});
    setvbuf(file.fp, nullptr, _IOFBF, 1 << 16);
    fileRead(&file, room.bytes(), ULONG_MAX);  // its NUL shows in every page: the length that is returned says nothing
    EXPECT_EQ(fileRead(&file, room.bytes(), 80), 5);
    EXPECT_STREQ(room.bytes(), "tail\n");
    fileClose(&file);
}

}
