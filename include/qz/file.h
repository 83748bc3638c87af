/* File: files in the library's own name form; an open file is a stream.
 *
 * Names are texts of at most 1023 bytes with "/" between their parts: /C|/dir/file for C:\dir\file,
 * //server/share/file for a network name, /dir/file for a place on the boot drive, dir/file for one below the
 * current directory. They are borrowed for the call. Buffers for names hold 1024 bytes; a result that does
 * not fit gives Error_Exceed and is emptied. Null where it is not allowed gives Error_Invalid, or the failure
 * value of a function without a status.
 *
 * Bytes (File_Read, File_Write, File_Seek), lines (File_ScanLine) and formatted text (File_Print) share one
 * position and may be mixed: text that is held back is written, and what was read ahead is given back, before
 * another kind of call. On a pipe nothing can be given back: read it by lines or by bytes. Files of any size
 * can be read and written; positions from 2 GiB and sizes from 4 GiB on need the functions with 64 bits.
 * Other programs that are started do not inherit open files. On Windows a program can have about 2,000 files
 * open, as many as its C library allows.
 *
 * One thread at a time uses an open file or a copy; functions that take names may be called from any thread,
 * but all depend on the one current directory. Calls block as long as the file system does. */
#ifndef QZ_FILE_H
#define QZ_FILE_H

#include "qz/stream.h"
#include "qz/time.h"

QZ_BEGIN_C

typedef struct File File;
typedef struct FileCopy FileCopy;

/* How File_Open opens a file. The stated numbers 6 (as 3), 5 (as 4), 12 and 15 (as 11) are accepted as well.
 */
enum FileMode {
  FileMode_Read = 1,
  FileMode_Write = 2,        /* cut to length 0 */
  FileMode_ReadWriteNew = 3, /* cut to length 0 */
  FileMode_Update = 4,       /* read and write a file that exists */
  FileMode_Append = 8,       /* always binary */
  FileMode_ReadAppend = 11,
  FileMode_Text = 16 /* added to one of the others: line ends are the system's */
};

/* Where the offset of File_Seek counts from. */
enum FileSeek { FileSeek_Start = 0, FileSeek_Current = 1, FileSeek_End = 2 };

/* What stands under a name. A name under which nothing stands has all fields 0. */
typedef struct FileState {
  int32_t exists;        /* 1 or 0 */
  int32_t isDirectory;   /* 1 or 0 */
  uint32_t size;         /* bytes; the low 32 bits; 0 for a directory */
  Time modificationTime; /* zero when it is not known */
} FileState;

/* Returns in buffer (1024 bytes) the path of a system directory (enum SysDir, qz/os.h). The directory exists,
 * those two excepted that only exist once something was put into them. Error_None; Error_NotInited before
 * OS_Init; Error_NotFound for another number, when the directory is gone and cannot be made again, for
 * whatever reason, and when the user has none; Error_Invalid when buffer is null. buffer is empty after a
 * failure. */
QZ_API ErrorCode File_GetSysDir(int32_t id, char* buffer);

/* Returns the system file of a number (only 0, the log file), opened with `mode` on first use; the library's,
 * and open until OS_Exit. Null before OS_Init, for another number, or when it cannot be opened. */
QZ_API File* File_GetSysFile(int32_t id, uint32_t mode);

/* Opens a file and returns it owned in *file (free with File_Close); null after a failure.
 * mode (enum FileMode): 1 read; 2 write, cut to length 0; 3 or 6 read and write, cut; 4 or 5 read and write
 * an existing file; 8 append (always binary); 11, 12 or 15 read and append; add 16 for text, whose line ends
 * are the system's: on Windows CR LF in the file is LF to the program, and a byte 0x1A ends a file that is
 * read. Error_None; Error_Memory; Error_Fail for another mode, a directory, and whatever else cannot be
 * opened. */
QZ_API ErrorCode File_Open(const char* name, uint32_t mode, File** file);

/* Writes what is pending, closes the file, removes it when it is marked temporary, and always frees the
 * handle. Error_None; Error_Exceed when pending output no longer fits the disk; otherwise the system's
 * error. The log file stays open: no effect, Error_None. A temporary file is removed under the name it was
 * opened by, even if the current directory has changed; not if another file stands there by now. */
QZ_API ErrorCode File_Close(File* file);

/* Returns the file as a stream: the same object, borrowed. Stream_Delete on it is File_Close;
 * Stream_ReadAvail gives the bytes from the position to the end; Stream_Error gives Error_Ended after a read
 * at the end, Error_Exceed after a write to a full disk, Error_None after a call that went well. Null for
 * null. */
QZ_API Stream* File_GetStream(File* file);

/* Marks the file to be removed when it is closed (flag not 0), or not to be. */
QZ_API void File_SetTemporary(File* file, int32_t flag);

/* Locks are not supported: reports so and returns Error_Fail. */
QZ_API ErrorCode File_SetLock(File* file, ...);

