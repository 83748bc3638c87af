/* VRXClient: a resumable transfer of one file between a server and the disk.
 *
 * A transfer is made by VRXClient_NewDownload, VRXClient_NewUpload or VRXClient_New, or read back from its
 * record by VRXClient_Read. VRXClient_Poll probes it; VRXClient_Idle, called again and again, moves it on one
 * step at a time until it gives VRXClientResult_Completed. VRXClient_Write saves it whenever a step gives 1
 * to 5, and a program that reads the record later resumes where the data file ends. VRXClient_Close ends the
 * work and keeps all files; VRXClient_Delete removes the transfer's own files too.
 *
 * Needs VRXClientSystem_Init: without it what makes a transfer gives Error_NotInited. One thread at a time
 * uses a transfer; different transfers may be used by different threads. From another thread only
 * VRXClient_Stop may be called. Poll, Idle, Stop and Close wait for the network, and block as long as Sock,
 * FTPc and HTTPc do. AddAgent, GetAgent, RemoveAgent, Read, Write and Delete wait at most 5 seconds for the
 * lists of agents, which all transfers share. The others do not block. Callbacks run on the calling thread,
 * inside the call; from a callback every function may be called, and Close, Delete and Stop of the same
 * transfer take effect when the outermost call ends.
 *
 * Texts are copied. A text that is stored has at most 1022 bytes, user and password 254, a URL 1021; a longer
 * one gives Error_Exceed and changes nothing. Buffers for texts hold 1024 bytes and are empty after a
 * failure. A null transfer, and any other null that is not allowed, gives Error_Invalid, from functions
 * without a status 0 or null. */
#ifndef QZ_VRXCLIENT_H
#define QZ_VRXCLIENT_H

#include "qz/agent.h"
#include "qz/httpc.h"
#include "qz/traverse.h"

QZ_BEGIN_C

/* Opaque. */
typedef struct VRXClient VRXClient;

/* What a step did: the value of VRXClient_Poll and VRXClient_Idle. After 1 to 5 the record should be saved.
 */
enum VRXClientResult {
  VRXClientResult_None = 0,      /* nothing to report; call again */
  VRXClientResult_Changed = 1,   /* the record changed */
  VRXClientResult_Postponed = 2, /* a system problem or a time-out; try again later */
  VRXClientResult_Cancelled = 3, /* cancelled or stopped */
  VRXClientResult_Failed = 4,    /* failed: VRXClient_GetError tells why */
  VRXClientResult_Completed = 5  /* completed; of VRXClient_Poll also: the probe has finished */
};

/* Why a transfer failed, or dropped its last server: the value of VRXClient_GetError. */
enum VRXClientReason {
  VRXClientReason_None = 0,
  VRXClientReason_Memory = 1,          /* out of memory */
  VRXClientReason_OpenDataFile = 2,    /* the data file cannot be opened */
  VRXClientReason_DataFile = 3,        /* it cannot be found, read, created, or written at its start */
  VRXClientReason_Login = 5,           /* the FTP server refused every login */
  VRXClientReason_NoSource = 6,        /* the file to upload and its cached copy are missing */
  VRXClientReason_EmptySource = 7,     /* the file to upload is empty */
  VRXClientReason_NoServer = 8,        /* no server or mirror is left */
  VRXClientReason_Denied = 9,          /* the server denied the connection */
  VRXClientReason_InvalidAddress = 10, /* Error_Invalid or Error_NotFound */
  VRXClientReason_Timeout = 11,        /* the connection timed out */
  VRXClientReason_IsDirectory = 12,    /* the FTP path names a directory */
  VRXClientReason_Unknown = 13,        /* a step failed without a status */
  VRXClientReason_Directory = 14,      /* the FTP directory cannot be entered */
  VRXClientReason_ServerClosed = 15,   /* the server closed the connection */
  VRXClientReason_Agent = 17,          /* an agent failed on completion */
  VRXClientReason_WebPage = 18,        /* the content is a web page */
  VRXClientReason_DiskFull = 20,       /* the disk is full, or too small */
  VRXClientReason_Redirected = 21,     /* the HTTP server redirected the request */
  VRXClientReason_NoDestination = 22   /* the destination's directory does not exist */
};

