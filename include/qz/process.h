/* Process: child processes, and the file of this one.
 *
 * Process_Launch returns an owned record; Process_Detach releases it, and the child runs on. Nothing here
 * waits for a child. One thread at a time uses a record. Needs no OS_Init. */
#ifndef QZ_PROCESS_H
#define QZ_PROCESS_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct Process Process;

/* Starts a program as a child, which gets the current directory and no open file but the standard streams
 * (on Windows: a console only), and does not wait for it. No shell is involved. pathname: the program's file,
 * in the library's form; null: the first word of commandLine names it, in the system's form, and the system
 * looks for it. commandLine: the program's name and its arguments, separated by spaces or tabs; double
 * quotes keep words together. May be null when pathname is not. environment: texts of the form NAME=value,
 * ended by null; empty texts are skipped. Null, or nothing but empty texts: the child inherits this process's
 * environment. process (out): the record, owned (free with Process_Detach); null after a failure. Error_Fail:
 * the system refuses, or both names are null. Error_Memory. Error_Exceed: pathname does not fit.
 * Error_Invalid: process is null. */
QZ_API ErrorCode Process_Launch(const char* pathname, const char* commandLine, const char* const* environment,
                                Process** process);

/* Returns 1 while the child runs, and when the system cannot tell; 0 once it has ended, and for null. On
 * Windows a child that ends with code 259 counts as running for ever. */
QZ_API int32_t Process_IsActive(Process* process);

/* Lets go of the child, which runs on, and releases the record. Null: nothing. */
QZ_API void Process_Detach(Process* process);

/* Returns the system's number of this process. */
QZ_API uint32_t Process_GetCurrentID(void);

/* Writes the name, in the library's form, of the file that holds the module whose instance handle OS_Init got
 * with code 4; without one, of this program. buffer (out): 1024 bytes; empty after a failure. Error_Fail: the
 * system cannot tell. Error_Exceed: the name does not fit. Error_Invalid: buffer is null. */
QZ_API ErrorCode Process_GetPathname(char* buffer);

QZ_END_C

#endif
