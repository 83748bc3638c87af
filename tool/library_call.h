// Calls into the library that may block, and what is known about their failures.
#ifndef TOOL_LIBRARY_CALL_H
#define TOOL_LIBRARY_CALL_H

#include <string>

#include "qz/types.h"
#include "tool/console.h"

namespace tool {

// Marks a call that may block (see console::BlockingCall). Failures of earlier calls are forgotten.
class LibraryCall {
 public:
  LibraryCall();

 private:
  console::BlockingCall blocking_;
};

// What a failed status of a network function means, in words: "connection refused".
std::string StatusMeaning(ErrorCode status);

// The message for a failed status of a network function, with the details that the library recorded:
// "connection refused [Sock_Connect: Connection refused (111)]".
std::string NetworkErrorText(ErrorCode status);

// " [File "/x/y": No space left on device (28)]" when this thread's last recorded failure gave the status;
// else empty.
std::string RecordedDetails(ErrorCode status);

// The same after a call without a status; call Error_ClearLast before it.
std::string RecordedDetails();

// The same when this thread's last recorded failure was one of a local file; else empty.
std::string RecordedFileDetails();

// Whether this thread's last recorded failure gave the status and was one of a local file.
bool IsLocalFileFailure(ErrorCode status);

}  // namespace tool

#endif