/* What an application may do with a transfer: bits of VRXClient_GetEditFlags. Bits that are not named here
 * are kept and have no effect. A new download has 0x3A, a new upload 0x38. */
enum VRXClientEdit {
  VRXClientEdit_LocalFilePath = 0x02,      /* the local file path may be changed */
  VRXClientEdit_KeepServerFileName = 0x04, /* the server file name may not be changed */
  VRXClientEdit_User = 0x10                /* user and password may be changed */
};

/* What an application is told of a transfer; each slot may be null. Called within the functions below, on
 * their thread. userData: what the application gave with the table. */
typedef struct VRXClientMethods {
  void (*message)(Word userData, const char* text);               /* every message, without a line end */
  void (*progress)(Word userData, uint32_t done, uint32_t total); /* bytes */
  void (*size)(Word userData, uint32_t size);                     /* as VRXClient_GetSize gives it */
  void (*time)(Word userData, uint32_t value); /* seconds left; milliseconds elapsed once the data is
                                                  complete; 4294967295 when unknown */
  void (*speed)(Word userData, float bytesPerSecond);
  void (*logChanged)(Word userData); /* the text that VRXClient_GetInfo gave is no longer valid */
} VRXClientMethods;

/* ---- creating ---- */

/* Tells whether a URL can be transferred. upload: out, may be null: 1 for a URL that only uploads ("ftpu"),
 * else 0. Error_None for one of type URLProtocol_HTTP, HTTPS or FTP with a path, and of type FTPU;
 * Error_Invalid for everything else, a "file" URL among it; Error_Memory. */
QZ_API ErrorCode VRXClient_CheckURL(const char* url, int32_t* upload);

/* Makes a download. Nothing is connected yet.
 * localPath: where the file is to go, as for VRXClient_SetLocalFilePath. Null or empty: under its own name in
 * the download directory of the preferences; in that name ":", "*", "?" and other characters that some
 * systems do not take become "_". methods: borrowed until the transfer ends; may be null. client: out, owned
 * (end with VRXClient_Close or VRXClient_Delete); null after a failure.
 * Error_None; Error_Exists when a transfer that is not completed has this URL among its servers;
 * Error_Invalid for a URL that VRXClient_CheckURL refuses, or that only uploads; Error_Exceed; Error_Memory;
 * what VRXClient_SetLocalFilePath gives; Error_NotInited. */
QZ_API ErrorCode VRXClient_NewDownload(const char* url, const char* localPath, Word userData,
                                       const VRXClientMethods* methods, VRXClient** client);

/* Makes an upload of a file to an FTP URL. localFile: must exist (Error_NotFound) and be no directory
 * (Error_Invalid). The rest as for VRXClient_NewDownload; HTTP URLs give Error_Invalid. */
QZ_API ErrorCode VRXClient_NewUpload(const char* localFile, const char* serverURL, Word userData,
                                     const VRXClientMethods* methods, VRXClient** client);

/* Makes an upload from two URLs, without callbacks. When the first is a "file" URL, its path is the local
 * file and the second one the server's. Otherwise the second must be a "file" URL (else Error_Invalid), the
 * first text is taken for the local file and the second one's path for the server URL, in this order: a
 * server URL and a "file" URL give Error_NotFound. Null in either place gives Error_Invalid; the rest as
 * VRXClient_NewUpload. */
QZ_API ErrorCode VRXClient_New(const char* first, const char* second, VRXClient** client);

/* ---- configuring ---- */

/* Stores the callbacks, and reports the size and the time estimate through them. methods: borrowed until the
 * transfer ends or other ones are set; null for none. Error_None. */
QZ_API ErrorCode VRXClient_SetMethods(VRXClient* client, Word userData, const VRXClientMethods* methods);

/* Sets user and password for the login. Null or empty: none; without a user the login uses those of the URL,
 * or is anonymous. Error_NoAccess without VRXClientEdit_User. Error_Inited, after the message "Authentication
 * already complete.", from state 5 on. Error_Exceed. Nothing changes after a failure. */
