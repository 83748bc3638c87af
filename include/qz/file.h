/* File: files in the library's own name form; an open file is a stream. */
#ifndef QZ_FILE_H
#define QZ_FILE_H

#include "qz/stream.h"
#include "qz/time.h"

QZ_BEGIN_C

typedef struct File File;
typedef struct FileCopy FileCopy;

typedef struct FileState {
  int32_t exists;
  int32_t isDirectory;
  uint32_t size;         /* bytes; the low 32 bits */
  Time modificationTime;
} FileState;

QZ_API ErrorCode File_GetSysDir(int32_t id, char* buffer);
QZ_API File* File_GetSysFile(int32_t id, uint32_t mode);
QZ_API ErrorCode File_Open(const char* name, uint32_t mode, File** file);
QZ_API ErrorCode File_Close(File* file);
QZ_API Stream* File_GetStream(File* file);
QZ_API void File_SetTemporary(File* file, int32_t flag);
QZ_API ErrorCode File_SetLock(File* file, ...);
QZ_API uint32_t File_Read(File* file, uint32_t count, void* buffer);
QZ_API uint32_t File_Write(File* file, uint32_t count, const void* buffer);
QZ_API int32_t File_Seek(File* file, int32_t seekMode, int32_t offset);
QZ_API int32_t File_Tell(File* file);
QZ_API int32_t File_Print(File* file, const char* format, ...) QZ_PRINTF(2, 3);
QZ_API int32_t File_VPrint(File* file, const char* format, va_list arguments) QZ_PRINTF(2, 0);
QZ_API int32_t File_Flush(File* file);
QZ_API int32_t File_Sync(File* file);
QZ_API int32_t File_ScanLine(File* file, int32_t size, char* buffer);
QZ_API int32_t File_GetChar(File* file, uint32_t size, char* buffer, uint32_t* remaining, char** next);
QZ_API int32_t File_Truncate(File* file);
QZ_API int32_t File_Exists(const char* name, int32_t* isDirectory);
QZ_API ErrorCode File_GetState(const char* name, FileState* state);
QZ_API int32_t File_GetStateOpenFile(File* file, FileState* state);
QZ_API ErrorCode File_Unlink(const char* name);
QZ_API ErrorCode File_Move(const char* from, const char* to);
QZ_API ErrorCode File_Copy(const char* from, const char* to);
QZ_API ErrorCode File_Link(const char* target, const char* arguments, const char* linkName,
                           const char* description, const char* iconFile, int32_t iconIndex);
QZ_API int32_t File_CatDir(const char* directory, const char* name, char* result);
QZ_API ErrorCode File_SplitDir(const char* path, char* directory, char* name);
QZ_API int32_t File_StripRoot(const char* path, char* root, char* rest);
QZ_API ErrorCode File_NumberName(const char* name, char* result);
QZ_API ErrorCode File_UniquifyName(const char* directory, const char* prefix, char* result);
QZ_API ErrorCode File_CopyStart(const char* from, const char* to, int32_t move, void* idleContext,
                                StreamProgressMethod idleMethod, FileCopy** copy);
QZ_API ErrorCode File_CopyEnd(FileCopy** copy);
QZ_API void File_CopyAbort(FileCopy** copy);

QZ_END_C

#endif
