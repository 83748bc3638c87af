// What a transfer says: numbers to texts, and the log of a transfer.
//
//   number, arguments -> text -> log file (text CR LF) -> message callbacks
//
// The log file is opened for each line: a thousand transfers must not hold a thousand files. With a delay the
// lines wait in memory until there is a record, or more of them.
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "os/core/lock_internal.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "qz/memory.h"
#include "qz/os.h"
#include "transfer/vrxclient_internal.h"
#include "transfer/vrxclient_machine_internal.h"
#include "transfer/vrxclient_testing.h"
#include "transfer/vrxclientsystem_internal.h"

namespace {

// Two paths, a host or a reply of a server and the words around them.
constexpr size_t kMessageSize = 4096;
constexpr std::string_view kSizePlace = "%lu";
constexpr int64_t kLogSizeLimit = INT32_MAX;
constexpr int kLogNameTries = 100;
constexpr uint32_t kMostWaiting = 16 * 1024;
constexpr std::string_view kLineEnd = "\r\n";

struct MessageRow {
  uint32_t number;
  const char* format;
};

constexpr MessageRow kMessages[] = {
    {TransferMessage_ErrorOccurred, "An error occurred: %s"},
    {TransferMessage_Stopped, "Download stopped."},
    {TransferMessage_SystemProblem, "System problem. Download postponed."},
    {TransferMessage_Denied, "Connection denied by server."},
    {TransferMessage_OutOfMemory, "Out of memory."},
    {TransferMessage_InvalidAddress, "Invalid address."},
    {TransferMessage_TimedOut, "Connection timed out. Download postponed."},
    {TransferMessage_Reconnecting, "Attempting to reconnect."},
    {TransferMessage_Terminated, "Server connection terminated."},
    {TransferMessage_Cancelled, "Connection cancelled."},
    {TransferMessage_Trying, "Trying \"%s://%s:%d\"..."},
    {TransferMessage_Size, "File size is %lu bytes."},
    {TransferMessage_LocatingServer, "Locating server..."},
    {TransferMessage_SelectingServer, "Selecting server..."},
    {TransferMessage_MemoryLow, "Memory low."},
    {TransferMessage_NoServer, "No server or mirror found."},
    {TransferMessage_UnsupportedProtocol, "Unsupported protocol: \"%s\""},
    {TransferMessage_ConnectionFailed, "Connection failed."},
    {TransferMessage_Connected, "Connected."},
    {TransferMessage_LoggingIn, "Logging in as \"%s\"..."},
    {TransferMessage_LoginRefused, "Can't log in as \"%s\""},
    {TransferMessage_SettingMode, "Setting transfer mode..."},
    {TransferMessage_WriteFailed, "Can't write to file. The disk may be full."},
    {TransferMessage_Completed, "Download completed on %s."},
    {TransferMessage_LocatingMirrors, "Locating mirror sites..."},
    {TransferMessage_NotMirrorServer, "Not a Netcask server."},
    {TransferMessage_MirrorsLocated, "Mirror sites located. "},
    {TransferMessage_IsDirectory, "This item is a directory, not a file."},
    {TransferMessage_ChangingDirectory, "Changing directory..."},
    {TransferMessage_SizeUnknown, "File size is unknown."},
    {TransferMessage_NoDataFile, "Can't access cache file."},
    {TransferMessage_Initiating, "Initiating download..."},
    {TransferMessage_CanResume, "Server supports pause/resume."},
    {TransferMessage_CannotResume, "Server does not support pause/resume."},
    {TransferMessage_Downloading, "Downloading..."},
    {TransferMessage_AlreadyLoggedIn, "Authentication already complete."},
    {TransferMessage_Reestablishing, "Reestablishing lost connection."},
    {TransferMessage_WebPage, "Content is a web page."},
    {TransferMessage_ReverseMode, "Attempting reverse connection mode..."},
    {TransferMessage_NoSource, "Can not find file to upload \"%s\"."},
    {TransferMessage_SourceGone, "Upload file has been moved or deleted, using cached copy."},
    {TransferMessage_SourceUnchanged, "Upload file has not been altered."},
    {TransferMessage_CopyingSource, "Copying upload file..."},
    {TransferMessage_Moving, "Moving file to \"%s\"..."},
    {TransferMessage_CannotMove, "Can't move file to \"%s\"..."},
    {TransferMessage_NoDestination, "Can't move file to \"%s\" because it doesn't exist..."},
    {TransferMessage_Copied, "Completed copy to \"%s\""},
    {TransferMessage_CopyFailed, "Failed while copying file \"%s\""},
    {TransferMessage_NoSecureTransfer, "Server does not support secure transfers. Stopping."},
    {TransferMessage_NoSpace, "Not enough disk space to complete download."},
};
constexpr uint32_t kMessageCount = sizeof kMessages / sizeof kMessages[0];

constexpr bool AreInOrder() {
  for (uint32_t number = 0; number < kMessageCount; ++number) {
    if (kMessages[number].number != number) return false;
  }
  return true;
}
static_assert(kMessageCount == 50 && AreInOrder());
static_assert(std::string_view(kMessages[TransferMessage_Size].format).find(kSizePlace) !=
              std::string_view::npos);

void FormatMessage(uint32_t number, va_list arguments, char (&text)[kMessageSize]) {
  if (number < kMessageCount) {
    vsnprintf(text, sizeof text, kMessages[number].format, arguments);
  } else {
    snprintf(text, sizeof text, "Whoops (%d)", static_cast<int>(number));
  }
}

// ---- the log file ----------------------------------------------------------------------------------------

void SetLogPath(VRXClient* client, const char* path) {
  const LibraryLock lock;
  snprintf(client->data.logPath, sizeof client->data.logPath, "%s", path);
  client->isLogPathOwn = true;
  client->isChanged = true;
}

ErrorCode CreateLogFile(const char* directory, const VRXClient* client, char (&path)[kPathSize]) {
  const ErrorCode status = File_UniquifyName(directory, kLogPrefix, path);
  if (status != Error_None) return status;
  if (strlen(path) > kPathSize - 2) return Error_Exceed;
  if (iVRXClientList_HasPath(path, client)) return Error_Exists;
  Owned<File, File_Close> file;
  return iFile_OpenNew(path, FileMode_Write, true, file.out());
}

// Gives the transfer a log file of its own, unless it has one.
bool HasLogFile(VRXClient* client) {
  if (client->isLogPathOwn) return true;
  char directory[kPathSize];
  char path[kPathSize];
  if (iVRXClientSystem_GetFileDirectory(directory) != Error_None) return false;
  ErrorCode status = Error_Exists;
  for (int i = 0; i < kLogNameTries && status == Error_Exists; ++i) {
    status = CreateLogFile(directory, client, path);
  }
  if (status != Error_None) return false;
  SetLogPath(client, path);
  return true;
}

// What cannot be written is lost: the transfer itself does not depend on it.
void WriteToFile(VRXClient* client, std::string_view text, std::string_view end) {
  if (!HasLogFile(client)) return;
  Owned<File, File_Close> file;
  if (File_Open(client->data.logPath, FileMode_Append, file.out()) != Error_None) return;
  File_Write(file.get(), static_cast<uint32_t>(text.size()), text.data());
  File_Write(file.get(), static_cast<uint32_t>(end.size()), end.data());
}

// False when the line is not to wait: there are too many, or no memory for it.
bool LetWait(VRXClient* client, std::string_view line) {
  const size_t size = client->waitingLogSize + line.size() + kLineEnd.size();
  if (!client->delaysLog || size > kMostWaiting) return false;
  if (client->waitingLog == nullptr) client->waitingLog = static_cast<char*>(Memory_New(kMostWaiting));
  if (client->waitingLog == nullptr) return false;
  char* end = client->waitingLog + client->waitingLogSize;
  end += line.copy(end, line.size());
  kLineEnd.copy(end, kLineEnd.size());
  client->waitingLogSize = static_cast<uint32_t>(size);
  return true;
}

void WriteLine(VRXClient* client, const char* text) {
  if (LetWait(client, text)) return;
  iVRXClient_EndLogDelay(client);
  WriteToFile(client, text, kLineEnd);
}

ErrorCode CopyWaiting(const VRXClient* client, char** text) {
  auto* bytes = static_cast<char*>(Memory_New(client->waitingLogSize + 1));
  if (bytes == nullptr) return Error_Memory;
  bytes[std::string_view(client->waitingLog, client->waitingLogSize).copy(bytes, client->waitingLogSize)] =
      '\0';
  *text = bytes;
  return Error_None;
}

ErrorCode ReadLog(const char* path, char** text) {
  Owned<File, File_Close> file;
  if (File_Open(path, FileMode_Read, file.out()) != Error_None) return Error_NotFound;
  const int64_t size = iFile_Size64(file.get());
  if (size <= 0) return Error_NotFound;
  if (size > kLogSizeLimit) return Error_Memory;
  auto* bytes = static_cast<char*>(Memory_New(static_cast<size_t>(size) + 1));
  if (bytes == nullptr) return Error_Memory;
  bytes[File_Read(file.get(), static_cast<uint32_t>(size), bytes)] = '\0';
  *text = bytes;
  return Error_None;
}

ErrorCode GetLog(const VRXClient* client, char** text) {
  if (client->waitingLog != nullptr) return CopyWaiting(client, text);
  return client->isLogPathOwn ? ReadLog(client->data.logPath, text) : ErrorCode{Error_NotFound};
}

// ---- telling the application -----------------------------------------------------------------------------

void DropLogText(VRXClient* client) {
  if (client->logText == nullptr) return;
  Memory_Delete(client->logText);
  client->logText = nullptr;
  if (client->methods != nullptr && client->methods->logChanged != nullptr)
    client->methods->logChanged(client->userData);
  if (client->methods64 != nullptr && client->methods64->logChanged != nullptr)
    client->methods64->logChanged(client->userData64);
}

void CallBack(VRXClient* client, const char* text) {
  if (client->methods != nullptr && client->methods->message != nullptr)
    client->methods->message(client->userData, text);
  if (client->methods64 != nullptr && client->methods64->message != nullptr)
    client->methods64->message(client->userData64, text);
}

}  // namespace

