// Lists of servers: arbitrary bytes read in both byte orders, and lists that are written, held against the
// bytes that they must give, and read back in the reader's own layout.
//
// Input: byte 0 the kind of run and the byte order. To read: the rest is the stream. To write: groups, each a
// number of URLs and for each a byte of flags and a text that a byte 0 ends.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "net/url_internal.h"
#include "net/urllist_internal.h"
#include "os/core/memory_testing.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "tests/support/test_stream.h"

namespace {

void Require(bool condition) {
  if (!condition) abort();
}

constexpr uint32_t kTextSize = 1024;

// A URL as the list must hold it, as its own text and with its flags.
struct ModelURL {
  std::string text;
  uint32_t flags;
};
using ModelGroup = std::vector<ModelURL>;

// Whether two URL texts are equal as URLs.
bool IsSameURL(const std::string& a, const std::string& b) {
  URLData* parsed[2] = {};
  Require(URL_NewData(a.c_str(), &parsed[0]) == Error_None);
  Require(URL_NewData(b.c_str(), &parsed[1]) == Error_None);
  const bool isSame = iURL_Compare(parsed[0], parsed[1]) == 0;
  Memory_Delete(parsed[0]);
  Memory_Delete(parsed[1]);
  return isSame;
}

bool IsURL(const std::string& text) {
  URLData* parsed = nullptr;
  const bool isURL = URL_NewData(text.c_str(), &parsed) == Error_None;
  Memory_Delete(parsed);
  return isURL;
}

// Adds the URLs of a text as a list must: piece by piece, each one once.
void AddToModel(ModelGroup& group, uint32_t flags, const std::string& text) {
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(';', begin), text.size());
    const std::string piece = text.substr(begin, end - begin);
    const auto isPiece = [&](const ModelURL& url) { return IsSameURL(url.text, piece); };
    if (IsURL(piece) && std::none_of(group.begin(), group.end(), isPiece)) group.push_back({piece, flags});
    begin = end + 1;
  }
}

void RequireGroup(const URLListGroup& group, const ModelGroup& model) {
  Require(group.count == model.size());
  const URLListEntry* entry = group.first;
  uint32_t any = 0;
  uint32_t all = model.empty() ? 0 : ~uint32_t{0};
  for (const ModelURL& url : model) {
    Require(entry != nullptr && entry->flags == url.flags);
    URLData* parsed = nullptr;
    Require(URL_NewData(url.text.c_str(), &parsed) == Error_None);
    Require(iURL_Compare(parsed, &entry->url) == 0);
    Memory_Delete(parsed);
    any |= url.flags;
    all &= url.flags;
    entry = entry->next;
  }
  Require(entry == nullptr && group.anyFlags == any && group.allFlags == all);
}

std::string Number(uint32_t number, bool isNetwork) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes += static_cast<char>(number >> 8 * i & 0xFF);
  if (isNetwork) std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

// ---- reading ---------------------------------------------------------------------------------------

// Takes the layout apart on its own.
class ReadingModel {
 public:
  ReadingModel(std::string bytes, bool isNetwork) : bytes_(std::move(bytes)), isNetwork_(isNetwork) {}

  ErrorCode Read() {
    if (const ErrorCode status = Header(); status != Error_None) return status;
    for (uint32_t group = 0; group < groupCount_; ++group) {
      groups_.emplace_back();
      if (!Entry()) return Error_Ended;
      while (entryCount_-- > 0) {
        if (!Entry()) return Error_Ended;
      }
    }
    return Error_None;
  }
  const std::vector<ModelGroup>& groups() const { return groups_; }
  size_t position() const { return position_; }

 private:
  ErrorCode Header() {
    uint32_t tag;
    if (!TakeNumber(&tag)) return Error_Ended;
    if (tag != 0x73787276) return Error_NotFound;
    if (!TakeNumber(&version_)) return Error_Ended;
    if (version_ != 1 && version_ != 2) return Error_NotFound;
    if (version_ == 2 && !TakeNumber(&groupCount_)) return Error_Ended;
    if (groupCount_ == 0) return Error_Invalid;
    if (!TakeNumber(&entryCount_)) return Error_Ended;
    return entryCount_ == 0 ? Error_Invalid : Error_None;
  }
  bool Entry() {
    uint32_t flags = 0;
    std::string text;
    if (version_ == 2 && !TakeNumber(&flags)) return false;
    if (!TakeText(&text)) return false;
    if (version_ == 1 && !text.empty()) {
      flags = text[0] == '!' ? 0xFFFFFFFF : 0;
      text.erase(0, 1);
    }
    AddToModel(groups_.back(), flags, text);
    return true;
  }
  bool Take(uint32_t count, std::string* bytes) {
    *bytes = bytes_.substr(position_, count);
    position_ += bytes->size();
    return bytes->size() == count;
  }
  bool TakeNumber(uint32_t* number) {
    std::string bytes;
    if (!Take(4, &bytes)) return false;
    if (isNetwork_) std::reverse(bytes.begin(), bytes.end());
    memcpy(number, bytes.data(), 4);
    return true;
  }
  bool TakeText(std::string* text) {
    uint32_t length;
    if (!TakeNumber(&length) || !Take(std::min(length, kTextSize), text)) return false;
    text->resize(strlen(text->c_str()));
    // What is longer is passed over in pieces, of which one that comes short is gone too.
    std::string dropped;
    return length <= kTextSize || Take(kTextSize - length, &dropped);
  }