/* Reads up to count bytes into buffer and returns how many; 0 at the end and on failure (Stream_Error tells
 * which). */
QZ_API uint32_t File_Read(File* file, uint32_t count, void* buffer);

/* Writes count bytes from buffer and returns how many were written, less than count on failure. */
QZ_API uint32_t File_Write(File* file, uint32_t count, const void* buffer);

/* Sets the position. seekMode (enum FileSeek): 0 from the start, 1 from the current position, 2 from the end;
 * offset in bytes. Returns 0 (not the position), -1 on failure; Error_Fail after a report for another
 * seekMode. */
QZ_API int32_t File_Seek(File* file, int32_t seekMode, int32_t offset);

/* Writes what is pending and returns the position in bytes; -1 on failure, and where the position is over
 * 2147483647. */
QZ_API int32_t File_Tell(File* file);

/* Print by printf rules, held back until it is flushed, closed or followed by another kind of call. Return
 * the number of bytes, negative on failure. */
QZ_API int32_t File_Print(File* file, const char* format, ...) QZ_PRINTF(2, 3);
QZ_API int32_t File_VPrint(File* file, const char* format, va_list arguments) QZ_PRINTF(2, 0);

/* Hand what is pending to the system. 0, or -1 on failure. The two are the same: neither waits for the disk.
 */
QZ_API int32_t File_Flush(File* file);
QZ_API int32_t File_Sync(File* file);

/* Reads one line of at most size - 1 bytes into buffer (size bytes, at least 2), removes every CR and LF from
 * its end, and returns the length that is left; -1 at the end of the file and on failure, with an empty
 * buffer. Stream_Error then tells which: Error_Ended at the end only. The rest of a longer line comes with
 * the next call. After a failure the next call begins with the same line. */
QZ_API int32_t File_ScanLine(File* file, int32_t size, char* buffer);

/* Reads up to size bytes into buffer and returns the first (0 to 255); *remaining receives how many follow it
 * and *next where they begin. Returns 0 with *remaining 0 at the end and on failure. remaining, next: may be
 * null. */
QZ_API int32_t File_GetChar(File* file, uint32_t size, char* buffer, uint32_t* remaining, char** next);

/* Cuts the file to length 0; the position stays. 0, or -1 on failure. */
QZ_API int32_t File_Truncate(File* file);

/* Returns 1 when something stands under the name, else 0. isDirectory: null, or receives 1 for a directory,
 * else 0. A link counts as what it leads to; one that leads nowhere exists. */
QZ_API int32_t File_Exists(const char* name, int32_t* isDirectory);

/* Fills in what stands under a name; a name under which nothing stands is no failure. On Windows a drive
 * that is there (/C|) is a directory, one that is not comes back as an existing file, and a name with * or ?
 * means the first match. Error_None; Error_NoAccess and others of Error_FromSystem. */
QZ_API ErrorCode File_GetState(const char* name, FileState* state);

/* The same for an open file, pending output included; the time is in whole seconds. 0, or -1 on failure. */
QZ_API int32_t File_GetStateOpenFile(File* file, FileState* state);

/* Removes a file, an empty directory, or a link itself. Error_None; Error_NotFound when nothing stands under
 * the name; on Windows Error_Invalid for a drive and for a name with * or ? that finds something; others of
 * Error_FromSystem. */
QZ_API ErrorCode File_Unlink(const char* name);

/* Renames a file or directory; never replaces what stands under the new name. Error_None; Error_NotFound when
 * there is no source or no directory for the target; Error_NoAccess; Error_Fail for anything else, a target
 * that exists among it. */
QZ_API ErrorCode File_Move(const char* from, const char* to);

/* Copies a file in one call; never replaces an existing target. Returns 0 when the copy failed, and the
 * translation of the system's last error, 0, when it succeeded: look for the copy instead. Error_Invalid and
 * Error_Exceed for names that cannot be used. */
QZ_API ErrorCode File_Copy(const char* from, const char* to);

/* Makes a shell shortcut (WinOSShortcut_Create) to target under linkName. arguments, description: may be
 * null; iconFile: may be null, else the file that holds icon number iconIndex. Error_System where there are
 * no shell shortcuts. */
QZ_API ErrorCode File_Link(const char* target, const char* arguments, const char* linkName,
                           const char* description, const char* iconFile, int32_t iconIndex);

/* Joins a directory and a name with one "/" between them, none after an empty directory or one that ends with
 * it. result (1024 bytes) may be either of them. Returns the length; Error_Exceed with an empty result when
 * that does not fit. */
QZ_API int32_t File_CatDir(const char* directory, const char* name, char* result);

/* Splits a path at its last "/"; one at the end is dropped first. "/x" gives "/" and "x", "x" gives "" and
 * "x". A share, //server/share, is all directory, and name is left as it is. directory, name: 1024 bytes, may
 * be null, may be path. Error_None; Error_Fail after a report when there is no "/" after the server;
 * Error_Exceed. Both are empty after a failure. */
