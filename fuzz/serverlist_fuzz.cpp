// The servers of a transfer: arbitrary bytes read in both byte orders, and lists that are made, held against
// the bytes that they must give, and read back.
//
// Input: byte 0 the kind of run, the byte order, and whether users are left out. To read: the rest is the
// stream. To write: texts of mirrors, each behind a byte that says which servers fail, and ended by a byte 0.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "net/url_internal.h"
#include "os/core/memory_testing.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "tests/support/test_stream.h"
#include "transfer/serverlist_internal.h"
#include "transfer/serverlist_testing.h"

namespace {

void Require(bool condition) {
  if (!condition) abort();
}

constexpr uint32_t kTextSize = 1024;
constexpr size_t kLongestText = 1021;
constexpr size_t kLongestStoredText = 1022;

// A parsed URL that frees itself; null for what is no URL.
class URL {
 public:
  explicit URL(const std::string& text) { URL_NewData(text.c_str(), &data_); }
  ~URL() { Memory_Delete(data_); }
  URL(const URL&) = delete;
  URL& operator=(const URL&) = delete;
  URLData* get() const { return data_; }

  std::string Formatted(bool isWithoutUser = false) const {
    URLData data = *data_;
    if (isWithoutUser) data.user = data.password = nullptr;
    std::vector<char> text(16384);
    Require(iURL_FormatExactly(&data, text.size(), text.data()) == Error_None);
    return text.data();
  }

 private:
  URLData* data_ = nullptr;
};

bool IsSameURL(const std::string& a, const std::string& b) {
  return iURL_Compare(URL(a).get(), URL(b).get()) == 0;
}

struct ModelServer {
  std::string text;
  bool isFailed;
};
using Model = std::vector<ModelServer>;

void RequireList(const ServerList& list, const Model& model) {
  Require(list.count == model.size());
  const ServerEntry* entry = list.first;
  const ServerEntry* last = nullptr;
  const ServerEntry* usable = nullptr;
  for (const ModelServer& server : model) {
    Require(entry != nullptr && entry->isFailed == server.isFailed);
    Require(iURL_Compare(URL(server.text).get(), entry->url) == 0);
    Require(iServerList_Contains(list, server.text.c_str()));
    if (usable == nullptr && !server.isFailed) usable = entry;
    last = entry;
    entry = entry->next;
  }
  Require(entry == nullptr && list.last == last && iServerList_Select(list) == usable);
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
    uint32_t tag;
    uint32_t version;
    uint32_t count;
    if (!TakeNumber(&tag)) return Error_Ended;
    if (tag != 0x73787276) return Error_NotFound;
    if (!TakeNumber(&version)) return Error_Ended;
    if (version != 1) return Error_NotFound;
    if (!TakeNumber(&count)) return Error_Ended;
    if (count == 0) return Error_Invalid;
    ErrorCode status = Error_None;
    for (uint32_t i = 0; i < count && (status == Error_None || status == Error_Exceed); ++i)
      status = Server();
    return status;
  }
  const Model& servers() const { return servers_; }
  size_t position() const { return position_; }

