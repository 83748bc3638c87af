#include "tests/support/child_program.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "qz/os.h"
#include "tests/support/environment.h"

namespace {

constexpr char kComplete[] = "complete";

#ifdef _WIN32
char** Variables() {
  return _environ;
}
int CountOpenDescriptors() {
  return 0;
}
#else
extern "C" char** environ;
char** Variables() {
  return environ;
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

int WaitForFile(const char* file) {
  for (int i = 0; i < 3000; ++i) {
    if (std::filesystem::exists(file)) return 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return 1;
}

void ReadLine(const std::string& line, ChildReport* report) {
  const size_t blank = line.find(' ');
  const std::string kind = line.substr(0, blank);
  const std::string rest = blank != std::string::npos ? line.substr(blank + 1) : "";
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
