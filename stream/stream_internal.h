// What other parts of the library need of the stream core beyond its exported functions.
#pragma once

#include "qz/stream.h"

// What a short count means: the stream's own failure, or its end.
ErrorCode iStream_ErrorOrEnded(Stream* stream);