  std::string bytes_;
  bool isNetwork_;
  size_t position_ = 0;
  uint32_t version_ = 0;
  uint32_t groupCount_ = 1;
  uint32_t entryCount_ = 0;
  std::vector<ModelGroup> groups_;
};

void ReadBytes(const std::string& bytes, bool isNetwork) {
  ReadingModel model(bytes, isNetwork);
  const ErrorCode expected = model.Read();
  TestStream stream(bytes);
  Traverse* traverse = Traverse_New(isNetwork ? 1 : 0, stream.stream());
  URLList list = {};
  Require(iURLList_Read(traverse, &list) == expected);
  Require(Traverse_GetError(traverse) == expected);
  Require(stream.Rest() == bytes.substr(model.position()));
  if (expected == Error_None) {
    Require(list.count == model.groups().size());
    const URLListGroup* group = list.first;
    for (const ModelGroup& each : model.groups()) {
      RequireGroup(*group, each);
      group = group->next;
    }
  } else {
    Require(list.first == nullptr && list.count == 0);
  }
  iURLList_Delete(&list);
  Traverse_Delete(traverse);
}

// ---- writing ---------------------------------------------------------------------------------------

struct Input {
  const uint8_t* data;
  size_t size;
  uint8_t Next() {
    if (size == 0) return 0;
    --size;
    return *data++;
  }
  std::string NextText() {
    std::string text;
    for (uint8_t byte = Next(); byte != 0; byte = Next()) text += static_cast<char>(byte);
    return text;
  }
};

// The URL as a list stores it; empty when that takes too many bytes.
std::string FormattedText(const std::string& text) {
  URLData* parsed = nullptr;
  Require(URL_NewData(text.c_str(), &parsed) == Error_None);
  char formatted[kTextSize];
  const ErrorCode status = iURL_Format(parsed, sizeof formatted, formatted);
  Memory_Delete(parsed);
  Require(status == Error_None || status == Error_Exceed);
  return status == Error_None ? formatted : "";
}

std::string StoredText(const std::string& text, bool isNetwork) {
  return Number(static_cast<uint32_t>(text.size()) + 1, isNetwork) + text + '\0';
}

// The bytes that the groups must be written as, or none when a text is too long.
std::string WrittenBytes(const std::vector<ModelGroup>& groups, bool isNetwork) {
  std::string bytes = Number(0x73787276, isNetwork) + Number(2, isNetwork) +
                      Number(static_cast<uint32_t>(groups.size()), isNetwork);
  for (const ModelGroup& group : groups) {
    bytes += Number(static_cast<uint32_t>(group.size()), isNetwork);
    for (const ModelURL& url : group) {
      const std::string text = FormattedText(url.text);
      if (text.empty()) return "";
      bytes += Number(url.flags, isNetwork) + StoredText(text, isNetwork);
    }
  }
  return bytes;
}

// The same URLs as one group for a reader.
std::string ReadableBytes(const ModelGroup& group, bool isNetwork) {
  std::string bytes = Number(0x73787276, isNetwork) + Number(2, isNetwork) + Number(1, isNetwork) +
                      Number(static_cast<uint32_t>(group.size()) - 1, isNetwork);
  for (const ModelURL& url : group)
    bytes += Number(url.flags, isNetwork) + StoredText(FormattedText(url.text), isNetwork);
  return bytes;
}

void WriteList(Input input, bool isNetwork) {
  URLList list = {};
  std::vector<ModelGroup> model;
  while (input.size != 0) {
    URLListGroup* group = iURLList_NewGroup(&list);
    Require(group != nullptr);
    model.emplace_back();
    for (int count = input.Next() % 8; count > 0; --count) {
      const uint32_t flags = input.Next() * 0x01010101u;
      const std::string text = input.NextText();
      Require(iURLList_Add(group, flags, text.c_str()) == Error_None);
      AddToModel(model.back(), flags, text);
    }
    RequireGroup(*group, model.back());
  }
  const std::string expected = WrittenBytes(model, isNetwork);
  TestStream stream;
  Traverse* traverse = Traverse_New(isNetwork ? 1 : 0, stream.stream());
  Require(iURLList_Write(traverse, &list) == (expected.empty() ? Error_Exceed : Error_None));
  Require(stream.written() == expected);
  Traverse_Delete(traverse);
  iURLList_Delete(&list);
  if (expected.empty()) return;
  ReadBytes(expected, isNetwork);
  for (const ModelGroup& group : model)
    if (group.size() > 1) ReadBytes(ReadableBytes(group, isNetwork), isNetwork);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > 4096) return 0;
  const int64_t before = iMemory_CountLive();
  const bool isNetwork = (data[0] & 1) != 0;
  if ((data[0] & 2) == 0) {
    ReadBytes(std::string(reinterpret_cast<const char*>(data + 1), size - 1), isNetwork);
  } else {
    WriteList({data + 1, size - 1}, isNetwork);
  }
  Require(iMemory_CountLive() == before);
  return 0;
}
