// What the tests and fuzz targets see of a hash table beyond its interface.
#pragma once

#include "qz/hash.h"

// The number of slots, used or not.
uint32_t iHash_CountBuckets(const Hash* table);