QZ_API ErrorCode VRXClient_SetUser(VRXClient* client, const char* user, const char* password);

/* Declares the size of the file in bytes, for when the server does not tell it; 0 for none. Error_NoAccess
 * from state 9 on. */
QZ_API ErrorCode VRXClient_SetSize(VRXClient* client, uint32_t size);

/* Adds servers that have the same file: URLs separated by ";". What is no URL, too long, or among the servers
 * already is skipped; nothing at all may be added. Error_None; Error_NotInited while the transfer has no
 * current server; Error_Memory, some may have been added then. */
QZ_API ErrorCode VRXClient_AddMirrors(VRXClient* client, const char* mirrors);

/* Sets where a download goes. path: an existing directory gets the file part of the path that was set before,
 * or else the transfer's file name, behind it; an existing file is taken as it is (when the transfer is
 * completed a free name beside it is used); what does not exist must have a parent (Error_NotFound) that is a
 * directory (Error_Invalid). A path that ends in "/" names a directory.
 * Error_Inited for a completed transfer; Error_NoAccess for an upload and without
 * VRXClientEdit_LocalFilePath; Error_Invalid for an empty path; Error_Exceed. */
QZ_API ErrorCode VRXClient_SetLocalFilePath(VRXClient* client, const char* path);

/* Sets the name under which the application shows the transfer; null or empty: its file name. Error_Exceed.
 */
QZ_API ErrorCode VRXClient_SetTransferName(VRXClient* client, const char* name);

/* Sets the edit flags (enum VRXClientEdit). Error_None. */
QZ_API ErrorCode VRXClient_SetEditFlags(VRXClient* client, uint32_t flags);

/* ---- moving on ---- */

/* Probes: performs one step towards the size of the file. Returns enum VRXClientResult, 5 when size and
 * resume support are known, or the transfer is completed; 0 inside a call of the same transfer; Error_Invalid
 * for null; Error_NotInited after VRXClientSystem_Exit. */
QZ_API int32_t VRXClient_Poll(VRXClient* client);

/* Works: performs one step of the transfer. Returns enum VRXClientResult; 0 inside a call of the same
 * transfer; Error_Invalid for null; Error_NotInited after VRXClientSystem_Exit. */
QZ_API int32_t VRXClient_Idle(VRXClient* client);

/* Ends the connection, politely; the next step connects again and resumes. Inside a step of the same transfer
 * the step ends, with 3. From another thread: a step that runs ends within a second, with 3, unless it looks
 * up a host name, dials, waits for an agent or for the disk: then behind that; without one the next step
 * does, unless none ran yet: then nothing changes. Returns 0; Error_Invalid for null. */
QZ_API int32_t VRXClient_Stop(VRXClient* client);

/* ---- what a transfer is and does ---- */

/* Return 1 or 0: whether the transfer is an upload; whether the server answered the request for mirrors;
 * whether it can resume, 0 as long as that is not known; whether the transfer is completed. */
QZ_API int32_t VRXClient_IsUpload(const VRXClient* client);
QZ_API int32_t VRXClient_IsVRXServer(const VRXClient* client);
QZ_API int32_t VRXClient_ServerSupportsResume(const VRXClient* client);
QZ_API int32_t VRXClient_IsCompleted(const VRXClient* client);

/* Returns 1 while a connection of scheme "https" is open, else 0. out: may be null, or receives 0. */
QZ_API int32_t VRXClient_IsSecure(const VRXClient* client, int32_t* out);

/* Gives all messages so far, lines that end in CR LF. text: receives a text of the transfer's; it is valid
 * until the transfer ends, until this is called again, and until a message comes: then the log-changed
 * callback is called. Null after a failure. Error_None; Error_NotFound when there was no message yet, or the
 * log file is gone; Error_Memory. */
QZ_API ErrorCode VRXClient_GetInfo(VRXClient* client, const char** text);

/* Gives the URL of the current server, user and password included. Error_None; Error_NoAccess when there is
 * none. buffer: out, 1024 bytes. */
