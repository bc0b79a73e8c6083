#include <pelta/peltadisk.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "storage/scratchfile.h"

static_assert(sizeof(ScratchName) == sizeof(peltaDisk::peltaName));

namespace {

/* Prints "function, Error with step: ..." and returns the failure value. */
int failed(const char* function, const char* step) {
    std::printf("%s, Error with %s: %s\n", function, step, std::strerror(errno));
    std::fflush(stdout);
    return -1;
}

/* How far byte start of the block is from where the store left its file; false when no file has such a position. */
bool distanceTo(const peltaDisk& disk, std::size_t block, std::size_t start, off_t& distance) {
    off_t position;
    return !__builtin_mul_overflow(block, disk.blkSize, &position) && !__builtin_add_overflow(position, start, &position) &&
           !__builtin_sub_overflow(position, disk.offset, &distance);
}

/* Changes whenever a store is opened or closed and whenever a transfer fails, in any thread. */
std::atomic<unsigned> upheavals = 0;

/* Where the last transfer of this thread has left its store's file. Only as long as all of this agrees does the file stand where
 * the store says: after an upheaval the record, the descriptor's number or the offset may mean another place. */
struct Standing {
    const peltaDisk* store = nullptr;
    int file = -1;
    off_t offset = 0;
    unsigned upheavals = 0;
    bool operator==(const Standing&) const = default;
};
constinit thread_local Standing lastStanding;

Standing standingOf(const peltaDisk& disk) {
    return {&disk, disk.peltaFile, disk.offset, upheavals.load(std::memory_order_relaxed)};
}

void forgetStandings() { upheavals.fetch_add(1, std::memory_order_relaxed); }

/* Whether the file is known to stand at byte start of the block, as for block after block in order. */
bool standsAt(const peltaDisk& disk, std::size_t block, std::size_t start) {
    off_t distance;
    return distanceTo(disk, block, start, distance) && distance == 0 && lastStanding == standingOf(disk);
}

/* Moves the file to byte start of the block; false with errno set when it cannot. Also a file that may well stand there is moved:
 * that is how a descriptor that the caller has closed or exchanged is told from a device that fails. */
bool seek(peltaDisk& disk, std::size_t block, std::size_t start) {
    off_t distance;
    const bool exists = distanceTo(disk, block, start, distance);
    if (!exists) errno = EINVAL;  // what the system says of other positions that a file cannot have
    disk.offset = exists ? ::lseek(disk.peltaFile, distance, SEEK_CUR) : -1;
    if (disk.offset < 0) forgetStandings();
    return disk.offset >= 0;
}

struct Transferred {
    bool hasFound; /* its place; if not, errno is that of the seek */
    ssize_t count; /* or -1 with errno set */
};

/* Moves size bytes at byte start of the block. The seek that a known standing spares is made up for when the transfer fails, so
 * that failures are told apart as if it had come first. Kept on purpose: the -1 of a failed transfer goes into the offset too. */
template <class Move>
Transferred transfer(peltaDisk& disk, std::size_t block, std::size_t start, std::size_t size, Move move) {
    const bool isThere = standsAt(disk, block, start);
    if (!isThere && !seek(disk, block, start)) return {false, -1};
    const ssize_t count = move(disk.peltaFile);
    if (count < 0) {
        const int error = errno;
        if (isThere && !seek(disk, block, start)) return {false, -1};
        errno = error;
        forgetStandings();
    }
    disk.offset += count;
    const bool isWhole = count >= 0 && static_cast<std::size_t>(count) == size;
    lastStanding = isWhole ? standingOf(disk) : Standing{};
    return {true, count};
}

/* The count, or -1 with the failure printed. */
int resultOf(const Transferred& transferred, const char* function, const char* step) {
    if (!transferred.hasFound) return failed(function, "lseek64");
    if (transferred.count < 0) return failed(function, step);
    return static_cast<int>(transferred.count);  // the system moves less than 2 GiB at once
}

/* Kept on purpose: block blkTotal, one past the end, may be read. */
int readRange(const char* function, peltaDisk& disk, std::size_t block, std::size_t start, std::size_t size, float* data) {
    if (block > disk.blkTotal) return -1;
    const auto read = [&](int file) { return ::read(file, data, size); };
    return resultOf(transfer(disk, block, start, size, read), function, "read");
}

Transferred writeRange(peltaDisk& disk, std::size_t block, std::size_t start, std::size_t size, const float* data) {
    return transfer(disk, block, start, size, [&](int file) { return ::write(file, data, size); });
}

constexpr off_t smallStore = 1 << 16;  // bytes that are written in the time that setting space aside takes

/* Writes zeros, whole blocks out of total bytes, until there are enough; false when that failed. */
bool writeZeros(const peltaDisk& disk, off_t enough, off_t total, off_t& written) {
    while (written < enough) {
        const off_t length = std::min<off_t>(total - written, disk.blkSize);
        const ssize_t count = ::write(disk.peltaFile, disk.peltaData, static_cast<std::size_t>(length));
        if (count <= 0) return false;
        written += count;
    }
    return true;
}

/* Claims the space, zeroed. A small store is written, and the beginning of a larger one, which shows whether the file takes data
 * at all; what is beyond only where the file system cannot set space aside at once. */
bool fillWithZeros(peltaDisk& disk) {
    std::fill_n(disk.peltaData, disk.blkSize, '\0');
    off_t total;
    if (__builtin_mul_overflow(disk.blkSize, disk.blkTotal, &total)) {
        errno = EFBIG;
        return false;
    }
    off_t written = 0;
    if (!writeZeros(disk, std::min(total, smallStore), total, written)) return false;
    if (written < total && ::fallocate(disk.peltaFile, 0, 0, total) != 0) {
        if (errno == ENOSPC || errno == EDQUOT) return false;  // writing would fill the disk first, and then fail too
        if (!writeZeros(disk, total, total, written)) return false;
    }
    if (::lseek(disk.peltaFile, 0, SEEK_SET) != 0) disk.offset = written;  // then seeks start from where the file is
    return true;
}

/* A store without a file; null without memory. */
peltaDisk* newStore(std::size_t blockSize, std::size_t blockTotal, char* buffer) {
    auto* const disk = static_cast<peltaDisk*>(std::malloc(sizeof(peltaDisk)));
    if (!disk) return nullptr;
    disk->blkSize = blockSize;
    disk->blkTotal = blockTotal;
    disk->offset = 0;
    disk->peltaData = buffer;
    return disk;
}

bool openFile(peltaDisk& disk) {
    const int made = makeScratchFile(disk.peltaName);
    // Kept on purpose: a file that could not be made is no failure by itself, opening it may work.
    disk.peltaFile = disk.peltaName[0] != '\0' ? openScratchFile(disk.peltaName, made) : -1;
    return disk.peltaFile >= 0;
}

/* Releases a handle that nobody gets to see. */
peltaDisk* withdrawn(peltaDisk* disk) {
    std::free(disk);
    return nullptr;
}

}

