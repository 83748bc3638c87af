// What only the tests use of the file layer.
#pragma once

#include <cstdio>

// From now on open files are closed by this method instead of fclose, whose result it gives; null restores
// fclose. For tests of what follows when a file cannot be closed well.
void iFile_SetCloseMethod(int (*close)(FILE* stream));
