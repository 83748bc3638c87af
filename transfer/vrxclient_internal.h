// The record of a transfer and what its files share.
#pragma once

#include <atomic>
#include <cstdint>

#include "qz/file.h"
#include "qz/ftpc.h"
#include "qz/httpc.h"
#include "qz/semaphore.h"
#include "qz/vrxclient.h"
#include "transfer/agentlist_internal.h"
#include "transfer/serverlist_internal.h"

constexpr size_t kPathSize = 1024;
constexpr size_t kUserSize = 256;
constexpr size_t kURLSize = 1024;

// Sizes, offsets and remaining counts are 64 bits wide inside.
constexpr uint64_t kSizeUnknown = UINT64_MAX;

// What the calls with 32 bits give for a size: all ones for an unknown one and for one that does not fit.
constexpr uint32_t iVRXClient_Narrow(uint64_t size) {
  return size > 0xFFFFFFFEu ? 0xFFFFFFFFu : static_cast<uint32_t>(size);
}

// Where a transfer stands. The numbers are stored, and compared by size where a call asks how far it got.
enum class TransferState : uint32_t {
  SelectServer = 0,
  PrepareDataFile = 1,
  Connect = 2,
  Branch = 3,
  Login = 4,
  Directory = 5,
  Mirrors = 6,
  OpenDataFile = 7,
  TransferMode = 8,
  FileSize = 9,
  StartTransfer = 10,
  Data = 11,
  Finish = 12,
  Agents = 13,
  Completed = 14
};

enum class TransferControl : uint32_t { Idle = 0, InStep = 1, StopRequested = 2, ReconnectRequested = 3 };

// What a callback asked for during a step of its own transfer, and what therefore waits for the step's end.
enum class AfterStep : uint8_t { Nothing, Stop, Close, Delete };

// Where the end of the data stands.
enum class DataEnd : uint8_t {
  NotReached,
  Draining,      // upload: the server takes the last bytes
  AwaitingReply  // FTP: the data connection is shut down, the final reply is due
};

// What lies in the record file, in the order of docs/formats.md.
struct VRXClientData {
  Time created;
  uint64_t size;          // that the server told; kSizeUnknown
  uint64_t declaredSize;  // of VRXClient_SetSize; 0: none
  char serverFileName[kPathSize];
  uint8_t reserved;
  uint8_t isUpload;
  TransferState state;
  uint32_t editFlags;
  AgentList agents;
  ServerList servers;
  Time sourceTime;  // an upload's source when it was copied; a download's file as the HTTP server told it
  char user[kUserSize];
  char password[kUserSize];
  char dataPath[kPathSize];
  char logPath[kPathSize];
  char name[kPathSize];
  char localPath[kPathSize];
  uint32_t elapsedMilliseconds;
};

struct VRXClient {
  VRXClientData data;

  // The list of all transfers, under the list's lock.
  VRXClient* previous;
  VRXClient* next;

  Word userData;
  const VRXClientMethods* methods;      // borrowed; may be null
  const VRXClientMethods64* methods64;  // borrowed; may be null
  Semaphore* semaphore;
  bool isChanged;  // a stored field has another value than the record file may have

  // The log (vrxclient_messages.cpp).
  char* logText;  // owned; what VRXClient_GetInfo gave, until the next message

  // What an application asked for beyond the stated interface; not stored.
  bool acceptsWebPages;  // a web page is a file like any other
  bool replacesTarget;   // the completed file replaces what stands under its name
  bool syncsDataFile;    // the data are on the disk before the file is moved to its place
  bool usesActiveMode;   // FTP servers connect to this side

