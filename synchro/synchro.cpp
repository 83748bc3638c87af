// The object: made, started, asked, stopped, deleted.
#include "qz/synchro.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

#include "os/core/owned.h"
#include "os/platform/filesystem.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "qz/os.h"
#include "synchro/synchro_internal.h"
#include "synchro/synchro_kind_internal.h"

namespace {

constexpr uint32_t kForEver = 0xFFFFFFFFu;
constexpr float kPollSeconds = 0.001f;
constexpr size_t kStatusLine = 4096;
constexpr uint32_t kDirections = SynchroFlag_ToDestination | SynchroFlag_ToSource;

// ---- making ------------------------------------------------------------------------------------

// Copies a text behind the record and passes over it.
char* CopyBehind(const char* text, char** next) {
  char* const copy = *next;
  const size_t size = strlen(text) + 1;
  memcpy(copy, text, size);
  *next += size;
  return copy;
}

// The record, and behind it the directory, the name and both URL texts.
Synchro* NewRecord(const char* directory, const char* name, const char* source, const char* destination,
                   char* (&urls)[kSynchroEnds]) {
  const size_t directorySize = directory != nullptr ? strlen(directory) + 1 : 0;
  const size_t textSize = directorySize + strlen(name) + strlen(source) + strlen(destination) + 3;
  void* const block = Memory_New(sizeof(Synchro) + textSize);
  if (block == nullptr) return nullptr;
  auto* const synchro = new (block) Synchro{};
  char* next = reinterpret_cast<char*>(synchro + 1);
  if (directory != nullptr) synchro->directory = CopyBehind(directory, &next);
  synchro->name = CopyBehind(name, &next);
  urls[SynchroEnd_Source] = CopyBehind(source, &next);
  urls[SynchroEnd_Destination] = CopyBehind(destination, &next);
  return synchro;
}

void DeleteRecord(Synchro* synchro) {
  Semaphore_Delete(synchro->lock);
  Stack_Delete(synchro->frames, nullptr);
  Memory_Delete(synchro->temporary.leftovers);
  synchro->~Synchro();
  Memory_Delete(synchro);
}

using OwnedRecord = Owned<Synchro, DeleteRecord>;

ErrorCode FillRecord(Synchro* synchro, uint32_t flags, char* const (&urls)[kSynchroEnds]) {
  synchro->flags = flags;
  synchro->masks = iSynchro_Masks(flags);
  for (const SynchroEnd end : {SynchroEnd_Source, SynchroEnd_Destination}) {
    synchro->sides[end].interrupt = &synchro->interrupt;
    const ErrorCode status = URL_ToData(urls[end], &synchro->sides[end].url);
    if (status != Error_None) return status;
  }
  synchro->frames = Stack_New(sizeof(SynchroFrame));
  synchro->lock = Semaphore_New(1, 1);
  return synchro->frames != nullptr && synchro->lock != nullptr ? Error_None : Error_Memory;
}

// ---- running -----------------------------------------------------------------------------------

// The last thing that a run does with the record is to say that it has ended.
int32_t RunThread(void* argument) {
  auto* const synchro = static_cast<Synchro*>(argument);
  synchro->runThread = Thread_GetCurrentID();
  const ErrorCode status = iSynchro_Run(synchro);
  synchro->runThread = 0;
  synchro->phase = SynchroPhase::None;
  return status;
}

// The line is a part of the run: the status method may neither start another one nor free the record.
void ReportStart(Synchro* synchro, const char* line) {
  synchro->runThread = Thread_GetCurrentID();
  iSynchro_Report(synchro, "%s", line);
  synchro->runThread = 0;
}

ErrorCode StartThread(Synchro* synchro) {
  Thread_Delete(synchro->thread);
  synchro->thread = Thread_New(RunThread, synchro);
  if (synchro->thread != nullptr) return Error_None;
  ReportStart(synchro, "Go failed.");
  iSynchro_SetState(synchro, SynchroState_Failed, Error_Memory);
  synchro->phase = SynchroPhase::None;
  return Error_Memory;
}

// The thread ends a moment after the run has left the record.
void AwaitEnd(const Synchro* synchro) {
  while (synchro->phase != SynchroPhase::None || Thread_IsRunning(synchro->thread) != 0)
    OS_Delay(kPollSeconds);
}

bool IsRunsOwnThread(const Synchro* synchro) {
  return synchro->phase != SynchroPhase::None && synchro->runThread == Thread_GetCurrentID();
}

}  // namespace

// ---- shared ------------------------------------------------------------------------------------

void iSynchro_Report(Synchro* synchro, const char* format, ...) {
  if (synchro->statusMethod == nullptr) return;
  char line[kStatusLine];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  synchro->statusMethod(synchro->statusValue, line);
}

bool iSynchro_SetState(Synchro* synchro, int32_t state, ErrorCode error) {
  Semaphore_Wait(synchro->lock, kForEver);
  const bool mayChange = !iSynchro_IsStopped(synchro);
  if (mayChange) synchro->state = state;
  if (mayChange && state == SynchroState_Failed)
    synchro->counters[SynchroCounter_Error] = static_cast<uint32_t>(error);
  Semaphore_Signal(synchro->lock);
  return mayChange;
}

