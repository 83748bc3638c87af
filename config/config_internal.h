// A document: its chain of records, and the indexes beside it.
//
//   config.first                                                  (all records, in the order of the file)
//     |
//     v
//   section "" --> line a --> comment --> line b --> section S --> line a --> null
//     |  |                                 ^           |  |          ^
//     |  +--- last ------------------------+           |  +-- last --+
//     +-- keys: a, b                                   +-- keys: a
//
//   config.sections: S (the first section is not indexed when it has no fields)
//
// A section's records are those from behind it up to its `last`; `last` is null when there are none. Records
// also lead back, so that one is removed without walking the chain.
//
// The lines of a section with equal keys are a ring in the order in which they were added; the key index
// holds the one added last, and the next in the ring is the first.
//
//   keys[a] --> line 3 --> line 1 --> line 2 --+
//                 ^                            |
//                 +----------------------------+
#pragma once

#include <cstdint>

#include "config/config_index.h"
#include "qz/config.h"

// The longest line that is taken apart, in bytes.
constexpr uint32_t kConfigLineLength = kConfigKeyLength;

enum ConfigCode : uint32_t {
  ConfigCode_Comment = 0x636E6663,  // "cnfc"
  ConfigCode_Line = 0x636E6674,     // "cnft"
  ConfigCode_Section = 0x636E6673,  // "cnfs"
};

// What every record begins with. A record is one block that holds its texts too.
struct ConfigRecord {
  uint32_t code;
  uint32_t hash;  // of a line's key or a section's name, as an index has it; 0: no index has it
  ConfigRecord* next;
  ConfigRecord* previous;
};

struct ConfigComment : ConfigRecord {
  char text[1];  // as long as it is
};

// A data line or a header. The pointers to its fields stand behind it, then the texts.
struct ConfigRow : ConfigRecord {
  uint32_t fieldCount;
  uint32_t commentAt;  // bytes from the beginning of the record; 0 for none
};

struct ConfigLine : ConfigRow {
  ConfigLine* nextOfKey;
  ConfigLine* previousOfKey;
  ConfigSection* section;
};

struct ConfigSection : ConfigRow {
  ConfigRecord* last;  // null when there are no lines and comments
  ConfigIndex keys;
  uint32_t lineCount;
};

// The fields of a row, and the comment behind them.
struct ConfigFields {
  char* comment;  // null for none
  uint32_t count;
  char** fields;
};

struct Config {
  ConfigSpec* spec;
  ConfigSection* first;
  ConfigIndex sections;
};

struct ConfigParsed;

// ---- records (config_record.cpp) ---------------------------------------------------------------

// New records, in no chain; null when memory runs out. What they are made of is copied.
ConfigLine* iConfig_NewLine(const ConfigParsed& parsed);
ConfigSection* iConfig_NewSection(const ConfigParsed& parsed);
// A section without header.
ConfigSection* iConfig_NewFirstSection();
// The text; with a reason: the marker, the reason and the text, a space between them.
ConfigComment* iConfig_NewComment(const char* marker, const char* reason, const char* text);

// Frees a record that is in no chain; a section with its index, but without its lines. One of an unknown code
// is reported and not freed. Null is ignored.
void iConfig_DeleteRecord(ConfigRecord* record);

// Frees the records from `first` to the end of their chain.
void iConfig_DeleteChain(ConfigRecord* first);

// What a line or a header holds.
ConfigFields iConfig_ContentOf(const ConfigRecord& record);
// Its first field: a line's key, a section's name.
const char* iConfig_NameOf(const ConfigRecord& record);

// ---- adding (config_edit.cpp) ------------------------------------------------------------------

// What becomes of a line whose key its section has, where the syntax wants unique lines.
enum class ConfigDuplicate { KeepsOld, ReplacesOld };

// Takes one line of text apart and adds what it is behind *current; a header changes *current. text: length
// bytes, at most kConfigLineLength, and a terminator. *line receives a new data line, or null. After a
// failure the document is as it was.
ErrorCode iConfig_AddText(Config* config, const char* text, uint32_t length, ConfigDuplicate duplicate,
                          ConfigSection** current, ConfigLine** line);

// Adds a comment or a header, and takes it over. After a failure it is still the caller's. Another code is
// reported: Error_Invalid.
ErrorCode iConfig_AddRecord(Config* config, ConfigRecord* record, ConfigSection** current);

// ---- keys (config_edit.cpp) --------------------------------------------------------------------

// A line's key, in lower case unless the syntax is case sensitive, and a section's name, as it is. False, and
// an empty key, when the text is longer than any.
bool iConfig_MakeKey(const ConfigSpec& spec, const char* text, ConfigKey* key);
bool iConfig_MakeName(const char* text, ConfigKey* key);
