// The start of a transfer over HTTP: the request, redirects, web pages, and what the range of the response
// means.
#include <cstdio>
#include <cstring>
#include <string_view>

#include "net/httpc_internal.h"
#include "net/url_internal.h"
#include "qz/os.h"
#include "qz/string.h"
#include "transfer/vrxclient_machine_internal.h"
#include "transfer/vrxclient_resume_internal.h"

namespace {

constexpr int32_t kClassSuccess = '2';
constexpr int32_t kClassRedirect = '3';

// A server that leads somewhere else once more, without a byte of data in between, is dropped for good.
constexpr uint32_t kRedirectLimit = 10;

// ---- the request -------------------------------------------------------------------------------

ErrorCode SetText(VRXClient* client, int32_t index, std::string_view text) {
  text = text.substr(0, kHTTPcTextSize - 1);
  return HTTPc_SetAttribute(client->http, index, static_cast<uint32_t>(text.size()), text.data());
}

ErrorCode SetHeaders(VRXClient* client) {
  ErrorCode status = SetText(client, HTTPcRequest_UserAgent, OS_GetApplicationName());
  if (status == Error_None) status = SetText(client, HTTPcRequest_Accept, "*/*");
  if (status == Error_None) status = SetText(client, HTTPcRequest_Connection, "Keep-Alive");
  return status == Error_None ? HTTPc_SetRange64(client->http, client->offset, UINT64_MAX) : status;
}

// Without a proxy the request's client resolves one level of escapes: the percent signs get one more.
ErrorCode FormatRequestURL(const URLData& server, const char* target, bool isViaProxy,
                           char (&url)[kURLSize]) {
  URLData origin = server;
  origin.path = nullptr;
  ErrorCode status = iURL_Format(&origin, sizeof url, url);
  if (status != Error_None) return status;
  size_t length = strlen(url);
  for (const char* next = target; *next != '\0'; ++next) {
    const std::string_view piece =
        *next == '%' && !isViaProxy ? std::string_view("%25") : std::string_view(next, 1);
    if (length + piece.size() >= sizeof url) return Error_Exceed;
    length += piece.copy(url + length, piece.size());
  }
  url[length] = '\0';
  return Error_None;
}

const char* RequestTarget(const VRXClient* client) {
  return client->entry != nullptr ? client->entry->requestTarget : nullptr;
}

ErrorCode Request(VRXClient* client) {
  char url[kURLSize];
  const char* target = RequestTarget(client);
  ErrorCode status = target != nullptr
                         ? FormatRequestURL(*client->server, target, client->http->viaProxy, url)
                         : URL_FromData(client->server, url);
  if (status == Error_None) status = SetHeaders(client);
  if (status == Error_None) status = HTTPc_Get(client->http, url, &client->lastReply, &client->dataStream);
  return status;
}

// ---- redirects ---------------------------------------------------------------------------------

// A location that fills its slot may have been cut, and half a URL leads to another place.
bool GetLocation(VRXClient* client, char (&location)[kURLSize]) {
  uint32_t length = 0;
  const ErrorCode status =
      HTTPc_GetAttribute(client->http, HTTPcResponse_Location, sizeof location, &length, location);
  return status == Error_None && length < kHTTPcTextSize - 1;
}

StepEvent RefuseRedirect(VRXClient* client) {
  iVRXClient_MessageText(client, "Server redirected client, but didn't give location.");
  return Failed(Error_Invalid);
}

StepEvent EndRedirects(VRXClient* client) {
  client->redirectCount = 0;
  client->retryCount = 0;
  client->lastFailure = Error_Retry;
  iVRXClient_DropServer(client, VRXClientReason_Redirected);
  return Ends(VRXClientResult_Failed);
}

// What the location says stays, when what was requested was as exact.
ErrorCode AddExactTarget(VRXClient* client, const char* location) {
  char url[kURLSize];
  ErrorCode status = iResume_ResolveLocation(*client->server, RequestTarget(client), location, url);
  if (status == Error_None) status = iVRXClient_AddServer(client, url, nullptr);
  if (status != Error_None) return status;
  // The target is the end of the URL's text.
  return VRXClient_SetRequestTarget(client, url, iResume_RequestTargetOf(url));
}

ErrorCode AddTarget(VRXClient* client, const char* location) {
  if (RequestTarget(client) != nullptr) return AddExactTarget(client, location);
  char url[kURLSize];
  const ErrorCode status = iResume_RedirectTarget(*client->server, location, url);
  return status == Error_None ? iVRXClient_AddServer(client, url, nullptr) : status;
}

StepEvent FollowRedirect(VRXClient* client) {
  char location[kURLSize];
  if (!GetLocation(client, location)) return RefuseRedirect(client);
  if (++client->redirectCount > kRedirectLimit) return EndRedirects(client);
  const ErrorCode status = AddTarget(client, location);
  if (status == Error_Memory) return Failed(status);
  if (status != Error_None) return RefuseRedirect(client);
  iVRXClient_DropServer(client, VRXClientReason_Redirected);
  return Failed(Error_Retry);
}

// ---- web pages ---------------------------------------------------------------------------------

bool IsWebPage(VRXClient* client) {
  char type[kHTTPcTextSize];
  const ErrorCode status =
      HTTPc_GetAttribute(client->http, HTTPcResponse_ContentType, sizeof type, nullptr, type);
  return status == Error_None && String_FindFirstInsensitive(type, "html") >= 0;
}

// In place of a file there is a page: an error page, most likely.
StepEvent RefuseWebPage(VRXClient* client) {
  client->lastFailure = Error_Cancel;
  iVRXClient_Message(client, TransferMessage_WebPage);
  if (client->dataFileSize > 0) {
    // The bytes on the disk are of the file: another server may have the rest.
    iVRXClient_DropServer(client, VRXClientReason_WebPage);
    return Ends(VRXClientResult_Failed);
  }
  iVRXClient_SetReason(client, VRXClientReason_WebPage);
  iVRXClient_CloseConnection(client, Closing::Politely);
  iVRXClient_ForgetDataFile(client);
  iVRXClient_MarkWebPage(client);
  return Detour(VRXClientResult_Failed);
}

// ---- the range ---------------------------------------------------------------------------------

HTTPAnswer ReadAnswer(VRXClient* client) {
  HTTPAnswer answer = {};
  answer.code = client->lastReply.code;
  HTTPc_GetContentLength64(client->http, &answer.contentLength);
  HTTPc_GetContentRange64(client->http, &answer.first, &answer.last, &answer.total);
  answer.hasRange = answer.first != UINT64_MAX;
  HTTPc_GetAttribute(client->http, HTTPcResponse_LastModified, sizeof answer.lastModified, nullptr,
                     &answer.lastModified);
  return answer;
}

// The server whose time is stored is not known when all of a record that was read had failed: it counts as
// this one.
bool IsServerOfTime(const VRXClient* client) {
  return client->timeEntry == nullptr || client->timeEntry == client->entry;
}

KnownFile WhatIsKnown(const VRXClient* client) {
  KnownFile known = {client->offset, client->data.size, {}};
  if (IsServerOfTime(client)) known.lastModified = client->data.sourceTime;
  known.isDiscarded = client->cutsDataFile;
  return known;
}

StepEvent TakeChangedFile(VRXClient* client) {
  if (!iVRXClient_CutDataFile(client)) {
    iVRXClient_SetReason(client, VRXClientReason_DataFile);
    return FailedWithoutStatus();
  }
  client->data.size = kSizeUnknown;
  client->isChanged = true;
  return Failed(Error_Retry);
}

// The time is that of the first byte, and of the server that sends the rest.
void TakeTime(VRXClient* client, const Time& told) {
  const bool isReplaced = client->offset == 0 || !IsServerOfTime(client);
  client->timeEntry = client->entry;
  if (!isReplaced || Time_Compare(&client->data.sourceTime, &told) == 0) return;
  client->data.sourceTime = told;
  client->isChanged = true;
}

void TakeSize(VRXClient* client, uint64_t size) {
  if (client->data.size == size) return;
  client->data.size = size;
  client->isChanged = true;
}

StepEvent TakeAnswer(VRXClient* client) {
  const HTTPAnswer answer = ReadAnswer(client);
  const ResumeDecision decision = iResume_JudgeHTTP(answer, WhatIsKnown(client));
  if (decision.action == ResumeAction::Refused) return Failed(Error_Invalid);
  if (decision.action == ResumeAction::Changed) return TakeChangedFile(client);
  // Before the record tells of the other file: the connection may end before its first byte comes.
  if (decision.isOtherFile && !iVRXClient_CutDataFile(client)) {
    iVRXClient_SetReason(client, VRXClientReason_DataFile);
    return FailedWithoutStatus();
  }
  client->canResume = decision.canResume;
  client->responseEnd = decision.end;
  if (decision.action == ResumeAction::Restart && !iVRXClient_BeginAnew(client)) return FailedWithoutStatus();
  TakeSize(client, decision.size);
  TakeTime(client, answer.lastModified);
  return Advance();
}

}  // namespace

StepEvent iVRXClient_StartHTTP(VRXClient* client) {
  const ErrorCode status = Request(client);
  if (status != Error_None) return Failed(status);
  const Reply& reply = client->lastReply;
  if (reply.replyClass == kClassRedirect) return FollowRedirect(client);
  if (reply.code == kRangeNotSatisfiable) return TakeAnswer(client);
  if (reply.replyClass != kClassSuccess) return Failed(Error_Invalid);
  if (!client->acceptsWebPages && IsWebPage(client)) return RefuseWebPage(client);
  return TakeAnswer(client);
}
