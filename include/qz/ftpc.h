/* FTPc: a blocking FTP client (RFC 959), with the extensions MAGC and MIRR.
 *
 * A connection lives from FTPc_Open to FTPc_Close or FTPc_Delete. One thread uses it at a time; two
 * connections may be used by two threads. Needs OS_Init. Every call blocks until the server has answered;
 * every wait for the server has a time-out of 61 seconds without a byte.
 *
 * Every function that takes a reply fills it with the last reply that the call read; it is empty (class and
 * code 0, text "") when none was read or reading failed.
 *
 * Statuses that any of them can give, besides those named with it: Error_Invalid for a null connection, reply
 * or argument (unless "may be null" is said) and for an argument that contains CR or LF, nothing sent;
 * Error_Exceed for a command line over 4093 bytes (nothing sent) or a reply over 4 MiB; Error_Invalid for an
 * invalid reply line; Error_Ended when the server has closed the connection; Error_Timeout after 61 seconds
 * without a byte, and for a reply that is incomplete after 610 seconds; Error_Retry when the connection was
 * reset; Error_Cancel when another thread closed the socket; Error_Memory.
 *
 * When a reply has not come in time or not whole, or only announces another one, a later command
 * would take the rest for its own reply. The next command therefore closes the control connection and gives
 * Error_Ended, as every command after it: open a new connection. */
#ifndef QZ_FTPC_H
#define QZ_FTPC_H

#include "qz/directory.h"
#include "qz/reply.h"
#include "qz/stream.h"
#include "qz/time.h"

QZ_BEGIN_C

/* Opaque. */
typedef struct FTPc FTPc;

/* Flags of FTPc_Open: passive data connections (else active ones); the greeting and the login replies are
 * kept in a file, see FTPc_InfoFile; the proxy settings are ignored. */
enum FTPcFlag { FTPcFlag_Passive = 1, FTPcFlag_Welcome = 2, FTPcFlag_NoProxy = 4 };

/* Kinds of directory list: names ("NLST"), names with the directory put before them when they are read back
 * ("NLST"), and the server's long format ("LIST"). */
enum FTPcList { FTPcList_Names = 0, FTPcList_JoinedNames = 1, FTPcList_Long = 2 };

/* ---- connection ---- */

/* Connects, through the FTP proxy of the proxy settings when one applies to the host, and reads the greeting.
 * host: borrowed, at most 1023 bytes. port: 0 to 65535. flags: FTPcFlag values, other bits are ignored.
 * connection: receives the owned connection (free with FTPc_Close or FTPc_Delete); null after a failure.
 * Statuses: Error_NoAccess when the greeting is not of class '2' or the connection is refused; Error_Invalid
 * for a port out of range; Error_Exceed for a host name that is too long; Error_NotFound for an unknown host.
 */
QZ_API ErrorCode FTPc_Open(const char* host, uint32_t port, uint32_t flags, FTPc** connection, Reply* reply);

/* Logs in: "USER", and "PASS" when the server asks for it. Through a proxy the user becomes user@host, and
 * for a server port other than 21 the digits of that port alone.
 * password: may be null, which is sent as an empty one.
 * Statuses: Error_NoAccess when the server refuses; Error_Exceed when user@host is over 255 bytes. */
QZ_API ErrorCode FTPc_Login(FTPc* connection, const char* user, const char* password, Reply* reply);

/* Hands over the file with the greeting and the login replies (FTPcFlag_Welcome).
 * fileName: receives its name (1024 bytes); the file is then the caller's to delete. Empty after a failure.
 * May be null: only asks whether there is one.
 * Statuses: Error_None; Error_NotFound when there is none, it was handed over, or no login has succeeded yet;
 * Error_Invalid for a null connection. */
QZ_API ErrorCode FTPc_InfoFile(FTPc* connection, char* fileName);

/* Copies the server's address: 4 address bytes and 2 port bytes in network order; either may be null. Always
 * Error_None, but Error_Invalid for a null connection. */
QZ_API ErrorCode FTPc_GetPeerName(FTPc* connection, uint8_t* address, uint8_t* port);

