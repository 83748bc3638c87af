// Saved transfers in words, for tables and messages. Nothing here does I/O.
#ifndef TOOL_SAVED_TEXT_H
#define TOOL_SAVED_TEXT_H

#include <string>

#include "tool/saved_transfer.h"

namespace tool {

// The last part of the local path.
std::string NameOf(const SavedTransfer& transfer);

// "waiting", "running", "failed"; isTaken: whether a program runs it.
std::string StateText(const SavedTransfer& transfer, bool isTaken);

// "45.2 MiB"; "unknown".
std::string SizeColumn(const SavedTransfer& transfer);

// "45%", 100% only for all of it; "45.2 MiB" while the size is unknown.
std::string DoneColumn(const SavedTransfer& transfer);

// What the transfer was told beside its URL and its path: "overwrite, sync"; "none".
std::string OptionsText(const SavedTransfer& transfer);

}  // namespace tool

#endif
