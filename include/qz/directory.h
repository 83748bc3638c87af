/* Directory: directories and their listings. */
#ifndef QZ_DIRECTORY_H
#define QZ_DIRECTORY_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct DirectoryList DirectoryList;

QZ_API ErrorCode Directory_New(const char* name);
QZ_API ErrorCode Directory_Find(const char* name, int32_t create, int32_t* isFile, char* result);
QZ_API ErrorCode Directory_GetCurrent(char* buffer);
QZ_API int32_t Directory_SetCurrent(const char* name);
QZ_API ErrorCode Directory_Delete(const char* name);
QZ_API ErrorCode Directory_GetList(const char* directory, int32_t listMode, const char* listFile);
QZ_API ErrorCode Directory_StartList(const char* directory, int32_t listMode, DirectoryList** list);
QZ_API ErrorCode Directory_StartFileList(const char* directory, const char* listFile, int32_t temporary,
                                         int32_t joinMode, DirectoryList** list);
QZ_API ErrorCode Directory_IterateList(DirectoryList* list, char* line);
QZ_API ErrorCode Directory_EndList(DirectoryList* list);

QZ_END_C

#endif
