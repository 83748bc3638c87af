// The FTP client's record, and what its files share.
//
//   ftpc_reply.cpp    bytes to reply, no I/O
//   ftpc_parse.cpp    texts of replies to values, no I/O
//   ftpc_texts.cpp    reply codes and their texts
//   ftpc_control.cpp  control connection: open, log in, single commands, close
//   ftpc_data.cpp     data connections: active ports, setting up, opening
//   ftpc_transfer.cpp transfers: retrieve, store, end
//   ftpc_list.cpp     directory lists into local files
//   ftpc_facts.cpp    what RFC 3659 adds: features, and the facts of one entry
//   ftpc_move.cpp     moving a file from server to server
#pragma once

#include <string_view>

#include "net/sock_internal.h"
#include "qz/file.h"
#include "qz/ftpc.h"
#include "qz/sock.h"
#include "qz/stringlookup.h"
#include "qz/telnet.h"

// ---- ftpc_texts.cpp --------------------------------------------------------------------------------------

// Reply codes of the standard.
enum FTPReply : int32_t {
  kFTPReply_ReadyMarker = 110,
  kFTPReply_ReadyWait = 120,
  kFTPReply_ReadyData = 125,
  kFTPReply_ReadyFile = 150,
  kFTPReply_Okay = 200,
  kFTPReply_OkayUnimplemented = 202,
  kFTPReply_OkaySystem = 211,
  kFTPReply_OkayDirectory = 212,
  kFTPReply_OkayFile = 213,
  kFTPReply_OkayHelp = 214,
  kFTPReply_OkaySystemType = 215,
  kFTPReply_OkayReady = 220,
  kFTPReply_OkayCloseControl = 221,
  kFTPReply_OkayOpenData = 225,
  kFTPReply_OkayCloseData = 226,
  kFTPReply_OkayPassive = 227,
  kFTPReply_OkayLogin = 230,
  kFTPReply_OkayCompleted = 250,
  kFTPReply_OkayCreated = 257,
  kFTPReply_MaybePassword = 331,
  kFTPReply_MaybeAccount = 332,
  kFTPReply_MaybeMoreInfo = 350,
  kFTPReply_DamnShutdown = 421,
  kFTPReply_DamnData = 425,
  kFTPReply_DamnConnection = 426,
  kFTPReply_DamnFileBusy = 450,
  kFTPReply_DamnServer = 451,
  kFTPReply_DamnStorage = 452,
  kFTPReply_ErrorSyntax = 500,
  kFTPReply_ErrorParam = 501,
  kFTPReply_ErrorUnimplemented = 502,
  kFTPReply_ErrorSequence = 503,
  kFTPReply_ErrorUnimplementedParam = 504,
  kFTPReply_ErrorNoLogin = 530,
  kFTPReply_ErrorNoAccount = 532,
  kFTPReply_ErrorNoAccess = 550,
  kFTPReply_ErrorPage = 551,
  kFTPReply_ErrorStorage = 552,
  kFTPReply_ErrorFileName = 553,
};

// ---- ftpc_reply.cpp --------------------------------------------------------------------------------------

// First digits of the reply codes.
inline constexpr int32_t kFTPClass_Preliminary = '1';
inline constexpr int32_t kFTPClass_Completed = '2';
inline constexpr int32_t kFTPClass_Intermediate = '3';
inline constexpr int32_t kFTPClass_Transient = '4';
inline constexpr int32_t kFTPClass_Refused = '5';

// All bytes of one reply, its long lines included. A longer one is refused.
inline constexpr uint32_t kFTPReply_MaximumBytes = 4u * 1024 * 1024;

// Puts a reply together from its lines:
//
//   "220 ready"                                         one line
//   "220-welcome", any lines, "220 ready"               several; the last one gives the text
class FTPReplyReader {
 public:
  // Takes one line without its line end; `size` is what the line took on the wire, where it may be longer.
  // Error_None: the reply is complete. Error_Block: more lines follow. Error_Invalid: an invalid reply.
  // Error_Exceed: the reply is too long.
  ErrorCode Take(std::string_view line, uint32_t size);

  // The complete reply.
  void Get(Reply* reply) const;

 private:
  ErrorCode TakeFirst(std::string_view line);
  void SetText(std::string_view line);

  Reply reply_ = {};
  char digits_[3] = {};
  bool started_ = false;
  uint32_t sizeBytes_ = 0;
};

// What a captured line looks like in the welcome file: without the reply code and without white space at its
// ends.
std::string_view iFTPc_WelcomeText(std::string_view line);

