// What only the tests and fuzz targets use of a transfer, and what its files share for them.
#pragma once

#include "transfer/vrxclient_internal.h"

// ---- messages (vrxclient_messages.cpp) ---------------------------------------------------------

// Reports a finished text.
void iVRXClient_ReportText(VRXClient* client, const char* text);

// ---- the local path (vrxclient_localpath.cpp) --------------------------------------------------

// What stands at a path that was given, and at the directory that it names a place in.
struct LocalPathFacts {
  bool exists;
  bool isDirectory;
  bool parentExists;
  bool parentIsDirectory;
};

// The local path that follows from a given one. current: the path of before, "" for none; fileName: the
// transfer's, safe. Error_NotFound without a parent, Error_Invalid for a parent that is no directory,
// Error_Exceed; chosen is empty then.
ErrorCode iVRXClient_ChooseLocalPath(const LocalPathFacts& facts, const char* given, const char* current,
                                     const char* fileName, char (&chosen)[kPathSize]);

// ---- the list (vrxclient_list.cpp) -------------------------------------------------------------

uint32_t iVRXClientList_Count();
