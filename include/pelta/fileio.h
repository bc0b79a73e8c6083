#ifndef PELTA_FILEIO_H
#define PELTA_FILEIO_H

/* Plain files, either as descriptors (bytes) or as standard streams (lines of text), beyond 2 GiB in both word sizes: for a
 * tool that reads and writes through one pair of calls and wants failures said with the file's name.
 *
 * Example:
 *     char name[] = "picks.txt", first[] = "150 812\n", second[] = "151 820\n", line[80];
 *     fileIOStruct file = {NULL, 0, name};
 *     fileOpen(&file, 1, 1);  // to write, as a stream
 *     fileWrite(&file, first, strlen(first));
 *     fileWrite(&file, second, strlen(second));
 *     fileClose(&file);
 *
 *     fileOpen(&file, 0, 1);
 *     while (fileRead(&file, line, sizeof line) > 0) printf("%s", line);
 *     fileClose(&file);
 * Output:
 *     150 812
 *     151 820
 *
 * Failures are printed and flushed, with the file's name and the system's error text:
 *   "\nError opening file: %s\nmessage: %s\n\n"  (likewise "reading", "writing") */

#include <stdio.h>

#include "export.h"

/* A file. The caller sets cFileName and leaves the rest to fileOpen; at most one of fp and iFile is in use. */
typedef struct fileIOStruct {
    FILE* fp;        /* stream, or null */
    int iFile;       /* descriptor; 0 is not open, since no file here ever uses standard input's number */
    char* cFileName; /* path, ended by NUL; kept */
} fileIOStruct;

PELTA_BEGIN_C

/* Opens f->cFileName.
 *   mode  other than 0 writes, 0 reads
 *   type  other than 0 opens a stream, 0 a descriptor
 * A new file gets mode 0666 less the umask. A stream for writing empties an existing file; a descriptor for writing does
 * not, so that a longer file keeps its tail. What f had open before is forgotten, not closed.
 * Returns 1 when open; 0 after a failure, with the message printed and f not open. A system that hands out descriptor 0
 * (standard input is closed) counts as a failure. */
PELTA_API int fileOpen(fileIOStruct* f, int mode, int type);

/* Closes what is open and marks f as not open. Always returns 1, even where a stream's last text could not be written. */
PELTA_API int fileClose(fileIOStruct* f);

/* Reads from a descriptor up to maxlen bytes, from a stream one line.
 *   data  [maxlen] receives them; a line keeps its line end, if it has one, and is ended by NUL
 * A line longer than maxlen - 1 bytes comes in pieces. Lengths above the int range count as INT_MAX for a stream; a line's
 * length is counted up to its first NUL. A stream with maxlen 0 reads nothing and leaves data alone.
 * Returns the bytes read, 0 at the end of the file, -1 with the message printed on an error or when nothing is open. */
PELTA_API int fileRead(fileIOStruct* f, char* data, unsigned long maxlen);

/* Writes to a descriptor maxlen bytes of data, to a stream the text in data up to its NUL, whatever maxlen says. data is kept.
 * One call moves at most 2147479552 bytes. A stream keeps text back until its buffer is full or flushed, and may find only then
 * that the device is: who has to know looks at ferror(f->fp) behind fileFlush.
 * Returns the bytes written, which is fewer than asked for when the rest could not be written. A result of 0 (nothing to
 * write) or -1 (an error, or nothing open) is a failure and prints the message. */
PELTA_API int fileWrite(fileIOStruct* f, char* data, unsigned long maxlen);

/* Hands what a stream has buffered to the system. On a descriptor, whose writes are never buffered, it issues device-control
 * request 2 with argument 0 and ignores the answer. Does nothing when nothing is open. */
PELTA_API void fileFlush(fileIOStruct* f);

PELTA_END_C

#endif
