// Opening and closing the connection of a transfer.
#include <cinttypes>

#include "net/ftpc_internal.h"
#include "net/httpc_internal.h"
#include "os/platform/clock.h"
#include "transfer/statistics_internal.h"
#include "transfer/vrxclient_machine_internal.h"
#include "transfer/vrxclientsystem_internal.h"

namespace {

constexpr size_t kAddressSize = 4;

// ---- opening -----------------------------------------------------------------------------------

ErrorCode OpenHTTP(VRXClient* client) {
  const URLData* server = client->server;
  return iHTTPc_Open(client->pool, server->host, static_cast<uint32_t>(server->port), &client->interrupt,
                     &client->http);
}

ErrorCode OpenFTP(VRXClient* client) {
  const URLData* server = client->server;
  const uint32_t flags = FTPcFlag_Welcome | (client->usesActiveMode ? 0 : FTPcFlag_Passive);
  return iFTPc_Open(server->host, static_cast<uint32_t>(server->port), flags, &client->interrupt,
                    &client->ftp, &client->lastReply);
}

void RecordAddress(const VRXClient* client) {
  uint8_t address[kAddressSize] = {};
  const ErrorCode status = client->http != nullptr ? HTTPc_GetPeerName(client->http, address, nullptr)
                                                   : FTPc_GetPeerName(client->ftp, address, nullptr);
  if (status == Error_None) iStatistics_RecordAddress(client->server->host, client->server->port, address);
}

ErrorCode Open(VRXClient* client, int32_t kind) {
  const ErrorCode status = iVRXClient_IsOverHTTP(kind) ? OpenHTTP(client) : OpenFTP(client);
  if (status != Error_None) return status;
  client->connectionKind = kind;
  iVRXClientSystem_RaiseConnections();
  RecordAddress(client);
  return Error_None;
}

// A mirror may have any URL, but nothing is uploaded over HTTP.
bool IsSupported(const VRXClient* client, int32_t kind) {
  return iVRXClient_IsOverFTP(kind) || (iVRXClient_IsOverHTTP(kind) && client->data.isUpload == 0);
}

StepEvent RefuseProtocol(VRXClient* client) {
  iVRXClient_Message(client, TransferMessage_UnsupportedProtocol, client->server->protocol);
  if (client->entry != nullptr) client->entry->isFailed = true;
  client->isChanged = true;
  iVRXClient_SetServer(client, nullptr);
  return Restart();
}

// ---- closing -----------------------------------------------------------------------------------

void CloseHTTP(VRXClient* client) {
  // The data stream is the connection's own.
  client->dataStream = nullptr;
  iHTTPc_CloseInto(client->pool, client->http);
  client->http = nullptr;
}

void CloseFTP(VRXClient* client, Closing how) {
  Reply ignored;
  const bool wasTransferring = client->dataStream != nullptr;
  iVRXClient_DeleteDataStream(client);
  if (wasTransferring) iVRXClient_Message(client, TransferMessage_Stopped);
  if (wasTransferring && how == Closing::Politely) FTPc_AbortTransfer(client->ftp, &ignored);
  if (how == Closing::Politely) {
    // The data has its end, and nothing depends on the server's goodbye.
    iFTPc_CloseSoon(client->ftp);
  } else {
    FTPc_Delete(client->ftp);
  }
  client->ftp = nullptr;
}

}  // namespace

bool iVRXClient_IsOverHTTP(int32_t kind) {
  return kind == URLProtocol_HTTP || kind == URLProtocol_HTTPS;
}

bool iVRXClient_IsOverFTP(int32_t kind) {
  return kind == URLProtocol_FTP || kind == URLProtocol_FTPU;
}

StepEvent iVRXClient_Connect(VRXClient* client, StepMode) {
  if (client->server == nullptr) return Restart();
  if (client->connectionKind != kNoConnection) return Advance();
  iVRXClientSystem_ApplyDialUp(false);
  client->lastReply = {};
  const URLData* server = client->server;
  const char* host = server->host != nullptr ? server->host : "";
  iVRXClient_Message(client, TransferMessage_Trying, server->protocol, host, static_cast<int>(server->port));
  const int32_t kind = URL_GetProtocolType(server->protocol);
  if (!IsSupported(client, kind)) return RefuseProtocol(client);
  const ErrorCode status = Open(client, kind);
  iVRXClient_Message(client,
                     status == Error_None ? TransferMessage_Connected : TransferMessage_ConnectionFailed);
  return status == Error_None ? Advance() : Failed(status);
}

void iVRXClient_DeleteDataStream(VRXClient* client) {
  if (client->dataStream == nullptr) return;
  Stream* socket = Stream_FindType(client->dataStream, StreamType_Sock);
  if (socket != nullptr) Sock_Shutdown(reinterpret_cast<Sock*>(socket), SockShutdown_Both);
  Stream_Delete(client->dataStream);
  client->dataStream = nullptr;
}

void iVRXClient_CloseConnection(VRXClient* client, Closing how) {
  iVRXClient_EndElapsed(client);
  if (client->http != nullptr) CloseHTTP(client);
  if (client->ftp != nullptr) CloseFTP(client, how);
  if (client->connectionKind != kNoConnection) iVRXClientSystem_LowerConnections();
  client->connectionKind = kNoConnection;
  client->isProbedConnection = false;
  iVRXClient_FallBack(client);
  iVRXClient_CloseDataFile(client);
  iVRXClient_FreeBuffer(client);
}
