// Configuration files: reading and writing beside GLib's key files, and edits in small and large documents.
#include <benchmark/benchmark.h>
#include <glib.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "qz/config.h"

namespace {

constexpr int kManyLines = 100000;

// In memory where the system has such a folder: a run measures the libraries, not the disk.
std::string FileName() {
  return std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + "/qz-config-bench";
}

// A group of "key=value" lines, as both libraries read them.
void WriteFile(int lines) {
  FILE* file = fopen(FileName().c_str(), "w");
  if (file == nullptr) abort();
  fputs("[group]\n", file);
  for (int i = 0; i < lines; ++i) fprintf(file, "key%06d=value %d\n", (i * 7919) % lines, i);
  fclose(file);
}

int32_t IsGroup(uint32_t fieldCount, const char* const* fields) {
  return fieldCount == 1 && fields[0][0] == '[' ? 1 : 0;
}

ConfigSpec* NewSpec(bool isPadded, bool stripsComments) {
  ConfigSpec* spec = ConfigSpec_Start();
  ConfigSpec_SetStripComments(spec, stripsComments);
  ConfigSpec_SetMinFields(spec, 2);
  ConfigSpec_SetMaxFields(spec, 2);
  ConfigSpec_SetSectionMethod(spec, IsGroup);
  if (!isPadded) ConfigSpec_SetNotField(spec, nullptr);
  ConfigSpec_SetFieldDelimiter(spec, '=');
  ConfigSpec_End(spec);
  return spec;
}

Config* NewDocument(bool isPadded, bool stripsComments) {
  ConfigSpec* spec = NewSpec(isPadded, stripsComments);
  Config* config = Config_New(spec);
  ConfigSpec_Delete(spec);
  return config;
}

void Check(bool holds) {
  if (!holds) abort();
}

void ConfigReadWrite(benchmark::State& state) {
  WriteFile(kManyLines);
  const std::string name = FileName();
  for (auto _ : state) {
    Config* config = NewDocument(state.range(0) != 0, false);
    Check(Config_Read(config, name.c_str()) == 0);
    Check(Config_CountSectionLines(config, nullptr) == kManyLines);
    Check(Config_Write(config, (name + ".out").c_str()) == 0);
    Config_Delete(config);
  }
  remove((name + ".out").c_str());
  remove(name.c_str());
}
BENCHMARK(ConfigReadWrite)->ArgName("padded")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void KeyFileReadWrite(benchmark::State& state) {
  WriteFile(kManyLines);
  const std::string name = FileName();
  for (auto _ : state) {
    GKeyFile* file = g_key_file_new();
    Check(g_key_file_load_from_file(file, name.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr));
    Check(g_key_file_save_to_file(file, (name + ".out").c_str(), nullptr));
    g_key_file_free(file);
  }
  remove((name + ".out").c_str());
  remove(name.c_str());
}
BENCHMARK(KeyFileReadWrite)->Unit(benchmark::kMillisecond);

// ---- edits, in documents of 1,000 and of 100,000 lines ------------------------------------------

class Document {
 public:
  explicit Document(benchmark::State& state)
      : lines_(static_cast<int>(state.range(0))), config_(NewDocument(false, true)) {
    WriteFile(lines_);
    Check(Config_Read(config_, FileName().c_str()) == 0);
    remove(FileName().c_str());
  }
  ~Document() { Config_Delete(config_); }

  Config* get() const { return config_; }
  // A key of the document, scattered over it.
  const char* NextKey() {
    number_ = (number_ + 7919) % lines_;
    snprintf(key_, sizeof key_, "key%06d", number_);
    return key_;
  }

 private:
  int lines_;
  Config* config_;
  int number_ = 0;
  char key_[32];
};

void ConfigFindLine(benchmark::State& state) {
  Document document(state);
  for (auto _ : state) benchmark::DoNotOptimize(Config_FindLine(document.get(), nullptr, document.NextKey()));
}
BENCHMARK(ConfigFindLine)->ArgName("lines")->Arg(1000)->Arg(kManyLines);

// Replacing leaves a comment behind; the documents strip comments, so that they stay as large as they are.
void ConfigPrintReplacing(benchmark::State& state) {
  Document document(state);
  std::string text;
  for (auto _ : state) {
    text.assign(document.NextKey()).append("=another value");
    Check(Config_Print(document.get(), nullptr, text.c_str(), nullptr) == 0);
  }
}
BENCHMARK(ConfigPrintReplacing)->ArgName("lines")->Arg(1000)->Arg(kManyLines);

void ConfigRemoveAndAdd(benchmark::State& state) {
  Document document(state);
  std::string text;
  for (auto _ : state) {
    const char* const key = document.NextKey();
    text.assign(key).append("=another value");
    Config_RemoveLine(document.get(), Config_FindLine(document.get(), nullptr, key));
    Check(Config_Print(document.get(), nullptr, text.c_str(), nullptr) == 0);
  }
}
BENCHMARK(ConfigRemoveAndAdd)->ArgName("lines")->Arg(1000)->Arg(kManyLines);

}  // namespace
