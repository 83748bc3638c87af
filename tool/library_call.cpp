#include "tool/library_call.h"

#include <optional>
#include <string_view>

#include "qz/error.h"

namespace tool {
namespace {

constexpr std::size_t kLongestDetails = 511;

std::optional<ErrorDetail> RecordedFailure(ErrorCode status) {
  ErrorDetail detail;
  if (Error_GetLast(&detail) != Error_None || detail.status != status) return std::nullopt;
  return detail;
}

bool IsOfFile(const ErrorDetail& detail) {
  return std::string_view(detail.operation).substr(0, 4) == "File";
}

}  // namespace

std::string StatusMeaning(ErrorCode status) {
  switch (status) {
    case Error_Timeout:
      return "timed out";
    case Error_Ended:
      return "connection closed by the server";
    case Error_Retry:
      return "connection lost";
    case Error_NoAccess:
      return "connection refused";
    case Error_NotFound:
      return "host not found";
    case Error_System:
      return "network unreachable";
    case Error_Memory:
      return "out of memory";
    case Error_Exceed:
      return "response too long";
    default:
      return std::string("connection failed (") + Error_ToString(status) + ")";
  }
}

LibraryCall::LibraryCall() {
  Error_ClearLast();
}

std::string NetworkErrorText(ErrorCode status) {
  return StatusMeaning(status) + RecordedDetails(status);
}

std::string RecordedDetails(ErrorCode status) {
  return RecordedFailure(status) ? RecordedDetails() : "";
}

std::string RecordedDetails() {
  char text[kLongestDetails + 1] = "";
  if (Error_GetLastText(sizeof text, text) <= 0) return "";
  return std::string(" [") + text + "]";
}

std::string RecordedFileDetails() {
  ErrorDetail detail;
  return Error_GetLast(&detail) == Error_None && IsOfFile(detail) ? RecordedDetails() : "";
}

bool IsLocalFileFailure(ErrorCode status) {
  const auto failure = RecordedFailure(status);
  return failure && IsOfFile(*failure);
}

}  // namespace tool