QZ_API ErrorCode File_SplitDir(const char* path, char* directory, char* name);

/* Splits off a path's root: //server/share, /C|, or else the first part (/home of /home/x). rest receives
 * what follows, with its "/". root, rest: 1024 bytes, may be null, may be path. Returns the root's length;
 * Error_Fail with both empty for a path that is too long and, after a report, when there is no "/" after the
 * server. */
QZ_API int32_t File_StripRoot(const char* path, char* root, char* rest);

/* Returns in result (1024 bytes) the name itself when nothing stands under it, else the first free one of
 * base(0)ext, base(1)ext, ...; ext begins at the last "." of the path. Error_None; Error_Invalid when its
 * directory does not exist, and after 512 names, with the next one in result; Error_Exceed. Nothing is made:
 * another program may take the name. */
QZ_API ErrorCode File_NumberName(const char* name, char* result);

/* Returns in result (1024 bytes) directory/prefixNUMBER with a random number under which nothing stands.
 * Error_None; Error_NotInited before OS_Init; Error_Fail after 100 numbers; Error_Exceed. Empty after a
 * failure. */
QZ_API ErrorCode File_UniquifyName(const char* directory, const char* prefix, char* result);

/* Begins to copy, or with move 1 to move, a file; repeated calls of File_CopyEnd do the work. Returns the
 * copy owned in *copy (free with File_CopyEnd or File_CopyAbort); null after a failure, and with Error_None
 * when a move was done at once by a rename, as between names of one root. to: the new name, or a directory to
 * copy into; never an existing file. idleMethod: null, or called about 100 times with idleContext, the bytes
 * written and the source's size; 4294967295 for a number that does not fit (File_GetCopyProgress64 gives
 * it). Error_None; Error_NotFound; Error_Invalid when the
 * source is a directory; Error_Exists when the target is there; Error_Memory; Error_Fail when a file cannot
 * be opened; for a rename the statuses of File_Move. */
QZ_API ErrorCode File_CopyStart(const char* from, const char* to, int32_t move, void* idleContext,
                                StreamProgressMethod idleMethod, FileCopy** copy);

/* Performs one step of a copy. The name misleads: call it until *copy is null; only the last step ends the
 * copy. Moves the next chunk (4096 bytes, 1048576 for files over 2 MiB). After the last one it closes both
 * files, removes the source when moving, frees the copy and sets *copy to null. Error_None; Error_Ended when
 * the source is shorter (or, when moving, longer) than it was at the start; Error_Exceed when a write fails;
 * Error_NotFound when the target of a move was removed or renamed meanwhile. *copy stays after a failure, and
 * File_CopyAbort is due; but when closing the target failed, the copy has ended: the target is removed, the
 * source stays. Null in *copy is ignored. */
QZ_API ErrorCode File_CopyEnd(FileCopy** copy);

/* Closes both files, removes the incomplete target, leaves the source, frees the copy and sets *copy to null.
 * Null in *copy is ignored. */
QZ_API void File_CopyAbort(FileCopy** copy);

/* ---- Additions ---------------------------------------------------------------------------------------- */

/* File_Seek for every position. */
QZ_API int32_t File_Seek64(File* file, int32_t seekMode, int64_t offset);

/* Writes what is pending and returns the position in bytes; -1 on failure. */
QZ_API int64_t File_Tell64(File* file);

/* File_GetState and File_GetStateOpenFile with the whole size. sizeBytes: receives the size in bytes, 0 for a
 * directory and after a failure; may be null. */
QZ_API ErrorCode File_GetState64(const char* name, FileState* state, uint64_t* sizeBytes);
QZ_API int32_t File_GetStateOpenFile64(File* file, FileState* state, uint64_t* sizeBytes);

/* Renames a file; one that stands under the new name is replaced in one step where the file system can: other
 * programs see the old file there or the new one, and after a failure the old one. Neither may be a directory
 * or a link to one; another link under the new name is replaced itself. On Windows neither may be open.
 * Error_None; Error_NotFound when there is no source or no directory for
 * the target; Error_NoAccess; Error_Fail for anything else, a directory and a target on another volume among
 * it; Error_Exceed and Error_Invalid for names that cannot be used. */
QZ_API ErrorCode File_Replace(const char* from, const char* to);

/* Writes what is pending and waits until all that was written is on the disk, as far as the system can tell.
 * 0, or -1 on failure (Stream_Error tells why). */
QZ_API int32_t File_FlushToDisk(File* file);

/* Tells how far a copy is. doneBytes: receives the bytes written so far; totalBytes: the size of the source;
 * each may be null. Both are 0 for a null copy. */
QZ_API void File_GetCopyProgress64(const FileCopy* copy, uint64_t* doneBytes, uint64_t* totalBytes);

QZ_END_C

#endif
