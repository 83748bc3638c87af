// What the test program does when a test starts it as a child: program --qz-child ACTION ...
//
//   report FILE words...   writes the words, variables, current folder and open descriptors to FILE and ends
//   start FILE             as an ordinary user, brings the library up as "qzchild"; writes the status and the
//                          eight system directories as words, opens the default log, and ends
//   lost FILE FOLDER       (Linux) removes its own file, "copy", brings the library up in another folder
//   without
//                          /proc, and writes the status
//   place FILE             (Linux) changes the current folder and writes where the program's file is, without
//                          asking the system's link to it; and where the module is that the program is
//   wait FILE              ends when FILE exists
//   transfer FILE NAME RECORD  brings library and transfers up as NAME, works on the transfer of the record,
//                          writes the statuses of reading and of the last call, and the state, as words, and
//                          the record anew; with QZ_TEST_SAME_RANDOM all random numbers are equal
//   hold FILE LOCK         takes the lock of a file, makes FILE, and ends without releasing it when FILE.end
//   exists share FILE NAME NUMBER ROUNDS  brings preferences and statistics up as NAME; in each round records
//   a speed of
//                          a server of its own, sets a field of the preferences that its number stands for,
//                          and saves both; writes the statuses of the start and of a save that failed, as
//                          words
//   exit CODE              ends with that code
#pragma once

#include <map>
#include <string>
#include <vector>

#include "qz/process.h"

// Runs the action and returns true when the command line asks for one; *exitCode is then the program's.
bool RunAsChild(int argc, char** argv, int* exitCode);

// The command line that starts this program as a child; rest: ACTION and what follows it.
std::string ChildCommand(const std::string& rest);

// Whether the child has ended, after a wait of up to ten seconds.
bool EndsWithinTenSeconds(Process* process);

struct ChildReport {
  bool isComplete = false;
  uint32_t number = 0;
  std::vector<std::string> words;
  // Of the variables whose names begin with QZ_TEST_.
  std::map<std::string, std::string> variables;
  std::string currentFolder;
  int openDescriptors = 0;  // beyond the standard streams
};

ChildReport ReadChildReport(const std::string& file);