peltaDisk* peltaDiskOpen(size_t blksize, size_t blktotal, char* buffer) {
    constexpr char function[] = "peltaDiskOpen";
    forgetStandings();
    peltaDisk* const disk = newStore(blksize, blktotal, buffer);
    if (!disk || !openFile(*disk)) {
        failed(function, "open");
        return withdrawn(disk);
    }
    std::printf("\n%s, file: %s\n\n", function, disk->peltaName);
    std::fflush(stdout);

    if (::unlink(disk->peltaName) != 0) {
        std::puts("peltDiskOpen: unlink() failed.");  // kept on purpose: without the a
        peltaDiskClose(disk);
        return withdrawn(disk);
    }
    if (blktotal != 0 && !fillWithZeros(*disk)) {
        // Kept on purpose: closed first, which commonly puts the missing name's error in the place of the write's.
        peltaDiskClose(disk);
        failed(function, "write");
        return withdrawn(disk);
    }
    return disk;
}

/* Kept on purpose: removes the name although it went when the store was opened, and leaves the record as it is. */
void peltaDiskClose(peltaDisk* disk) {
    forgetStandings();
    ::close(disk->peltaFile);
    ::unlink(disk->peltaName);
}

int peltaDiskRead(peltaDisk* disk, size_t blknum, float* data) {
    return readRange("peltaDiskRead", *disk, blknum, 0, disk->blkSize, data);
}

int peltaDiskReadPartial(peltaDisk* disk, size_t blknum, size_t start, size_t size, float* data) {
    return readRange("peltaDiskReadPartial", *disk, blknum, start, size, data);
}

int peltaDiskWrite(peltaDisk* disk, size_t blknum, float* data) {
    // Kept on purpose: the only way for a store to grow is the last block that starts within 32 bits.
    constexpr std::size_t last32BitPosition = 4294967295;
    const Transferred written = writeRange(*disk, blknum, 0, disk->blkSize, data);
    if (written.hasFound && disk->blkSize != 0 && blknum == last32BitPosition / disk->blkSize) ++disk->blkTotal;
    return resultOf(written, "peltaDiskWrite", "write");
}

int peltaDiskWritePartial(peltaDisk* disk, size_t blknum, size_t start, size_t size, float* data) {
    constexpr char function[] = "peltaDiskWritePartial";
    const Transferred written = writeRange(*disk, blknum, start, size, data);
    if (written.hasFound) return resultOf(written, function, "write");
    std::printf("%s, Error with lseek64: %s   blknum=%d start=%d size=%d\n", function, std::strerror(errno),
                static_cast<int>(blknum), static_cast<int>(start), static_cast<int>(size));
    std::fflush(stdout);
    return -1;
}
