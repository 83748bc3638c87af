/* FTPc: a blocking FTP client (RFC 959). */
#ifndef QZ_FTPC_H
#define QZ_FTPC_H

#include "qz/directory.h"
#include "qz/reply.h"
#include "qz/stream.h"
#include "qz/time.h"

QZ_BEGIN_C

typedef struct FTPc FTPc;

/* Flags of FTPc_Open. */
enum FTPcFlag { FTPcFlag_Passive = 1, FTPcFlag_Welcome = 2, FTPcFlag_NoProxy = 4 };

/* Kinds of directory list. */
enum FTPcList { FTPcList_Names = 0, FTPcList_JoinedNames = 1, FTPcList_Long = 2 };

QZ_API ErrorCode FTPc_Open(const char* host, uint32_t port, uint32_t flags, FTPc** connection, Reply* reply);
QZ_API ErrorCode FTPc_Login(FTPc* connection, const char* user, const char* password, Reply* reply);
QZ_API ErrorCode FTPc_InfoFile(FTPc* connection, char* fileName);
QZ_API ErrorCode FTPc_Magic(FTPc* connection, const char* argument, Reply* reply);
QZ_API ErrorCode FTPc_Mirrors(FTPc* connection, const char* argument, Reply* reply);
QZ_API ErrorCode FTPc_FileSize(FTPc* connection, const char* path, uint32_t* size, Reply* reply);
QZ_API ErrorCode FTPc_ModTime(FTPc* connection, const char* path, Time* time, Reply* reply);
QZ_API ErrorCode FTPc_DeleteFile(FTPc* connection, const char* path, Reply* reply);
QZ_API ErrorCode FTPc_FileType(FTPc* connection, char type, char form, Reply* reply);
QZ_API ErrorCode FTPc_ChangeDirectory(FTPc* connection, const char* path, Reply* reply);
QZ_API ErrorCode FTPc_CurrentDirectory(FTPc* connection, char* path, Reply* reply);
QZ_API ErrorCode FTPc_RestartSupported(FTPc* connection, int32_t* flag);
QZ_API ErrorCode FTPc_GetDirectoryList(FTPc* connection, const char* directory, int32_t kind,
                                       const char* localFile, Reply* reply);
QZ_API ErrorCode FTPc_StartDirectoryList(FTPc* connection, const char* directory, int32_t kind,
                                         DirectoryList** list, Reply* reply);
QZ_API ErrorCode FTPc_StartRetrieve(FTPc* connection, const char* path, Stream** stream, Reply* reply);
QZ_API ErrorCode FTPc_StartRetrieveRestart(FTPc* connection, const char* path, uint32_t* offset,
                                           Stream** stream, Reply* reply);
QZ_API ErrorCode FTPc_StartStore(FTPc* connection, const char* path, Stream** stream, Reply* reply);
QZ_API ErrorCode FTPc_StartStoreUnique(FTPc* connection, const char* path, Stream** stream, Reply* reply);
QZ_API ErrorCode FTPc_StartStoreRestart(FTPc* connection, const char* path, uint32_t* offset, Stream** stream,
                                        Reply* reply);
QZ_API ErrorCode FTPc_Retrieve(FTPc* connection, const char* path, Stream* stream, uint32_t* count,
                               Reply* reply);
QZ_API ErrorCode FTPc_RetrieveRestart(FTPc* connection, const char* path, uint32_t* offset, Stream* stream,
                                      uint32_t* count, Reply* reply);
QZ_API ErrorCode FTPc_Store(FTPc* connection, const char* path, Stream* stream, uint32_t limit,
                            uint32_t* count, Reply* reply);
QZ_API ErrorCode FTPc_StoreUnique(FTPc* connection, const char* path, Stream* stream, uint32_t limit,
                                  uint32_t* count, Reply* reply);
QZ_API ErrorCode FTPc_StoreRestart(FTPc* connection, const char* path, uint32_t* offset, Stream* stream,
                                   uint32_t limit, uint32_t* count, Reply* reply);
QZ_API ErrorCode FTPc_EndTransfer(FTPc* connection, Reply* reply);
QZ_API ErrorCode FTPc_AbortTransfer(FTPc* connection, Reply* reply);
QZ_API ErrorCode FTPc_StartMoveServerFile(FTPc* source, FTPc* destination, const char* sourcePath,
                                          const char* destinationPath, Reply* reply);
QZ_API ErrorCode FTPc_EndMoveServerFile(FTPc* source, FTPc* destination, Reply* reply);
QZ_API ErrorCode FTPc_GetPeerName(FTPc* connection, uint8_t* address, uint8_t* port);
QZ_API uint32_t FTPc_GetFlags(FTPc* connection);
QZ_API void FTPc_SetFlags(FTPc* connection, uint32_t flags);
QZ_API void FTPc_SetPortRange(uint32_t base, uint32_t count);
QZ_API void FTPc_SetProxyServer(const char* host, uint32_t port);
QZ_API ErrorCode FTPc_Close(FTPc* connection, Reply* reply);
QZ_API void FTPc_Delete(FTPc* connection);

QZ_END_C

#endif