/* Returns the connection's state: 8 capturing, 16 a transfer's final reply is pending, 32 through the proxy.
 * The flags of FTPc_Open are not shown. 0 for null. */
QZ_API uint32_t FTPc_GetFlags(FTPc* connection);

/* Replaces the state bits; the three flags of FTPc_Open stay as they are. Without the bit 2 in flags the
 * welcome file is closed and removed. */
QZ_API void FTPc_SetFlags(FTPc* connection, uint32_t flags);

/* Sets the range of local ports for active data connections, for the whole library: count ports from base on,
 * used in turn. The default is 3000 and 1000. A port that another program uses is passed over. When the port
 * that would come next is in the new range too, it still comes next; else base does. Ports over 65535 are
 * left out; a base of 0 or over 65535 is ignored. */
QZ_API void FTPc_SetPortRange(uint32_t base, uint32_t count);

/* Records a proxy (host cut to 256 bytes; null: none), for the whole library. Connections do not use it; see
 * qz/proxy.h. */
QZ_API void FTPc_SetProxyServer(const char* host, uint32_t port);

/* Sends "QUIT", reads the reply and frees the connection, whatever the status. reply: may be null.
 * Statuses: those of the exchange, whatever the reply says. */
QZ_API ErrorCode FTPc_Close(FTPc* connection, Reply* reply);

/* Frees the connection without QUIT. null: nothing is done. */
QZ_API void FTPc_Delete(FTPc* connection);

/* ---- single commands ---- */

/* "MAGC" and "MIRR": the reply's text is the answer. Error_Invalid when the class is not '2'. */
QZ_API ErrorCode FTPc_Magic(FTPc* connection, const char* argument, Reply* reply);
QZ_API ErrorCode FTPc_Mirrors(FTPc* connection, const char* argument, Reply* reply);

/* "SIZE". size: receives bytes; 4294967295 for a number over 32 bits; 0 after a failure. Error_Invalid when
 * the class is not '2' or the text does not begin with a number, or begins with a negative one. */
QZ_API ErrorCode FTPc_FileSize(FTPc* connection, const char* path, uint32_t* size, Reply* reply);

/* "MDTM". time: the modification time, read as local time; zero after a failure. Error_Invalid when the class
 * is not '2' or the text is not a valid date. */
QZ_API ErrorCode FTPc_ModTime(FTPc* connection, const char* path, Time* time, Reply* reply);

/* "DELE". Error_Invalid when the class is not '2'. */
QZ_API ErrorCode FTPc_DeleteFile(FTPc* connection, const char* path, Reply* reply);

/* "TYPE". type: 'A', 'I', 'E' or 'L'; form: 'N' for none, else the letter after the type. With the type 'L'
 * form is the byte size as a number, and 'N' stands for 8. Error_NoAccess when the class is not '2'. */
QZ_API ErrorCode FTPc_FileType(FTPc* connection, char type, char form, Reply* reply);

/* "CWD". Error_NoAccess when the class is not '2'. */
QZ_API ErrorCode FTPc_ChangeDirectory(FTPc* connection, const char* path, Reply* reply);

/* "PWD". path: receives the text between the first and the last double quote of the reply (1024 bytes); empty
 * after a failure. Error_Invalid when the class is not '2' or there is no quoted name. */
QZ_API ErrorCode FTPc_CurrentDirectory(FTPc* connection, char* path, Reply* reply);

/* Asks whether the server can resume transfers at an offset ("REST 100", then "REST 0"). flag: 1 when the
 * first was accepted, even when the second then fails; else 0.
 * Statuses: Error_None also when the server refuses the first, which is an answer; Error_Invalid when it
 * refuses the second, so that the offset 100 is still set there. */
QZ_API ErrorCode FTPc_RestartSupported(FTPc* connection, int32_t* flag);

/* ---- directory lists ---- */

/* Lists a directory into a local file.
 * directory: is changed to first ("CWD"); null: the current one. kind: an FTPcList value.
 * localFile: created or overwritten, in text mode; removed when anything fails after it was opened.
 * Statuses: Error_Fail for an unknown kind (nothing sent) or when the file cannot be opened; Error_NoAccess
 * when the directory is refused; as FTPc_Retrieve. */
