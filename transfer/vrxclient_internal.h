// The record of a transfer and what its files share.
//
// One thread drives a transfer and needs no lock for its record. What other transfers look at (the list's
// links, servers, data path, reason, whether it is completed) changes through the functions below, under the
// library's lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

#include "net/sock_internal.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/ftpc.h"
#include "qz/httpc.h"
#include "qz/reply.h"
#include "qz/semaphore.h"
#include "qz/vrxclient.h"
#include "transfer/agentlist_internal.h"
#include "transfer/serverlist_internal.h"

constexpr int32_t kNoConnection = -1;

constexpr size_t kPathSize = 1024;
constexpr size_t kUserSize = 256;
constexpr size_t kURLSize = 1024;

// What may be changed of a new transfer (enum VRXClientEdit).
constexpr uint32_t kUploadEditFlags = 0x38;
constexpr uint32_t kDownloadEditFlags = 0x3A;

// The name of a log in the cache directory: this and a number.
constexpr char kLogPrefix[] = "info";

// Sizes, offsets and remaining counts are 64 bits wide inside.
constexpr uint64_t kSizeUnknown = UINT64_MAX;

// What the calls with 32 bits give for a size: all ones for an unknown one and for one that does not fit.
constexpr uint32_t iVRXClient_Narrow(uint64_t size) {
  return size > 0xFFFFFFFEu ? 0xFFFFFFFFu : static_cast<uint32_t>(size);
}
// The other way: all ones is unknown.
constexpr uint64_t iVRXClient_Widen(uint32_t size) {
  return size == 0xFFFFFFFFu ? kSizeUnknown : size;
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

enum class TransferControl : uint32_t {
  Idle = 0,
  InStep = 1,
  StopRequested = 2,
  ReconnectRequested = 3,
  StopThenReconnect = 4  // StopRequested when a reconnect was due
};

// What a callback asked for during a call of its own transfer, and what therefore waits for the call's end.
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
  uint8_t isUpload;     // 0 or 1
  TransferState state;  // changed by iVRXClient_ChangeState, read by the record
  uint32_t editFlags;   // enum VRXClientEdit
  AgentList agents;
  ServerList servers;  // grows by iVRXClient_AddServer and iVRXClient_AddServers alone
  Time sourceTime;     // an upload's source when it was copied; a download's file as the HTTP server told it
  char user[kUserSize];
  char password[kUserSize];
  char dataPath[kPathSize];  // changed by iVRXClient_SetDataPath alone
  char logPath[kPathSize];
  char name[kPathSize];
  char localPath[kPathSize];
  uint32_t elapsedMilliseconds;
};

struct VRXClient {
  // The list of all transfers, under the library's lock (vrxclient_list.cpp).
  VRXClient* previous;
  VRXClient* next;
  bool isListed;
  bool isEnding;          // closed by its application, though not gone yet
  uint32_t firstURLHash;  // of the first server's URL data
  std::atomic<bool> isCompleted;

  VRXClientData data;

  Word userData;
  const VRXClientMethods* methods;  // borrowed; may be null
  Word userData64;
  const VRXClientMethods64* methods64;  // borrowed; may be null
  Semaphore* semaphore;
  bool isChanged;  // a stored field has another value than the record file may have

  // What an application asked for beyond the stated interface; not stored.
  bool isLeavingPasswordsOut;  // of the record that VRXClient_Write writes
  bool acceptsWebPages;        // a web page is a file like any other
  bool replacesTarget;         // the completed file replaces what stands under its name
  bool syncsDataFile;          // the data are on the disk before the file is moved to its place
  bool usesActiveMode;         // FTP servers connect to this side
  bool usesRelativePaths;      // FTP paths begin at the login's folder
  bool acceptsEmptyFiles;      // an upload of an empty file is stored
  bool refusesSurplus;         // more bytes than the FTP server told are a failure
  bool discardsData;           // the next start is at byte 0; forgotten when the old bytes are cut

  uint32_t callDepth;  // calls of the transfer that run (TransferCall below)

  // The log (vrxclient_messages.cpp).
  bool delaysLog;    // its lines wait for a record, or for more lines
  char* waitingLog;  // owned; the lines that wait; null: none
  uint32_t waitingLogSize;
  char* logText;      // owned; what VRXClient_GetInfo gave
  bool isLogStale;    // the log has more by now
  bool isLogPathOwn;  // logPath is a name of the library's making, and may be written to

