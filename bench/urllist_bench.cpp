// Lists of servers: a list of 1,000 URLs written, and read in the reader's own layout. Beside them what the
// URLs alone cost: the same texts formatted, and parsed each into a block of its own.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "net/url_internal.h"
#include "net/urllist_internal.h"
#include "qz/memory.h"

namespace {

constexpr uint32_t kURLCount = 1000;

// A stream over one block that begins anew as often as wanted.
struct BlockStream {
  Stream header;
  std::string bytes;
  size_t position;

  static uint32_t Read(Stream* stream, uint32_t count, void* buffer) {
    auto* self = reinterpret_cast<BlockStream*>(stream);
    if (count > self->bytes.size() - self->position)
      count = static_cast<uint32_t>(self->bytes.size() - self->position);
    memcpy(buffer, self->bytes.data() + self->position, count);
    self->position += count;
    return count;
  }
  static uint32_t Write(Stream* stream, uint32_t count, const void* buffer) {
    auto* self = reinterpret_cast<BlockStream*>(stream);
    if (count > self->bytes.size() - self->position) return 0;
    memcpy(self->bytes.data() + self->position, buffer, count);
    self->position += count;
    return count;
  }
};
constexpr StreamOperations kBlockOperations = {
    nullptr, BlockStream::Read, nullptr, BlockStream::Write, nullptr, nullptr};

std::string Text(uint32_t i) {
  return "ftp://mirror" + std::to_string(i) + ".example.org:2121/pub/files/archive%20" + std::to_string(i) +
         ".tar.gz";
}

std::string Number(uint32_t number) {
  return std::string(reinterpret_cast<const char*>(&number), sizeof number);
}

std::string ReadableRecord() {
  std::string bytes = "vrxs" + Number(2) + Number(1) + Number(kURLCount - 1);
  for (uint32_t i = 0; i < kURLCount; ++i) {
    const std::string text = Text(i);
    bytes += Number(i) + Number(static_cast<uint32_t>(text.size()) + 1) + text + '\0';
  }
  return bytes;
}

void Prepare(BlockStream& stream, std::string bytes) {
  Stream_Init(0x626C636Bu, &kBlockOperations, &stream.header);
  stream.bytes = std::move(bytes);
  stream.position = 0;
}

void WriteServerList(benchmark::State& state) {
  URLList list = {};
  URLListGroup* group = iURLList_NewGroup(&list);
  for (uint32_t i = 0; i < kURLCount; ++i) iURLList_Add(group, i, Text(i).c_str());
  BlockStream stream;
  Prepare(stream, std::string(256 * 1024, ' '));
  Traverse* traverse = Traverse_New(0, &stream.header);
  for (auto _ : state) {
    stream.position = 0;
    if (iURLList_Write(traverse, &list) != 0) state.SkipWithError("not written");
  }
  Traverse_Delete(traverse);
  iURLList_Delete(&list);
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kURLCount));
}
BENCHMARK(WriteServerList)->Unit(benchmark::kMicrosecond);

void ReadServerList(benchmark::State& state) {
  BlockStream stream;
  Prepare(stream, ReadableRecord());
  Traverse* traverse = Traverse_New(0, &stream.header);
  for (auto _ : state) {
    stream.position = 0;
    URLList list = {};
    if (iURLList_Read(traverse, &list) != 0 || list.first->count != kURLCount)
      state.SkipWithError("not read");
    iURLList_Delete(&list);
  }
  Traverse_Delete(traverse);
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kURLCount));
}
BENCHMARK(ReadServerList)->Unit(benchmark::kMicrosecond);

void FormatURLs(benchmark::State& state) {
  std::vector<URLData*> urls(kURLCount);
  for (uint32_t i = 0; i < kURLCount; ++i) URL_NewData(Text(i).c_str(), &urls[i]);
  char text[1024];
  for (auto _ : state) {
    for (const URLData* url : urls) {
      iURL_Format(url, sizeof text, text);
      benchmark::DoNotOptimize(text);
    }
  }
  for (URLData* url : urls) Memory_Delete(url);
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kURLCount));
}
BENCHMARK(FormatURLs)->Unit(benchmark::kMicrosecond);

void ParseURLs(benchmark::State& state) {
  std::vector<std::string> texts(kURLCount);
  for (uint32_t i = 0; i < kURLCount; ++i) texts[i] = Text(i);
  std::vector<URLData*> urls(kURLCount);
  for (auto _ : state) {
    for (uint32_t i = 0; i < kURLCount; ++i) URL_NewData(texts[i].c_str(), &urls[i]);
    for (URLData* url : urls) Memory_Delete(url);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kURLCount));
}
BENCHMARK(ParseURLs)->Unit(benchmark::kMicrosecond);

}  // namespace
