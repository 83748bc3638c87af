// What only the tests use of the file layer.
#pragma once

#include <cstdint>
#include <cstdio>

#include "qz/stream.h"

// From now on open files are closed by this method instead of fclose, whose result it gives; null restores
// fclose. For tests of what follows when a file cannot be closed well.
void iFile_SetCloseMethod(int (*close)(FILE* stream));

// The reports of a copy of more than 4 GiB that gets from one position to another: one for every hundredth
// that was crossed, with the start of the hundredth before, as a stream reports.
void iFile_ReportCopied(uint64_t totalBytes, uint64_t before, uint64_t after, StreamProgressMethod method,
                        void* context);
