// Index and tables, as lines of configuration files.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "os/core/lock_internal.h"
#include "os/core/owned.h"
#include "os/text/decimal_internal.h"
#include "qz/configlabel.h"
#include "qz/error.h"
#include "qz/os.h"
#include "synchro/synchro_lines_internal.h"
#include "synchro/synchro_listing_internal.h"
#include "synchro/synchro_table_internal.h"

namespace {

constexpr char kIndexEnding[] = ".sync";
constexpr char kTablePrefix[] = "syncentry";
constexpr char kRootKey[] = "/";
constexpr char kWhiteSpace[] = " \t\r\n";
constexpr char kDelimiter = ':';
constexpr uint32_t kTableFields = 10;
constexpr uint32_t kIntentFields = 12;
constexpr uint32_t kIndexFields = 2;
constexpr uint32_t kFieldsOfSide = 4;

using UnsignedLong = unsigned long;

// ---- syntaxes ----------------------------------------------------------------------------------

// Guarded by the library's lock.
uint32_t holders = 0;
SynchroSyntaxes syntaxes = {};

void SetFields(ConfigSpec* syntax, uint32_t count) {
  ConfigSpec_SetMinFields(syntax, count);
  ConfigSpec_SetMaxFields(syntax, count);
}

ConfigSpec* MakeListingSyntax() {
  ConfigSpec* const syntax = ConfigSpec_Start();
  if (syntax == nullptr) return nullptr;
  ConfigSpec_SetLineComment(syntax, "");
  ConfigSpec_SetNotField(syntax, kWhiteSpace);
  SetFields(syntax, kSynchroListingFields);
  ConfigSpec_SetLastFieldGrab(syntax, 1);
  ConfigSpec_SetStripComments(syntax, 1);
  ConfigSpec_SetUniqueLines(syntax, 0);
  ConfigSpec_SetCaseSensitive(syntax, 1);
  ConfigSpec_End(syntax);
  return syntax;
}

ConfigSpec* MakeTableSyntax(const ConfigSpec* listing) {
  ConfigSpec* const syntax = ConfigSpec_StartFrom(listing);
  if (syntax == nullptr) return nullptr;
  SetFields(syntax, kTableFields);
  ConfigSpec_SetFieldDelimiter(syntax, kDelimiter);
  ConfigSpec_SetLastFieldGrab(syntax, 0);
  ConfigSpec_SetStripComments(syntax, 1);
  ConfigSpec_SetUniqueLines(syntax, 1);
  ConfigSpec_SetCaseSensitive(syntax, 1);
  ConfigSpec_End(syntax);
  return syntax;
}

ConfigSpec* MakeJournalSyntax(const ConfigSpec* table) {
  ConfigSpec* const syntax = ConfigSpec_StartFrom(table);
  if (syntax == nullptr) return nullptr;
  ConfigSpec_SetMaxFields(syntax, kIntentFields);
  ConfigSpec_End(syntax);
  return syntax;
}

ConfigSpec* MakeIndexSyntax(const ConfigSpec* listing) {
  ConfigSpec* const syntax = ConfigSpec_StartFrom(listing);
  if (syntax == nullptr) return nullptr;
  SetFields(syntax, kIndexFields);
  ConfigSpec_SetFieldDelimiter(syntax, kDelimiter);
  ConfigSpec_End(syntax);
  return syntax;
}

void DeleteSyntaxes() {
  ConfigSpec_Delete(syntaxes.index);
  ConfigSpec_Delete(syntaxes.journal);
  ConfigSpec_Delete(syntaxes.table);
  ConfigSpec_Delete(syntaxes.listing);
  syntaxes = {};
}

bool MakeSyntaxes() {
  syntaxes.listing = MakeListingSyntax();
  syntaxes.table = MakeTableSyntax(syntaxes.listing);
  syntaxes.journal = MakeJournalSyntax(syntaxes.table);
  syntaxes.index = MakeIndexSyntax(syntaxes.listing);
  if (syntaxes.listing != nullptr && syntaxes.table != nullptr && syntaxes.journal != nullptr &&
      syntaxes.index != nullptr)
    return true;
  DeleteSyntaxes();
  return false;
}

// ---- the index ---------------------------------------------------------------------------------

const char* KeyOf(const char* directory) {
  return directory[0] != '\0' ? directory : kRootKey;
}

// The index comes from a file: what it names must not lead out of the cache directory.
bool IsTableName(std::string_view name) {
  return iSynchro_IsUsableName(name, true) && name.find("..") == std::string_view::npos;
}

// The directory of the index is that of its tables.
ErrorCode FolderOf(const SynchroIndex& index, char (&directory)[kFileNameSize]) {
  return File_SplitDir(index.path, directory, nullptr);
}

// A file of a name that nobody else takes meanwhile.
ErrorCode ReserveTable(const SynchroIndex& index, char (&path)[kFileNameSize]) {
  Owned<File, File_Close> file;
  char directory[kFileNameSize];
  ErrorCode status = FolderOf(index, directory);
  if (status == Error_None)
    status = iFile_OpenTemporaryIn(directory, kTablePrefix, "", FileMode_Write, false, path, file.out());
  if (status == Error_None) File_SetTemporary(file.get(), 0);
  return status;
}

ErrorCode EnterTable(SynchroIndex* index, const char* directory, const char* path) {
  const char* const name = strrchr(path, '/') + 1;
  Config* const document = index->document.get();
  ConfigLine* line = nullptr;
  ErrorCode status = Config_PrintF(document, nullptr, "%s:%s", &line, KeyOf(directory), name);
  if (status == Error_None) status = Config_Write(document, index->path);
  if (status != Error_None && line != nullptr) Config_RemoveLine(document, line);
  return status;
}

// ---- entries -----------------------------------------------------------------------------------

bool ReadNumber(const char* field, uint32_t* number) {
  std::string_view text = field;
  const std::optional<uint32_t> value = iDecimal_TakeUnsigned(&text);
  *number = value.value_or(0);
  return value.has_value();
}

bool ReadLabel(const char* field, uint32_t* value) {
  const int32_t scanned = ConfigLabel_Scan(ConfigLabel_GetTrueFalse(), field);
  *value = scanned == 1 ? 1 : 0;
  return scanned == 0 || scanned == 1;
}

bool ReadTime(const char* field, Time* time) {
  std::string_view text = field;
  const std::optional<uint32_t> seconds = iDecimal_TakeUnsigned(&text);
  if (!seconds || text.empty() || text.front() != '.') return false;
  text.remove_prefix(1);
  const std::optional<uint32_t> milliseconds = iDecimal_TakeUnsigned(&text);
  *time = {*seconds, milliseconds.value_or(0)};
  return milliseconds.has_value();
}

bool ReadSide(char* const* fields, SynchroSide* side) {
  return ReadLabel(fields[0], &side->present) && ReadLabel(fields[1], &side->directory) &&
         ReadNumber(fields[2], &side->size) && ReadTime(fields[3], &side->time);
}

const char* Label(uint32_t value) {
  return ConfigLabel_Print(ConfigLabel_GetTrueFalse(), static_cast<int32_t>(value));
}

ErrorCode AddEntry(const SynchroEntry& parsed, SynchroEntries* entries) {
  SynchroEntry* const entry = entries->Add(parsed.name);
  if (entry == nullptr) return Error_Memory;
  char* const name = entry->name;
  *entry = parsed;
  entry->name = name;
  return Error_None;
}

bool IsBlank(const char* line) {
  return line[strspn(line, kWhiteSpace)] == '\0';
}

bool HasTableFields(std::string_view line) {
  const auto delimiters = static_cast<uint32_t>(std::count(line.begin(), line.end(), kDelimiter));
  return delimiters + 1 == kTableFields;
}

ErrorCode AddLines(const Config* document, SynchroEntries* entries, bool* isBad) {
  for (const ConfigLine* line = Config_FirstLine(document, nullptr); line != nullptr;
       line = Config_NextLine(document, line)) {
    SynchroEntry parsed;
    *isBad = iSynchro_ParseEntry(Config_GetFields(document, line), &parsed) != Error_None;
    if (*isBad) return Error_None;
    const ErrorCode status = AddEntry(parsed, entries);
    if (status != Error_None) return status;
  }
  return Error_None;
}

}  // namespace