  // The state machine. Another thread looks at the atomic ones, for VRXClient_Stop.
  std::atomic<TransferControl> control;
  std::atomic<uint32_t> drivingThread;  // of the last step; 0: there was none
  bool isInStep;                        // on the driving thread
  AfterStep afterStep;
  SockInterrupt interrupt;       // of all sockets of the transfer; set while another thread wants a stop
  std::atomic<uint32_t> reason;  // VRXClientReason
  bool isReasonOfStep;           // the step under way set it, and dropped no server
  uint32_t redirectCount;        // in a row, without a byte of data
  uint32_t retryCount;           // Error_Retry in a row, without a byte of data
  Reply lastReply;               // of a server; class 0: none, or it did not come whole
  ErrorCode lastFailure;         // the status of the last step that failed; Error_None: there was none
  uint32_t lastReason;           // the last reason that was set, and with which the last server was dropped
  int32_t connectionKind;        // URLProtocol of the open connection; kNoConnection
  HTTPcPool* pool;               // borrowed; null: none
  HTTPc* http;                   // owned; the two exclude each other
  FTPc* ftp;
  URLData* server;          // owned: the server in use; null: none
  ServerEntry* entry;       // of the server in use, in the list; null: it has none
  ServerEntry* timeEntry;   // the server that told sourceTime; null: not known
  bool isProbed;            // a Poll got as far as the size, or the start of the data
  bool isProbedConnection;  // ... over the connection that is open
  bool isMirrorServer;      // the server answered the mirror request
  bool canResume;
  bool isDataFileNew;  // this transfer has chosen its name, and made no file of it yet
  Stream* dataStream;  // FTP: owned. HTTP: the connection's
  File* dataFile;      // owned
  uint64_t dataFileSize;
  uint64_t offset;       // download: bytes in the data file; upload: bytes on the server
  uint64_t remaining;    // kSizeUnknown
  uint64_t responseEnd;  // what the server sends now ends before this byte of the file; kSizeUnknown
  bool cutsDataFile;     // the server begins with byte 0: the old bytes go when the first new one is there
  uint64_t oldSize;      // cutsDataFile: the size and the time that are known of the old bytes' file
  Time oldTime;
  ServerEntry* oldTimeEntry;
  DataEnd dataEnd;
  uint64_t drainDeadlineMilliseconds;
  bool isDataRunning;  // the data phase has begun: elapsed time counts
  FileCopy* copy;      // owned; a copy that runs
  // Where it goes. Of an upload that was read: the empty copy that was forgotten.
  char copyPath[kPathSize];
  char emptyDataPath[kPathSize];  // the empty data file that iVRXClient_AdoptDataFile forgot; "": none
  bool isEmptyCopySent;           // that one had been sent when the record was written
  char replacedPath[kPathSize];   // what the completed file replaces; empty: nothing
  uint8_t* buffer;                // owned
  uint32_t bufferSize;
  uint32_t pendingStart;  // upload: bytes of the buffer that the network has not taken yet
  uint32_t pendingCount;
  uint64_t startMilliseconds;   // of iVRXClient_Clock()
  uint64_t sampleMilliseconds;  // of the last speed sample
  uint64_t sampleBytes;
  uint64_t progressTotal;  // of the reports; grows when more comes
  float speed;             // bytes per second
};

// ---- calls -------------------------------------------------------------------------------------

// Stands in every exported function that may call back. While one lives the transfer is not freed:
// VRXClient_Close and VRXClient_Delete, when a callback calls them, set afterStep, and the end of the
// outermost TransferCall carries them out. The transfer may therefore be gone behind it.
class TransferCall {
 public:
  explicit TransferCall(VRXClient* client) : client_(client) { ++client->callDepth; }
  ~TransferCall();
  TransferCall(const TransferCall&) = delete;
  TransferCall& operator=(const TransferCall&) = delete;

 private:
  VRXClient* client_;
};

// The one place that changes the state. Does not set isChanged: the state number alone is no change.
inline void iVRXClient_ChangeState(VRXClient* client, TransferState state) {
  client->data.state = state;
  client->isCompleted = state == TransferState::Completed;
}

