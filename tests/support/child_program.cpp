#include "tests/support/child_program.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#ifndef _WIN32
#  include <sys/prctl.h>
#  include <unistd.h>

#  include "os/platform/posix/program_posix.h"
#  include "os/platform/process.h"
#endif
#include "os/core/os_testing.h"
#include "os/platform/filelock.h"
#include "os/time/clock_testing.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "qz/vrxclient.h"
#include "qz/vrxclientsystem.h"
#include "tests/support/environment.h"
#include "transfer/statistics_internal.h"
#include "transfer/vrxprefs_internal.h"

namespace {

constexpr char kComplete[] = "complete";

#ifdef _WIN32
char** Variables() {
  return _environ;
}
int TellPlace(const char*) {
  return 2;
}
int StartLost(const char*, const char*) {
  return 2;
}
void GiveUpRights() {}
int CountOpenDescriptors() {
  return 0;
}
#else
extern "C" char** environ;
char** Variables() {
  return environ;
}
// Root may write anywhere. A process that gave up its rights is closed to debuggers, and with them to the
// leak check at its end, unless it says otherwise.
void GiveUpRights() {
  constexpr id_t kNobody = 65534;
  if (geteuid() != 0) return;
  if (setgid(kNobody) != 0 || setuid(kNobody) != 0) abort();
  prctl(PR_SET_DUMPABLE, 1);
}
// Goes elsewhere and tells where the program's file is when only its start can tell.
int TellPlace(const char* file) {
  std::ofstream out(file);
  std::filesystem::current_path("/");
  platform::programLink = "/nonexistent/exe";
  char name[1024] = "";
  const bool isFound = platform::FindProgramPathname(name);
  out << "word " << (isFound ? name : "(none)") << "\n";
  const bool isModuleFound = platform::FindModulePathname(reinterpret_cast<uintptr_t>(&TellPlace), name);
  out << "word " << (isModuleFound ? name : "(none)") << "\n";
  return 0;
}
// Starts the library in another folder, when the program's file is gone and nothing tells where it was.
int StartLost(const char* file, const char* folder) {
  unlink("copy");
  std::filesystem::current_path(folder);
  platform::programLink = "/nonexistent/exe";
  const ErrorCode status = OS_Init("qzchild", OSInitCode_End);
  std::ofstream(file) << "word " << status << "\n" << kComplete << "\n";
  OS_Exit(0);
  return 0;
}
int CountOpenDescriptors() {
  // The list itself is read through one more.
  int count = -1;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    if (std::stoi(entry.path().filename()) > 2) ++count;
  }
  return count;
}
#endif

int Report(const char* file, int count, char** words) {
  const int descriptors = CountOpenDescriptors();
  const std::string unfinished = std::string(file) + ".unfinished";
  {
    std::ofstream out(unfinished);
    out << "number " << ProgramNumber() << "\n";
    for (int i = 0; i < count; ++i) out << "word " << words[i] << "\n";
    for (char** variable = Variables(); *variable != nullptr; ++variable) {
      if (strncmp(*variable, "QZ_TEST_", 8) == 0) out << "variable " << *variable << "\n";
    }
    out << "folder " << std::filesystem::current_path().string() << "\n";
    out << "descriptors " << descriptors << "\n" << kComplete << "\n";
  }
  std::filesystem::rename(unfinished, file);
  return 0;
}

// Brings the library up under the name "qzchild", with its default log.
int Start(const char* file) {
  GiveUpRights();
  const ErrorCode status = OS_Init("qzchild", OSInitCode_End);
  std::ofstream out(file);
  out << "word " << status << "\n";
  for (int32_t id = SysDir_App; id <= SysDir_Programs; ++id) {
    char name[1024] = "";
    File_GetSysDir(id, name);
    out << "word " << name << "\n";
  }
  File_GetSysFile(0, 2);
  OS_Exit(0);
  out << kComplete << "\n";
  return 0;
}

// Reads or writes the record of a transfer.
ErrorCode HandleRecord(const char* record, uint32_t fileMode, int32_t mode, VRXClient** client) {
  File* file = nullptr;
  Traverse* traverse = nullptr;
  ErrorCode status = File_OpenTraverse(record, fileMode, &file, &traverse);
  if (status != Error_None) return status;
  Traverse_SetMode(traverse, mode);
  const bool isRead = mode == TraverseMode_Read;
  status = isRead ? VRXClient_Read(traverse, 0, nullptr, client) : VRXClient_Write(traverse, *client);
  Traverse_Delete(traverse);
  return status;
}