// ---- exported functions ------------------------------------------------------------------------

ErrorCode Synchro_New(const char* name, uint32_t flags, const char* source, const char* destination,
                      Synchro** synchro) {
  return Synchro_NewIn(nullptr, name, flags, source, destination, synchro);
}

ErrorCode Synchro_NewIn(const char* directory, const char* name, uint32_t flags, const char* source,
                        const char* destination, Synchro** synchro) {
  if (synchro == nullptr) return Error_Invalid;
  *synchro = nullptr;
  if ((flags & kDirections) == 0) return Error_NotFound;
  if (name == nullptr || source == nullptr || destination == nullptr) return Error_Invalid;
  if (!iSynchro_IsUsableName(name, platform::UsesDriveLetters())) return Error_Invalid;
  char* urls[kSynchroEnds];
  OwnedRecord record(NewRecord(directory, name, source, destination, urls));
  if (!record) return Error_Memory;
  ErrorCode status = FillRecord(record.get(), flags, urls);
  if (status == Error_None) status = iSynchro_HoldSyntaxes();
  if (status != Error_None) return status;
  // Kept: without its index there is no synchroniser, and the status is success; callers look at the pointer.
  if (iSynchro_OpenIndex(directory, name, &record->index) != Error_None) {
    record.reset();
    iSynchro_ReleaseSyntaxes();
    return Error_None;
  }
  *synchro = record.release();
  return Error_None;
}

Synchro* Synchro_SetEntryMethod(Synchro* synchro, Word value, SynchroEntryMethod method) {
  if (synchro == nullptr) return nullptr;
  synchro->entryValue = value;
  synchro->entryMethod = method;
  return synchro;
}

Synchro* Synchro_SetResultMethod(Synchro* synchro, Word value, SynchroResultMethod method) {
  if (synchro == nullptr) return nullptr;
  synchro->resultValue = value;
  synchro->resultMethod = method;
  return synchro;
}

Synchro* Synchro_SetActive(Synchro* synchro, int32_t isActive) {
  if (synchro == nullptr) return nullptr;
  for (SynchroConnection& side : synchro->sides) side.isActive = isActive != 0;
  return synchro;
}

ErrorCode Synchro_SetGuarded(Synchro* synchro, int32_t isGuarded) {
  if (synchro == nullptr) return Error_Invalid;
  for (const SynchroConnection& side : synchro->sides) {
    if (iSynchro_KindOf(side) == nullptr) return Error_Fail;
  }
  synchro->isGuarded = isGuarded != 0;
  return Error_None;
}

Synchro* Synchro_SetPlanOnly(Synchro* synchro, int32_t isPlanOnly) {
  if (synchro == nullptr) return nullptr;
  synchro->isPlanOnly = isPlanOnly != 0;
  return synchro;
}

Synchro* Synchro_SetStatusMethod(Synchro* synchro, Word value, SynchroStatusMethod method) {
  if (synchro == nullptr) return nullptr;
  synchro->statusValue = value;
  synchro->statusMethod = method;
  return synchro;
}

ErrorCode Synchro_Go(Synchro* synchro) {
  if (synchro == nullptr) return Error_Invalid;
  if (iSynchro_IsStopped(synchro)) return Error_Cancel;
  if (synchro->phase == SynchroPhase::Running || IsRunsOwnThread(synchro)) {
    iSynchro_Report(synchro, "Go: Already running!");
    return Error_None;
  }
  AwaitEnd(synchro);
  for (std::atomic<uint32_t>& counter : synchro->counters) counter = 0;
  if (!iSynchro_SetState(synchro, SynchroState_Running, Error_None)) return Error_Cancel;
  synchro->phase = SynchroPhase::Running;
  ReportStart(synchro, "Go!");
  return StartThread(synchro);
}

int32_t Synchro_Status(Synchro* synchro, uint32_t* counters) {
  Thread_Yield();
  for (uint32_t i = 0; counters != nullptr && i < SynchroCounter_Count; ++i) {
    counters[i] = synchro != nullptr ? synchro->counters[i].load() : 0;
  }
  return synchro != nullptr ? synchro->state.load() : Error_Invalid;
}

void Synchro_Delete(Synchro* synchro) {
  if (synchro == nullptr) return;
  if (IsRunsOwnThread(synchro)) {
    Error("Synchro_Delete: called from the status method");
    return;
  }
  Synchro_Stop(synchro);
  AwaitEnd(synchro);
  Thread_Delete(synchro->thread);
  DeleteRecord(synchro);
  iSynchro_ReleaseSyntaxes();
}

ErrorCode Synchro_Stop(Synchro* synchro) {
  if (synchro == nullptr) return Error_Invalid;
  iSynchro_SetState(synchro, SynchroState_StopRequested, Error_None);
  synchro->interrupt.Set();
  return Error_None;
}
