/* OS: starting and stopping the library. */
#ifndef QZ_OS_H
#define QZ_OS_H

#include "qz/types.h"

QZ_BEGIN_C

/* System directories, for File_GetSysDir. */
enum SysDir {
  SysDir_App = 0,
  SysDir_Temp = 1,
  SysDir_Cache = 2,
  SysDir_Desk = 3,
  SysDir_Prefs = 4,
  SysDir_Startup = 5,
  SysDir_OS = 6,
  SysDir_Programs = 7
};

/* Codes of OS_Init's list; some are followed by arguments. */
enum OSInitCode {
  OSInitCode_End = 0,         /* ends the list */
  OSInitCode_LogPath = 1,     /* const char*: path of the log file */
  OSInitCode_Platform = 2,    /* apply the services of codes 4 to 6 */
  OSInitCode_CompanyName = 3, /* const char*: copied */
  OSInitCode_Instance = 4,    /* pointer-sized module instance handle, pointer-sized second word */
  OSInitCode_OLE = 5,         /* initialise OLE on this thread */
  OSInitCode_Identifier = 6   /* pointer to a 16-byte GUID, borrowed until OS_Exit */
};

QZ_API ErrorCode OS_Init(const char* applicationName, ...);
QZ_API void OS_Exit(int32_t ignored);
QZ_API const char* OS_GetApplicationName(void);
QZ_API const char* OS_GetCompanyName(void);
QZ_API int32_t OS_GetProcessorEndian(void);
QZ_API int32_t OS_Random(void);
QZ_API void OS_Delay(float seconds);
QZ_API int32_t OS_sprintf(char* buffer, const char* format, ...) QZ_PRINTF(2, 3);
QZ_API int32_t OS_vsprintf(char* buffer, const char* format, va_list arguments) QZ_PRINTF(2, 0);

QZ_END_C

#endif
