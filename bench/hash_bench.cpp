// Hash beside std::unordered_map, 50,000 nodes of scattered keys.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "qz/hash.h"

namespace {

constexpr size_t kNodes = 50000;

uint32_t Scramble(Word key) {
  return static_cast<uint32_t>((key >> 4) * 2654435761u);
}
uint32_t Fold(Word key) {
  return static_cast<uint32_t>(key ^ (key >> 15));
}

// Distinct keys that look like addresses of records.
const std::vector<Word>& Keys() {
  static const std::vector<Word> keys = [] {
    std::mt19937 random(1);
    std::unordered_set<Word> seen;
    std::vector<Word> made;
    while (made.size() < kNodes) {
      const Word key = random() & 0xFFFFFFF0u;
      if (seen.insert(key).second) made.push_back(key);
    }
    return made;
  }();
  return keys;
}

Hash* NewTable(int64_t functionCount, size_t nodes) {
  const HashFunction functions[] = {Scramble, Fold};
  Hash* table =
      Hash_New(static_cast<uint32_t>(nodes), static_cast<uint32_t>(functionCount), functions, nullptr);
  for (size_t i = 0; i < nodes; ++i) Hash_InsertNode(table, Keys()[i], i + 1);
  return table;
}

void HashQuery(benchmark::State& state) {
  Hash* table = NewTable(state.range(0), kNodes);
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Hash_QueryNode(table, Keys()[i]));
    if (++i == kNodes) i = 0;
  }
  Hash_Delete(table);
}
BENCHMARK(HashQuery)->ArgName("functions")->Arg(0)->Arg(1)->Arg(2);

void UnorderedMapQuery(benchmark::State& state) {
  std::unordered_map<Word, Word> map;
  for (size_t i = 0; i < kNodes; ++i) map.emplace(Keys()[i], i + 1);
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(Keys()[i])->second);
    if (++i == kNodes) i = 0;
  }
}
BENCHMARK(UnorderedMapQuery);

// A node is taken out and put back, so that the table keeps its size. With up to one hash function the cost
// must not grow with the number of nodes; with two the whole table is looked through.
void HashRemoveAndInsert(benchmark::State& state) {
  const auto nodes = static_cast<size_t>(state.range(1));
  Hash* table = NewTable(state.range(0), nodes);
  size_t i = 0;
  for (auto _ : state) {
    const Word value = Hash_RemoveNode(table, Keys()[i]);
    Hash_InsertNode(table, Keys()[i], value);
    if (++i == nodes) i = 0;
  }
  Hash_Delete(table);
}
BENCHMARK(HashRemoveAndInsert)
    ->ArgNames({"functions", "nodes"})
    ->ArgsProduct({{0, 1, 2}, {500, 5000, 50000}});

void UnorderedMapRemoveAndInsert(benchmark::State& state) {
  const auto nodes = static_cast<size_t>(state.range(0));
  std::unordered_map<Word, Word> map;
  for (size_t i = 0; i < nodes; ++i) map.emplace(Keys()[i], i + 1);
  size_t i = 0;
  for (auto _ : state) {
    const Word value = map.find(Keys()[i])->second;
    map.erase(Keys()[i]);
    map.emplace(Keys()[i], value);
    if (++i == nodes) i = 0;
  }
}
BENCHMARK(UnorderedMapRemoveAndInsert)->ArgName("nodes")->Arg(500)->Arg(5000)->Arg(50000);

// From nothing to 50,000 nodes, through all sizes, and back.
void HashFillAndDrain(benchmark::State& state) {
  for (auto _ : state) {
    const HashFunction functions[] = {Scramble};
    Hash* table = Hash_New(0, 1, functions, nullptr);
    for (size_t i = 0; i < kNodes; ++i) Hash_InsertNode(table, Keys()[i], i + 1);
    for (size_t i = 0; i < kNodes; ++i) Hash_RemoveNode(table, Keys()[i]);
    Hash_Delete(table);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(2 * kNodes));
}
BENCHMARK(HashFillAndDrain)->Unit(benchmark::kMillisecond);

void UnorderedMapFillAndDrain(benchmark::State& state) {
  for (auto _ : state) {
    std::unordered_map<Word, Word> map;
    for (size_t i = 0; i < kNodes; ++i) map.emplace(Keys()[i], i + 1);
    for (size_t i = 0; i < kNodes; ++i) map.erase(Keys()[i]);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(2 * kNodes));
}
BENCHMARK(UnorderedMapFillAndDrain)->Unit(benchmark::kMillisecond);

}  // namespace
