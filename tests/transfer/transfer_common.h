// What all tests of transfers need, whichever fixture they have: lines that are compared as a whole, files
// past the library, the request that servers expect, records on the disk.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "net/sock_testing.h"
#include "qz/file.h"
#include "qz/os.h"
#include "qz/vrxclient.h"
#include "transfer/vrxclient_machine_testing.h"

using Lines = std::vector<std::string>;

// ---- texts that differ from run to run -------------------------------------------------------------------

// Texts, and what stands for them in lines that are compared.
class Names {
 public:
  void Add(std::string text, std::string name) { names_.emplace_back(std::move(text), std::move(name)); }
  bool Has(const std::string& text) const {
    return std::any_of(names_.begin(), names_.end(), [&](const auto& name) { return name.first == text; });
  }
  std::string Apply(std::string line) const {
    for (const auto& [text, name] : names_) {
      for (size_t at = line.find(text); at != std::string::npos; at = line.find(text, at + name.size()))
        line.replace(at, text.size(), name);
    }
    return line;
  }

 private:
  std::vector<std::pair<std::string, std::string>> names_;
};

// ---- files, past the library -----------------------------------------------------------------------------

// A path in the library's form as the system takes it.
inline std::filesystem::path SystemPath(const std::string& name) {
  if (name.size() < 3 || name[0] != '/' || name[2] != '|') return name;
  return std::string(1, name[1]) + ":" + name.substr(3);
}
inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}
inline void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}
// The names in a folder, sorted. The folder is in the library's form.
inline Lines NamesIn(const std::string& folder) {
  Lines found;
  for (const auto& entry : std::filesystem::directory_iterator(SystemPath(folder)))
    found.push_back(entry.path().filename().string());
  std::sort(found.begin(), found.end());
  return found;
}
// Those of data files that the library has made.
inline Lines DataFilesIn(const std::string& folder) {
  Lines found = NamesIn(folder);
  std::erase_if(found, [](const std::string& name) { return !name.starts_with("vrxData"); });
  return found;
}

// ---- servers ---------------------------------------------------------------------------------------------

// The head of a request for a path, from an offset on, as the program sends it to 127.0.0.1.
inline std::string RequestHead(const std::string& path, const std::string& offset) {
  return "GET " + path + " HTTP/1.0\r\nConnection: Keep-Alive\r\nUser-Agent: " + OS_GetApplicationName() +
         "\r\nHost: 127.0.0.1\r\nAccept: */*\r\nRange: bytes=" + offset + "-\r\n\r\n";
}

// ---- records ---------------------------------------------------------------------------------------------

// Calls use(traverse) for a record file that is opened for reading or writing; gives its status, or that of
// opening.
template <typename Use>
ErrorCode WithRecord(const std::string& path, bool isRead, Use use) {
  Traverse* traverse = nullptr;
  const ErrorCode opened =
      File_OpenTraverse(path.c_str(), isRead ? FileMode_Read : FileMode_Write, nullptr, &traverse);
  if (opened != 0) return opened;
  const ErrorCode status = use(traverse);
  Traverse_Delete(traverse);
  return status;
}
inline ErrorCode WriteRecord(const std::string& path, VRXClient* client) {
  return WithRecord(path, false, [=](Traverse* traverse) { return VRXClient_Write(traverse, client); });
}
inline ErrorCode ReadRecord(const std::string& path, Word userData, const VRXClientMethods* methods,
                            VRXClient** client) {
  return WithRecord(path, true,
                    [=](Traverse* traverse) { return VRXClient_Read(traverse, userData, methods, client); });
}

// ---- what a test has replaced ----------------------------------------------------------------------------

// The clock of transfers, the free space, the move and the time-out of sockets are those of the system again.
inline void RestoreTransfers() {
  iVRXClient_SetClock(nullptr);
  iVRXClient_SetFreeBytes(nullptr);
  iVRXClient_SetCopiesAlways(false);
  iSock_SetWaitMilliseconds(0);
}
