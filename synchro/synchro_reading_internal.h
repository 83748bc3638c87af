// The lines of an FTP server's listings, exactly. Pure.
#pragma once

#include <cstdint>
#include <string_view>

#include "synchro/synchro_entry_internal.h"

enum class SynchroLine {
  Entry,
  NoEntry,        // the directory itself, the one above, a sum of blocks
  NotUnderstood,  // nobody knows what it names
};

// What a line says of an entry.
struct SynchroRead {
  const char* name;  // within the line
  SynchroSide side;
  bool isUnclear;    // no file or directory, or one whose size or date cannot be read
  bool isUndated;    // a file whose date has no time of day
  bool isAmbiguous;  // where the name begins or ends cannot be told
};

// A line of MLSD or MLST, "type=file;size=5;modify=19970105090307; name".
SynchroLine iSynchro_ReadFacts(char* line, SynchroRead* read);

// A line of LIST, "-rw-r--r-- 1 owner group 5 Jan  5 09:03 name".
SynchroLine iSynchro_ReadLongLine(char* line, SynchroRead* read);

// Whether a line of LIST with the name could be one of another name.
bool iSynchro_IsAmbiguousInLongLine(std::string_view name);

// Whether a time from a time stamp can be that of an older line of LIST, in the server's local time and whole
// minutes: files that lose their time of day as they age have not changed.
bool iSynchro_IsSameMoment(const Time& listed, const Time& stamped);
