// Moving a file from one server to another, without the bytes passing through here.
#include <utility>

#include "net/ftpc_internal.h"
#include "qz/error.h"

namespace {

constexpr FTPCommand kRetrieve = {"RETR", kFTPClass_Preliminary, Error_Invalid};
constexpr FTPCommand kStore = {"STOR", kFTPClass_Preliminary, Error_Invalid};

bool IsPending(const FTPc* connection) {
  return (connection->flags & kFTPFlag_Transfer) != 0;
}

// Ends the transfer of one side; None when it has none. The servers may take hours, and nothing comes while
// they do: the wait has no end.
ErrorCode EndSide(FTPc* connection, Reply* reply) {
  if (!IsPending(connection)) return Error_None;
  return iFTPc_EndTransferUntil(connection, iSock_TrickleDeadlineMilliseconds(), reply);
}

bool IsFailure(ErrorCode status) {
  return status != Error_None && status != Error_Block;
}

// A server that was in the middle of it says so first, and then answers the abort: one more reply comes.
void Abort(FTPc* connection, Reply* reply) {
  const ErrorCode status = FTPc_AbortTransfer(connection, reply);
  if (status != Error_None || reply->replyClass != kFTPClass_Transient)
    connection->flags &= ~kFTPFlag_Transfer;
}

// Keeps the last failure until both sides have ended.
void Remember(FTPc* source, ErrorCode status) {
  if (IsFailure(status)) source->moveFailure = status;
}

}  // namespace

// Kept: a PASV or a PORT that succeeds ends the work with success and nothing is moved; only where both fail
// are the transfers started. Callers were written against these results.
ErrorCode FTPc_StartMoveServerFile(FTPc* source, FTPc* destination, const char* sourcePath,
                                   const char* destinationPath, Reply* reply) {
  ErrorCode status = iFTPc_Begin(source, reply);
  if (status != Error_None) return status;
  if (destination == nullptr || !iFTPc_IsArgument(sourcePath) || !iFTPc_IsArgument(destinationPath)) {
    return Error_Invalid;
  }
  source->moveFailure = Error_None;
  if (iFTPc_SetPassive(source, reply) == Error_None) return Error_None;
  if (iFTPc_SendPort(destination, source->localAddress, source->dataPort, reply) == Error_None)
    return Error_None;

  status = iFTPc_Command(source, kRetrieve, sourcePath, reply);
  if (status != Error_None) return status;
  source->flags |= kFTPFlag_Transfer;
  status = iFTPc_Command(destination, kStore, destinationPath, reply);
  if (status != Error_None) {
    Reply unread;
    Abort(source, &unread);
    return status;
  }
  destination->flags |= kFTPFlag_Transfer;
  return Error_None;
}

ErrorCode FTPc_EndMoveServerFile(FTPc* source, FTPc* destination, Reply* reply) {
  ErrorCode status = iFTPc_Begin(source, reply);
  if (status != Error_None) return status;
  if (destination == nullptr) return Error_Invalid;

  const ErrorCode sourceStatus = EndSide(source, reply);
  Remember(source, sourceStatus);
  const ErrorCode destinationStatus = EndSide(destination, reply);
  Remember(source, destinationStatus);
  if (IsFailure(sourceStatus) && destinationStatus == Error_Block) Abort(destination, reply);
  if (IsPending(source) || IsPending(destination)) return Error_Block;
  return std::exchange(source->moveFailure, Error_None);
}
