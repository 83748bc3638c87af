// One directory of a synchroniser with 1,000 to 100,000 entries: both listings entered into a new table, into
// the table of the last run, and the table written and read. The time per entry must not grow with their
// number.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "synchro/synchro_internal.h"

namespace {

const std::string& Folder() {
  static const std::string folder = [] {
    char name[] = "/tmp/qz-synchro-bench-XXXXXX";
    return std::string(mkdtemp(name));
  }();
  return folder;
}

std::string ListFile(int64_t count) {
  const std::string name = Folder() + "/list" + std::to_string(count);
  FILE* const file = fopen(name.c_str(), "w");
  for (int64_t i = 0; i < count; ++i)
    fprintf(file, "-rw-r--r--   1 owner group %d Jan  5 1997 09:03 photo-%07d.jpeg\r\n",
            1000 + static_cast<int>(i), static_cast<int>(i * 7919 % count));
  fclose(file);
  return name;
}

// A run's record, as far as a table needs it.
struct Run {
  Run() {
    iSynchro_HoldSyntaxes();
    synchro.flags = 3;
    synchro.masks = iSynchro_Masks(3);
  }
  ~Run() { iSynchro_ReleaseSyntaxes(); }
  Synchro synchro{};
};

void Update(Run* run, SynchroFrame* frame, const std::string& list) {
  const char* const lists[] = {list.c_str(), list.c_str()};
  if (iSynchro_UpdateFrame(&run->synchro, frame, lists) != 0) abort();
}

void BM_NewTable(benchmark::State& state) {
  const std::string list = ListFile(state.range(0));
  Run run;
  for (auto _ : state) {
    SynchroFrame frame;
    Update(&run, &frame, list);
    benchmark::DoNotOptimize(frame.entries.Count());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_KnownTable(benchmark::State& state) {
  const std::string list = ListFile(state.range(0));
  Run run;
  SynchroFrame frame;
  Update(&run, &frame, list);
  for (auto _ : state) Update(&run, &frame, list);
  const size_t before = mallinfo2().uordblks;
  SynchroFrame other;
  Update(&run, &other, list);
  state.counters["bytes_per_entry"] =
      static_cast<double>(mallinfo2().uordblks - before) / static_cast<double>(state.range(0));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_WriteTable(benchmark::State& state) {
  Run run;
  SynchroFrame frame;
  Update(&run, &frame, ListFile(state.range(0)));
  const std::string table = Folder() + "/table";
  for (auto _ : state) iSynchro_WriteTable(table.c_str(), frame.entries, iSynchro_IsRemembered);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_ReadTable(benchmark::State& state) {
  Run run;
  SynchroFrame frame;
  Update(&run, &frame, ListFile(state.range(0)));
  const std::string table = Folder() + "/table";
  iSynchro_WriteTable(table.c_str(), frame.entries, iSynchro_IsRemembered);
  for (auto _ : state) {
    SynchroEntries entries;
    bool isBad = false;
    iSynchro_ReadTable(table.c_str(), &entries, &isBad);
    if (entries.Count() != state.range(0)) abort();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_NewTable)->RangeMultiplier(10)->Range(1000, 100000);
BENCHMARK(BM_KnownTable)->RangeMultiplier(10)->Range(1000, 100000);
BENCHMARK(BM_WriteTable)->RangeMultiplier(10)->Range(1000, 100000);
BENCHMARK(BM_ReadTable)->RangeMultiplier(10)->Range(1000, 100000);

}  // namespace
