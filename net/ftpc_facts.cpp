// What RFC 3659 adds: the list of features, and the facts of one entry. Both come as the inner lines of a
// reply:
//
//   211-Features          250-Listing
//    MLST type*;size*;     type=file;size=5;modify=19970105090307; /pub/a
//   211 End               250 End
#include <algorithm>
#include <string_view>

#include "net/ftpc_internal.h"
#include "os/text/characterclass_internal.h"
#include "qz/error.h"

namespace {

constexpr std::string_view kFactLists = "MLST";

std::string_view WithoutBlanks(std::string_view line) {
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  return line;
}

void TakeFeature(void* context, std::string_view line) {
  if (line.empty() || line.front() != ' ') return;
  line = WithoutBlanks(line);
  if (iCharacter_EqualsWithoutCase(line.substr(0, line.find(' ')), kFactLists))
    *static_cast<bool*>(context) = true;
}

// The first and the last line begin with the code, facts with a letter. The blank before them counts for
// nothing: some servers leave it out.
void TakeFacts(void* context, std::string_view line) {
  auto* const facts = static_cast<char*>(context);
  const std::string_view text = WithoutBlanks(line);
  const size_t end = text.find("; ");
  const size_t equals = text.find('=');
  if (facts[0] != '\0' || end == std::string_view::npos || equals > end) return;
  if ((iCharacter_Class(static_cast<uint8_t>(text.front())) & CharacterClass_Digit) != 0) return;
  facts[text.copy(facts, kFTPBuffer_Size - 1)] = '\0';
}

}  // namespace

ErrorCode iFTPc_HasFacts(FTPc* connection, bool* hasFacts, Reply* reply) {
  *hasFacts = false;
  bool isListed = false;
  const ErrorCode status = iFTPc_ExchangeLines(connection, "FEAT", nullptr, TakeFeature, &isListed, reply);
  *hasFacts = status == Error_None && isListed && reply->replyClass == kFTPClass_Completed;
  return status;
}

ErrorCode iFTPc_AskFacts(FTPc* connection, const char* path, char* facts, Reply* reply) {
  facts[0] = '\0';
  const ErrorCode status = iFTPc_ExchangeLines(connection, "MLST", path, TakeFacts, facts, reply);
  if (status == Error_None && reply->replyClass == kFTPClass_Completed)
    return facts[0] != '\0' ? Error_None : Error_Invalid;
  facts[0] = '\0';
  if (status != Error_None) return status;
  return reply->code == kFTPReply_ErrorNoAccess ? Error_NotFound : Error_Invalid;
}
