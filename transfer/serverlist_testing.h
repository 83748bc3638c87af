// What only tests and fuzz targets ask of the list of servers.
#pragma once

#include "transfer/serverlist_internal.h"

// Whether a URL text names a server of the list. A text that is no URL names none.
bool iServerList_Contains(const ServerList& list, const char* url);