QZ_API ErrorCode VRXClient_GetSourceURL(const VRXClient* client, char* buffer);

/* Gives the same URL without user, password and path. */
QZ_API ErrorCode VRXClient_GetServerName(const VRXClient* client, char* buffer);

/* Returns the size in bytes: of a download as the server told it, of an upload that of its copy in the cache;
 * when that is 0 or not known, the declared one; 4294967295 when that is not known either, or does not fit.
 */
QZ_API uint32_t VRXClient_GetSize(const VRXClient* client);

/* Gives the local file path; empty when there is none. Error_None. buffer: out, 1024 bytes, as below. */
QZ_API ErrorCode VRXClient_GetLocalFilePath(const VRXClient* client, char* buffer);

/* Gives the transfer name, or the file name when that is empty. Error_None. */
QZ_API ErrorCode VRXClient_GetTransferName(const VRXClient* client, char* buffer);

/* Gives the path of the current server's URL; empty without a server or a path. Error_None. */
QZ_API ErrorCode VRXClient_GetRemoteFilePath(const VRXClient* client, char* buffer);

/* Gives the file name: an upload's is the last part of its local path, a download's the last part of the path
 * of its current server, or of its first URL without one. It is as the server names it and may be empty; do
 * not use it for a file as it is. Error_None. */
QZ_API ErrorCode VRXClient_GetFileName(const VRXClient* client, char* buffer);

/* Returns why the transfer failed, or dropped its last server (enum VRXClientReason). */
QZ_API uint32_t VRXClient_GetError(const VRXClient* client);

/* Sets that reason, for agents; 0 clears it. A step that fails after an agent has set one gives 4 and keeps
 * its server. Error_None. */
QZ_API ErrorCode VRXClient_AgentError(VRXClient* client, uint32_t reason);

/* Returns the edit flags (enum VRXClientEdit). */
QZ_API uint32_t VRXClient_GetEditFlags(const VRXClient* client);

/* ---- agents ---- */

/* Appends an agent to the transfer's list. agent: taken over, unless this fails. Error_None; Error_Memory;
 * Error_Timeout when the lists are in use for 5 seconds, as they are inside an agent's own methods. */
QZ_API ErrorCode VRXClient_AddAgent(VRXClient* client, Agent* agent);

/* Returns the first agent of the list (borrowed) when its class has this name, without regard to case, else
 * null. Only the first agent is looked at. Null also when the lists are in use for 5 seconds, as above. */
QZ_API Agent* VRXClient_GetAgent(VRXClient* client, const char* className);

/* Deletes the first agent of the list, with the pair "forever" = 1, when its class has this name, and takes
 * it off the list. Error_None; Error_NotFound; Error_Timeout as above. */
QZ_API ErrorCode VRXClient_RemoveAgent(VRXClient* client, const char* className);

/* ---- ending ---- */

/* Ends the transfer: closes its connection politely, deletes its agents with the pair "forever" = 0, frees
 * it, and hangs up a dial-up line that no other transfer needs. Data file, log file and record stay. Inside a
 * call of the same transfer all this happens when that call ends; no callback comes in between. Error_None.
 */
QZ_API ErrorCode VRXClient_Close(VRXClient* client);

/* Ends the transfer for good: deletes its agents with the pair "forever" = 1, closes it, and removes its data
 * file and its log file. A file is only removed when its name is one that the library made, in the cache
 * directory, or the data file's ends in ".part" beside the local file path of a download; and when no other
 * transfer has it. Error_None. */
QZ_API ErrorCode VRXClient_Delete(VRXClient* client);

/* ---- the record ---- */

/* Reads a transfer, and reports size, progress and time estimate. It resumes in state 0 unless its data was
 * complete. When its data file is missing or empty, it starts again from the beginning. A data file that the
 * record names is only used when the library made the name, in the cache directory, or, for a download, when
 * it ends in ".part" beside the local file path; and when no other transfer has it. Any other one is
 * forgotten, and stays as it is.
 * methods: borrowed until the transfer ends; may be null. client: out, owned; null after a failure.
 * Error_None; Error_NotFound for what is no record of a transfer, is of a newer version, or names an agent's
 * class that is not registered; Error_Ended when it is cut; Error_Invalid for servers that are no URLs;
 * Error_Timeout when the agents' lists are in use for 5 seconds; Error_Memory; Error_NotInited. */
