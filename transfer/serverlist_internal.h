// The servers of a transfer: URLs in the order in which they are tried, each with a mark when it failed. A
// list is used by one thread at a time.
#pragma once

#include <cstdint>
#include <string_view>

#include "qz/traverse.h"
#include "qz/url.h"

// A server. Its texts are owned by the record at `url`, one block.
struct ServerEntry {
  ServerEntry* next;  // in list order; null: the last one
  URLData* url;
  bool isFailed;        // the transfer dropped it; it is passed over until the marks are cleared
  char* requestTarget;  // owned; null: the path of the URL is requested; not in the record
};

// A list without an entry is all zeroes: ServerList list = {};
struct ServerList {
  ServerEntry* first;  // the URL that the transfer was created with
  ServerEntry* last;
  uint32_t count;
};

// No list has more servers; a server could name mirrors without end.
constexpr uint32_t kServerListLimit = 1000;

// The longest URL text of a list, escaped: with its marker and its terminator it is shorter than the 1,024
// bytes of a stored text.
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

// Adds one URL at the end, without a mark. isAdded: false when it is in the list already, when the list is
// full, and after a failure. Error_None; Error_Exceed for a text over kServerTextLimit; what URL_NewData
// gives.
ErrorCode iServerList_Add(ServerList* list, const char* url, bool* isAdded);

// Sets what is requested of a server over HTTP; empty: the path of its URL. Error_None; Error_Memory.
ErrorCode iServerList_SetRequestTarget(ServerEntry* entry, std::string_view target);

// Adds the URLs of a text, which ";" separates. What is no URL, too long, or there already is skipped.
// isAnyAdded: whether the list has grown, whatever the status. Error_None; Error_Memory.
ErrorCode iServerList_AddMirrors(ServerList* list, const char* urls, bool* isAnyAdded);

// The list as a part of a record (docs/formats.md), in the traverse's mode. Init makes it empty without
// freeing anything, New leaves it as it is, Delete frees it.
//
// Read frees what the list held. What is read is the list's and not recorded in the traverse, so whoever
// reads frees it with iServerList_Delete when the record fails; until then it holds the servers read so far.
// Servers beyond kServerListLimit are read and dropped. The traverse's error: Error_NotFound for another tag
// or version; Error_Invalid for a count of 0 and for a URL that no list could write again; what URL_NewData
// gives for another text; Error_Ended; Error_Memory.
//
// Write gives Error_Invalid for an empty list. isWithoutUsers: users and passwords are left out; two servers
// may then be stored with the same text.
void iServerList_Describe(Traverse* traverse, ServerList* list, bool isWithoutUsers);
