#include "tool/operands.h"

#include <algorithm>
#include <iostream>

#include "tool/failure.h"
#include "tool/sync_pair.h"
#include "tool/usage.h"

namespace tool {
namespace {

void CheckOutput(const Options& options) {
  if (!options.output) return;
  if (options.output->empty()) UsageError(options.commandName, "--output takes a file name");
  // In other programs this is standard output, which cannot be resumed.
  if (options.output == "-")
    UsageError(options.commandName, "--output takes a file name; \"./-\" is a file called \"-\"");
}

// What belongs to one file is not taken for several, nor for the unknown number that standard input gives.
void CheckOptionsOfOneURL(const Options& options) {
  if (options.operands.size() == 1 && options.operands[0] != kStandardInput) return;
  const char* option = options.output             ? "--output"
                       : !options.mirrors.empty() ? "--mirror"
                       : options.sha256           ? "--sha256"
                                                  : nullptr;
  if (option != nullptr) UsageError(options.commandName, std::string(option) + " works with one URL only");
}

void CheckStandardInput(const Options& options) {
  const auto readers = std::count(options.operands.begin(), options.operands.end(), kStandardInput) +
                       (options.passwordFile == kStandardInput ? 1 : 0);
  if (readers > 1) UsageError(options.commandName, "standard input (\"-\") can be read once only");
}

void CheckDownloads(const Options& options) {
  if (options.operands.empty()) UsageError(options.commandName, "missing URL");
  CheckOptionsOfOneURL(options);
  CheckOutput(options);
  CheckStandardInput(options);
  if (options.verify && options.sha256)
    UsageError(options.commandName, "--verify and --sha256 exclude each other");
  if (options.command == Command::Add && options.passwordFile && !options.savePassword)
    UsageError("add", "--password-file needs --save-password; else give it to qz run");
}

// Which file is kept must be clear.
void CheckForced(const Options& options) {
  const SyncMode mode = SyncModeOf(options.deleteGone, options.reverse, options.twoWay);
  for (const std::string& text : options.forced) {
    const ForcedName forced = ParseForced(text);
    if (forced.path.empty()) UsageError("sync", "--force takes the name of a file");
    if (WinnerOf(forced, mode)) continue;
    if (!forced.side)
      UsageError("sync", "with --two-way, write --force source:NAME or --force destination:NAME");
    UsageError("sync", std::string("this mode does not copy from the ") +
                           (*forced.side == SyncSideName::Source ? "source" : "destination") +
                           ", so that its file cannot be forced");
  }
}

void CheckSync(const Options& options) {
  if (options.twoWay && (options.deleteGone || options.reverse))
    UsageError("sync", "--two-way works without --delete and --reverse");
  if (options.syncName && !IsSyncName(*options.syncName))
    UsageError("sync", "--name takes up to 100 letters, digits, \"-\", \"_\" and \".\"");
  for (const std::string& pattern : options.excludes) {
    if (pattern.empty() || pattern == "/") UsageError("sync", "--exclude takes a pattern such as \"*.tmp\"");
  }
  CheckForced(options);
}

void TakeNumbers(Options* options) {
  if (options->operands.empty())
    UsageError(options->commandName, "missing number; qz list shows the numbers");
  for (const std::string& operand : options->operands) {
    const unsigned number = Number(*options, options->commandName.c_str(), operand, 1, kLargestNumber);
    const auto end = options->numbers.end();
    if (std::find(options->numbers.begin(), end, number) == end) options->numbers.push_back(number);
  }
  if (options->command == Command::Show && options->operands.size() > 1)
    UsageError("show", "expected one number");
}

std::string Trimmed(const std::string& line) {
  constexpr const char* kBlanks = " \t\r";
  const std::size_t first = line.find_first_not_of(kBlanks);
  if (first == std::string::npos) return "";
  return line.substr(first, line.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::string> LinesOf(std::istream& input) {
  std::vector<std::string> lines;
  for (std::string text; std::getline(input, text);) {
    const std::string line = Trimmed(text);
    if (!line.empty() && line[0] != '#') lines.push_back(line);
  }
  if (input.bad()) throw Failure{ExitCode::Usage, "cannot read the URLs of standard input"};
  return lines;
}

}  // namespace

void CheckOperands(Options* options) {
  const std::size_t given = options->operands.size();
  switch (options->command) {
    case Command::Get:
    case Command::Add:
      return CheckDownloads(*options);
    case Command::Put:
      if (given != 2) UsageError("put", "expected FILE and URL");
      if (options->continueUpload && options->restart)
        UsageError("put", "--continue and --restart exclude each other");
      return;
    case Command::Show:
    case Command::Remove:
    case Command::Retry:
      return TakeNumbers(options);
    case Command::Ls:
    case Command::Size:
      if (given != 1) UsageError(options->commandName, "expected one URL");
      return;
    case Command::Sync:
      if (given != 2) UsageError("sync", "expected SOURCE and DESTINATION");
      return CheckSync(*options);
    case Command::Prefs:
      if (given > 2) UsageError("prefs", "expected a name and a value");
      return;
    case Command::Run:
    case Command::List:
    case Command::Upgrade:
      if (given != 0) UsageError(options->commandName, "expected options only");
      return;
    case Command::Help:
    case Command::Version:
      return;
  }
}

std::vector<std::string> URLsOf(const Options& options) {
  std::vector<std::string> urls;
  for (const std::string& operand : options.operands) {
    if (operand != kStandardInput) {
      urls.push_back(operand);
      continue;
    }
    const std::vector<std::string> lines = LinesOf(std::cin);
    urls.insert(urls.end(), lines.begin(), lines.end());
  }
  if (urls.empty()) UsageError(options.commandName, "no URL on standard input");
  return urls;
}

}  // namespace tool
