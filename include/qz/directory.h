/* Directory: directories and their listings.
 *
 * Names as in qz/file.h. A listing is a file of lines, one an entry; a name that holds a line end, or whose
 * line would be over 1023 bytes, is left out. One thread at a time uses a list. */
#ifndef QZ_DIRECTORY_H
#define QZ_DIRECTORY_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct DirectoryList DirectoryList;

/* What a listing says of each entry. */
enum DirectoryListKind {
  DirectoryListKind_Names = 0,    /* the name */
  DirectoryListKind_Paths = 1,    /* directory/name, with "/" behind a directory */
  DirectoryListKind_LongLines = 2 /* a line as of "ls -l" */
};

/* Creates one directory. Error_None; Error_Fail when something stands under the name; Error_NotFound when the
 * directory above is missing; others of Error_FromSystem. */
QZ_API ErrorCode Directory_New(const char* name);

/* Looks for a directory and copies its name to result (1024 bytes, may be null). create: not 0 to create it
 * when nothing stands there. isFile: null, or receives 1 when a file stands there, else 0. Error_None;
 * Error_Exists for a file; Error_NotFound when it is missing and not to be created; the status of
 * Directory_New. result is empty after a failure. */
QZ_API ErrorCode Directory_Find(const char* name, int32_t create, int32_t* isFile, char* result);

/* Returns the current directory in buffer (1024 bytes); empty after a failure. Error_None; Error_Invalid,
 * also when it is longer; others of Error_FromSystem. */
QZ_API ErrorCode Directory_GetCurrent(char* buffer);

/* Sets the current directory of the whole program. 0, or -1 on failure. */
QZ_API int32_t Directory_SetCurrent(const char* name);

/* Removes a directory and everything below it. Links are removed, never followed; where there are no drives,
 * neither is one that takes the place of a directory during the call. Continues after a failure and returns
 * the first. Error_None; Error_NotFound; Error_Fail when others add entries as quickly as they are removed;
 * Error_Invalid for a file and, before anything is removed, for a root (empty, "/", a drive, a share, or a
 * path that leads back to one) and a path that ends in "." or ".."; Error_Exceed where the name or a path
 * below is too long; others of Error_FromSystem. */
QZ_API ErrorCode Directory_Delete(const char* name);

/* Writes the listing of a directory into listFile, which is replaced.
 * directory: empty for the current one. listMode (enum DirectoryListKind): 0 names; 1 directory/name, with
 * "/" behind a directory; 2 long lines as of "ls -l", the size modulo 4 GiB. An entry whose state cannot be
 * read is listed by its kind alone, with size 0 and the time of 1970; a link is then no directory. On Windows
 * the directory "/" lists the drives as "/C|/" (Error_System in mode 2). Error_None, also with an empty list
 * for a directory that does not exist or may not be read; Error_Memory when memory or descriptors run out;
 * Error_Fail for another mode, after a report, and when listFile cannot be opened; Error_Ended when it cannot
 * be written; others of Error_FromSystem when the directory cannot be read to its end. There is no listFile
 * after a failure, but one that could not be opened, or was not touched for another mode, stays. */
QZ_API ErrorCode Directory_GetList(const char* directory, int32_t listMode, const char* listFile);

/* Lists a directory into a temporary file and returns it owned in *list (free with Directory_EndList); null
 * after a failure. Needs OS_Init. The statuses of Directory_GetList, File_GetSysDir and File_UniquifyName;
 * Error_Memory. */
QZ_API ErrorCode Directory_StartList(const char* directory, int32_t listMode, DirectoryList** list);

/* Reads an existing listing, returned owned in *list (free with Directory_EndList); null after a failure.
 * temporary: not 0 to have listFile removed by Directory_EndList. joinMode: 1 to have each line joined to
 * directory (copied) by File_CatDir; with any other value directory may be null. Error_None; Error_Memory;
 * the status of File_Open. */
QZ_API ErrorCode Directory_StartFileList(const char* directory, const char* listFile, int32_t temporary,
                                         int32_t joinMode, DirectoryList** list);

/* Returns the next line in `line` (1024 bytes); one of more than 1023 bytes comes in pieces. Error_None;
 * Error_Ended after the last, and only then; Error_Exceed for a line that is too long once joined (the next
 * call gives the line behind it); others of Error_FromSystem when the listing cannot be read. line is empty
 * after a failure. */
QZ_API ErrorCode Directory_IterateList(DirectoryList* list, char* line);

/* Closes the listing, removes a temporary one, and frees the list. The status of File_Close. */
QZ_API ErrorCode Directory_EndList(DirectoryList* list);

QZ_END_C

#endif