// ---- ftpc_parse.cpp --------------------------------------------------------------------------------------

// "227 Entering Passive Mode (h1,h2,h3,h4,p1,p2)": the address in network order and the port.
ErrorCode iFTPc_ParsePassive(const char* text, uint8_t address[4], int32_t* port);

// "213 19970105090307": fourteen digits of local time.
ErrorCode iFTPc_ParseModTime(const char* text, Time* time);

// "19970105090307", fourteen digits of UTC, and nothing but a fraction behind them. Error_Invalid.
ErrorCode iFTPc_ParseTimeStamp(std::string_view text, Time* time);

// "213 1234". A number over 64 bits gives 18446744073709551615; a negative one is refused.
ErrorCode iFTPc_ParseSize(const char* text, uint64_t* size);

// The text between the first and the last double quote; at most 1023 bytes into path.
ErrorCode iFTPc_ParseQuoted(const char* text, char* path);

// ---- the connection --------------------------------------------------------------------------------------

inline constexpr uint32_t kFTPFlag_Caller = FTPcFlag_Passive | FTPcFlag_Welcome | FTPcFlag_NoProxy;
inline constexpr uint32_t kFTPFlag_Capturing = 8;
inline constexpr uint32_t kFTPFlag_Transfer = 16;
inline constexpr uint32_t kFTPFlag_Proxied = 32;

inline constexpr uint32_t kFTPBuffer_Size = 1024;
inline constexpr uint32_t kFTPPort_Default = 21;
inline constexpr uint32_t kFTPPort_Maximum = 65535;

// Receives the lines of a reply, borrowed, those that are cut left out.
using FTPLineMethod = void (*)(void* context, std::string_view line);

// The host name follows in the same block.
struct FTPc {
  uint32_t flags;
  const SockInterrupt* interrupt;  // borrowed: of all sockets; may be null
  Stream* stream;                  // control connection, owned by telnet
  Sock* socket;                    // the socket in it
  Telnet* telnet;                  // owned
  bool isOutOfStep;                // a reply may come that belongs to no later command: none is sent any more
  bool isFinalReplyAwaited;        // FTPc_EndTransfer found no reply since the last one was read, at first at
  uint64_t awaitedSinceMilliseconds;  // this moment of platform::MonotonicMilliseconds()
  Sock* listener;            // owned; active mode, from PORT until the transfer command has its answer
  uint8_t localAddress[4];   // ours, network order, for PORT; after PASV the server's data address
  int32_t dataPort;          // active: ours, last chosen; passive: the server's; -1 at first
  File* welcome;             // owned, may be null
  FTPLineMethod lineMethod;  // null: nobody wants the lines
  void* lineContext;
  char welcomeName[kFTPBuffer_Size];
  ErrorCode
      moveFailure;  // of the server-to-server move that this is the source of, until both sides have ended
  uint32_t port;    // as asked for, whatever the proxy is
  char* host;
};

// A command, the class of reply that it needs, and the status for any other.
struct FTPCommand {
  const char* name;
  int32_t expectedClass;
  ErrorCode otherwise;
};

// FTPc_Open under an interrupt, which ends every wait of the connection and of its data connections;
// borrowed, must outlive both; may be null.
ErrorCode iFTPc_Open(const char* host, uint32_t port, uint32_t flags, const SockInterrupt* interrupt,
                     FTPc** connection, Reply* reply);

// The status of the control connection: of the last call that read or wrote it. That no reply had come yet,
// where one was looked for, is no failure. Error_Invalid for null.
ErrorCode iFTPc_ControlError(FTPc* connection);

// True for a text that can be an argument: not null, and without CR and LF, which would begin another
// command.
bool iFTPc_IsArgument(const char* text);

// For commands of which the first must not be sent when a later one cannot be: Error_Invalid for what is no
// argument, Error_Exceed when the line would be too long.
ErrorCode iFTPc_CheckArgument(const char* name, const char* argument);

// Empties the reply; Error_Invalid when connection or reply is null.
ErrorCode iFTPc_Begin(const FTPc* connection, Reply* reply);

// For a call without a place for its result: empties the reply, which may be null. Error_Invalid.
ErrorCode iFTPc_Refuse(Reply* reply);

// Sends a command; argument may be null for none. Reads nothing.
ErrorCode iFTPc_Send(FTPc* connection, const char* name, const char* argument);

// Reads one reply. It is empty after a failure. One that does not come to its end leaves the connection out
// of step.
ErrorCode iFTPc_ReadReply(FTPc* connection, Reply* reply);

