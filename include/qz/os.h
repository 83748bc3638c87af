/* OS: starting and stopping the library, the names it works under, random numbers, waiting and formatting.
 *
 * An application calls OS_Init once, before everything else, and OS_Exit once, after everything else, both
 * from its main thread. In between every function may be called from any thread unless its family says
 * otherwise. Text, memory, status, thread, semaphore and process functions and OS_Random, OS_Delay,
 * OS_sprintf and OS_vsprintf work while the library is down as well. */
#ifndef QZ_OS_H
#define QZ_OS_H

#include "qz/types.h"

QZ_BEGIN_C

/* System directories, for File_GetSysDir (qz/file.h). Elsewhere than on Windows, what would lie in an
 * application directory that the user may not write, the default log too, lies in the user's cache directory
 * ($XDG_CACHE_HOME, else ~/.cache); and when that cannot be written either, in a folder of the temporary
 * directory that is made for this user alone. A folder of that name that is somebody else's, or that others
 * may enter, fails OS_Init with Error_NoAccess. */
enum SysDir {
  SysDir_App = 0,     /* the program's own: where its executable file is */
  SysDir_Temp = 1,    /* temporary files */
  SysDir_Cache = 2,   /* what the application keeps between runs: <application directory>/<name>Cache */
  SysDir_Desk = 3,    /* the user's desktop */
  SysDir_Prefs = 4,   /* preferences: the Windows directory; elsewhere <application directory>/<name>Prefs */
  SysDir_Startup = 5, /* what is started at log-on. This and SysDir_Programs: on Windows they exist; elsewhere
                         OS_Init does not make them, and a user without a home folder has none */
  SysDir_OS = 6,      /* the operating system's own: the Windows directory; elsewhere "/" */
  SysDir_Programs = 7 /* the user's menu of programs */
};

/* Codes of OS_Init's list; some are followed by arguments. A pointer-sized argument must really be one: write
 * (Word)0 or a cast pointer, never a bare 0. */
enum OSInitCode {
  OSInitCode_End = 0,      /* ends the list */
  OSInitCode_LogPath = 1,  /* const char*: path of the log file, in the library's form; copied; null or empty:
                              the default */
  OSInitCode_Platform = 2, /* apply the services of codes 4 to 6; without it they are read and ignored */
  OSInitCode_CompanyName = 3, /* const char*: copied, at most 1023 bytes; null: empty */
  OSInitCode_Instance = 4,    /* Word: module instance handle, for window classes and Process_GetPathname;
                                 Word: a second word, kept and not used */
  OSInitCode_OLE = 5, /* initialise OLE on this thread, which WinOSShortcut_Create needs; no effect where
                         there is none */
  OSInitCode_Identifier = 6 /* const void*: a 16-byte GUID, borrowed until OS_Exit; becomes identifier 0 of
                               WinOSRegistry_GetID, and the others are emptied */
};

/* Brings the library up: applies the list of codes, sets the names, finds (and creates where missing) the
 * eight system directories, fixes the path of the log file without creating it, starts the socket layer, and
 * seeds OS_Random. applicationName: copied, at most 1023 bytes; null: "app" and the number of the process.
 * ...: codes of enum OSInitCode (int), each followed by its arguments; the list ends with OSInitCode_End.
 * Without OSInitCode_LogPath the log file is <application directory>/<application name>.log. A code given
 * twice is reported through Error; the later value counts. Error_Inited: the library is up already; nothing
 * is changed. Also after a start that failed in the socket layer. Error_Fail: an unknown code (reported
 * with the last good one), or OLE cannot be initialised. Error_Exists: a file stands where a directory is to
 * be. Error_NotFound: on Windows, the system names no startup or programs folder; elsewhere, nothing tells
 * where the program's file is. Error_Exceed: a name or path of 1024 bytes or more. Otherwise the status of
 * creating a directory, or of the socket layer. After a failure the library is down, but the services of
 * codes 4 to 6 that were applied stay. */
QZ_API ErrorCode OS_Init(const char* applicationName, ...);

/* Takes the library down: stops the socket layer, closes the log file (and removes it when it was marked
 * temporary), and undoes the services that OS_Init's list asked for. Nothing happens while the library is
 * down. Everything made with the library should have been released before; threads may still run. ignored:
 * any value. */
QZ_API void OS_Exit(int32_t ignored);

/* Return the names that OS_Init set, "" before that; the company name is "" when none was given. The texts
 * are the library's, at most 1023 bytes, valid until the next OS_Init; never freed. */
QZ_API const char* OS_GetApplicationName(void);
QZ_API const char* OS_GetCompanyName(void);

/* Returns the byte order that the library runs in: 0, little-endian. */
QZ_API int32_t OS_GetProcessorEndian(void);

/* Returns the next number, 0 to 0x7FFF, of the C library's random sequence, which OS_Init seeds with the time
 * since the system started. Not for secrets. */
QZ_API int32_t OS_Random(void);

/* Suspends the calling thread.
 * seconds: cut to whole milliseconds; 0, a negative value and "not a number" give the rest of the time slice
 * away. */
QZ_API void OS_Delay(float seconds);

/* Formats by printf rules into buffer, without any bound: the caller makes it large enough. Returns the
 * number of characters written, the terminator not counted; Error_Invalid when buffer or format is null. */
QZ_API int32_t OS_sprintf(char* buffer, const char* format, ...) QZ_PRINTF(2, 3);
QZ_API int32_t OS_vsprintf(char* buffer, const char* format, va_list arguments) QZ_PRINTF(2, 0);

QZ_END_C

#endif