QZ_API ErrorCode FTPc_GetDirectoryList(FTPc* connection, const char* directory, int32_t kind,
                                       const char* localFile, Reply* reply);

/* Lists a directory for reading with Directory_IterateList, through a temporary file.
 * list: receives the owned list (free with Directory_EndList); null after a failure.
 * Statuses: as FTPc_GetDirectoryList; Error_NotInited before OS_Init. */
QZ_API ErrorCode FTPc_StartDirectoryList(FTPc* connection, const char* directory, int32_t kind,
                                         DirectoryList** list, Reply* reply);

/* ---- transfers that the caller moves ----
 *
 * stream: receives the owned data connection, a non-blocking socket (free with Stream_Delete, before
 * FTPc_EndTransfer); null after a failure. After the last byte of an upload, shut its sending down
 * (Sock_Shutdown with 1) and wait for the server to close: deleting it drops what is still in transit.
 * Statuses: Error_Invalid when the server refuses the data connection or the reply is not of class '1';
 * Error_NotFound (passive) or Error_NoAccess (active) for code 550; Error_Exists, or Error_Fail on Windows,
 * when every port of the active range is in use (no command is sent); else what connecting or listening
 * gives. When the data connection cannot be opened, the final reply to the command is waited for at most 2
 * seconds; the reply is empty when none came.
 *
 * offset (the Restart forms): in: where to resume; out: the same, or 0 when the server cannot resume, and the
 * transfer then begins with the first byte. */

/* "RETR". */
QZ_API ErrorCode FTPc_StartRetrieve(FTPc* connection, const char* path, Stream** stream, Reply* reply);

/* "REST", "RETR". */
QZ_API ErrorCode FTPc_StartRetrieveRestart(FTPc* connection, const char* path, uint32_t* offset,
                                           Stream** stream, Reply* reply);

/* "STOR". */
QZ_API ErrorCode FTPc_StartStore(FTPc* connection, const char* path, Stream** stream, Reply* reply);

/* "STOU": the server chooses a name like path and says it in the reply. */
QZ_API ErrorCode FTPc_StartStoreUnique(FTPc* connection, const char* path, Stream** stream, Reply* reply);

/* "REST", "STOR". */
QZ_API ErrorCode FTPc_StartStoreRestart(FTPc* connection, const char* path, uint32_t* offset, Stream** stream,
                                        Reply* reply);

/* Reads the final reply of a transfer, without waiting for its first byte. Call it once the data connection
 * is deleted. Statuses: Error_None for class '2'; Error_Invalid for another; Error_Block while no reply has
 * arrived (the state bit 16 stays); Error_Timeout when none has arrived 61 seconds after the first call that
 * gave Error_Block; Error_Ended when the control connection has ended. */
QZ_API ErrorCode FTPc_EndTransfer(FTPc* connection, Reply* reply);

/* "ABOR". Statuses: those of the exchange, whatever the reply says. A server that was in a transfer replies
 * twice; the second reply is left for FTPc_EndTransfer. */
QZ_API ErrorCode FTPc_AbortTransfer(FTPc* connection, Reply* reply);

/* ---- whole transfers ----
 *
 * stream: borrowed; written or read from its current position. The Restart forms seek a file to its start
 * when the server cannot resume. limit: bytes to send at most; 4294967295 for all up to the stream's end.
 * count: receives the bytes transferred (modulo 2^32), also after a failure; may be null.
 * Statuses: as the Start forms. When the local stream fails, its status, at once: Error_Exceed when it is
 * full, Error_Ended when it ends before the limit. Else Error_Invalid when the final reply is not of class
 * '2', or the status of the data connection. Complete only with Error_None. */

/* "RETR". */
QZ_API ErrorCode FTPc_Retrieve(FTPc* connection, const char* path, Stream* stream, uint32_t* count,
                               Reply* reply);

/* "REST", "RETR". */
QZ_API ErrorCode FTPc_RetrieveRestart(FTPc* connection, const char* path, uint32_t* offset, Stream* stream,
                                      uint32_t* count, Reply* reply);