// The same; a reply that comes slowly is given up at this moment of platform::MonotonicMilliseconds().
ErrorCode iFTPc_ReadReplyUntil(FTPc* connection, uint64_t giveUpAtMilliseconds, Reply* reply);

// Sends a command and reads its reply, of any class.
ErrorCode iFTPc_Exchange(FTPc* connection, const char* name, const char* argument, Reply* reply);

// The same, and the reply must be of the command's class.
ErrorCode iFTPc_Command(FTPc* connection, const FTPCommand& command, const char* argument, Reply* reply);

// iFTPc_Exchange, and each line of the reply to a method.
ErrorCode iFTPc_ExchangeLines(FTPc* connection, const char* name, const char* argument, FTPLineMethod method,
                              void* context, Reply* reply);

// iFTPc_Exchange that waits no longer than this for the reply. Error_Timeout; the connection is out of step
// then.
ErrorCode iFTPc_ExchangeSoon(FTPc* connection, const char* name, const char* argument, uint32_t milliseconds,
                             Reply* reply);

// Reads what still comes of the replies to a command whose call was interrupted, for this long at most.
void iFTPc_DropReplies(FTPc* connection, uint32_t milliseconds);

// Replaces the interrupt, so that the last commands of an interrupted connection can still be sent.
void iFTPc_SetInterrupt(FTPc* connection, const SockInterrupt* interrupt);

// Makes a directory: "MKD". Error_NoAccess when the server refuses.
ErrorCode iFTPc_MakeDirectory(FTPc* connection, const char* path, Reply* reply);

// ---- ftpc_data.cpp ---------------------------------------------------------------------------------------

// "PASV": the address and port that the server listens at, into the connection.
ErrorCode iFTPc_SetPassive(FTPc* connection, Reply* reply);

// "PORT" with an address in network order and a port.
ErrorCode iFTPc_SendPort(FTPc* connection, const uint8_t address[4], int32_t port, Reply* reply);

// Readies a data connection: PASV, or a free port that is listened at and PORT.
ErrorCode iFTPc_SetUpData(FTPc* connection, Reply* reply);

// Sends a transfer command and opens the data connection that was set up. When it cannot be opened, the reply
// to the command is still read, or the connection is out of step.
ErrorCode iFTPc_StartData(FTPc* connection, const char* name, const char* argument, Stream** stream,
                          Reply* reply);

// Gives up an active data connection that was set up and not used.
void iFTPc_StopListening(FTPc* connection);

// Waits until a reply begins to come, or the connection has ended or failed, which reading then shows. False
// when nothing happened in that time.
bool iFTPc_AwaitReply(FTPc* connection, uint32_t milliseconds);

// FTPc_Close without a long wait: a server that does not answer QUIT holds nobody for more than
// iFTPc_LateReplyMilliseconds.
void iFTPc_CloseSoon(FTPc* connection);

// How long the reply to a transfer that has failed is waited for: 2,000 milliseconds, and no longer than for
// anything else.
uint32_t iFTPc_LateReplyMilliseconds();

// ---- ftpc_transfer.cpp -----------------------------------------------------------------------------------

// FTPc_EndTransfer without an end of the wait for the reply's first byte; a reply that comes slowly is given
// up at this moment.
ErrorCode iFTPc_EndTransferUntil(FTPc* connection, uint64_t giveUpAtMilliseconds, Reply* reply);

// Copies a data connection to its end into a stream, deletes it, and ends the transfer.
ErrorCode iFTPc_Receive(FTPc* connection, Stream* data, Stream* destination, uint64_t* count, Reply* reply);

// ---- ftpc_list.cpp ---------------------------------------------------------------------------------------

// What a list command with an argument (null: none) gives, byte for byte into a local file, which is created
// or overwritten, and removed after a failure.
ErrorCode iFTPc_ListInto(FTPc* connection, const char* command, const char* argument, const char* localFile,
                         Reply* reply);

// ---- ftpc_facts.cpp --------------------------------------------------------------------------------------

// "FEAT": whether the server lists facts ("MLST" and "MLSD"). A server that does not know the command has no
// features, which is no failure.
ErrorCode iFTPc_HasFacts(FTPc* connection, bool* hasFacts, Reply* reply);

// "MLST": the line of facts of one entry, "type=file;size=5; /pub/a". facts: kFTPBuffer_Size bytes; empty
// after a failure. Error_NotFound for code 550; Error_Invalid for any other refusal, and for a reply without
// such a line.
ErrorCode iFTPc_AskFacts(FTPc* connection, const char* path, char* facts, Reply* reply);