// ---- messages and the log (vrxclient_messages.cpp) ---------------------------------------------

// Reports a message of the table, formatted with what follows: through the callbacks, and in the log.
void iVRXClient_Message(VRXClient* client, uint32_t number, ...);
// Reports message 11, which has the size in 64 bits on both platforms; an unknown size as 4294967295.
void iVRXClient_MessageSize(VRXClient* client, uint64_t size);
// Reports a text of its own, formatted; at most 4095 bytes.
void iVRXClient_MessageText(VRXClient* client, const char* format, ...) QZ_PRINTF(2, 3);
// Writes the lines that wait to the log file, and all that follow at once.
void iVRXClient_EndLogDelay(VRXClient* client);
// Adds a line to the log alone.
void iVRXClient_AppendToLog(VRXClient* client, const char* text);

// ---- callbacks (vrxclient_callbacks.cpp) -------------------------------------------------------

// Whether the application wants progress, through either table. Without it there is no speed either.
bool iVRXClient_WantsProgress(const VRXClient* client);

void iVRXClient_ReportSize(VRXClient* client);
void iVRXClient_ReportTime(VRXClient* client);  // iVRXClient_EstimateTime
void iVRXClient_ReportSpeed(VRXClient* client);
// Through the table with 32 bits, and through the one with 64 bits, for which one report a data step is due.
// total: kSizeUnknown for none.
void iVRXClient_ReportProgress(VRXClient* client, uint64_t done, uint64_t total);
void iVRXClient_ReportProgress64(VRXClient* client, uint64_t done, uint64_t total);

// Seconds until the data is complete, by the average speed of the server; from state 12 on the elapsed
// milliseconds. All ones when that cannot be known.
uint32_t iVRXClient_EstimateTime(const VRXClient* client);

// ---- the object (vrxclient.cpp) ----------------------------------------------------------------

// The name used for FTP commands: an upload's server file name, else its local file's; a download's file
// name. Empty when the path has no name part.
void iVRXClient_ServerFileName(const VRXClient* client, char (&name)[kPathSize]);

// Replaces the server in use by a copy of an entry's URL; null for none. Error_Memory, and there is none.
ErrorCode iVRXClient_SetServer(VRXClient* client, ServerEntry* entry);

// Add a server, or those of a text with ";", at the end of the list, and mark the record as changed when it
// has grown. isAdded: may be null. Statuses: those of iServerList_Add and iServerList_AddMirrors.
ErrorCode iVRXClient_AddServer(VRXClient* client, const char* url, bool* isAdded);
ErrorCode iVRXClient_AddServers(VRXClient* client, const char* urls, bool* isAdded);

// Hangs up when the preferences say so and no transfer needs the line.
void iVRXClient_HangUpIfIdle();

// ---- the data file (vrxclient_datafile.cpp) ----------------------------------------------------

// Gives the transfer a data file name when it has none: one in the cache directory under which nothing
// stands, and that no other transfer has. A name that was given so, and under which another program has made
// a file meanwhile, gives way to another one. Create the file exclusively (iFile_OpenNew). Statuses of
// File_GetSysDir and File_UniquifyName.
ErrorCode iVRXClient_NameDataFile(VRXClient* client);
// Makes the file of a name that was given so, and opens it for writing.
ErrorCode iVRXClient_MakeDataFile(VRXClient* client, File** file);
// Before a record is written: whoever reads it takes what stands under the name for this transfer's data, so
// a download makes the file, and an upload, which does so with its next step, chooses a name then.
void iVRXClient_KeepDataFileName(VRXClient* client);
// Sets the path, so that another transfer never sees half of one. Marks the record as changed when it is
// another one. "": none.
void iVRXClient_SetDataPath(VRXClient* client, const char* path);
// Whether the path is of the library's making, in the cache directory, or ends in ".part" beside the local
// path of a download.
bool iVRXClient_HasOwnDataPath(const VRXClient* client);
// Whether the data file may be removed: it has such a path, and no other transfer has it.
bool iVRXClient_OwnsDataFile(const VRXClient* client);
// Removes the data file when it may be removed, and forgets the name in any case.
void iVRXClient_ForgetDataFile(VRXClient* client);
// Takes the size of the data file, 0 when it is missing. Statuses of File_GetState64, with which it is 0 as
// well.
ErrorCode iVRXClient_MeasureDataFile(VRXClient* client);
// The same, and a download's offset: what is there of it.
ErrorCode iVRXClient_LookAtDataFile(VRXClient* client);
// The same after reading a record: forgets a file that is missing or empty, and keeps the name of one that
// cannot be looked at for now. An empty one of the library's making is the next data file of a download.
void iVRXClient_AdoptDataFile(VRXClient* client);
// Removes that one, if it is still empty.
void iVRXClient_RemoveEmptyDataFile(VRXClient* client);
// The same for an upload that was read, once it is known that empty files are accepted: takes the empty file
// that AdoptDataFile forgot. False when there is none.
bool iVRXClient_AdoptEmptyCopy(VRXClient* client);
// Whether two names are of one file, as far as their texts tell: systems with drives tell no case apart.
bool iVRXClient_IsSamePath(std::string_view a, std::string_view b);
// Whether a path is one that the library made: the cache directory, the prefix, a number.
bool iVRXClient_IsOwnName(const char* path, const char* prefix);

