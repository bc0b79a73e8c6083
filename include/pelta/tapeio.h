#ifndef PELTA_TAPEIO_H
#define PELTA_TAPEIO_H

/* Magnetic tape on a Linux drive (st(4)): one record a call, of any length that the drive takes. For reading and writing reels
 * record by record, with a budget of retries for tapes that have aged.
 *
 * Example:
 *     char device[] = "/dev/nst0", message[100], record[3200] = "C 1 LINE 2026-A";
 *     tapeIOStruct tape = {0, 0, 0, device, message};
 *     if (!tapeOpen(&tape, 1)) return;
 *     printf("wrote %d bytes\n", tapeWrite(&tape, record, sizeof record));
 *     tapeClose(&tape);
 *
 *     if (!tapeOpen(&tape, 0)) return;
 *     tapeFunction(&tape, 1, 0);  // rewinds
 *     printf("read %d bytes", tapeRead(&tape, record, sizeof record));
 *     printf(", then %d: a file mark\n", tapeRead(&tape, record, sizeof record));
 *     tapeClose(&tape);
 * Output:
 *     wrote 3200 bytes
 *     read 3200 bytes, then 0: a file mark
 *
 * Name the device that does not rewind by itself, such as /dev/nst0.
 *
 * What fails in opening is printed and flushed, with the drive's name and the system's error text:
 *   "\nError opening tape drive: %s\nmessage: %s\n\n"  (likewise "status on", "tape not loaded on")
 * What fails later is written into the caller's cMessage as "%s   : %s", and tried again or not as tapeCheck says. */

#include "export.h"

/* A drive. The caller sets cTapeName and cMessage and leaves the rest to tapeOpen, but for the retry budget. */
typedef struct tapeIOStruct {
    int iTape;          /* descriptor; 0 is closed, since no tape here ever uses standard input's number */
    int tapeErrorCount; /* errors so far; a record read, a file mark too, sets it back to 0, nothing else but tapeOpen does */
    int tapeErrorMax;   /* errors at which no more is tried; tapeOpen sets 1, which tries nothing again */
    char* cTapeName;    /* device, ended by NUL; kept */
    char* cMessage;     /* receives the last error's text, at least strlen(cTapeName) + 64 bytes; null for none. A text that is
                           longer, as it can be in another language, is cut there */
} tapeIOStruct;

PELTA_BEGIN_C

/* Opens the drive t->cTapeName for records of variable length, where the tape stands.
 *   mode  other than 0 writes only, 0 reads only
 * Sets the error count to 0 and the budget to 1. What t had open before is forgotten, not closed. The system waits for a tape
 * that is being loaded, with today's drivers for up to two minutes.
 * Returns 1 when a tape is loaded and ready; 0 after a failure, with the message printed and t closed. A system that hands
 * out descriptor 0 (standard input is closed) counts as a failure. */
PELTA_API int tapeOpen(tapeIOStruct* t, int mode);

/* Closes the drive if it is open. Behind records written the driver puts a file mark; whether that could be written is not
 * told here, but by tapeFunction(t, 0, 1) before. Always returns 1. */
PELTA_API int tapeClose(tapeIOStruct* t);

/* Reads the next record.
 *   data  [maxlen] receives it
 * Returns its bytes, 0 at a file mark, behind which the next call reads on; -1 on an error (closed drives included) or for a
 * record of more than maxlen bytes, which is passed over. */
PELTA_API int tapeRead(tapeIOStruct* t, char* data, unsigned long maxlen);

/* Writes one record of maxlen bytes. data is kept.
 * Returns the bytes written; 0 at the end of the tape, where the record was not written but a trailer may still fit; -1 on an
 * error (closed drives included). */
PELTA_API int tapeWrite(tapeIOStruct* t, char* data, unsigned long maxlen);

/* Moves or controls the tape.
 *   ifunc   0  write file marks             4  forward over records
 *           1  rewind                       5  back over records
 *           2  nothing                      6  forward over files, to behind the mark
 *           3  unload                       7  back over files, to before the mark
 *           8  close t and rewind by the command "mt -f %s rewind &"
 *           9 and above: an operation of <sys/mtio.h> under its own number
 *   icount  how many; not used by functions 1, 2, 3 and 8
 * Returns the system's result, 0 when done; 0 also at the end of the tape (see tapeCheck), and -1 on an error: a closed drive,
 * an ifunc that is negative or beyond the range of short.
 *
 * Function 8 returns the shell's status while the command is still to begin: wait until it has ended before the drive is opened
 * again, since an opening that comes first keeps the tape from being rewound. Function 1 rewinds before it returns. A name with
 * other characters than A-Za-z0-9_./:- is quoted for the shell.
 * A file mark asked of a drive that was opened for reading is refused, and so asked for again without end. */
PELTA_API int tapeFunction(tapeIOStruct* t, int ifunc, int icount);

/* Judges what a transfer or a control request gave, by errno. The functions above call it.
 *   num  the result: 0 or more is no error; set to 0 when the tape had no space left
 *   id   23 read, 24 write, 25 control
 * Everything else that fails leaves its text in cMessage, and:
 *   an input/output error in a read  counts; below the budget prints "Error: %s: during tape read, try again, count=%d\n"
 *   no medium                        counts; below the budget prints "Tape drive %s: not ready, try again, count=%d\n" and
 *                                    waits a second
 *   permission denied                counts; prints "Tape %s: is write protected\n". Tried again without limit: the caller
 *                                    hangs, and the output grows, until the tape can be written
 *   any other error                  is final, a signal's interruption (EINTR) too
 * Returns 1 to try again, 0 to stop. */
PELTA_API int tapeCheck(tapeIOStruct* t, int* num, int id);

PELTA_END_C

#endif
