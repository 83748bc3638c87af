/* WinOSFile: between Windows file names and the library's own form.
 *
 *   C:\dir\file             /C|/dir/file
 *   \\server\share\file     //server/share/file
 *   <boot drive>\dir\file   /dir/file
 *   dir\file                dir/file
 *
 * Rules of text only, the same on every platform; nothing is looked up but the boot drive, which is empty
 * where there are no drives. Any thread may call them. Results hold up to 1023 bytes and may replace the
 * argument. */
#ifndef QZ_WINOSFILE_H
#define QZ_WINOSFILE_H

#include "qz/types.h"

QZ_BEGIN_C

/* Returns in name (1024 bytes) a Windows name in the library's form. Error_None; Error_Invalid for null;
 * Error_Exceed when it does not fit; name is then empty. */
QZ_API ErrorCode WinOSFile_DOSNameToFileName(const char* systemName, char* name);

/* Returns in systemName (1024 bytes) a name of the library's form as a Windows name. Statuses as above. */
QZ_API ErrorCode WinOSFile_FileNameToDOSName(const char* name, char* systemName);

QZ_END_C

#endif