QZ_API ErrorCode VRXClient_Read(Traverse* traverse, Word userData, const VRXClientMethods* methods,
                                VRXClient** client);

/* Writes the transfer's record (docs/formats.md). Returns the traverse's status; Error_Timeout when the
 * agents' lists are in use for 5 seconds. */
QZ_API ErrorCode VRXClient_Write(Traverse* traverse, VRXClient* client);

/* ---- additions ------------------------------------------------------------------------------------ */

/* The callbacks with 64-bit sizes; each slot may be null. Progress comes once for each step that
 * moves data or copies. */
typedef struct VRXClientMethods64 {
  void (*message)(Word userData, const char* text);
  void (*progress)(Word userData, uint64_t done, uint64_t total); /* total: all ones when unknown */
  void (*size)(Word userData, uint64_t size);                     /* as VRXClient_GetSize64 gives it */
  void (*time)(Word userData, uint32_t value);
  void (*speed)(Word userData, float bytesPerSecond);
  void (*logChanged)(Word userData);
} VRXClientMethods64;

/* A server of a transfer, and what is known of it. */
typedef struct VRXClientServer {
  char url[1024];          /* without user and password */
  int32_t isFailed;        /* 1: the transfer dropped it; it is passed over until all are dropped */
  int32_t isCurrent;       /* 1: the server in use */
  uint32_t speedSamples;   /* how many were taken, in all transfers */
  float averageSpeed;      /* bytes per second; -1 without a sample */
  uint32_t outcomeSamples; /* how many outcomes were counted */
  float successRatio;      /* 0 to 1; 0.5 without an outcome */
} VRXClientServer;

/* How the last step failed, and what the server answered then. */
typedef struct VRXClientLastReply {
  ErrorCode status; /* of the last step that failed; Error_None when none has */
  uint32_t reason;  /* the last reason (enum VRXClientReason), also of a server that was dropped since */
  int32_t code;     /* of the server's last reply (550, 404); 0 when it did not answer */
  char text[1024];  /* the server's words; any bytes but 0 */
} VRXClientLastReply;

/* As VRXClient_SetMethods; both tables may be set, each with a userData of its own, and both are called. */
QZ_API ErrorCode VRXClient_SetMethods64(VRXClient* client, Word userData, const VRXClientMethods64* methods);

/* Returns the state, 0 to 14 (docs/architecture.md); 12 and above: the data is complete, 14: all is. */
QZ_API uint32_t VRXClient_GetState(const VRXClient* client);

/* As VRXClient_GetSize and VRXClient_SetSize, in 64 bits; all ones when unknown. */
QZ_API uint64_t VRXClient_GetSize64(const VRXClient* client);
QZ_API ErrorCode VRXClient_SetSize64(VRXClient* client, uint64_t size);

/* Returns how many bytes of the file are there: those in a download's data file, those of an upload on the
 * server. When the data begins to move (state 11) it is the byte at which it begins: 0 when a resume was not
 * possible. Before that, what the last attempt had. 0 for null. */
QZ_API uint64_t VRXClient_GetOffset64(const VRXClient* client);

/* Sets the name under which an upload is stored in the directory of its URL. It is sent as it is. Set it
 * before the first step: a size that was asked for under another name is not asked for again. name: copied;
 * null or empty for the file part of the local file's path. Kept in the record. Error_None; Error_Invalid for
 * a download; Error_NoAccess with VRXClientEdit_KeepServerFileName; Error_Inited from state 11 on;
 * Error_Exceed. */
QZ_API ErrorCode VRXClient_SetServerFileName(VRXClient* client, const char* name);

