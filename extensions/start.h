/* The start-up code of an extension library, which start.c has for both systems. */
#ifndef EXTENSIONS_START_H
#define EXTENSIONS_START_H

#include "qz/error.h"

/* Each library has its own: registers its classes. */
ErrorCode Extension_RegisterClasses(void);

/* Keeps the library loaded until the program ends, because a thread may still run its code. Its start-up code
 * does not run again: transfers that the program starts anew are without its classes. */
void Extension_StayLoaded(void);

#endif
