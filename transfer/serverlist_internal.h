// The servers of a transfer: URLs in the order in which they are tried, each with a mark when it failed.
#pragma once

#include <cstdint>

#include "qz/traverse.h"
#include "qz/url.h"

// A server. Its texts are owned by the record at `url`, one block.
struct ServerEntry {
  ServerEntry* next;  // in list order; null: the last one
  URLData* url;
  bool isFailed;  // the transfer dropped it; it is passed over until the marks are cleared
};

// A list without an entry is all zeroes: ServerList list = {};
struct ServerList {
  ServerEntry* first;  // the URL that the transfer was created with
  ServerEntry* last;
  uint32_t count;
};

// More servers than these are not taken in; a server could name them without end.
constexpr uint32_t kServerListLimit = 1000;

// A URL text with its marker must fit a stored string of 1,024 bytes.
constexpr uint32_t kServerTextLimit = 1021;

// Makes a list of one server. list: empty. Error_None; Error_Exceed for a text over kServerTextLimit; what
// URL_NewData gives; the list is empty after a failure.
ErrorCode iServerList_New(const char* url, ServerList* list);

// Frees the servers; the list is empty then.
void iServerList_Delete(ServerList* list);

// The first server without the mark; null when there is none.
ServerEntry* iServerList_Select(const ServerList& list);

// Takes the mark from every server. Returns whether one had it.
bool iServerList_ClearMarks(ServerList* list);

// The server whose URL data equals these; null when there is none.
ServerEntry* iServerList_Find(const ServerList& list, const URLData& url);

// Whether a URL text names a server of the list. A text that is no URL names none.
bool iServerList_Contains(const ServerList& list, const char* url);

// Adds one URL at the end, without a mark. isAdded: false when it is in the list already or the list is full.
// Error_None; Error_Exceed for a text over kServerTextLimit; what URL_NewData gives.
ErrorCode iServerList_Add(ServerList* list, const char* url, bool* isAdded);

// Adds the URLs of a text, which ";" separates. What is no URL, too long, or there already is skipped.
// isAnyAdded: whether the list has grown, whatever the status. Error_None; Error_Memory.
ErrorCode iServerList_AddMirrors(ServerList* list, const char* urls, bool* isAnyAdded);

// Describes the list as a field of a record (docs/formats.md). In mode Read the list's memory is the list's,
// not the traverse's: whoever reads frees it with iServerList_Delete when the record fails.
// isWithoutUsers: mode Write leaves users and passwords out.
void iServerList_Describe(Traverse* traverse, ServerList* list, bool isWithoutUsers);
