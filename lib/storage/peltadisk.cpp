#include <pelta/peltadisk.h>

#include <algorithm>
#include <cstring>

#include "scratchfile.h"

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

/* Moves the file to byte start of the block; false with errno set when it cannot. Made also where the file stands there already:
 * that is how a descriptor that the caller has closed or exchanged is told from a device that fails, and how a file that stands
 * elsewhere than offset says gets its true position back. */
bool seek(peltaDisk& disk, std::size_t block, std::size_t start) {
    off_t distance;
    const bool exists = distanceTo(disk, block, start, distance);
    if (!exists) errno = EINVAL;  // what the system says of other positions that a file cannot have
    disk.offset = exists ? ::lseek(disk.peltaFile, distance, SEEK_CUR) : -1;
    return disk.offset >= 0;
}

/* Takes a transfer's count into the store's position. Kept on purpose: also the -1 of one that failed. */
int finish(peltaDisk& disk, ssize_t count, const char* function, const char* step) {
    disk.offset += count;
    return count < 0 ? failed(function, step) : static_cast<int>(count);  // the system moves less than 2 GiB at once
}

/* Kept on purpose: block blkTotal, one past the end, may be read. */
int readRange(const char* function, peltaDisk& disk, std::size_t block, std::size_t start, std::size_t size, float* data) {
    if (block > disk.blkTotal) return -1;
    if (!seek(disk, block, start)) return failed(function, "lseek64");
    return finish(disk, ::read(disk.peltaFile, data, size), function, "read");
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

/* Releases a handle that nobody gets to see. */
peltaDisk* withdrawn(peltaDisk* disk) {
    std::free(disk);
    return nullptr;
}

}

peltaDisk* peltaDiskOpen(size_t blksize, size_t blktotal, char* buffer) {
    constexpr char function[] = "peltaDiskOpen";
    auto* const disk = static_cast<peltaDisk*>(std::malloc(sizeof(peltaDisk)));
    if (!disk) {
        failed(function, "open");
        return nullptr;
    }
    disk->blkSize = blksize;
    disk->blkTotal = blktotal;
    disk->offset = 0;
    disk->peltaData = buffer;

    const int made = makeScratchFile(disk->peltaName);
    // Kept on purpose: a file that could not be made is no failure by itself, opening it may work.
    disk->peltaFile = disk->peltaName[0] != '\0' ? openScratchFile(disk->peltaName, made) : -1;
    if (disk->peltaFile < 0) {
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
    constexpr char function[] = "peltaDiskWrite";
    // Kept on purpose: the only way for a store to grow is the last block that starts within 32 bits.
    constexpr std::size_t last32BitPosition = 4294967295;
    if (!seek(*disk, blknum, 0)) return failed(function, "lseek64");
    if (disk->blkSize != 0 && blknum == last32BitPosition / disk->blkSize) ++disk->blkTotal;
    return finish(*disk, ::write(disk->peltaFile, data, disk->blkSize), function, "write");
}

int peltaDiskWritePartial(peltaDisk* disk, size_t blknum, size_t start, size_t size, float* data) {
    constexpr char function[] = "peltaDiskWritePartial";
    if (!seek(*disk, blknum, start)) {
        std::printf("%s, Error with lseek64: %s   blknum=%d start=%d size=%d\n", function, std::strerror(errno),
                    static_cast<int>(blknum), static_cast<int>(start), static_cast<int>(size));
        std::fflush(stdout);
        return -1;
    }
    return finish(*disk, ::write(disk->peltaFile, data, size), function, "write");
}
