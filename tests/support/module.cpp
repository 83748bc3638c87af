#include "tests/support/module.h"

#include "tests/support/environment.h"

#ifdef _WIN32
#  include <windows.h>
#else
#  include <fcntl.h>
#  include <signal.h>
#  include <unistd.h>

#  include <cstdio>
#  include <fstream>
#endif

#ifdef _WIN32

const bool kUnknownInstanceIsTheProgram = false;

bool LeadsTo(const std::string& libraryName, const std::filesystem::path& file) {
  return libraryName == LibraryName(file);
}

SystemModule FindSystemModule() {
  const HMODULE module = GetModuleHandleA("ADVAPI32.DLL");
  char path[MAX_PATH] = "";
  GetModuleFileNameA(module, path, sizeof path);
  return {reinterpret_cast<Word>(module), path};
}

bool IsProcessListed(uint32_t number) {
  const HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, number);
  if (process == nullptr) return false;
  const bool isRunning = WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
  CloseHandle(process);
  return isRunning;
}

int CountOpenHandles() {
  // Handles are multiples of 4, given out from below. GetProcessHandleCount is not implemented everywhere.
  constexpr intptr_t kHighest = 0x4000;
  int count = 0;
  for (intptr_t handle = 4; handle <= kHighest; handle += 4) {
    DWORD attributes = 0;
    if (GetHandleInformation(reinterpret_cast<HANDLE>(handle), &attributes)) ++count;
  }
  return count;
}

OpenInheritableFile::OpenInheritableFile(const std::string& file) {
  SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
  handle_ = reinterpret_cast<intptr_t>(
      CreateFileA(file.c_str(), GENERIC_WRITE, 0, &inheritable, CREATE_ALWAYS, 0, nullptr));
}

OpenInheritableFile::~OpenInheritableFile() {
  CloseHandle(reinterpret_cast<HANDLE>(handle_));
}

#else

const bool kUnknownInstanceIsTheProgram = true;

bool LeadsTo(const std::string& libraryName, const std::filesystem::path& file) {
  return std::filesystem::equivalent(libraryName, file);
}

SystemModule FindSystemModule() {
  // The address of a function of the C library lies in the C library, which the system's map of this process
  // names.
  const auto address = reinterpret_cast<Word>(&getppid);
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    unsigned long begin = 0;
    unsigned long end = 0;
    sscanf(line.c_str(), "%lx-%lx", &begin, &end);
    if (address >= begin && address < end) return {address, line.substr(line.find('/'))};
  }
  return {address, ""};
}

bool IsProcessListed(uint32_t number) {
  return kill(static_cast<pid_t>(number), 0) == 0;
}

int CountOpenHandles() {
  // The list itself is read through one more.
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return static_cast<int>(std::distance(begin(descriptors), end(descriptors))) - 1;
}

OpenInheritableFile::OpenInheritableFile(const std::string& file)
    : handle_(open(file.c_str(), O_CREAT | O_WRONLY, 0600)) {}

OpenInheritableFile::~OpenInheritableFile() {
  close(static_cast<int>(handle_));
}

#endif
