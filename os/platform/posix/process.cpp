// Children by posix_spawn. A child that has ended stays in the system's table until it is asked for its end
// ("reaped"). One that is let go of while it runs waits in a queue; each launch and each detach asks for a
// few of them, so that neither gets slower by what was started before.
#include "os/platform/process.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <signal.h>
#include <spawn.h>
#include <sys/auxv.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "os/core/lock_internal.h"
#include "os/core/owned.h"
#include "os/platform/posix/descriptor_posix.h"
#include "os/platform/posix/program_posix.h"
#include "qz/memory.h"

namespace platform {
namespace {

constexpr intptr_t kReaped = 0;

// Asked for at a time. More than one comes with each detach, so that the queue gets shorter.
constexpr int kAskedAtOnce = 2;

// Guarded by the library-wide lock.
Process* firstDetached = nullptr;
Process** detachedEnd = &firstDetached;

// ---- command line to words -------------------------------------------------------------------

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

// Cuts a command line at spaces and tabs, in place; double quotes keep words together and are themselves
// dropped.
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

void AppendDetached(Process* process) {
  process->nextDetached = nullptr;
  *detachedEnd = process;
  detachedEnd = &process->nextDetached;
}

Process* TakeFirstDetached() {
  Process* process = firstDetached;
  if (process == nullptr) return nullptr;
  firstDetached = process->nextDetached;
  if (firstDetached == nullptr) detachedEnd = &firstDetached;
  return process;
}

// Frees the record of a child that has ended; one that runs is asked for again later.
void ReleaseOrAppend(Process* process) {
  if (AskWhetherRunning(process)) {
    AppendDetached(process);
  } else {
    Memory_Delete(process);
  }
}

void ReapSomeDetached() {
  for (int asked = 0; asked < kAskedAtOnce; ++asked) {
    Process* process = TakeFirstDetached();
    if (process == nullptr) return;
    ReleaseOrAppend(process);
  }
}

// ---- files of the program and its modules -------------------------------------------------------

bool Resolve(const char* pathname, std::span<char> name) {
  char resolved[PATH_MAX];
  return realpath(pathname, resolved) != nullptr && CopyName(resolved, name);
}

// A line of the system's map of this process: "begin-end access offset device inode   pathname". Gives the
// pathname when the address lies in there and a file is mapped.
char* FileMappedAt(char* line, uintptr_t address) {
  char* end = line;
  const uintptr_t begin = strtoul(line, &end, 16);
  if (*end != '-' || address < begin || address >= strtoul(end + 1, nullptr, 16)) return nullptr;
  char* pathname = strchr(line, '/');
  if (pathname != nullptr) pathname[strcspn(pathname, "\n")] = '\0';
  return pathname;
}

bool FindMappedFile(uintptr_t address, std::span<char> name) {
  const int descriptor = AboveStandardStreams(open("/proc/self/maps", O_RDONLY | O_CLOEXEC));
  FILE* map = descriptor >= 0 ? fdopen(descriptor, "r") : nullptr;
  if (map == nullptr) {
    if (descriptor >= 0) close(descriptor);
    return false;
  }
  char line[PATH_MAX + 128];
  const char* pathname = nullptr;
  while (pathname == nullptr && fgets(line, sizeof line, map) != nullptr) {
    pathname = FileMappedAt(line, address);
  }
  fclose(map);
  return pathname != nullptr && CopyName(pathname, name);
}

// The folder that a relative name of the program counts from; empty when it was started by a full name.
char startFolder[PATH_MAX];

const char* NameAtStart() {
  const char* name = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
  return name != nullptr ? name : "";
}

// Runs when the library is loaded: later the current folder may be another one.
[[gnu::constructor]] void RememberStartFolder() {
  const char* name = NameAtStart();
  const bool isRelative = name[0] != '\0' && name[0] != '/';
  if (!isRelative || getcwd(startFolder, sizeof startFolder) == nullptr) startFolder[0] = '\0';
}

// What the system handed over when it started the program: the name that it was started by.
bool FindProgramByItsStart(std::span<char> name) {
  const char* started = NameAtStart();
  if (started[0] == '/') return Resolve(started, name);
  if (started[0] == '\0' || startFolder[0] == '\0') return false;
  char pathname[2 * PATH_MAX];
  snprintf(pathname, sizeof pathname, "%s/%s", startFolder, started);
  return Resolve(pathname, name);
}

}  // namespace

const char* programLink = "/proc/self/exe";

bool FindProgramPathname(std::span<char> name) {
  const ssize_t length = readlink(programLink, name.data(), name.size());
  if (length < 0) return FindProgramByItsStart(name);
  if (length == 0 || static_cast<size_t>(length) >= name.size()) return false;
  name[static_cast<size_t>(length)] = '\0';
  return true;
}

LaunchResult LaunchProcess(const char* pathname, const char* commandLine, const char* environment,
                           Process* process) {
  {
    LibraryLock lock;
    ReapSomeDetached();
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
  return AskWhetherRunning(process);
}

void DetachProcess(Process* process) {
  LibraryLock lock;
  ReapSomeDetached();
  ReleaseOrAppend(process);
}

uint32_t CurrentProcessIdentifier() {
  return static_cast<uint32_t>(getpid());
}

bool FindModulePathname(uintptr_t instance, std::span<char> name) {
  Dl_info module = {};
  link_map* loaded = nullptr;
  if (instance == 0 || dladdr1(reinterpret_cast<void*>(instance), &module, reinterpret_cast<void**>(&loaded),
                               RTLD_DL_LINKMAP) == 0) {
    return FindProgramPathname(name);
  }
  // The loader has no name for the program itself.
  if (loaded->l_name[0] == '\0') return FindProgramPathname(name);
  if (loaded->l_name[0] == '/') return CopyName(loaded->l_name, name);
  // Loaded by a relative name, which meant another folder if the current one has changed since.
  return FindMappedFile(reinterpret_cast<uintptr_t>(module.dli_fbase), name) || Resolve(loaded->l_name, name);
}

}  // namespace platform
