// The library's records of transfers as bytes: a stream over a text, for the library's own writing and
// reading.
#include "tool/record.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "qz/error.h"
#include "qz/stream.h"
#include "qz/traverse.h"
#include "tool/failure.h"

namespace tool {
namespace {

constexpr std::uint32_t kTextStream = 0x71747874;  // "qtxt"
constexpr char kTag[] = {'v', 'r', 'x', 'c'};

struct TextStream {
  Stream header;
  std::string* target;        // what is written
  const std::string* source;  // what is read, from the position on
  std::size_t position;
};

// The library lets no exception pass.
std::uint32_t WriteText(Stream* stream, std::uint32_t count, const void* buffer) {
  try {
    reinterpret_cast<TextStream*>(stream)->target->append(static_cast<const char*>(buffer), count);
    return count;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

std::uint32_t ReadText(Stream* stream, std::uint32_t count, void* buffer) {
  auto* text = reinterpret_cast<TextStream*>(stream);
  const std::size_t done = std::min<std::size_t>(count, text->source->size() - text->position);
  std::memcpy(buffer, text->source->data() + text->position, done);
  text->position += done;
  return static_cast<std::uint32_t>(done);
}

ErrorCode StreamError(Stream*) {
  return Error_None;
}

constexpr StreamOperations kOperations = {nullptr, ReadText, nullptr, WriteText, StreamError, nullptr};

struct DeleteTraverse {
  void operator()(Traverse* traverse) const { Traverse_Delete(traverse); }
};
using OwnedTraverse = std::unique_ptr<Traverse, DeleteTraverse>;

OwnedTraverse NewTraverse(TextStream* text) {
  Stream_Init(kTextStream, &kOperations, &text->header);
  OwnedTraverse traverse(Traverse_New(0, &text->header));
  if (!traverse) throw Failure{ExitCode::Other, "out of memory"};
  return traverse;
}

std::string WhyUnreadable(ErrorCode status, const std::string& bytes) {
  const bool isRecord = bytes.size() >= sizeof kTag && std::memcmp(bytes.data(), kTag, sizeof kTag) == 0;
  if (status == Error_Ended) return "the record of the transfer is damaged: its end is missing";
  if (status == Error_Invalid) return "the record of the transfer is damaged";
  if (status != Error_NotFound) return std::string("cannot read the record: ") + Error_ToLongString(status);
  if (!isRecord) return "the record of the transfer is damaged: its beginning is not that of a record";
  return "the record of the transfer is of a newer version, or needs an extension that is missing";
}

}  // namespace

std::string WriteRecord(VRXClient* client) {
  std::string bytes;
  TextStream text = {{}, &bytes, nullptr, 0};
  OwnedTraverse traverse = NewTraverse(&text);
  const ErrorCode status = VRXClient_Write(traverse.get(), client);
  traverse.reset();  // writes what was gathered
  if (status == Error_None) return bytes;
  throw Failure{ExitCode::Other,
                std::string("cannot write the record of the transfer: ") + Error_ToLongString(status)};
}

OwnedTransfer ReadRecord(const std::string& bytes) {
  TextStream text = {{}, nullptr, &bytes, 0};
  const OwnedTraverse traverse = NewTraverse(&text);
  VRXClient* client = nullptr;
  const ErrorCode status = VRXClient_Read(traverse.get(), Word{}, nullptr, &client);
  if (status != Error_None) throw Failure{ExitCode::Other, WhyUnreadable(status, bytes)};
  return OwnedTransfer(client);
}

}  // namespace tool
