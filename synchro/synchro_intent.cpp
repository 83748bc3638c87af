// What a run was about to do. Pure, but for the memory of the list.
#include "synchro/synchro_intent_internal.h"
#include "synchro/synchro_reading_internal.h"

namespace {

void TakeKnown(const SynchroEntry* known, SynchroEntry* kept) {
  kept->state = known != nullptr ? known->state : 0;
  kept->flags = known != nullptr ? 0u : static_cast<uint32_t>(SynchroEntryFlag_New);
  for (uint32_t end = 0; end < kSynchroEnds; ++end)
    kept->before[end] = known != nullptr ? known->sides[end] : SynchroSide{};
}

constexpr SynchroEntryFlag kUndatedAt[kSynchroEnds] = {SynchroEntryFlag_UndatedAtSource,
                                                       SynchroEntryFlag_UndatedAtDestination};

// Of a file on a server the size alone is known beforehand. One that stands there as the table has it was not
// replaced; at worst it is copied once more.
bool IsUntouched(const SynchroEntry& kept, const SynchroIntent& intent, SynchroEntry* entry) {
  const SynchroSide& before = kept.before[intent.at];
  SynchroSide* const shown = &entry->sides[intent.at];
  if (Time_Compare(&intent.expected.time, &kSynchroUnknownTime) != 0) return false;
  if (before.present == 0 || before.size != shown->size) return false;
  // It has lost its time of day as it aged.
  if (entry->Has(kUndatedAt[intent.at]) && iSynchro_IsSameMoment(before.time, shown->time))
    shown->time = before.time;
  return Time_Compare(&before.time, &shown->time) == 0;
}

// It was not done: a guarded run decides by what the table has.
void TakeBack(const SynchroEntry& kept, const SynchroIntent& intent, SynchroEntry* entry) {
  entry->state = kept.state;
  entry->flags |= kept.flags & SynchroEntryFlag_New;
  for (uint32_t end = 0; end < kSynchroEnds; ++end) entry->before[end] = kept.before[end];
  const bool isHalf = intent.isInPlace && entry->IsAt(intent.at);
  if (isHalf) entry->before[intent.at] = entry->sides[intent.at];
}

}  // namespace

ErrorCode SynchroIntents::Keep(const SynchroEntry& after, const SynchroEntry* known,
                               const SynchroIntent& intent) {
  SynchroEntry* kept = list_.Find(after.name);
  const bool isOpen = Find(after.name) != nullptr;
  if (kept == nullptr) kept = list_.Add(after.name);
  if (kept == nullptr) return Error_Memory;
  if (!isOpen) TakeKnown(known, kept);
  kept->flags &= ~(SynchroEntryFlag_AtSource | SynchroEntryFlag_InPlace);
  for (uint32_t end = 0; end < kSynchroEnds; ++end) kept->sides[end] = after.sides[end];
  if (intent.at == SynchroEnd_Source) kept->flags |= SynchroEntryFlag_AtSource;
  if (intent.isInPlace) kept->flags |= SynchroEntryFlag_InPlace;
  kept->sides[intent.at] = intent.expected;
  return Error_None;
}

void SynchroIntents::Close(const char* name) {
  SynchroEntry* const kept = list_.Find(name);
  if (kept != nullptr) kept->flags |= SynchroEntryFlag_Settled;
}

const SynchroEntry* SynchroIntents::Find(const char* name) {
  const SynchroEntry* const kept = list_.Find(name);
  return kept != nullptr && !kept->Has(SynchroEntryFlag_Settled) ? kept : nullptr;
}

bool SynchroIntents::HasAny() {
  bool hasAny = false;
  ForEach([&](const SynchroEntry&) { hasAny = true; });
  return hasAny;
}

SynchroIntent SynchroIntents::IntentOf(const SynchroEntry& kept) {
  const SynchroEnd at = kept.Has(SynchroEntryFlag_AtSource) ? SynchroEnd_Source : SynchroEnd_Destination;
  return {at, kept.sides[at], kept.Has(SynchroEntryFlag_InPlace)};
}

bool iSynchro_IsAsIntended(const SynchroIntent& intent, const SynchroSide& shown) {
  if (shown.present == 0 || shown.directory != 0) return false;
  const SynchroSide& expected = intent.expected;
  const bool isTimeKnown = Time_Compare(&expected.time, &kSynchroUnknownTime) != 0;
  if (isTimeKnown && Time_Compare(&expected.time, &shown.time) != 0) return false;
  // A listing may show the low part of a size only.
  return expected.size == shown.size || (isTimeKnown && expected.size == UINT32_MAX);
}

void iSynchro_JudgeListed(SynchroEnd end, const SynchroSide& listed, SynchroIntents* intents,
                          SynchroEntry* entry) {
  const SynchroEntry* const kept = intents->Find(entry->name);
  if (kept == nullptr || entry->Has(SynchroEntryFlag_Unclear)) return;
  const SynchroIntent intent = SynchroIntents::IntentOf(*kept);
  if (intent.at != end) return;
  intents->Close(entry->name);
  const bool isDone = iSynchro_IsAsIntended(intent, listed);
  entry->sides[end] = isDone || intent.isInPlace ? listed : kept->before[end];
  if (isDone) return;
  entry->state |= kept->state;
  if (kept->Has(SynchroEntryFlag_New)) entry->flags |= SynchroEntryFlag_New | SynchroEntryFlag_AtSource;
}

void iSynchro_JudgeUnlisted(SynchroIntents* intents, SynchroEntries* entries) {
  intents->ForEach([&](const SynchroEntry& kept) {
    const SynchroEnd at = SynchroIntents::IntentOf(kept).at;
    SynchroEntry* const entry = entries->Find(kept.name);
    const uint32_t present = entry->sides[at].present;
    entry->state |= kept.state;
    entry->flags |= kept.flags & SynchroEntryFlag_New;
    entry->sides[at] = kept.before[at];
    entry->sides[at].present = present;
    if (!entry->Has(SynchroEntryFlag_Unclear)) intents->Close(kept.name);
  });
}

void iSynchro_JudgeGuarded(bool isWhole, SynchroIntents* intents, SynchroEntries* entries) {
  intents->ForEach([&](const SynchroEntry& kept) {
    const SynchroIntent intent = SynchroIntents::IntentOf(kept);
    SynchroEntry* const entry = entries->Find(kept.name);
    const bool isSure = isWhole && !entry->Has(SynchroEntryFlag_Unclear);
    if (isSure && iSynchro_IsAsIntended(intent, entry->sides[intent.at]) &&
        !IsUntouched(kept, intent, entry)) {
      entry->before[intent.at] = entry->sides[intent.at];
    } else {
      TakeBack(kept, intent, entry);
    }
    if (isSure) intents->Close(kept.name);
  });
}