/* "STOR". */
QZ_API ErrorCode FTPc_Store(FTPc* connection, const char* path, Stream* stream, uint32_t limit,
                            uint32_t* count, Reply* reply);

/* "STOU": the server chooses a name like path and says it in the reply. */
QZ_API ErrorCode FTPc_StoreUnique(FTPc* connection, const char* path, Stream* stream, uint32_t limit,
                                  uint32_t* count, Reply* reply);

/* "REST", "STOR". */
QZ_API ErrorCode FTPc_StoreRestart(FTPc* connection, const char* path, uint32_t* offset, Stream* stream,
                                   uint32_t limit, uint32_t* count, Reply* reply);

/* ---- from server to server ---- */

/* Starts moving a file from one server to another. "PASV" is sent to the source; when that succeeds, or the
 * "PORT" to the destination that follows a failure, the call ends with Error_None and no transfer is started.
 * Only when both fail are "RETR" and "STOR" sent.
 * Statuses: Error_Invalid when RETR or STOR is not answered with class '1'. */
QZ_API ErrorCode FTPc_StartMoveServerFile(FTPc* source, FTPc* destination, const char* sourcePath,
                                          const char* destinationPath, Reply* reply);

/* Reads the final replies of both sides, without waiting for their first bytes. When the source fails while
 * the destination is still transferring, the destination is aborted ("ABOR") and its reply waited for.
 * Statuses: Error_Block while either side is pending (call again); then Error_None, or the last failure of
 * either side. */
QZ_API ErrorCode FTPc_EndMoveServerFile(FTPc* source, FTPc* destination, Reply* reply);

/* ---- Additions ---------------------------------------------------------------------------------------- */

/* "RNFR" and "RNTO": gives a file another name. What most servers do when newPath exists is to replace it.
 * path, newPath: borrowed. Nothing is sent when either cannot be.
 * Statuses: Error_Invalid when RNFR is not answered with class '3' (RNTO is not sent then) or RNTO with
 * class '2'. */
QZ_API ErrorCode FTPc_RenameFile(FTPc* connection, const char* path, const char* newPath, Reply* reply);

/* ---- files of 4 GiB and more ----
 *
 * Each is the function without "64", with sizes, offsets, limits and counts of 64 bits. The parameters and
 * statuses are the same. */

/* "SIZE". size: receives bytes; all ones for a number over 64 bits; 0 after a failure. */
QZ_API ErrorCode FTPc_FileSize64(FTPc* connection, const char* path, uint64_t* size, Reply* reply);

/* Transfers that the caller moves. */
QZ_API ErrorCode FTPc_StartRetrieveRestart64(FTPc* connection, const char* path, uint64_t* offset,
                                             Stream** stream, Reply* reply);
QZ_API ErrorCode FTPc_StartStoreRestart64(FTPc* connection, const char* path, uint64_t* offset,
                                          Stream** stream, Reply* reply);

/* Whole transfers. limit: bytes to send at most; all ones for all up to the stream's end. count: receives the
 * bytes transferred, also after a failure; may be null. */
QZ_API ErrorCode FTPc_Retrieve64(FTPc* connection, const char* path, Stream* stream, uint64_t* count,
                                 Reply* reply);
QZ_API ErrorCode FTPc_RetrieveRestart64(FTPc* connection, const char* path, uint64_t* offset, Stream* stream,
                                        uint64_t* count, Reply* reply);
QZ_API ErrorCode FTPc_Store64(FTPc* connection, const char* path, Stream* stream, uint64_t limit,
                              uint64_t* count, Reply* reply);
QZ_API ErrorCode FTPc_StoreUnique64(FTPc* connection, const char* path, Stream* stream, uint64_t limit,
                                    uint64_t* count, Reply* reply);
QZ_API ErrorCode FTPc_StoreRestart64(FTPc* connection, const char* path, uint64_t* offset, Stream* stream,
                                     uint64_t limit, uint64_t* count, Reply* reply);

QZ_END_C

#endif
