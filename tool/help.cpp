// The help texts, made from the table of commands. docs/program.md has the details.
#include <string_view>

#include "tool/command_table.h"

namespace tool {
namespace {

constexpr const char* kProgram =
    R"(qz gets and stores files over FTP and HTTP, resumes interrupted transfers, and keeps folders in step.

Usage:
)";

constexpr const char* kProgramExamples =
    R"(
Examples:
  qz get http://127.0.0.1:8080/disk.iso
  qz get ftp://ftp.example.org/pub/disk.iso -o copy.iso
  qz put report.pdf ftp://me@ftp.example.org/inbox/
  qz sync photos /mnt/backup/photos --delete

URLs begin with ftp:// or http://. https:// is not supported.
)";

constexpr const char* kExitCodes =
    R"(
Exit codes:
  0    success
  1    other failure
  2    wrong command line
  3    file, folder or transfer not found
  4    network failure or time-out; rerun the command to resume
  5    authentication failed or required, or access denied
  6    invalid or unexpected response from the server
  7    local disk failure: disk full, not writable, or a file in the way
  8    an extension refused the file (checksum differs)
  9    sync: nothing was done, for safety: too many deletions, or a folder that shows nothing where files were
  10   sync: conflicts are left
  11   sync: some files could not be copied or deleted
  130  interrupted by Ctrl-C; rerun the command to resume
)";

std::string Padded(std::string text, std::size_t columns) {
  if (text.size() < columns) text.resize(columns, ' ');
  return text;
}

std::string UsageOf(const CommandRow& command) {
  const std::string usage = std::string("qz ") + command.name;
  return *command.operands == '\0' ? usage : usage + " " + command.operands;
}

std::string ProgramHelp() {
  constexpr std::size_t kUsageColumns = 27;
  std::string text = kProgram;
  for (const CommandRow& command : kCommands)
    text += "  " + Padded(UsageOf(command), kUsageColumns) + command.summary + "\n";
  text += "  " + Padded("qz COMMAND --help", kUsageColumns) + "options and examples of a command\n";
  text += "  qz --version, qz --help\n";
  return text + kProgramExamples + kExitCodes;
}

std::string OptionLine(const OptionRow& option) {
  constexpr std::size_t kOptionColumns = 25;
  std::string names =
      option.value < kActive ? std::string("  -") + static_cast<char>(option.value) + ", " : "      ";
  names += std::string("--") + option.name;
  if (option.valueName != nullptr) names += std::string(" ") + option.valueName;
  return Padded(names, kOptionColumns) + option.help + "\n";
}

std::string CommandHelp(const CommandRow& command) {
  std::string text = "Usage: " + UsageOf(command) + " [OPTION]...\n\n" + command.description + "\nOptions:\n";
  for (const OptionRow& option : kOptions) {
    if ((option.commands & command.bit) != 0) text += OptionLine(option);
  }
  return text + "\nExamples:\n" + command.examples + kExitCodes;
}

}  // namespace

std::string HelpText(const std::string& commandName) {
  for (const CommandRow& command : kCommands) {
    if (commandName == command.name) return CommandHelp(command);
  }
  return ProgramHelp();
}

}  // namespace tool