// ---- syntaxes ----------------------------------------------------------------------------------

ErrorCode iSynchro_HoldSyntaxes() {
  const LibraryLock lock;
  if (holders == 0 && !MakeSyntaxes()) return Error_Memory;
  ++holders;
  return Error_None;
}

void iSynchro_ReleaseSyntaxes() {
  const LibraryLock lock;
  if (--holders == 0) DeleteSyntaxes();
}

const SynchroSyntaxes& iSynchro_Syntaxes() {
  return syntaxes;
}

ErrorCode SynchroDocument::Open(ConfigSpec* syntax) {
  const LibraryLock lock;
  document_ = Config_New(syntax);
  return document_ != nullptr ? Error_None : Error_Memory;
}

void SynchroDocument::Close() {
  if (document_ == nullptr) return;
  Config_Empty(document_);  // the long part, before the lock
  const LibraryLock lock;
  Config_Delete(document_);
  document_ = nullptr;
}

// ---- the index ---------------------------------------------------------------------------------

ErrorCode iSynchro_FindBeside(const char* directory, const char* name, char* path) {
  char joined[kFileNameSize];
  path[0] = '\0';
  ErrorCode status =
      directory != nullptr ? iFile_CopyName(directory, joined) : File_GetSysDir(SysDir_Cache, joined);
  if (status == Error_None) status = iFile_Join(joined, name, joined);
  return status == Error_None ? iFile_CopyName(joined, path) : status;
}