void iVRXClient_ReportText(VRXClient* client, const char* text) {
  // Kept: an empty message is no line of the log; programs show logs with every line a message.
  if (text[0] != '\0') {
    WriteLine(client, text);
    DropLogText(client);
  }
  CallBack(client, text);
}

void iVRXClient_Message(VRXClient* client, uint32_t number, ...) {
  char text[kMessageSize];
  va_list arguments;
  va_start(arguments, number);
  FormatMessage(number, arguments, text);
  va_end(arguments);
  iVRXClient_ReportText(client, text);
}

void iVRXClient_MessageSize(VRXClient* client, uint64_t size) {
  const std::string_view format = kMessages[TransferMessage_Size].format;
  const size_t place = format.find(kSizePlace);
  char text[kMessageSize];
  snprintf(text, sizeof text, "%.*s%" PRIu64 "%s", static_cast<int>(place), format.data(),
           size == kSizeUnknown ? UINT64_C(0xFFFFFFFF) : size, format.data() + place + kSizePlace.size());
  iVRXClient_ReportText(client, text);
}

void iVRXClient_MessageText(VRXClient* client, const char* format, ...) {
  char text[kMessageSize];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  iVRXClient_ReportText(client, text);
}

void iVRXClient_EndLogDelay(VRXClient* client) {
  client->delaysLog = false;
  if (client->waitingLog == nullptr) return;
  WriteToFile(client, {client->waitingLog, client->waitingLogSize}, "");
  Memory_Delete(std::exchange(client->waitingLog, nullptr));
  client->waitingLogSize = 0;
}

void iVRXClient_AppendToLog(VRXClient* client, const char* text) {
  WriteLine(client, text);
  client->isLogStale = true;
}

ErrorCode VRXClient_GetInfo(VRXClient* client, const char** text) {
  if (text == nullptr) return Error_Invalid;
  *text = nullptr;
  if (client == nullptr) return Error_Invalid;
  if (client->isLogStale) {
    Memory_Delete(client->logText);
    client->logText = nullptr;
    client->isLogStale = false;
  }
  if (client->logText == nullptr) {
    const ErrorCode status = GetLog(client, &client->logText);
    if (status != Error_None) return status;
  }
  *text = client->logText;
  return Error_None;
}

ErrorCode VRXClient_AgentMessage(VRXClient* client, const char* text) {
  if (client == nullptr || text == nullptr) return Error_Invalid;
  const TransferCall call(client);
  iVRXClient_ReportText(client, text);
  return Error_None;
}

ErrorCode VRXClient_DelayLog(VRXClient* client, int32_t flag) {
  if (client == nullptr) return Error_Invalid;
  if (flag == 0) iVRXClient_EndLogDelay(client);
  client->delaysLog = flag != 0 && !client->isLogPathOwn;
  return Error_None;
}
