// What the clients of a URL inside the library need beyond the exported functions.
#pragma once

#include <cstddef>

#include "qz/url.h"

// Writes the URL text of a record into a buffer of `size` bytes. Error_Exceed when text and terminator do not
// fit, Error_Invalid for null arguments or a null protocol; the buffer is then empty.
ErrorCode iURL_Format(const URLData* data, size_t size, char* buffer);

// The order of two URLs: protocol, user, password and host as texts, then the port, then the path; a missing
// text sorts after a present one. Negative, 0 or positive as a comes before b, equals it, or comes after it.
int32_t iURL_Compare(const URLData* a, const URLData* b);
