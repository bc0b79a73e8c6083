#ifndef PELTA_TOOL_SORTING_FILEHEADERS_H
#define PELTA_TOOL_SORTING_FILEHEADERS_H

#include "segy/layout.h"
#include "sorting/sortkey.h"

namespace pelta::sorting {

/* Says in the binary header (byte 3229) by what the traces are sorted, as far as the file's revision has a code for it:
 *   cdp               2, CDP ensembles
 *   record            5, common source points; before revision 1: 1, as recorded
 *   source            5
 *   offset            7, common offsets
 *   anything else     -1, other; before revision 1: 0
 * Stacks (3 and 4) stay what they are in any order. */
void setSortingCode(segy::Preamble& preamble, const segy::Layout& layout, const Field& first);

}

#endif