ErrorCode iSynchro_OpenIndex(const char* directory, const char* name, SynchroIndex* index) {
  char file[kFileNameSize];
  const int length = snprintf(file, sizeof file, "%s%s", name, kIndexEnding);
  if (length < 0 || static_cast<size_t>(length) >= sizeof file) return Error_Exceed;
  ErrorCode status = iSynchro_FindBeside(directory, file, index->path);
  if (status == Error_None) status = index->document.Open(iSynchro_Syntaxes().index);
  if (status == Error_None) status = Config_Read(index->document.get(), index->path);
  return status == Error_NotFound ? Error_None : status;
}

ErrorCode iSynchro_FindTable(const SynchroIndex& index, const char* directory, char* path) {
  path[0] = '\0';
  const Config* const document = index.document.get();
  const ConfigLine* const line = Config_FindLine(document, nullptr, KeyOf(directory));
  if (line == nullptr) return Error_NotFound;
  const char* const name = Config_GetFields(document, line)[1];
  if (!IsTableName(name)) return Error_Invalid;
  char folder[kFileNameSize];
  const ErrorCode status = FolderOf(index, folder);
  return status == Error_None ? iSynchro_FindBeside(folder, name, path) : status;
}

ErrorCode iSynchro_AddTable(SynchroIndex* index, const char* directory, char* path) {
  char reserved[kFileNameSize];
  path[0] = '\0';
  ErrorCode status = ReserveTable(*index, reserved);
  if (status != Error_None) return status;
  status = EnterTable(index, directory, reserved);
  if (status != Error_None) {
    File_Unlink(reserved);
    return status;
  }
  return iFile_CopyName(reserved, path);
}

// ---- tables ------------------------------------------------------------------------------------

ErrorCode iSynchro_ParseEntry(char* const* fields, SynchroEntry* entry) {
  *entry = {};
  entry->name = fields[0];
  const bool isRead = strlen(entry->name) < kFileNameSize && ReadNumber(fields[1], &entry->state) &&
                      ReadSide(fields + 2, &entry->sides[SynchroEnd_Source]) &&
                      ReadSide(fields + 2 + kFieldsOfSide, &entry->sides[SynchroEnd_Destination]);
  return isRead ? Error_None : Error_Invalid;
}

int32_t iSynchro_FormatEntry(const SynchroEntry& entry, char* buffer) {
  const SynchroSide& source = entry.sides[SynchroEnd_Source];
  const SynchroSide& destination = entry.sides[SynchroEnd_Destination];
  return snprintf(buffer, kSynchroEntryLine, "%s:%lu:%s:%s:%lu:%lu.%lu:%s:%s:%lu:%lu.%lu", entry.name,
                  UnsignedLong{entry.state}, Label(source.present), Label(source.directory),
                  UnsignedLong{source.size}, UnsignedLong{source.time.seconds},
                  UnsignedLong{source.time.milliseconds}, Label(destination.present),
                  Label(destination.directory), UnsignedLong{destination.size},
                  UnsignedLong{destination.time.seconds}, UnsignedLong{destination.time.milliseconds});
}

ErrorCode iSynchro_ReadTable(const char* path, SynchroEntries* entries, bool* isBad) {
  *isBad = false;
  SynchroDocument document;
  ErrorCode status = document.Open(iSynchro_Syntaxes().table);
  if (status == Error_None) status = Config_Read(document.get(), path);
  if (status == Error_None) status = AddLines(document.get(), entries, isBad);
  return status == Error_NotFound ? Error_None : status;
}

ErrorCode iSynchro_CheckTable(const char* path, bool* isBad) {
  *isBad = false;
  Owned<File, File_Close> file;
  const ErrorCode status = File_Open(path, FileMode_Read, file.out());
  if (status != Error_None) return status == Error_NotFound ? Error_None : status;
  SynchroLines lines(file.get());
  while (!*isBad && lines.Next()) *isBad = !IsBlank(lines.Text()) && !HasTableFields(lines.Text());
  *isBad = *isBad || lines.HasLeftOut();
  return lines.Status();
}

ErrorCode iSynchro_WriteTable(const char* path, const SynchroEntries& entries, SynchroLineMethod takeLine) {
  SynchroDocument document;
  ErrorCode status = document.Open(iSynchro_Syntaxes().table);
  for (uint32_t i = 0; i < entries.Count() && status == Error_None; ++i) {
    char line[kSynchroEntryLine];
    SynchroEntry entry = entries.At(i);
    if (!takeLine(&entry)) continue;
    iSynchro_FormatEntry(entry, line);
    status = Config_Print(document.get(), nullptr, line, nullptr);
  }
  return status == Error_None ? Config_Write(document.get(), path) : status;
}
