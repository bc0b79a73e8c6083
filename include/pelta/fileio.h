#ifndef PELTA_FILEIO_H
#define PELTA_FILEIO_H

#include <stdio.h>

#include "export.h"

typedef struct fileIOStruct {
    FILE* fp;
    int iFile;
    char* cFileName;
} fileIOStruct;

PELTA_BEGIN_C

PELTA_API int fileOpen(fileIOStruct* f, int mode, int type);
PELTA_API int fileClose(fileIOStruct* f);
PELTA_API int fileRead(fileIOStruct* f, char* data, unsigned long maxlen);
PELTA_API int fileWrite(fileIOStruct* f, char* data, unsigned long maxlen);
PELTA_API void fileFlush(fileIOStruct* f);

PELTA_END_C

#endif
