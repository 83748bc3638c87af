// The stream core: what dispatch, progress and the read buffer cost a byte-wise reader.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "qz/memory.h"
#include "qz/memorystream.h"
#include "qz/readbufferstream.h"
#include "qz/sizestream.h"

namespace {

constexpr uint32_t kLines = 10000;

// Lines of 40 bytes, each with its CR LF.
const std::string& Text() {
  static const std::string text = [] {
    std::string made;
    for (uint32_t i = 0; i < kLines; ++i) made += std::string(38, static_cast<char>('a' + i % 26)) + "\r\n";
    return made;
  }();
  return text;
}

// A memory stream that holds the text, ready to be read.
Stream* NewTextStream() {
  const auto size = static_cast<uint32_t>(Text().size());
  Stream* stream = MemoryStream_New(Memory_New(size), size);
  Stream_Write(stream, size, Text().data());
  return stream;
}

void ReadLines(benchmark::State& state, uint32_t bufferSize) {
  for (auto _ : state) {
    Stream* stream = NewTextStream();
    if (bufferSize != 0) stream = ReadBufferStream_New(bufferSize, stream, 1);
    char line[64];
    uint32_t count = 0;
    while (Stream_ReadTo(stream, 2, "\r\n", sizeof line, line, &count) == 0) benchmark::DoNotOptimize(line);
    Stream_Delete(stream);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(Text().size()));
}
BENCHMARK_CAPTURE(ReadLines, memory_stream, 0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadLines, through_4096_byte_buffer, 4096)->Unit(benchmark::kMillisecond);

void FgetsLines(benchmark::State& state) {
  for (auto _ : state) {
    FILE* file = fmemopen(const_cast<char*>(Text().data()), Text().size(), "r");
    char line[64];
    while (fgets(line, sizeof line, file) != nullptr) benchmark::DoNotOptimize(line);
    fclose(file);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(Text().size()));
}
BENCHMARK(FgetsLines)->Unit(benchmark::kMillisecond);

void GetcLines(benchmark::State& state) {
  for (auto _ : state) {
    FILE* file = fmemopen(const_cast<char*>(Text().data()), Text().size(), "r");
    for (int byte = getc(file); byte != EOF; byte = getc(file)) benchmark::DoNotOptimize(byte);
    fclose(file);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(Text().size()));
}
BENCHMARK(GetcLines)->Unit(benchmark::kMillisecond);

void WriteLine(benchmark::State& state) {
  Stream* stream = SizeStream_New();
  for (auto _ : state) Stream_WriteFLine(stream, "RETR %s", "a/path/to/a/file.bin");
  Stream_Delete(stream);
}
BENCHMARK(WriteLine);

void Snprintf(benchmark::State& state) {
  char line[4097];
  for (auto _ : state) {
    snprintf(line, sizeof line, "RETR %s\r\n", "a/path/to/a/file.bin");
    benchmark::DoNotOptimize(line);
  }
}
BENCHMARK(Snprintf);

void CountBytes(benchmark::State& state) {
  Stream* stream = SizeStream_New();
  if (state.range(0) != 0) {
    Stream_SetIdleMethod(
        stream, 100, [](void*, uint32_t, uint32_t) {}, nullptr);
    Stream_SetProgress(stream, 0, 0xFFFFFFFFu);
  }
  for (auto _ : state) benchmark::DoNotOptimize(Stream_Write(stream, 4, nullptr));
  Stream_Delete(stream);
}
BENCHMARK(CountBytes)->ArgName("progress")->Arg(0)->Arg(1);

}  // namespace
