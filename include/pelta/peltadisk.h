#ifndef PELTA_PELTADISK_H
#define PELTA_PELTADISK_H

/* Working storage beyond the memory, in files of the scratch folder that the environment variable PROMAX_SCRATCH_HOME names:
 * for sorts, transposes and whatever else needs a data set in an order in which it does not come.
 *
 * Example:
 *     float gather[2][500] = {{0}}, again[500];
 *     peltaDisk* disk = peltaDiskOpen(sizeof gather[0], 1000, (char*)again);  // a thousand traces
 *     if (!disk) return;
 *     gather[1][250] = 7;
 *     peltaDiskWrite(disk, 998, gather[0]);
 *     peltaDiskWrite(disk, 999, gather[1]);
 *     printf("%d bytes", peltaDiskRead(disk, 999, again));
 *     printf(", sample 250 is %g\n", again[250]);
 *     peltaDiskClose(disk);
 *     free(disk);
 * Output:
 *     peltaDiskOpen, file: .../pelta...
 *     2000 bytes, sample 250 is 7
 *
 * A file loses its name as soon as it is open, so that it is gone when the process ends, even by a crash. It belongs to the user
 * alone (mode 0600) and is not inherited by programs that the process starts. Making it takes two descriptors for a moment.
 *
 * A block store divides its file into blocks of one size, addressed by number from 0. Positions are 64-bit in both word sizes,
 * so that a store may be larger than 4 GiB. Failures are printed with the system's error text and flushed, and nothing is
 * retried:
 *   "peltaDiskOpen, Error with open: %s\n"       (likewise "write")
 *   "peltaDiskRead, Error with lseek64: %s\n"    (likewise "read" and "write", with the name of the function that was called)
 * A transfer seeks by the distance from offset, unless it goes on where the calling thread's last one ended: whoever moves the
 * file himself sets offset to where it then stands. A store belongs to one thread at a time. */

#include <stddef.h>
#include <stdint.h>

#include "export.h"

/* A block store, made by peltaDiskOpen. */
typedef struct peltaDisk {
    size_t blkSize;       /* bytes in a block */
    size_t blkTotal;      /* blocks in the store */
    int64_t offset;       /* the file position as the store last left it, in bytes */
    char peltaName[1024]; /* path that the scratch file had */
    int peltaFile;        /* descriptor */
    char* peltaData;      /* the caller's buffer of blkSize bytes; not owned */
} peltaDisk;

PELTA_BEGIN_C

/* Makes a store of blktotal blocks of blksize bytes, all zero, and prints and flushes "\npeltaDiskOpen, file: %s\n\n".
 *   buffer  [blksize] bytes, set to zero unless blktotal is 0; has to outlive the store
 * The space is claimed at once; a blktotal of 0 claims none, and the store grows as it is written.
 * Returns a handle that the caller frees by free() after peltaDiskClose; null after a failure, with the message printed and
 * nothing left behind: no scratch folder (the variable is unset, or the path longer than 1023 bytes), a file that could not be
 * made, or no space. The text for the latter is of what peltaDiskClose meets, usually "No such file or directory". A name that
 * cannot be removed prints the line "peltDiskOpen: unlink() failed.", not flushed. */
PELTA_API peltaDisk* peltaDiskOpen(size_t blksize, size_t blktotal, char* buffer);

/* Closes the file, and removes whatever has its name by now. The handle remains as it was, for the caller to free: its descriptor
 * is not the store's any more, so close a store once and use it no further. */
PELTA_API void peltaDiskClose(peltaDisk* disk);

/* Reads a block into data, [blkSize] bytes. Block blkTotal is accepted, one past the end.
 * Returns the bytes read, which are fewer at the end of what has been written; -1 after a failure, with the message printed, and
 * for a block above blkTotal, without one. After a failed read or write offset is one byte short, and after a failed seek -1,
 * and the next transfer goes astray by as much: set offset to lseek64(peltaFile, 0, SEEK_CUR) before going on. */
PELTA_API int peltaDiskRead(peltaDisk* disk, size_t blknum, float* data);

/* Reads size bytes from byte start of a block on, which may go beyond the block, as peltaDiskRead does. */
PELTA_API int peltaDiskReadPartial(peltaDisk* disk, size_t blknum, size_t start, size_t size, float* data);

/* Writes a block out of data, [blkSize] bytes, kept. Any block is accepted, and the file grows by it; but blkTotal, the limit for
 * reading, grows only by writing block 4294967295 / blkSize: by one.
 * Returns the bytes written, which are fewer when the disk becomes full; -1 after a failure, with the message printed and offset
 * as after a failed read. */
PELTA_API int peltaDiskWrite(peltaDisk* disk, size_t blknum, float* data);

/* Writes size bytes from byte start of a block on, which may go beyond the block, as peltaDiskWrite does; blkTotal stays. When the
 * seek fails the message goes on with "   blknum=%d start=%d size=%d". */
PELTA_API int peltaDiskWritePartial(peltaDisk* disk, size_t blknum, size_t start, size_t size, float* data);

/* Maps a new scratch file of size bytes, all zero, into memory, for reading and writing, until the process ends; children that it
 * forks share it. Space on the disk is claimed only as pages are written: when there is none left the process gets SIGBUS.
 * Returns the address; null after a failure (a size of 0 is one) with one of these printed, not flushed:
 *   "mapMemory: mkstemp() failed.\n"    (also without a scratch folder or with a path longer than 1023 bytes)
 *   "mapMemory: open() failed on file: %s.\n"
 *   "mapMemory: unlink() failed.\n"
 *   "mapMemory: lseek64() failed on file: %s   size: %ld.\n"    (size - 1)
 *   "mapMemory: write() failed on file: %s.\n"
 *   "mapMemory: mmap64() failed on file: %s   errno: %s.\n" */
PELTA_API void* mapMemory(unsigned long size);

PELTA_END_C

#endif
