// Deciding a resume, and where a redirect leads. No input or output.
//
//   answer                              action    size
//   206, no range, offset above 0       Refused   it is a part, and nobody knows which
//   class 2, no range                   Restart   the length, if told; another length or time: another file
//   416, offset 0                       Restart   0: there is no byte to ask for
//   416, total = offset = known size    Continue  it: every byte is on the disk
//   416                                 Changed
//   range that no file can have         Refused
//   range, another size or time         Changed; when all bytes are asked for anew: Continue, another file
//   range, first = offset               Continue  the total, or what the range ends with
//   range, first = 0                    Restart   the same
//   range                               Refused
#include <cstring>
#include <initializer_list>
#include <string_view>

#include "net/url_internal.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "transfer/vrxclient_resume_internal.h"

namespace {

bool IsTold(const Time& time) {
  return time.seconds != 0 || time.milliseconds != 0;
}

bool IsOtherTime(const Time& told, const Time& known) {
  return IsTold(told) && IsTold(known) && Time_Compare(&told, &known) != 0;
}

bool HoldsBytes(const KnownFile& known) {
  return known.offset > 0 || known.isDiscarded;
}

ResumeDecision JudgeWhole(const HTTPAnswer& answer, const KnownFile& known) {
  const bool isOtherSize = known.size != kSizeUnknown && answer.contentLength != kSizeUnknown &&
                           known.size != answer.contentLength;
  const bool isOtherFile =
      HoldsBytes(known) && (isOtherSize || IsOtherTime(answer.lastModified, known.lastModified));
  return {ResumeAction::Restart, false, answer.contentLength, isOtherFile};
}

constexpr ResumeDecision kChanged = {ResumeAction::Changed, true, kSizeUnknown};
constexpr ResumeDecision kRefused = {ResumeAction::Refused, false, kSizeUnknown};

bool IsUnknownPart(const HTTPAnswer& answer, const KnownFile& known) {
  constexpr int32_t kPartialContent = 206;
  return answer.code == kPartialContent && known.offset > 0;
}

ResumeDecision JudgeUnsatisfied(const HTTPAnswer& answer, const KnownFile& known) {
  if (known.offset == 0) return {ResumeAction::Restart, false, 0};
  const bool isWhole = answer.total == known.offset && known.size == known.offset;
  return isWhole ? ResumeDecision{ResumeAction::Continue, true, known.size} : kChanged;
}

ResumeDecision JudgeRange(const HTTPAnswer& answer, const KnownFile& known) {
  if (answer.last == UINT64_MAX || answer.first > answer.last) return kRefused;
  if (answer.total != kSizeUnknown && answer.total <= answer.last) return kRefused;
  const uint64_t size = answer.total != kSizeUnknown ? answer.total : answer.last + 1;
  const bool isOtherFile = (known.size != kSizeUnknown && known.size != size) ||
                           (HoldsBytes(known) && IsOtherTime(answer.lastModified, known.lastModified));
  // Where all bytes are asked for, the answer is of use whatever file it is of.
  if (isOtherFile && !known.isDiscarded) return kChanged;
  const uint64_t end = answer.last + 1;
  if (answer.first == known.offset) return {ResumeAction::Continue, true, size, isOtherFile, end};
  return answer.first == 0 ? ResumeDecision{ResumeAction::Restart, true, size, false, end} : kRefused;
}

// ---- redirects ---------------------------------------------------------------------------------

constexpr char kSchemeEnd[] = "://";

// Writes the pieces one behind the other; Error_Exceed when the room does not suffice.
ErrorCode Concatenate(std::initializer_list<std::string_view> pieces, char (&text)[kURLSize]) {
  size_t length = 0;
  for (const std::string_view piece : pieces) {
    if (length + piece.size() >= kURLSize) return Error_Exceed;
    length += piece.copy(text + length, piece.size());
  }
  text[length] = '\0';
  return Error_None;
}

bool IsURL(const char* text) {
  URLData* data = nullptr;
  const bool isURL = URL_NewData(text, &data) == Error_None;
  Memory_Delete(data);
  return isURL;
}

}  // namespace

ResumeDecision iResume_JudgeHTTP(const HTTPAnswer& answer, const KnownFile& known) {
  if (answer.code == kRangeNotSatisfiable) return JudgeUnsatisfied(answer, known);
  if (!answer.hasRange) return IsUnknownPart(answer, known) ? kRefused : JudgeWhole(answer, known);
  return JudgeRange(answer, known);
}

bool iResume_IsOtherFile(uint64_t toldSize, uint64_t knownSize, uint64_t dataFileSize) {
  return dataFileSize > 0 && knownSize != kSizeUnknown && knownSize != 0 && toldSize != knownSize;
}

uint64_t iResume_DownloadOffset(uint64_t dataFileSize, uint64_t size) {
  return size != kSizeUnknown && size < dataFileSize ? 0 : dataFileSize;
}

uint64_t iResume_UploadOffset(uint64_t serverSize, uint64_t dataFileSize) {
  return serverSize != kSizeUnknown && serverSize < dataFileSize ? serverSize : 0;
}

ErrorCode iResume_RedirectTarget(const URLData& base, const char* location, char (&target)[kURLSize]) {
  const std::string_view given = location;
  URLData* absolute = nullptr;
  const ErrorCode parsed = URL_NewData(location, &absolute);
  Memory_Delete(absolute);
  if (parsed == Error_Memory) return parsed;
  if (parsed == Error_None) {
    if (given.size() >= sizeof target) return Error_Exceed;
    target[given.copy(target, given.size())] = '\0';
    return Error_None;
  }
  std::string_view directory = base.path != nullptr ? base.path : "/";
  directory = directory.substr(0, directory.find_first_of("?#"));
  directory = directory.substr(0, directory.rfind('/') + 1);
  if (given.starts_with('/')) directory = {};
  char path[kURLSize];
  if (directory.size() + given.size() >= sizeof path) return Error_Exceed;
  const size_t length = directory.copy(path, directory.size());
  path[length + given.copy(path + length, given.size())] = '\0';
  URLData changed = base;
  changed.path = path;
  return iURL_Format(&changed, sizeof target, target);
}

ErrorCode iResume_ResolveLocation(const URLData& base, std::string_view requestTarget, const char* location,
                                  char (&url)[kURLSize]) {
  const std::string_view given = std::string_view(location).substr(0, std::string_view(location).find('#'));
  if (given.starts_with("//")) return Concatenate({"http:", given}, url);
  if (IsURL(location)) return Concatenate({given}, url);
  URLData originData = base;
  originData.path = nullptr;
  char origin[kURLSize];
  const ErrorCode status = iURL_Format(&originData, sizeof origin, origin);
  if (status != Error_None) return status;
  std::string_view path = requestTarget.substr(0, requestTarget.find('?'));
  if (given.starts_with('/')) path = {};
  if (!given.starts_with('?')) path = path.substr(0, path.rfind('/') + 1);
  return Concatenate({origin, path, given}, url);
}

const char* iResume_RequestTargetOf(const char* url) {
  const char* scheme = strstr(url, kSchemeEnd);
  const char* path = scheme != nullptr ? strchr(scheme + strlen(kSchemeEnd), '/') : nullptr;
  return path != nullptr ? path : "/";
}
