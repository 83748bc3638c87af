// The texts of the HTTP status codes.
#include "net/httpc_internal.h"
#include "qz/stringlookup.h"

namespace {

// Kept: the spelling of every text ("repsonse", "Mulitple", "Athentication", "ToolLarge") stands in logs that
// programs search.
constexpr StringLookup kReplyTexts[] = {
    {100, "kHTTPReply_Continue: Client may continue."},
    {101, "kHTTPReply_SwitchingProtocols: Server switching protocols."},
    {200, "kHTTPReply_OK: Request was fulfilled successfully."},
    {201, "kHTTPReply_CREATED: POST command completed successfully."},
    {202, "kHTTPReply_Accepted: Request accepted for processing."},
    {203, "kHTTPReply_Partial: Partial repsonse from GET command."},
    {204, "kHTTPReply_NoContent: Server has no information."},
    {205, "kHTTPReply_ResetContent: Client should reset content."},
    {206, "kHTTPReply_PartialContent: Partial content (byte ranges)."},
    {300, "kHTTPReply_MulitpleChoice: Pick a new location."},
    {301, "kHTTPReply_Moved: URI has changed."},
    {302, "kHTTPReply_MovedTemporarily: Data on different URI."},
    {303, "kHTTPReply_SeeOther: Data on different URI."},
    {304, "kHTTPReply_NotModified: Document not modified since given date."},
    {305, "kHTTPReply_UseProxy: Must access through proxy."},
    {400, "kHTTPReply_BadRequest: Bad syntax for request."},
    {401, "kHTTPReply_Unauthorized: Access denied, client not authorized."},
    {402, "kHTTPReply_PaymentRequired: Payment required for charging scheme."},
    {403, "kHTTPReply_Forbidden: Access denied, authorization not possible."},
    {404, "kHTTPReply_NotFound: Can't find URI."},
    {405, "kHTTPReply_MethodNotAllowed: Illegal method."},
    {406, "kHTTPReply_NotAcceptable: Request not acceptable."},
    {407, "kHTTPReply_ProxyAthentication: Client must authenticate with proxy."},
    {408, "kHTTPReply_RequestTimeout: Client time out."},
    {409, "kHTTPReply_RequestConflict: Resource conflict."},
    {410, "kHTTPReply_Gone: Resource Gone."},
    {411, "kHTTPReply_LengthRequired: Content-Length must be specified."},
    {412, "kHTTPReply_PreconditionFailed: Request header precondition failed."},
    {413, "kHTTPReply_EntityTooLarge: Server not willing to handle size."},
    {414, "kHTTPReply_RequestURIToolLarge: Server can't handle URI size."},
    {415, "kHTTPReply_UnsupportedMediaType: Server doesn't support media type."},
    {500, "kHTTPReply_InternalError: Unexpected error."},
    {501, "kHTTPReply_NotImplemented: Unsupported facility."},
    {502, "kHTTPReply_BadGateway: Server overloaded."},
    {503, "kHTTPReply_ServiceUnavailable: Server not available."},
    {504, "kHTTPReply_GatewayTimeout: Unexpected error."},
};

constexpr uint32_t kReplyTextCount = sizeof(kReplyTexts) / sizeof(kReplyTexts[0]);
static_assert(kReplyTextCount == 36);

constexpr bool IsAscending() {
  for (uint32_t i = 1; i < kReplyTextCount; ++i) {
    if (kReplyTexts[i - 1].key >= kReplyTexts[i].key) return false;
  }
  return true;
}
static_assert(IsAscending());

}  // namespace

const char* iHTTPc_ReplyText(int32_t code) {
  return StringLookup_ByIndex(kReplyTexts, kReplyTextCount, code);
}
