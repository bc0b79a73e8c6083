#ifndef PELTA_CUMMLATIVE_H
#define PELTA_CUMMLATIVE_H

/* The ledger: how many traces each user has processed, by area, line, process and calendar month. For a processing centre that
 * accounts for its work; a tool adds to it when it is done.
 *
 * Example:
 *     char process[] = "stack", everyone[] = "";
 *     strcpy(globalChar->carea, "NORTH");
 *     strcpy(globalChar->cline, "2026-A");
 *     runCummlative(process, 1200);
 *     runCummlative(process, 300);
 *     printCummlative(everyone, process, 0, 0);
 * Output:
 *     initCummlative=.../linux/lib/libCumm.so
 *     initCummlative stat file size=118
 *     User:       alice  Process:       stack  Area:       NORTH  Line:      2026-A  Year: ...  Month: ...  Num Traces: 1500
 *
 * It is the file linux/lib/libCumm.so (a data file, despite its name) under the folder that the environment variable
 * PELTA_HOME names, or PROMAX_HOME when that is unset; where neither is set nothing is recorded. An empty variable is set.
 *
 * The file is a row of records of 118 bytes, each a text padded with blanks:
 *   user area line process year month traces
 * The year is counted from 1900 and the month from 0: January 2026 is 126 and 0. Names are at most 24 bytes long and hold no
 * blanks. A name that breaks this rule is written as it is (the record is cut at 118 bytes), and its record is read back
 * wrongly or not at all. A record that does not yield all seven fields counts for nothing. Counts stay within a long.
 *
 * Reading stops at the end of the file or behind a record that begins with a zero byte. A file whose length is no multiple of
 * 118 has a short last record, which is read like the others.
 *
 * All three functions may be called from several threads and processes at a time. */

#include "export.h"

PELTA_BEGIN_C

/* Opens the ledger for reading and writing, with synchronous data, and creates it if absent (mode 0777 less the umask; the
 * folder has to be there).
 *   icheck  other than 0 prints "initCummlative=PATH\n" before and "initCummlative stat file size=BYTES\n" behind
 * A failed opening is tried again, ten times in all, and each time prints
 *   "initCummlative: Error while trying to open cummlative file.\n"
 * Returns the descriptor, which the caller closes; 0 after a failure. */
PELTA_API int initCummlative(int icheck);

/* Adds to this month's count of the current user (environment variable LOGNAME), area and line (globalChar->carea and cline)
 * and the process given.
 *   process    name of the processing step, kept
 *   numTraces  traces to add; a negative count takes away
 * The first record of the same names and month is rewritten in place with the sum; where there is none a record is added where
 * reading stops: at the end, or behind a record that begins with a zero byte, where it will not be found again. A match on a
 * short last record is written 118 bytes before the end, over what stands there. A ledger that cannot be read on gets the
 * record at its end, so that it replaces nothing unseen. The record is on disk when the function returns; one that could be
 * written only in part is taken back.
 * An advisory lock (flock) keeps several writers from losing updates. It is waited for at most two seconds, and where it
 * cannot be had the record is written without.
 * Failures beyond the opening print one of
 *   "\nCummlative: Error while trying to lseek64.\n"   nothing was written
 *   "\nCummlative: Error while trying to write.\n"
 * Returns 1 when the ledger was opened, even if writing failed; 0 otherwise, and when LOGNAME is unset. */
PELTA_API int runCummlative(char* process, long int numTraces);

/* Prints path and size of the ledger, as initCummlative(1) does, and then a line for each record that the filters pass:
 *   "User:%12s  Process:%12s  Area:%12s  Line:%12s  Year:%4d  Month: %4d  Num Traces: %ld\n"
 *   user, process  names, kept; empty for no filter
 *   year, month    in the stored forms; 0 for no filter, so that January cannot be chosen
 * Only one filter counts: the month if it is given, otherwise the year, otherwise the process, otherwise the user. A negative
 * month passes nothing, and neither does a negative year without a month.
 * Returns 1 when the ledger was opened, 0 otherwise. */
PELTA_API int printCummlative(char* user, char* process, int year, int month);

PELTA_END_C

#endif