// Works on the transfer of a record to its end.
int RunTransfer(const char* file, const char* applicationName, const char* record) {
  OS_Init(applicationName, OSInitCode_End);
  VRXClientSystem_Init();
  if (getenv("QZ_TEST_SAME_RANDOM") != nullptr) iOS_SetRandomSource([]() -> int32_t { return 7; });
  VRXClient* client = nullptr;
  const ErrorCode status = HandleRecord(record, FileMode_Read, TraverseMode_Read, &client);
  std::ofstream out(file);
  out << "word " << status << "\n";
  int32_t result = VRXClientResult_None;
  while (status == Error_None && result < VRXClientResult_Postponed) result = VRXClient_Idle(client);
  if (status == Error_None) {
    out << "word " << result << "\nword " << VRXClient_GetState(client) << "\n";
    HandleRecord(record, FileMode_Write, TraverseMode_Write, &client);
    VRXClient_Close(client);
  }
  VRXClientSystem_Exit();
  OS_Exit(0);
  out << kComplete << "\n";
  return 0;
}

void SetOwnField(int number, int value, VRXPrefs* prefs) {
  if (number == 0) prefs->number1 = static_cast<uint8_t>(value);
  if (number == 1) prefs->number3 = static_cast<uint32_t>(value);
  if (number == 2) prefs->lastUpgradeCheckSeconds = static_cast<uint32_t>(value);
}

ErrorCode StoreField(int number, int value) {
  const PreferencesAccess access;
  SetOwnField(number, value, access.operator->());
  return VRXPrefs_Changed();
}

// Stores preferences and statistics again and again, while other programs do the same.
int ShareFiles(const char* file, const char* applicationName, int number, int rounds) {
  OS_Init(applicationName, OSInitCode_CompanyName, "qztests", OSInitCode_End);
  Time now = {2000000000, 0};
  iClock_SetWallClock(&now);
  const ErrorCode started = iVRXPrefs_Start();
  ErrorCode stored = started;
  for (int round = 0; round < rounds && stored == Error_None; ++round) {
    const std::string host = "p" + std::to_string(number) + "-" + std::to_string(round);
    const uint8_t address[4] = {10, 9, static_cast<uint8_t>(number), static_cast<uint8_t>(round)};
    // A minute later what has changed is saved.
    now.seconds += 60;
    iClock_SetWallClock(&now);
    iStatistics_RecordAddress(host.c_str(), 21, address);
    iStatistics_RecordSpeed(host.c_str(), 21, static_cast<float>(round + 1));
    stored = StoreField(number, round + 1);
  }
  iVRXPrefs_End();
  OS_Exit(0);
  std::ofstream(file) << "word " << started << "\nword " << stored << "\n" << kComplete << "\n";
  return 0;
}

int HoldLock(const char* file, const char* name) {
  platform::FileLock lock = 0;
  if (platform::TryFileLock(name, &lock) != platform::FileLockResult::Taken) return 1;
  std::ofstream(file) << kComplete << "\n";
  const std::string end = std::string(file) + ".end";
  for (int i = 0; i < 1000 && !std::filesystem::exists(end); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return 0;
}

int WaitForFile(const char* file) {
  for (int i = 0; i < 3000; ++i) {
    if (std::filesystem::exists(file)) return 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return 1;
}

void ReadLine(const std::string& line, ChildReport* report) {
  const size_t space = line.find(' ');
  const std::string kind = line.substr(0, space);
  const std::string rest = space != std::string::npos ? line.substr(space + 1) : "";
  if (kind == "number") report->number = static_cast<uint32_t>(std::stoul(rest));
  if (kind == "word") report->words.push_back(rest);
  if (kind == "variable") report->variables[rest.substr(0, rest.find('='))] = rest.substr(rest.find('=') + 1);
  if (kind == "folder") report->currentFolder = rest;
  if (kind == "descriptors") report->openDescriptors = std::stoi(rest);
  if (kind == kComplete) report->isComplete = true;
}

}  // namespace

bool RunAsChild(int argc, char** argv, int* exitCode) {
  if (argc < 4 || strcmp(argv[1], "--qz-child") != 0) return false;
  const std::string action = argv[2];
  *exitCode = 2;
  if (action == "report") *exitCode = Report(argv[3], argc - 4, argv + 4);
  if (action == "start") *exitCode = Start(argv[3]);
  if (action == "lost" && argc > 4) *exitCode = StartLost(argv[3], argv[4]);
  if (action == "transfer" && argc > 5) *exitCode = RunTransfer(argv[3], argv[4], argv[5]);
  if (action == "hold" && argc > 4) *exitCode = HoldLock(argv[3], argv[4]);
  if (action == "share" && argc > 6) *exitCode = ShareFiles(argv[3], argv[4], atoi(argv[5]), atoi(argv[6]));
  if (action == "place") *exitCode = TellPlace(argv[3]);
  if (action == "wait") *exitCode = WaitForFile(argv[3]);
  if (action == "exit") *exitCode = atoi(argv[3]);
  return true;
}

std::string ChildCommand(const std::string& rest) {
  std::string command = "\"";
  return command.append(ProgramPath().string()).append("\" --qz-child ").append(rest);
}

bool EndsWithinTenSeconds(Process* process) {
  for (int i = 0; i < 10000 && Process_IsActive(process) == 1; ++i) OS_Delay(0.001f);
  return Process_IsActive(process) == 0;
}

ChildReport ReadChildReport(const std::string& file) {
  ChildReport report;
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) ReadLine(line, &report);
  return report;
}