// ---- the local path (vrxclient_localpath.cpp) --------------------------------------------------

// A file name for this machine from a name that came from elsewhere: what stands behind the last "/" or "\",
// with "_" for characters that some systems do not take; a name that means something else to a system ("",
// "..", "NUL.txt") gets a "_" in front. At most 240 bytes: a longer one loses the end of what stands before
// its ending.
void iVRXClient_SafeName(const char* name, char (&safeName)[kPathSize]);
// The transfer's file name as a safe one.
void iVRXClient_SafeFileName(const VRXClient* client, char (&name)[kPathSize]);
// Makes a path that was given the local path, or a place in it. Marks the record as changed, whatever comes
// of it. Error_Invalid for "", Error_Exceed; those of iVRXClient_ChooseLocalPath (vrxclient_testing.h).
ErrorCode iVRXClient_ApplyLocalPath(VRXClient* client, const char* path);
// Gives a download without a local path the one in the preferences' download directory. Error_Exceed;
// Error_NotInited.
ErrorCode iVRXClient_ApplyDefaultLocalPath(VRXClient* client);

// ---- the record (vrxclient_record.cpp) ---------------------------------------------------------

// Makes the fields those of a new transfer: empty, the size unknown.
void iVRXClient_InitRecord(VRXClientData* data);
// Reads a record into fields that were initialised. After a failure iVRXClient_FreeRecord is due.
ErrorCode iVRXClient_ReadRecord(Traverse* traverse, VRXClientData* data);
// isWithoutPasswords: without the password, and without users and passwords of URLs.
ErrorCode iVRXClient_WriteRecord(Traverse* traverse, VRXClientData* data, bool isWithoutPasswords);
// Deletes the agents, with the pair "forever" = isForever, and the servers.
void iVRXClient_FreeRecord(VRXClientData* data, int32_t isForever);

// ---- the list of all transfers (vrxclient_list.cpp) --------------------------------------------

// Puts the transfer at the head. isExclusive: Error_Exists, and nothing happens, when another one that is not
// completed has the same first URL among its servers.
ErrorCode iVRXClientList_Link(VRXClient* client, bool isExclusive);
// Takes it off. Nothing happens when it is not in the list.
void iVRXClientList_Unlink(VRXClient* client);
// Takes the first one off and returns it; null when the list is empty.
VRXClient* iVRXClientList_TakeFirst();
// From now on the transfer counts as ended: its URL is free for another one.
void iVRXClientList_MarkEnding(VRXClient* client);
// Whether a transfer that is not completed has this URL among its servers.
bool iVRXClientList_HasURL(const URLData& url);
// Whether a transfer other than `except` has this path for its data file, or for its log.
bool iVRXClientList_HasPath(const char* path, const VRXClient* except);
// Whether a transfer is neither completed nor failed: it needs the line.
bool iVRXClientList_NeedsLine();

// ---- the connection (vrxclient_connection.cpp) -------------------------------------------------

enum class Closing { Politely, Abruptly };
// Ends the connection and the data phase, if there is one, and closes the data file. A state below 12 becomes
// 0.
void iVRXClient_CloseConnection(VRXClient* client, Closing how);
