// The texts of the HTTP status codes.
#include "net/httpc_testing.h"
#include "qz/stringlookup.h"

namespace {

// Kept: the spelling of every text ("repsonse", "Mulitple", "Athentication", "ToolLarge") stands in logs that
// programs search.
constexpr StringLookup kReplyTexts[] = {
    {kHTTPReply_Continue, "kHTTPReply_Continue: Client may continue."},
    {kHTTPReply_SwitchingProtocols, "kHTTPReply_SwitchingProtocols: Server switching protocols."},
    {kHTTPReply_OK, "kHTTPReply_OK: Request was fulfilled successfully."},
    {kHTTPReply_CREATED, "kHTTPReply_CREATED: POST command completed successfully."},
    {kHTTPReply_Accepted, "kHTTPReply_Accepted: Request accepted for processing."},
    {kHTTPReply_Partial, "kHTTPReply_Partial: Partial repsonse from GET command."},
    {kHTTPReply_NoContent, "kHTTPReply_NoContent: Server has no information."},
    {kHTTPReply_ResetContent, "kHTTPReply_ResetContent: Client should reset content."},
    {kHTTPReply_PartialContent, "kHTTPReply_PartialContent: Partial content (byte ranges)."},
    {kHTTPReply_MulitpleChoice, "kHTTPReply_MulitpleChoice: Pick a new location."},
    {kHTTPReply_Moved, "kHTTPReply_Moved: URI has changed."},
    {kHTTPReply_MovedTemporarily, "kHTTPReply_MovedTemporarily: Data on different URI."},
    {kHTTPReply_SeeOther, "kHTTPReply_SeeOther: Data on different URI."},
    {kHTTPReply_NotModified, "kHTTPReply_NotModified: Document not modified since given date."},
    {kHTTPReply_UseProxy, "kHTTPReply_UseProxy: Must access through proxy."},
    {kHTTPReply_BadRequest, "kHTTPReply_BadRequest: Bad syntax for request."},
    {kHTTPReply_Unauthorized, "kHTTPReply_Unauthorized: Access denied, client not authorized."},
    {kHTTPReply_PaymentRequired, "kHTTPReply_PaymentRequired: Payment required for charging scheme."},
    {kHTTPReply_Forbidden, "kHTTPReply_Forbidden: Access denied, authorization not possible."},
    {kHTTPReply_NotFound, "kHTTPReply_NotFound: Can't find URI."},
    {kHTTPReply_MethodNotAllowed, "kHTTPReply_MethodNotAllowed: Illegal method."},
    {kHTTPReply_NotAcceptable, "kHTTPReply_NotAcceptable: Request not acceptable."},
    {kHTTPReply_ProxyAthentication, "kHTTPReply_ProxyAthentication: Client must authenticate with proxy."},
    {kHTTPReply_RequestTimeout, "kHTTPReply_RequestTimeout: Client time out."},
    {kHTTPReply_RequestConflict, "kHTTPReply_RequestConflict: Resource conflict."},
    {kHTTPReply_Gone, "kHTTPReply_Gone: Resource Gone."},
    {kHTTPReply_LengthRequired, "kHTTPReply_LengthRequired: Content-Length must be specified."},
    {kHTTPReply_PreconditionFailed, "kHTTPReply_PreconditionFailed: Request header precondition failed."},
    {kHTTPReply_EntityTooLarge, "kHTTPReply_EntityTooLarge: Server not willing to handle size."},
    {kHTTPReply_RequestURIToolLarge, "kHTTPReply_RequestURIToolLarge: Server can't handle URI size."},
    {kHTTPReply_UnsupportedMediaType, "kHTTPReply_UnsupportedMediaType: Server doesn't support media type."},
    {kHTTPReply_InternalError, "kHTTPReply_InternalError: Unexpected error."},
    {kHTTPReply_NotImplemented, "kHTTPReply_NotImplemented: Unsupported facility."},
    {kHTTPReply_BadGateway, "kHTTPReply_BadGateway: Server overloaded."},
    {kHTTPReply_ServiceUnavailable, "kHTTPReply_ServiceUnavailable: Server not available."},
    {kHTTPReply_GatewayTimeout, "kHTTPReply_GatewayTimeout: Unexpected error."},
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
