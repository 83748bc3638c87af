// The commands of the program. Each throws Failure or Interruption when it cannot do its work.
#ifndef TOOL_COMMANDS_H
#define TOOL_COMMANDS_H

#include "tool/options.h"
#include "tool/reporter.h"

namespace tool {

void RunGet(const Options& options, Reporter* reporter);
void RunPut(const Options& options, Reporter* reporter);
void RunAdd(const Options& options, Reporter* reporter);
void RunSaved(const Options& options, Reporter* reporter);
void RunRetry(const Options& options, Reporter* reporter);

void RunList(const Options& options, Reporter* reporter);
void RunShow(const Options& options, Reporter* reporter);
void RunRemove(const Options& options, Reporter* reporter);
void RunPrefs(const Options& options, Reporter* reporter);
void RunUpgrade(const Options& options, Reporter* reporter);
void RunLs(const Options& options, Reporter* reporter);
void RunSize(const Options& options, Reporter* reporter);
void RunSync(const Options& options, Reporter* reporter);

}  // namespace tool

#endif
