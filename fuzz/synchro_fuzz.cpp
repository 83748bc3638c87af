// Listings of both sides and the stored table, as arbitrary bytes: what is decided must be one of a model's
// decisions, and no name may lead out of the directory.
//
// Input: byte 0 the flags; then the source's listing, a byte 0x01, the destination's listing, a byte 0x01,
// and the table's lines.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "config/config_parse.h"
#include "os/core/memory_testing.h"
#include "qz/error.h"
#include "qz/synchro.h"
#include "synchro/synchro_decide_internal.h"
#include "synchro/synchro_entries_internal.h"
#include "synchro/synchro_listing_internal.h"
#include "synchro/synchro_table_internal.h"

namespace {

void Require(bool condition) {
  if (!condition) abort();
}

constexpr char kSeparator = 1;

std::string_view TakePart(std::string_view* input) {
  const size_t end = input->find(kSeparator);
  const std::string_view part = input->substr(0, end);
  input->remove_prefix(end == std::string_view::npos ? input->size() : end + 1);
  return part;
}

template <typename Take>
void ForEachLine(std::string_view text, const ConfigSpec& syntax, Take take) {
  const auto parsed = std::make_unique<ConfigParsed>();
  while (!text.empty()) {
    const size_t end = text.find('\n');
    std::string line(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.size() > kConfigLineLength || line.find('\0') != std::string::npos) continue;
    iConfig_Parse(syntax, line.c_str(), static_cast<uint32_t>(line.size()), parsed.get());
    if (parsed->kind == ConfigLineKind::Line) take(parsed->content.fields);
  }
}

void RequireSafe(std::string_view name) {
  Require(!name.empty() && name != "." && name != "..");
  for (const char c : name) Require(c != '/' && c != '\\' && c != ':');
}

// The mark as a table of its own: flags 4 and 8 settle what both sides changed.
char ModelMark(uint32_t flags, uint32_t state) {
  if ((state & 3) == 3) return (flags & 8) != 0 ? '>' : (flags & 4) != 0 ? '<' : '!';
  return "=<>"[state & 3];
}

void RequireDecision(uint32_t flags, const SynchroEntry& entry) {
  const SynchroAction action = iSynchro_Decide(flags, entry);
  Require(action.mark == ModelMark(flags, entry.state));
  const bool isToDestination = action.mark == '>';
  const bool acts = action.step == SynchroStep::Copy || action.step == SynchroStep::Delete;
  Require(!acts || isToDestination || action.mark == '<');
  if (action.step == SynchroStep::Copy) Require(entry.IsAt(action.from));
  if (action.step != SynchroStep::Delete) return;
  Require(!entry.IsAt(action.from));
  Require((flags & (isToDestination ? 8 : 4)) != 0);
}

void TakeListing(std::string_view text, const SynchroMasks& masks, SynchroEnd end, SynchroEntries* entries) {
  for (uint32_t i = 0; i < entries->Count(); ++i) entries->At(i).sides[end].present = 0;
  ForEachLine(text, *iSynchro_Syntaxes().listing, [&](char** fields) {
    SynchroListed listed;
    if (iSynchro_ParseListing(fields, false, &listed) != SynchroListing::Taken) return;
    RequireSafe(listed.name);
    SynchroEntry* entry = entries->Find(listed.name);
    if (entry == nullptr) entry = entries->Add(listed.name);
    Require(entry != nullptr && entries->Find(listed.name) == entry);
    iSynchro_TakeListed(masks, end, listed.side, entry);
    Require(entry->IsAt(end));
  });
}

void TakeTable(std::string_view text, SynchroEntries* entries) {
  ForEachLine(text, *iSynchro_Syntaxes().table, [&](char** fields) {
    SynchroEntry parsed;
    if (iSynchro_ParseEntry(fields, &parsed) != Error_None || entries->Find(parsed.name) != nullptr) return;
    if (!iSynchro_IsUsableName(parsed.name, false)) return;
    SynchroEntry* const entry = entries->Add(parsed.name);
    Require(entry != nullptr);
    char* const name = entry->name;
    *entry = parsed;
    entry->name = name;
  });
}

// What is written is read as the same entry.
void RequireReadable(const SynchroEntry& entry) {
  char line[kSynchroEntryLine];
  const int32_t length = iSynchro_FormatEntry(entry, line);
  Require(length > 0 && static_cast<size_t>(length) < sizeof line);
  bool isRead = false;
  ForEachLine(line, *iSynchro_Syntaxes().table, [&](char** fields) {
    SynchroEntry again;
    Require(iSynchro_ParseEntry(fields, &again) == Error_None);
    Require(strcmp(again.name, entry.name) == 0 && again.state == entry.state);
    Require(memcmp(again.sides, entry.sides, sizeof again.sides) == 0);
    isRead = true;
  });
  Require(isRead);
}

void Run(uint32_t flags, std::string_view input) {
  SynchroEntries entries;
  const SynchroMasks masks = iSynchro_Masks(flags);
  const std::string_view source = TakePart(&input);
  const std::string_view destination = TakePart(&input);
  TakeTable(input, &entries);
  TakeListing(source, masks, SynchroEnd_Source, &entries);
  TakeListing(destination, masks, SynchroEnd_Destination, &entries);
  for (uint32_t i = 0; i < entries.Count(); ++i) {
    SynchroEntry& entry = entries.At(i);
    const bool isAtSource = entry.IsAt(SynchroEnd_Source);
    const bool isAtDestination = entry.IsAt(SynchroEnd_Destination);
    if (!isAtSource && !isAtDestination) continue;
    entry.state = iSynchro_Settle(masks, entry.state, isAtSource, isAtDestination);
    RequireDecision(flags, entry);
    RequireReadable(entry);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > 65536) return 0;
  const int64_t before = iMemory_CountLive();
  Require(iSynchro_HoldSyntaxes() == Error_None);
  Error_SetReporter([](const char*) {});
  Run(data[0] & 15u, {reinterpret_cast<const char*>(data + 1), size - 1});
  iSynchro_ReleaseSyntaxes();
  Require(iMemory_CountLive() == before);
  return 0;
}
