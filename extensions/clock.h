/* The time that a method may take. */
#ifndef EXTENSIONS_CLOCK_H
#define EXTENSIONS_CLOCK_H

#include <stdint.h>

/* The methods of agents run under a lock of all transfers, and so work for this long at most. A chunk that is
 * under way ends later, and still within 50 milliseconds. */
#define SLICE_MILLISECONDS 20u

/* Returns a clock that nobody sets, in milliseconds; it wraps. */
uint32_t Extension_Milliseconds(void);

#endif
