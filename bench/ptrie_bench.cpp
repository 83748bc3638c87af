// PTrie beside std::map and the Judy string array, 100,000 words.
#include <Judy.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "qz/ptrie.h"

namespace {

constexpr size_t kWords = 100000;

// Made of syllables, so that they share prefixes as names do; distinct, in random order.
const std::vector<std::string>& Words() {
  static const std::vector<std::string> words = [] {
    const char* const syllables[] = {"an", "ber", "con", "de",  "er", "fa",  "gra", "hi",  "in",  "jo", "ka",
                                     "le", "mo",  "net", "or",  "pa", "qui", "re",  "ser", "ti",  "un", "ver",
                                     "wo", "xa",  "yo",  "zin", "al", "est", "ing", "ion", "ous", "ty"};
    std::mt19937 random(7);
    std::set<std::string> made;
    while (made.size() < kWords) {
      std::string word;
      for (uint32_t count = 2 + random() % 4; count > 0; --count) word += syllables[random() % 32];
      made.insert(word);
    }
    std::vector<std::string> shuffled(made.begin(), made.end());
    std::shuffle(shuffled.begin(), shuffled.end(), random);
    return shuffled;
  }();
  return words;
}

void* Value(size_t i) {
  return reinterpret_cast<void*>(i + 1);
}

PTrie* NewTrie() {
  PTrie* trie = PTrie_New(nullptr);
  for (size_t i = 0; i < kWords; ++i) {
    PTrie_InsertElement(trie, Words()[i].data(), static_cast<uint16_t>(Words()[i].size()), Value(i));
  }
  return trie;
}

Pvoid_t NewJudy() {
  Pvoid_t judy = nullptr;
  for (size_t i = 0; i < kWords; ++i) {
    auto** value = JudySLIns(&judy, reinterpret_cast<const uint8_t*>(Words()[i].c_str()), nullptr);
    *value = Value(i);
  }
  return judy;
}

void PTrieFind(benchmark::State& state) {
  PTrie* trie = NewTrie();
  size_t i = 0;
  for (auto _ : state) {
    void* value = nullptr;
    PTrie_FindElement(trie, Words()[i].data(), static_cast<uint16_t>(Words()[i].size()), &value);
    benchmark::DoNotOptimize(value);
    if (++i == kWords) i = 0;
  }
  PTrie_Delete(trie);
}
BENCHMARK(PTrieFind);

void MapFind(benchmark::State& state) {
  std::map<std::string, void*> map;
  for (size_t i = 0; i < kWords; ++i) map.emplace(Words()[i], Value(i));
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(Words()[i])->second);
    if (++i == kWords) i = 0;
  }
}
BENCHMARK(MapFind);

void JudyFind(benchmark::State& state) {
  Pvoid_t judy = NewJudy();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(JudySLGet(judy, reinterpret_cast<const uint8_t*>(Words()[i].c_str()), nullptr));
    if (++i == kWords) i = 0;
  }
  JudySLFreeArray(&judy, nullptr);
}
BENCHMARK(JudyFind);

void PTrieBuild(benchmark::State& state) {
  for (auto _ : state) PTrie_Delete(NewTrie());
}
BENCHMARK(PTrieBuild)->Unit(benchmark::kMillisecond);

void MapBuild(benchmark::State& state) {
  for (auto _ : state) {
    std::map<std::string, void*> map;
    for (size_t i = 0; i < kWords; ++i) map.emplace(Words()[i], Value(i));
    benchmark::DoNotOptimize(map);
  }
}
BENCHMARK(MapBuild)->Unit(benchmark::kMillisecond);

void JudyBuild(benchmark::State& state) {
  for (auto _ : state) {
    Pvoid_t judy = NewJudy();
    JudySLFreeArray(&judy, nullptr);
  }
}
BENCHMARK(JudyBuild)->Unit(benchmark::kMillisecond);

// All words in order: the trie looks for the next key anew at every step, so that it may be changed
// meanwhile.
void PTrieIterate(benchmark::State& state) {
  PTrie* trie = NewTrie();
  for (auto _ : state) {
    uint8_t key[64];
    PTrieState position{key, sizeof key, 0, nullptr, 0};
    while (PTrie_Iterate(trie, nullptr, 0, &position) == 1) benchmark::DoNotOptimize(position.value);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kWords));
  PTrie_Delete(trie);
}
BENCHMARK(PTrieIterate)->Unit(benchmark::kMillisecond);

void JudyIterate(benchmark::State& state) {
  Pvoid_t judy = NewJudy();
  for (auto _ : state) {
    uint8_t key[64] = "";
    for (auto** value = JudySLFirst(judy, key, nullptr); value != nullptr;
         value = JudySLNext(judy, key, nullptr)) {
      benchmark::DoNotOptimize(*value);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kWords));
  JudySLFreeArray(&judy, nullptr);
}
BENCHMARK(JudyIterate)->Unit(benchmark::kMillisecond);

}  // namespace
