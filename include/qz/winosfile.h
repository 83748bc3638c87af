/* WinOSFile: between Windows file names and the library's own form. */
#ifndef QZ_WINOSFILE_H
#define QZ_WINOSFILE_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_API ErrorCode WinOSFile_DOSNameToFileName(const char* systemName, char* name);
QZ_API ErrorCode WinOSFile_FileNameToDOSName(const char* name, char* systemName);

QZ_END_C

#endif
