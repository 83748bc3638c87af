/* WinOSShortcut: shell links. */
#ifndef QZ_WINOSSHORTCUT_H
#define QZ_WINOSSHORTCUT_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_API ErrorCode WinOSShortcut_Create(const char* target, const char* arguments, const char* linkName,
                                      const char* description, const char* iconFile, int32_t iconIndex);

QZ_END_C

#endif