/* Sets the file that receives a download's data until it is complete; without this it is a file of the
 * library's in the cache directory. What the file holds already is taken for the beginning of the data.
 * VRXClient_Delete removes it only when its name ends in ".part" and it lies in the directory of the local
 * file path. A data file that the transfer had before stays where it is. path: null or empty for one of the
 * library's. Error_None; Error_Inited from state 1 on, and while a connection is open; Error_Invalid
 * for an upload; Error_Exceed; Error_Exists for a file that another transfer has. VRXClient_Read forgets a
 * path under which no data is found, and one of another form than VRXClient_Delete removes: set it again
 * after reading. */
QZ_API ErrorCode VRXClient_SetDataFilePath(VRXClient* client, const char* path);

/* Makes a download begin at byte 0 again, whatever its data file holds. The old bytes go when the first new
 * one is there, or when a server's answer shows that the file is another one: until then a server that cannot
 * be reached costs nothing. Holds for every attempt until the old bytes have gone; the attempts after that
 * resume as usual. Not kept in the record: set it again after reading. Error_None; Error_Inited from state 1
 * on, and while a connection is open; Error_Invalid for an upload. */
QZ_API ErrorCode VRXClient_DiscardData(VRXClient* client);

/* Gives the path of the data file; empty while there is none. Error_None. buffer: out, 1024 bytes. */
QZ_API ErrorCode VRXClient_GetDataFilePath(const VRXClient* client, char* buffer);

/* Gives the server at an index, from 0 in the order in which they are tried. server: out; zeroed after a
 * failure. Error_None; Error_NotFound behind the last one. */
QZ_API ErrorCode VRXClient_GetServer(const VRXClient* client, uint32_t index, VRXClientServer* server);

/* Gives the last failure and the last reply. reply: out, zeroed after a failure. Error_None; Error_NotFound
 * when no step has failed and no server has replied since the transfer was made or read. */
QZ_API ErrorCode VRXClient_GetLastReply(const VRXClient* client, VRXClientLastReply* reply);

/* Whether VRXClient_Write stores the password, and users and passwords in URLs. flag: 0 to leave them out.
 * A new transfer, and one that was read, stores them. Error_None. */
QZ_API ErrorCode VRXClient_SetSavePassword(VRXClient* client, int32_t flag);

/* Whether a web page is taken for the file, as any other content. flag: not 0 for yes. A new transfer, and
 * one that was read, refuses it. Error_None. */
QZ_API ErrorCode VRXClient_AcceptWebPages(VRXClient* client, int32_t flag);

/* Whether an upload of an empty file is stored. flag: not 0 for yes. A new transfer, and one that was read,
 * fails with VRXClientReason_EmptySource. Set it at once after reading: then an empty file that was being
 * sent, or was sent, counts as the transfer's data again. Error_None. */
QZ_API ErrorCode VRXClient_AcceptEmptyFiles(VRXClient* client, int32_t flag);

/* Whether a download over FTP fails when the server sends more bytes than the size that it told: the file has
 * grown since, or is another one, and its end would be missing. The server is dropped then (Error_Invalid,
 * VRXClientReason_InvalidAddress). flag: not 0 for yes. A new transfer, and one that was read, stops at the
 * size. Error_None. */
QZ_API ErrorCode VRXClient_RefuseSurplus(VRXClient* client, int32_t flag);

/* Whether a file that stands at the local path is replaced on completion. flag: not 0 for yes. A new
 * transfer, and one that was read, takes a free name beside it. Error_None. */
QZ_API ErrorCode VRXClient_SetOverwrite(VRXClient* client, int32_t flag);

/* Whether the data is on the disk, safe against a loss of power, before the file gets its place. flag: not 0
 * for yes; that takes longer. A new transfer, and one that was read, leaves it to the system. Error_None. */
QZ_API ErrorCode VRXClient_SetSync(VRXClient* client, int32_t flag);

/* Gives the pool (qz/httpc.h) that a download over HTTP takes its connection from, and leaves it in for the
 * next one. What is said, and in which order, is the same. pool: borrowed, must outlive the transfer; null
 * for none. Set it before the first step. A new transfer, and one that was read, has none. Error_None. */
QZ_API ErrorCode VRXClient_SetPool(VRXClient* client, HTTPcPool* pool);

