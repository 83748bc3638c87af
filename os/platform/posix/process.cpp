// Children by posix_spawn. A child that has ended stays in the system's table until it is asked for its end
// ("reaped"); one that is let go of while it runs is kept in a list and asked for whenever this file is next
// entered.
#include "os/platform/process.h"

#include <dlfcn.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "os/core/lock_internal.h"
#include "os/core/owned.h"
#include "qz/memory.h"

namespace platform {
namespace {

constexpr intptr_t kReaped = 0;

// Guarded by the library-wide lock.
Process* detachedProcesses = nullptr;

// ---- command line to words -------------------------------------------------------------------

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

// Cuts a command line at its blanks, in place; double quotes keep blanks together and are themselves dropped.
// Puts the words into `words`, which has room for all of them and a null, and returns how many there are.
size_t SplitCommandLine(char* text, char** words) {
  size_t count = 0;
  const char* read = text;
  char* write = text;
  for (;;) {
    while (IsBlank(*read)) ++read;
    if (*read == '\0') break;
    words[count++] = write;
    bool quoted = false;
    for (; *read != '\0' && (quoted || !IsBlank(*read)); ++read) {
      if (*read == '"') {
        quoted = !quoted;
      } else {
        *write++ = *read;
      }
    }
    const bool atEnd = *read == '\0';
    *write++ = '\0';
    if (atEnd) break;
    ++read;
  }
  words[count] = nullptr;
  return count;
}

// A list of texts as the system takes it, ending with null: pointers, and behind them what they may point to.
using TextList = Owned<char*, Memory_Delete>;

// program stands for the words when there are none.
TextList MakeArguments(const char* commandLine, const char* program) {
  const char* text = commandLine != nullptr ? commandLine : "";
  const size_t length = strlen(text);
  const size_t maximumCount = length / 2 + 1;
  const size_t pointersBytes = (maximumCount + 1) * sizeof(char*);
  TextList arguments(static_cast<char**>(Memory_New(pointersBytes + length + 1)));
  if (!arguments) return arguments;
  char* copy = reinterpret_cast<char*>(arguments.get()) + pointersBytes;
  memcpy(copy, text, length + 1);
  if (SplitCommandLine(copy, arguments.get()) == 0) {
    arguments.get()[0] = const_cast<char*>(program);
    arguments.get()[1] = nullptr;
  }
  return arguments;
}

TextList MakeEnvironment(const char* block) {
  size_t count = 0;
  for (const char* text = block; *text != '\0'; text += strlen(text) + 1) ++count;
  TextList environment(static_cast<char**>(Memory_New((count + 1) * sizeof(char*))));
  if (!environment) return environment;
  char** slot = environment.get();
  for (const char* text = block; *text != '\0'; text += strlen(text) + 1) *slot++ = const_cast<char*>(text);
  *slot = nullptr;
  return environment;
}

// ---- starting --------------------------------------------------------------------------------

constexpr int kFirstOwnDescriptor = STDERR_FILENO + 1;

// The child gets no descriptor of ours but the standard streams, and no signal is blocked in it. SIGPIPE,
// which a process that uses sockets may ignore, ends it as usual; what else is ignored (nohup) stays so.
bool PrepareChild(posix_spawn_file_actions_t* actions, posix_spawnattr_t* attributes) {
  sigset_t none;
  sigset_t ignored;
  sigemptyset(&none);
  sigemptyset(&ignored);
  sigaddset(&ignored, SIGPIPE);
  return posix_spawn_file_actions_addclosefrom_np(actions, kFirstOwnDescriptor) == 0 &&
         posix_spawnattr_setsigmask(attributes, &none) == 0 &&
         posix_spawnattr_setsigdefault(attributes, &ignored) == 0 &&
         posix_spawnattr_setflags(attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF) == 0;
}

bool SpawnPrepared(const char* pathname, char** arguments, char** environment, pid_t* child) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  if (posix_spawn_file_actions_init(&actions) != 0) return false;
  if (posix_spawnattr_init(&attributes) != 0) {
    posix_spawn_file_actions_destroy(&actions);
    return false;
  }
  bool started = PrepareChild(&actions, &attributes);
  if (started) {
    started = pathname != nullptr
                  ? posix_spawn(child, pathname, &actions, &attributes, arguments, environment) == 0
                  : posix_spawnp(child, arguments[0], &actions, &attributes, arguments, environment) == 0;
  }
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return started;
}

// ---- ending ----------------------------------------------------------------------------------

// True while the child runs. Asks for its end once; after that its number may belong to someone else.
bool AskWhetherRunning(Process* process) {
  if (process->process == kReaped) return false;
  int status = 0;
  pid_t result = 0;
  do {
    result = waitpid(static_cast<pid_t>(process->process), &status, WNOHANG);
  } while (result < 0 && errno == EINTR);
  if (result == 0) return true;
  process->process = kReaped;
  return false;
}

void ReapDetached() {
  Process** link = &detachedProcesses;
  while (*link != nullptr) {
    Process* process = *link;
    if (AskWhetherRunning(process)) {
      link = &process->nextDetached;
      continue;
    }
    *link = process->nextDetached;
    Memory_Delete(process);
  }
}

}  // namespace

LaunchResult LaunchProcess(const char* pathname, const char* commandLine, const char* environment,
                           Process* process) {
  {
    LibraryLock lock;
    ReapDetached();
  }
  const TextList arguments = MakeArguments(commandLine, pathname);
  if (!arguments) return LaunchResult::kNoMemory;
  if (arguments.get()[0] == nullptr) return LaunchResult::kRefused;
  TextList ownEnvironment;
  if (environment != nullptr) {
    ownEnvironment = MakeEnvironment(environment);
    if (!ownEnvironment) return LaunchResult::kNoMemory;
  }
  pid_t child = 0;
  if (!SpawnPrepared(pathname, arguments.get(), ownEnvironment ? ownEnvironment.get() : environ, &child)) {
    return LaunchResult::kRefused;
  }
  process->identifier = static_cast<uint32_t>(child);
  process->process = child;
  process->mainThread = 0;
  return LaunchResult::kStarted;
}

bool IsProcessActive(Process* process) {
  LibraryLock lock;
  ReapDetached();
  return AskWhetherRunning(process);
}

void DetachProcess(Process* process) {
  LibraryLock lock;
  process->nextDetached = detachedProcesses;
  detachedProcesses = process;
  ReapDetached();
}

uint32_t CurrentProcessIdentifier() {
  return static_cast<uint32_t>(getpid());
}

bool FindModulePathname(uintptr_t instance, std::span<char> name) {
  Dl_info module = {};
  // For the program itself the loader only knows how it was called, which may be a relative name.
  if (instance != 0 && dladdr(reinterpret_cast<void*>(instance), &module) != 0 &&
      module.dli_fname != nullptr && module.dli_fname[0] == '/') {
    const size_t length = strlen(module.dli_fname);
    if (length >= name.size()) return false;
    memcpy(name.data(), module.dli_fname, length + 1);
    return true;
  }
  const ssize_t length = readlink("/proc/self/exe", name.data(), name.size());
  if (length <= 0 || static_cast<size_t>(length) >= name.size()) return false;
  name[static_cast<size_t>(length)] = '\0';
  return true;
}

}  // namespace platform
