// What went wrong in the last call to the system, in one numbering for all platforms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace platform {

// The numbers that the library knows by name. Files, processes and the registry are numbered as GetLastError
// numbers them, sockets as WSAGetLastError does.
enum SystemError : uint32_t {
  SystemError_None = 0,
  SystemError_FileNotFound = 2,
  SystemError_PathNotFound = 3,
  SystemError_TooManyOpenFiles = 4,
  SystemError_AccessDenied = 5,
  SystemError_OutOfMemory = 8,
  SystemError_OtherVolume = 17,  // a rename cannot leave the volume
  SystemError_NoMoreFiles = 18,
  SystemError_WriteProtected = 19,
  SystemError_SharingViolation = 32,
  SystemError_LockViolation = 33,
  SystemError_NotSupported = 50,
  SystemError_NetworkPathNotFound = 53,
  SystemError_NetworkNameNotFound = 67,
  SystemError_FileExists = 80,
  SystemError_DiskFull = 112,
  SystemError_InvalidName = 123,
  SystemError_DirectoryNotEmpty = 145,
  SystemError_InvalidPath = 161,
  SystemError_AlreadyExists = 183,
  SystemError_NameTooLong = 206,
  SystemError_MoreData = 234,
  SystemError_NoMoreItems = 259,
  SystemError_NotADirectory = 267,

  SocketError_Interrupted = 10004,
  SocketError_AccessDenied = 10013,
  SocketError_BadAddress = 10014,
  SocketError_InvalidArgument = 10022,
  SocketError_TooManySockets = 10024,
  SocketError_WouldBlock = 10035,
  SocketError_NotSocket = 10038,
  SocketError_AddressInUse = 10048,
  SocketError_AddressNotAvailable = 10049,
  SocketError_NetworkDown = 10050,
  SocketError_NetworkUnreachable = 10051,
  SocketError_ConnectionAborted = 10053,
  SocketError_ConnectionReset = 10054,
  SocketError_NoBuffers = 10055,
  SocketError_IsConnected = 10056,
  SocketError_NotConnected = 10057,
  SocketError_IsShutDown = 10058,
  SocketError_TimedOut = 10060,
  SocketError_ConnectionRefused = 10061,
  SocketError_HostDown = 10064,
  SocketError_HostUnreachable = 10065,
  SocketError_NotStarted = 10093,
  SocketError_HostNotFound = 11001,
  SocketError_TryLookUpAgain = 11002,
  SocketError_LookUpFailed = 11003,
};

// The error of the calling thread's last failed file, process or registry call, as SystemError numbers it. A
// number of the system's own that stands for none of them comes back with its highest bit set.
uint32_t LastSystemError();

// The same for the last failed socket call.
uint32_t LastSocketError();

// The system's own number behind `number`, which LastSystemError or LastSocketError gave on this thread and
// no call to the system has replaced; 0 when it is not known. Where the system numbers its errors as above:
// `number` itself.
uint32_t NativeErrorNumber(uint32_t number);

// Writes the system's own words for an error, without a line end or a final full stop, and gives their
// length; 0 and an empty text when it has none. nativeNumber may be 0, when only `number` is known.
size_t DescribeError(uint32_t number, uint32_t nativeNumber, std::span<char> text);

}  // namespace platform