/* Whether the log stays in memory until VRXClient_Write: a transfer without a record needs no file for it.
 * From then on, and once it has grown to 16 KiB, the log is in its file, as without this. VRXClient_GetInfo
 * gives all of it either way. flag: not 0 for yes; 0 writes down what there is. A log that has a file already
 * stays there; a transfer that is closed without a record leaves none. A new transfer, and one that was read,
 * writes every message to the file at once. Error_None.
 */
QZ_API ErrorCode VRXClient_DelayLog(VRXClient* client, int32_t flag);

/* Returns how many agents the list has; all ones for null, and when the lists are in use for 5 seconds. */
QZ_API uint32_t VRXClient_GetAgentCount(VRXClient* client);

/* Whether FTP servers connect to this side for the data, instead of being connected to. flag: not 0 for yes.
 * Holds from the next connection on. A new transfer, and one that was read, uses passive mode. Error_None. */
QZ_API ErrorCode VRXClient_SetActiveMode(VRXClient* client, int32_t flag);

/* Whether the paths of FTP URLs begin at the folder in which the login ends (RFC 1738, section 3.2.2), not at
 * the server's root: "ftp://host/pub/f" is "pub/f" there, "ftp://host//pub/f" is "/pub/f". Then the server is
 * told "CWD pub" and "CWD /pub"; for "ftp://host/f" there is no directory to enter. Holds for the request for
 * mirrors too, which names "." for an empty path. flag: not 0 for yes. Set it before the first step. A new
 * transfer, and one that was read, begins at the root. Error_None. */
QZ_API ErrorCode VRXClient_SetRelativePaths(VRXClient* client, int32_t flag);

/* Return what VRXClient_SetActiveMode and VRXClient_SetRelativePaths set, 1 or 0, for agents that connect to
 * the transfer's servers themselves. 0 for null. */
QZ_API int32_t VRXClient_GetActiveMode(const VRXClient* client);
QZ_API int32_t VRXClient_GetRelativePaths(const VRXClient* client);

/* Gives the path of the file that a completed download replaces when its agents are content
 * (VRXClient_SetOverwrite). Until then the new file lies at the local path, under a free name beside it.
 * Empty when nothing is replaced, before the data is complete, and after reading. Error_None. buffer: out,
 * 1024 bytes. */
QZ_API ErrorCode VRXClient_GetReplacedPath(const VRXClient* client, char* buffer);

/* Returns 1 from state 13 on when the server had a web page in place of the file (VRXClientReason_WebPage):
 * no file was made, and one that stands at the local path is not the transfer's. Kept in the record. Else 0;
 * 0 for null. Agents that are told of a completed transfer ask this first. */
QZ_API int32_t VRXClient_IsWebPage(const VRXClient* client);

/* Sets what is requested of a server over HTTP, byte for byte (RFC 7230, section 5.3.1), also through a
 * proxy. Without it that is the path of the server's URL with its escapes resolved: "/a%26" is asked for as
 * "/a&". url: names a server of the transfer; null: the first one. target: path and query as they are
 * written, at most 1021 bytes, copied; null or empty: the URL's path again. A redirect of such a server leads
 * exactly where it says, one to "//host/path" or "?query" too (RFC 3986, section 5.2.2; "." and ".." are left
 * to the server). Not kept in the record: set it again after reading. Error_None; Error_Invalid for a url
 * that is no URL, and for a target that does not begin with "/" or holds a blank or control byte;
 * Error_NotFound for a server that the transfer does not have; Error_Exceed; Error_Memory. */
QZ_API ErrorCode VRXClient_SetRequestTarget(VRXClient* client, const char* url, const char* target);

/* Gives what VRXClient_SetUser stored, empty when nothing did. user, password: out, 1024 bytes each, may be
 * null. Error_None. */
QZ_API ErrorCode VRXClient_GetUser(const VRXClient* client, char* user, char* password);

/* Reports a text through the message callbacks and adds it to the log, for agents. text: any length.
 * Error_None. */
QZ_API ErrorCode VRXClient_AgentMessage(VRXClient* client, const char* text);

QZ_END_C

#endif