  // The state machine. Another thread looks at the atomic ones, for VRXClient_Stop.
  std::atomic<TransferControl> control;
  std::atomic<uint32_t> drivingThread;  // of the last step; 0: there was none
  AfterStep afterStep;
  uint32_t reason;         // VRXClientReason
  bool isReasonOfStep;     // the step under way set it, and dropped no server
  uint32_t redirectCount;  // in a row, without a byte of data
  uint32_t retryCount;     // Error_Retry in a row, without a byte of data
  Reply lastReply;         // of a server; class 0: none, or it did not come whole
  ErrorCode lastFailure;   // the status of the last step that failed; Error_None: there was none
  uint32_t lastReason;     // the last reason that was set, and with which the last server was dropped
  int32_t connectionKind;  // URLProtocol of the open connection; -1: none
  HTTPc* http;             // owned; the two exclude each other
  FTPc* ftp;
  URLData* server;         // owned: the server in use; null: none
  ServerEntry* entry;      // of the server in use, in the list; null: it has none
  ServerEntry* timeEntry;  // the server that told sourceTime; null: not known
  bool isProbed;           // a Poll got as far as the size, or the start of the data
  bool isInDirectory;      // the FTP directory is entered
  bool isMirrorServer;     // the server answered the mirror request
  bool canResume;
  Stream* dataStream;  // FTP: owned. HTTP: the connection's
  File* dataFile;      // owned
  uint64_t dataFileSize;
  uint64_t offset;     // download: bytes in the data file; upload: bytes on the server
  uint64_t remaining;  // kSizeUnknown
  bool cutsDataFile;   // the server begins with byte 0: the old bytes go when the first new one is there
  DataEnd dataEnd;
  uint64_t drainDeadlineMilliseconds;
  bool isDataRunning;        // the data phase has begun: elapsed time counts
  FileCopy* copy;            // owned; a copy that runs
  char copyPath[kPathSize];  // where it goes
  uint8_t* buffer;           // owned
  uint32_t bufferSize;
  uint32_t pendingStart;  // upload: bytes of the buffer that the network has not taken yet
  uint32_t pendingCount;
  uint64_t startMilliseconds;   // of iVRXClient_Clock()
  uint64_t sampleMilliseconds;  // of the last speed sample
  uint64_t sampleBytes;
  uint64_t progressTotal;  // of the reports; grows when more comes
  float speed;             // bytes per second
};

// ---- the log (vrxclient_messages.cpp) ----------------------------------------------------------

// Reports a message of the table, formatted with what follows.
void iVRXClient_Message(VRXClient* client, uint32_t number, ...);
// Reports a text of its own, formatted.
void iVRXClient_MessageText(VRXClient* client, const char* format, ...) QZ_PRINTF(2, 3);
// Appends to the log alone.
void iVRXClient_AppendToLog(VRXClient* client, const char* text);

// ---- callbacks (vrxclient_callbacks.cpp) -------------------------------------------------------

void iVRXClient_ReportSize(VRXClient* client);
void iVRXClient_ReportTime(VRXClient* client);  // the estimate, or the elapsed time from state 12 on
void iVRXClient_ReportProgress(VRXClient* client, uint64_t done, uint64_t total);
void iVRXClient_ReportSpeed(VRXClient* client);

// ---- the object (vrxclient.cpp) ----------------------------------------------------------------

// The name used for FTP commands: an upload's server file name, else its local file's; a download's file
// name.
void iVRXClient_ServerFileName(const VRXClient* client, char (&name)[kPathSize]);
// Error_Invalid for a download, Error_NoAccess where the edit flags forbid it, Error_Inited from state 11 on.
ErrorCode iVRXClient_SetServerFileName(VRXClient* client, const char* name);
// Hangs up when the preferences say so and no transfer needs the line.
void iVRXClient_HangUpIfIdle();
// Replaces the server in use by a copy of an entry's URL; null for none. Error_Memory.
ErrorCode iVRXClient_SetServer(VRXClient* client, ServerEntry* entry);

// Whether a listed transfer other than this one has the data file.
bool iVRXClient_IsDataFileTaken(const VRXClient* client, const char* path);
// Removes the data file when its name is one that the library made, and forgets the name in any case.
void iVRXClient_ForgetDataFile(VRXClient* client);

// ---- the connection (vrxclient_connection.cpp) -------------------------------------------------

enum class Closing { Politely, Abruptly };
// Ends the connection and the data phase, if there is one, and closes the data file. A state below 12 becomes
// 0.
void iVRXClient_CloseConnection(VRXClient* client, Closing how);