 private:
  ErrorCode Server() {
    std::string text;
    const ErrorCode status = TakeText(&text);
    if (status == Error_Ended) return status;
    const bool isFailed = text[0] == '!';
    if (!text.empty()) text.erase(0, 1);
    const URL url(text);
    if (url.get() == nullptr || url.Formatted().size() > kLongestStoredText) return Error_Invalid;
    servers_.push_back({text, isFailed});
    return status;
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
  // Error_Exceed for a text that has all its room, or more.
  ErrorCode TakeText(std::string* text) {
    uint32_t length;
    if (!TakeNumber(&length) || !Take(std::min(length, kTextSize), text)) return Error_Ended;
    text->resize(strlen(text->c_str()));
    std::string dropped;
    if (length > kTextSize && !Take(kTextSize - length, &dropped)) return Error_Ended;
    return length >= kTextSize ? Error_Exceed : Error_None;
  }

  std::string bytes_;
  bool isNetwork_;
  size_t position_ = 0;
  Model servers_;
};

struct Description {
  ServerList* list;
  bool isWithoutUsers;
};

void Describe(Traverse* traverse, void* argument) {
  const auto* description = static_cast<Description*>(argument);
  iServerList_Describe(traverse, description->list, description->isWithoutUsers);
}

void ReadBytes(const std::string& bytes, bool isNetwork) {
  ReadingModel model(bytes, isNetwork);
  const ErrorCode expected = model.Read();
  TestStream stream(bytes);
  Traverse* traverse = Traverse_New(isNetwork ? 1 : 0, stream.stream());
  ServerList list = {};
  Description description = {&list, false};
  Require(Traverse_DataRead(traverse, Describe, &description) == expected);
  RequireList(list, model.servers());
  Require(stream.Rest() == bytes.substr(model.position()));
  iServerList_Delete(&list);
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

// Adds the URLs of a text as a list must: piece by piece, each one once. Whether there was one.
bool AddToModel(Model* model, const std::string& text) {
  const size_t before = model->size();
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(';', begin), text.size());
    const std::string piece = text.substr(begin, end - begin);
    const URL url(piece);
    const auto isPiece = [&](const ModelServer& server) { return IsSameURL(server.text, piece); };
    if (url.get() != nullptr && url.Formatted().size() <= kLongestText &&
        std::none_of(model->begin(), model->end(), isPiece))
      model->push_back({piece, false});
    begin = end + 1;
  }
  return model->size() != before;
}

std::string WrittenBytes(const Model& model, bool isNetwork, bool isWithoutUsers) {
  std::string bytes = Number(0x73787276, isNetwork) + Number(1, isNetwork) +
                      Number(static_cast<uint32_t>(model.size()), isNetwork);
  for (const ModelServer& server : model) {
    const std::string text = (server.isFailed ? "!" : " ") + URL(server.text).Formatted(isWithoutUsers);
    bytes += Number(static_cast<uint32_t>(text.size()) + 1, isNetwork) + text + '\0';
  }
  return bytes;
}

void WriteList(Input input, bool isNetwork, bool isWithoutUsers) {
  ServerList list = {};
  Model model;
  while (input.size != 0) {
    uint32_t failures = input.Next();
    const std::string text = input.NextText();
    bool isAnyAdded = false;
    Require(iServerList_AddMirrors(&list, text.c_str(), &isAnyAdded) == Error_None);
    Require(isAnyAdded == AddToModel(&model, text));
    size_t number = 0;
    for (ServerEntry* entry = list.first; entry != nullptr && number < 8; entry = entry->next, ++number)
      model[number].isFailed = entry->isFailed = (failures >> number & 1) != 0;
    RequireList(list, model);
  }
  TestStream stream;
  Traverse* traverse = Traverse_New(isNetwork ? 1 : 0, stream.stream());
  Description description = {&list, isWithoutUsers};
  const ErrorCode status = Traverse_DataWrite(traverse, Describe, &description);
  Require(status == (model.empty() ? Error_Invalid : Error_None));
  if (!model.empty()) Require(stream.written() == WrittenBytes(model, isNetwork, isWithoutUsers));
  ReadBytes(stream.written(), isNetwork);
  Traverse_Delete(traverse);
  iServerList_ClearMarks(&list);
  Require(iServerList_Select(list) == list.first);
  iServerList_Delete(&list);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > 4096) return 0;
  const int64_t before = iMemory_CountLive();
  const bool isNetwork = (data[0] & 1) != 0;
  if ((data[0] & 2) == 0) {
    ReadBytes(std::string(reinterpret_cast<const char*>(data + 1), size - 1), isNetwork);
  } else {
    WriteList({data + 1, size - 1}, isNetwork, (data[0] & 4) != 0);
  }
  Require(iMemory_CountLive() == before);
  return 0;
}
