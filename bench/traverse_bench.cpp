// Records: what counted arrays and small fields cost, beside the same bytes moved by hand with memcpy.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "qz/error.h"
#include "qz/memory.h"
#include "qz/memorystream.h"
#include "qz/traverse.h"

namespace {

constexpr uint32_t kArrayBytes = 4 * 1024 * 1024;
constexpr uint32_t kSmallFields = 30;

enum Order { kPlain = 0, kNetwork = 1 };

// A stream over one block that begins anew as often as wanted, so that a run measures fields and not
// allocation.
struct BlockStream {
  Stream header;
  uint8_t* bytes;
  uint32_t size;
  uint32_t position;

  static uint32_t Read(Stream* stream, uint32_t count, void* buffer) {
    auto* self = reinterpret_cast<BlockStream*>(stream);
    if (count > self->size - self->position) count = self->size - self->position;
    memcpy(buffer, self->bytes + self->position, count);
    self->position += count;
    return count;
  }
  static uint32_t Write(Stream* stream, uint32_t count, const void* buffer) {
    auto* self = reinterpret_cast<BlockStream*>(stream);
    if (count > self->size - self->position) count = self->size - self->position;
    memcpy(self->bytes + self->position, buffer, count);
    self->position += count;
    return count;
  }
};
constexpr StreamOperations kBlockOperations = {
    nullptr, BlockStream::Read, nullptr, BlockStream::Write, nullptr, nullptr};

void PrepareBlockStream(BlockStream& stream, std::vector<uint8_t>& bytes) {
  Stream_Init(0x626C636Bu, &kBlockOperations, &stream.header);
  stream.bytes = bytes.data();
  stream.size = static_cast<uint32_t>(bytes.size());
  stream.position = 0;
}

// ---- counted arrays through a memory stream ----------------------------------------------------------

template <typename Value>
ErrorCode CountedField(Traverse* traverse, uint32_t capacity, uint32_t* count, Value* values) {
  if constexpr (sizeof(Value) == 1) {
    return Traverse_FUns8(traverse, capacity, count, values);
  } else {
    return Traverse_FUns32(traverse, capacity, count, values);
  }
}

// A memory stream over a block of its own, whose pages are in memory already.
Stream* NewMemoryStream(uint32_t size) {
  void* block = Memory_New(size);
  Memory_Set(block, size, 1);
  return MemoryStream_New(block, size);
}

template <typename Value>
void WriteArray(benchmark::State& state) {
  uint32_t count = kArrayBytes / sizeof(Value);
  std::vector<Value> values(count, 7);
  for (auto _ : state) {
    state.PauseTiming();
    Traverse* traverse = Traverse_New(static_cast<int32_t>(state.range(0)), NewMemoryStream(kArrayBytes + 4));
    Traverse_SetMode(traverse, TraverseMode_Write);
    state.ResumeTiming();
    if (CountedField(traverse, count, &count, values.data()) != Error_None)
      state.SkipWithError("not written");
    state.PauseTiming();
    Traverse_Delete(traverse);
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kArrayBytes));
}
BENCHMARK(WriteArray<uint8_t>)->ArgName("network")->Arg(kPlain)->Arg(kNetwork)->Unit(benchmark::kMicrosecond);
BENCHMARK(WriteArray<uint32_t>)
    ->ArgName("network")
    ->Arg(kPlain)
    ->Arg(kNetwork)
    ->Unit(benchmark::kMicrosecond);

template <typename Value>
void ReadArray(benchmark::State& state) {
  uint32_t count = kArrayBytes / sizeof(Value);
  std::vector<Value> values(count + 1, 7);
  const auto network = static_cast<int32_t>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    Traverse* traverse = Traverse_New(network, NewMemoryStream(kArrayBytes + 4));
    Traverse_SetMode(traverse, TraverseMode_Write);
    CountedField(traverse, count, &count, values.data());
    Traverse_SetMode(traverse, TraverseMode_Read);
    state.ResumeTiming();
    if (CountedField(traverse, count + 1, &count, values.data()) != Error_None)
      state.SkipWithError("not read");
    state.PauseTiming();
    Traverse_Delete(traverse);
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kArrayBytes));
}
BENCHMARK(ReadArray<uint8_t>)->ArgName("network")->Arg(kPlain)->Arg(kNetwork)->Unit(benchmark::kMicrosecond);
BENCHMARK(ReadArray<uint32_t>)->ArgName("network")->Arg(kPlain)->Arg(kNetwork)->Unit(benchmark::kMicrosecond);

void CopyArray(benchmark::State& state) {
  std::vector<uint8_t> source(kArrayBytes, 7);
  std::vector<uint8_t> destination(kArrayBytes, 1);
  for (auto _ : state) {
    memcpy(destination.data(), source.data(), kArrayBytes);
    benchmark::DoNotOptimize(destination.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kArrayBytes));
}
BENCHMARK(CopyArray)->Unit(benchmark::kMicrosecond);

// ---- a record of 30 small fields -----------------------------------------------------------------------

struct Small {
  uint8_t bytes[10];
  uint16_t shorts[10];
  uint32_t words[10];
};

void DescribeSmall(Traverse* traverse, void* argument) {
  auto* record = static_cast<Small*>(argument);
  for (uint8_t& value : record->bytes) Traverse_Uns8(traverse, &value);
  for (uint16_t& value : record->shorts) Traverse_Uns16(traverse, &value);
  for (uint32_t& value : record->words) Traverse_Uns32(traverse, &value);
}

void SmallFields(benchmark::State& state, TraverseMode mode) {
  std::vector<uint8_t> bytes(128);
  BlockStream stream;
  PrepareBlockStream(stream, bytes);
  Traverse* traverse = Traverse_New(static_cast<int32_t>(state.range(0)), &stream.header);
  Traverse_SetMode(traverse, mode);
  Small record = {};
  for (auto _ : state) {
    stream.position = 0;
    Traverse_Data(traverse, DescribeSmall, &record);
    benchmark::DoNotOptimize(record);
  }
  if (Traverse_GetError(traverse) != Error_None) state.SkipWithError("a field failed");
  Traverse_Delete(traverse);
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kSmallFields));
}
BENCHMARK_CAPTURE(SmallFields, write, TraverseMode_Write)->ArgName("network")->Arg(kPlain)->Arg(kNetwork);
BENCHMARK_CAPTURE(SmallFields, read, TraverseMode_Read)->ArgName("network")->Arg(kPlain)->Arg(kNetwork);

// The same bytes by hand, each field with a check of what is left.
template <typename MoveField>
void SmallFieldsByHand(benchmark::State& state, MoveField moveField) {
  std::vector<uint8_t> bytes(128);
  Small record = {};
  for (auto _ : state) {
    uint8_t* position = bytes.data();
    uint8_t* const end = position + bytes.size();
    const auto move = [&](void* value, size_t size) {
      if (static_cast<size_t>(end - position) < size) return;
      moveField(position, value, size);
      position += size;
      benchmark::DoNotOptimize(position);
    };
    for (uint8_t& value : record.bytes) move(&value, sizeof value);
    for (uint16_t& value : record.shorts) move(&value, sizeof value);
    for (uint32_t& value : record.words) move(&value, sizeof value);
    benchmark::DoNotOptimize(record);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kSmallFields));
}
BENCHMARK_CAPTURE(SmallFieldsByHand, write,
                  [](uint8_t* stream, void* value, size_t size) { memcpy(stream, value, size); });
BENCHMARK_CAPTURE(SmallFieldsByHand, read,
                  [](uint8_t* stream, void* value, size_t size) { memcpy(value, stream, size); });

}  // namespace
