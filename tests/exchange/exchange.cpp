// Writes one file of each stored format into the current folder, or reads them there and checks every value:
//
//   exchange write      exchange read
//
// Built for both platforms, so that each can read what the other has written (exchange_test.py). A further
// format is a further row of kFormats. Files whose names end in ".conf" are text, with the system's line
// ends.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>

#include "net/urllist_internal.h"
#include "qz/config.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/memory.h"
#include "qz/traverse.h"
#include "synchro/synchro_table_internal.h"
#include "transfer/serverlist_internal.h"

namespace {

int g_failures = 0;

void Check(bool isRight, const char* what) {
  if (isRight) return;
  printf("wrong: %s\n", what);
  ++g_failures;
}

void CheckStatus(ErrorCode status, const char* what) {
  if (status == Error_None) return;
  printf("status %d: %s\n", static_cast<int>(status), what);
  ++g_failures;
}

void CheckText(const char* text, const char* expected, const char* what) {
  Check(expected == nullptr ? text == nullptr : text != nullptr && strcmp(text, expected) == 0, what);
}

// ---- record files ----------------------------------------------------------------------------------

enum class Order { Little, Network };

// A context over a record file. For network order the file is opened first.
Traverse* OpenRecord(const char* name, uint32_t mode, Order order) {
  Traverse* traverse = nullptr;
  if (order == Order::Little) {
    CheckStatus(File_OpenTraverse(name, mode, nullptr, &traverse), name);
    return traverse;
  }
  File* file = nullptr;
  CheckStatus(File_Open(name, mode, &file), name);
  return file != nullptr ? Traverse_New(1, File_GetStream(file)) : nullptr;
}

void WriteRecord(const char* name, Order order, TraverseDescribe describe, void* record) {
  Traverse* traverse = OpenRecord(name, FileMode_Write, order);
  CheckStatus(Traverse_DataWrite(traverse, describe, record), name);
  Traverse_Delete(traverse);
}

// Whether the record was read, with nothing behind it.
bool ReadRecord(const char* name, Order order, TraverseDescribe describe, void* record) {
  Traverse* traverse = OpenRecord(name, FileMode_Read, order);
  const ErrorCode status = Traverse_DataRead(traverse, describe, record);
  CheckStatus(status, name);
  char further;
  Check(traverse == nullptr || Stream_Read(Traverse_GetStream(traverse), 1, &further) == 0,
        "the record's end");
  Traverse_Delete(traverse);
  return status == Error_None;
}

char* NewText(const char* text) {
  auto* copy = static_cast<char*>(Memory_New(strlen(text) + 1));
  return copy != nullptr ? strcpy(copy, text) : nullptr;
}

// ---- numbers: each type alone, in a fixed array, counted in a buffer and counted in a block ------------

template <typename Value>
struct NumberMembers {
  Value single;
  Value fixed[3];
  uint32_t bufferCount;
  Value buffer[4];
  uint32_t blockCount;
  Value* block;
};

template <typename Value>
struct NumberType {
  const char* name;
  ErrorCode (*single)(Traverse* traverse, Value* value);
  ErrorCode (*fixed)(Traverse* traverse, uint32_t count, Value* array);
  ErrorCode (*buffer)(Traverse* traverse, uint32_t capacity, uint32_t* count, Value* buffer);
  ErrorCode (*block)(Traverse* traverse, uint32_t* count, Value** array);
  Value values[3];
};

constexpr NumberType<int8_t> kInt8 = {"int8",         Traverse_Int8,  Traverse_NInt8,
                                      Traverse_FInt8, Traverse_BInt8, {-128, -2, 127}};
constexpr NumberType<int16_t> kInt16 = {"int16",         Traverse_Int16,  Traverse_NInt16,
                                        Traverse_FInt16, Traverse_BInt16, {-32768, -2, 12345}};
constexpr NumberType<int32_t> kInt32 = {"int32",         Traverse_Int32,  Traverse_NInt32,
                                        Traverse_FInt32, Traverse_BInt32, {-2147483647, -2, 305419896}};
constexpr NumberType<uint8_t> kUns8 = {"uns8",         Traverse_Uns8,  Traverse_NUns8,
                                       Traverse_FUns8, Traverse_BUns8, {1, 200, 255}};
constexpr NumberType<uint16_t> kUns16 = {"uns16",         Traverse_Uns16,  Traverse_NUns16,
                                         Traverse_FUns16, Traverse_BUns16, {1, 4660, 65534}};
constexpr NumberType<uint32_t> kUns32 = {"uns32",         Traverse_Uns32,  Traverse_NUns32,
                                         Traverse_FUns32, Traverse_BUns32, {1, 305419896, 4294967294u}};
constexpr NumberType<float> kFloat32 = {"float32",         Traverse_Float32,  Traverse_NFloat32,
                                        Traverse_FFloat32, Traverse_BFloat32, {1.5f, -0.1f, 3e38f}};
constexpr NumberType<double> kFloat64 = {"float64",         Traverse_Float64,  Traverse_NFloat64,
                                         Traverse_FFloat64, Traverse_BFloat64, {-2.25, 0.1, 1e300}};

template <typename Value>
void DescribeNumber(Traverse* traverse, const NumberType<Value>& type, NumberMembers<Value>& members) {
  type.single(traverse, &members.single);
  type.fixed(traverse, 3, members.fixed);
  type.buffer(traverse, 4, &members.bufferCount, members.buffer);
  type.block(traverse, &members.blockCount, &members.block);
}

template <typename Value>
void FillNumber(const NumberType<Value>& type, NumberMembers<Value>& members) {
  members.single = type.values[1];
  std::copy(std::begin(type.values), std::end(type.values), members.fixed);
  members.bufferCount = 3;
  std::copy(std::begin(type.values), std::end(type.values), members.buffer);
  members.blockCount = 3;
  members.block = static_cast<Value*>(Memory_New(sizeof type.values));
  std::copy(std::begin(type.values), std::end(type.values), members.block);
}

template <typename Value>
void CheckNumber(const NumberType<Value>& type, const NumberMembers<Value>& members) {
  Check(members.single == type.values[1], type.name);
  Check(memcmp(members.fixed, type.values, sizeof type.values) == 0, type.name);
  Check(members.bufferCount == 3 && memcmp(members.buffer, type.values, sizeof type.values) == 0, type.name);
  Check(members.blockCount == 3 && memcmp(members.block, type.values, sizeof type.values) == 0, type.name);
}

constexpr uint32_t kNumbersTag = 0x626D756E;  // "numb"

struct Numbers {
  uint32_t tag;
  uint32_t version;
  NumberMembers<int8_t> int8;
  NumberMembers<int16_t> int16;
  NumberMembers<int32_t> int32;
  NumberMembers<uint8_t> uns8;
  NumberMembers<uint16_t> uns16;
  NumberMembers<uint32_t> uns32;
  NumberMembers<float> float32;
  NumberMembers<double> float64;
};

void DescribeNumbers(Traverse* traverse, void* argument) {
  auto& record = *static_cast<Numbers*>(argument);
  Traverse_Tag(traverse, kNumbersTag, &record.tag);
  Traverse_Version(traverse, 3, &record.version);
  DescribeNumber(traverse, kInt8, record.int8);
  DescribeNumber(traverse, kInt16, record.int16);
  DescribeNumber(traverse, kInt32, record.int32);
  DescribeNumber(traverse, kUns8, record.uns8);
  DescribeNumber(traverse, kUns16, record.uns16);
  DescribeNumber(traverse, kUns32, record.uns32);
  DescribeNumber(traverse, kFloat32, record.float32);
  DescribeNumber(traverse, kFloat64, record.float64);
}

void WriteNumbers(const char* name, Order order) {
  Numbers record = {};
  record.version = 3;
  FillNumber(kInt8, record.int8);
  FillNumber(kInt16, record.int16);
  FillNumber(kInt32, record.int32);
  FillNumber(kUns8, record.uns8);
  FillNumber(kUns16, record.uns16);
  FillNumber(kUns32, record.uns32);
  FillNumber(kFloat32, record.float32);
  FillNumber(kFloat64, record.float64);
  WriteRecord(name, order, DescribeNumbers, &record);
  Traverse_DataDelete(nullptr, DescribeNumbers, &record);
}

void ReadNumbers(const char* name, Order order) {
  Numbers record;
  Traverse_DataInit(nullptr, DescribeNumbers, &record);
  if (!ReadRecord(name, order, DescribeNumbers, &record)) return;
  Check(record.tag == kNumbersTag && record.version == 3, "tag and version");
  CheckNumber(kInt8, record.int8);
  CheckNumber(kInt16, record.int16);
  CheckNumber(kInt32, record.int32);
  CheckNumber(kUns8, record.uns8);
  CheckNumber(kUns16, record.uns16);
  CheckNumber(kUns32, record.uns32);
  CheckNumber(kFloat32, record.float32);
  CheckNumber(kFloat64, record.float64);
  Traverse_DataDelete(nullptr, DescribeNumbers, &record);
}

// ---- texts, bytes, blocks and composed fields ----------------------------------------------------------

struct Texts {
  Order order;
  char text[16 + 1];
  char empty[16 + 1];
  char* allocated;
  char* none;
  uint32_t arrayCount;
  char* array[3];
  uint32_t listCount;
  char** list;
  uint8_t raw[3];
  int32_t isOn;
  int32_t isOff;
  Time time;
  FileState state;
  void* part;
  void* object;
};

// In network order a reader takes the count of a list of texts for another one: the count is written in
// little-endian order all the same. Here the bytes are read one by one.
void ReadTextsByHand(Traverse* traverse, uint32_t* count, char** texts) {
  uint8_t bytes[4] = {};
  Traverse_Raw(traverse, 4, bytes);
  *count = bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<uint32_t>(bytes[3]) << 24;
  for (uint32_t i = 0; i < *count && i < 2; ++i) Traverse_BString(traverse, &texts[i]);
}

void DescribeLists(Traverse* traverse, Texts& record) {
  if (record.order == Order::Little || Traverse_GetMode(traverse) != TraverseMode_Read) {
    Traverse_FBString(traverse, 3, &record.arrayCount, record.array);
    Traverse_BBString(traverse, &record.listCount, &record.list);
    return;
  }
  ReadTextsByHand(traverse, &record.arrayCount, record.array);
  record.list = static_cast<char**>(Memory_New(2 * sizeof(char*)));
  record.list[0] = record.list[1] = nullptr;
  ReadTextsByHand(traverse, &record.listCount, record.list);
}

void DescribeTexts(Traverse* traverse, void* argument) {
  auto& record = *static_cast<Texts*>(argument);
  Traverse_String(traverse, 16, record.text);
  Traverse_String(traverse, 16, record.empty);
  Traverse_BString(traverse, &record.allocated);
  Traverse_BString(traverse, &record.none);
  DescribeLists(traverse, record);
  Traverse_Raw(traverse, 3, record.raw);
  Traverse_Bool(traverse, &record.isOn);
  Traverse_Bool(traverse, &record.isOff);
  Traverse_Validate(traverse, 1);
  Traverse_Time(traverse, &record.time);
  Traverse_FileState(traverse, &record.state);
  Traverse_ObjectPtr(traverse, nullptr, &record.object);
  Traverse_MemoryStart(traverse, sizeof(uint16_t), &record.part);
  if (record.part != nullptr) Traverse_Uns16(traverse, static_cast<uint16_t*>(record.part));
  Traverse_MemoryEnd(traverse, &record.part);
}

void WriteTexts(const char* name, Order order) {
  Texts record = {};
  record.order = order;
  strcpy(record.text, "d\xC3\xA9j\xC3\xA0 vu\r\n");
  record.allocated = NewText("allocated");
  record.arrayCount = 2;
  record.array[0] = NewText("first");
  record.listCount = 2;
  record.list = static_cast<char**>(Memory_New(2 * sizeof(char*)));
  record.list[0] = NewText("");
  record.list[1] = NewText("second");
  memcpy(record.raw, "\x1A\r\n", 3);
  record.isOn = 5;
  record.time = {1000000000, 500};
  record.state = {1, 0, 4096, {1234567890, 7}};
  record.part = Memory_New(sizeof(uint16_t));
  *static_cast<uint16_t*>(record.part) = 4660;
  WriteRecord(name, order, DescribeTexts, &record);
  Traverse_DataDelete(nullptr, DescribeTexts, &record);
}

void CheckTexts(const Texts& record) {
  CheckText(record.text, "d\xC3\xA9j\xC3\xA0 vu\r\n", "text");
  CheckText(record.empty, "", "empty text");
  CheckText(record.allocated, "allocated", "allocated text");
  CheckText(record.none, nullptr, "no text");
  Check(record.arrayCount == 2, "count of the array");
  CheckText(record.array[0], "first", "array");
  CheckText(record.array[1], nullptr, "array");
  Check(record.listCount == 2, "count of the list");
  CheckText(record.list[0], "", "list");
  CheckText(record.list[1], "second", "list");
  Check(memcmp(record.raw, "\x1A\r\n", 3) == 0, "raw bytes");
  Check(record.isOn == 1 && record.isOff == 0, "flags");
  Check(record.time.seconds == 1000000000 && record.time.milliseconds == 500, "time");
  Check(record.state.exists == 1 && record.state.isDirectory == 0 && record.state.size == 4096, "file state");
  Check(record.state.modificationTime.seconds == 1234567890, "time of the file state");
  Check(record.state.modificationTime.milliseconds == 7, "milliseconds of the file state");
  Check(record.part != nullptr && *static_cast<uint16_t*>(record.part) == 4660, "block");
}

void ReadTexts(const char* name, Order order) {
  Texts record = {};
  record.order = order;
  Traverse_DataInit(nullptr, DescribeTexts, &record);
  if (!ReadRecord(name, order, DescribeTexts, &record)) return;
  CheckTexts(record);
  Traverse_DataDelete(nullptr, DescribeTexts, &record);
}

// ---- server lists ----------------------------------------------------------------------------------

constexpr uint32_t kServersTag = 0x73787276;  // "vrxs"

void WriteServers(const char* name, Order order) {
  URLList list = {};
  URLListGroup* group = iURLList_NewGroup(&list);
  CheckStatus(iURLList_Add(group, 1, "ftp://user:pw@host:2121/dir/file;http://b/x%20y"), name);
  group = iURLList_NewGroup(&list);
  CheckStatus(iURLList_Add(group, 0x80000000, "file:///c:/x"), name);
  Traverse* traverse = OpenRecord(name, FileMode_Write, order);
  CheckStatus(iURLList_Write(traverse, &list), name);
  Traverse_Delete(traverse);
  iURLList_Delete(&list);
}

void CheckNumberField(Traverse* traverse, uint32_t expected, const char* what) {
  uint32_t number = 0;
  Traverse_Uns32(traverse, &number);
  Check(number == expected, what);
}

void CheckServer(Traverse* traverse, uint32_t flags, const char* url) {
  char text[1024 + 1] = {};
  CheckNumberField(traverse, flags, "flags");
  Traverse_String(traverse, 1024, text);
  CheckText(text, url, "URL");
}

// The library reads lists in another layout than it writes, so here are the fields one by one.
void ReadServers(const char* name, Order order) {
  Traverse* traverse = OpenRecord(name, FileMode_Read, order);
  Traverse_SetMode(traverse, TraverseMode_Read);
  CheckNumberField(traverse, kServersTag, "tag");
  CheckNumberField(traverse, 2, "version");
  CheckNumberField(traverse, 2, "groups");
  CheckNumberField(traverse, 2, "URLs of the first group");
  CheckServer(traverse, 1, "ftp://user:pw@host:2121/dir/file");
  CheckServer(traverse, 1, "http://b/x%20y");
  CheckNumberField(traverse, 1, "URLs of the second group");
  CheckServer(traverse, 0x80000000, "file:///c%3A/x");
  CheckStatus(Traverse_GetError(traverse), name);
  Traverse_Delete(traverse);
}

void WriteServer(Traverse* traverse, uint32_t flags, char* urls) {
  Traverse_Uns32(traverse, &flags);
  Traverse_String(traverse, 1024, urls);
}

void DescribeReadableServers(Traverse* traverse, void*) {
  uint32_t numbers[] = {kServersTag, 2, 1, 1};  // tag, version, groups, entries after the first
  Traverse_NUns32(traverse, 4, numbers);
  char first[] = "ftp://user:pw@host:2121/dir/file; http://b/x%20y";
  WriteServer(traverse, 3, first);
  char second[] = "file:///c:/x";
  WriteServer(traverse, 2, second);
}

void WriteReadableServers(const char* name, Order order) {
  WriteRecord(name, order, DescribeReadableServers, nullptr);
}

void CheckURL(const URLListEntry* entry, uint32_t flags, const char* protocol, const char* host, int32_t port,
              const char* path) {
  Check(entry->flags == flags, "flags");
  CheckText(entry->url.protocol, protocol, "protocol");
  CheckText(entry->url.host, host, "host");
  Check(entry->url.port == port, "port");
  CheckText(entry->url.path, path, "path");
}

void ReadReadableServers(const char* name, Order order) {
  Traverse* traverse = OpenRecord(name, FileMode_Read, order);
  URLList list = {};
  CheckStatus(iURLList_Read(traverse, &list), name);
  Check(list.count == 1 && list.first->count == 3, "number of URLs");
  if (list.count == 1 && list.first->count == 3) {
    const URLListGroup* group = list.first;
    Check(group->anyFlags == 3 && group->allFlags == 2, "combined flags");
    CheckURL(group->first, 3, "ftp", "host", 2121, "/dir/file");
    CheckText(group->first->url.user, "user", "user");
    CheckText(group->first->url.password, "pw", "password");
    CheckURL(group->first->next, 3, "http", "b", 80, "/x y");
    CheckURL(group->last, 2, "file", nullptr, 0, "/c:/x");
  }
  iURLList_Delete(&list);
  Traverse_Delete(traverse);
}

// ---- servers of a transfer -------------------------------------------------------------------------

void DescribeTransferServers(Traverse* traverse, void* list) {
  iServerList_Describe(traverse, static_cast<ServerList*>(list), false);
}

void WriteTransferServers(const char* name, Order order) {
  ServerList list = {};
  bool isAdded = false;
  CheckStatus(iServerList_New("ftp://user:pw@host:2121/dir/file", &list), name);
  CheckStatus(iServerList_Add(&list, "http://b/x%20y", &isAdded), name);
  list.first->isFailed = true;
  WriteRecord(name, order, DescribeTransferServers, &list);
  iServerList_Delete(&list);
}

void ReadTransferServers(const char* name, Order order) {
  ServerList list = {};
  ReadRecord(name, order, DescribeTransferServers, &list);
  Check(list.count == 2, "number of servers");
  if (list.count == 2) {
    Check(list.first->isFailed && !list.last->isFailed, "marks");
    CheckText(list.first->url->user, "user", "user");
    CheckText(list.first->url->path, "/dir/file", "path");
    CheckText(list.last->url->host, "b", "host");
    CheckText(list.last->url->path, "/x y", "path");
  }
  iServerList_Delete(&list);
}

// ---- configuration files ---------------------------------------------------------------------------

Config* NewSettings() {
  ConfigSpec* spec = ConfigSpec_Start();
  ConfigSpec_SetMinFields(spec, 2);
  ConfigSpec_SetMaxFields(spec, 2);
  ConfigSpec_End(spec);
  Config* config = Config_New(spec);
  ConfigSpec_Delete(spec);
  return config;
}

constexpr const char* kSettings[] = {"# Settings", "timeout 30", "", "host\tserver.example # the first one",
                                     "d\xC3\xA9j\xC3\xA0 vu"};

void WriteSettings(const char* name, Order) {
  Config* config = NewSettings();
  for (const char* line : kSettings) CheckStatus(Config_Print(config, nullptr, line, nullptr), line);
  CheckStatus(Config_Write(config, name), name);
  Config_Delete(config);
}

void CheckSetting(Config* config, const char* key, const char* value, const char* comment) {
  const ConfigLine* line = Config_FindLine(config, nullptr, key);
  Check(line != nullptr, key);
  if (line == nullptr) return;
  Check(Config_CountFields(config, line) == 2, "number of fields");
  CheckText(Config_GetFields(config, line)[1], value, key);
  CheckText(Config_GetComment(config, line), comment, "comment");
}

void ReadSettings(const char* name, Order) {
  Config* config = NewSettings();
  CheckStatus(Config_Read(config, name), name);
  Check(Config_CountSectionLines(config, nullptr) == 3, "number of lines");
  CheckSetting(config, "timeout", "30", nullptr);
  CheckSetting(config, "host", "server.example", " the first one");
  CheckSetting(config, "d\xC3\xA9j\xC3\xA0", "vu", nullptr);
  Config_Delete(config);
}

// ---- tables of a synchroniser ------------------------------------------------------------------------

constexpr SynchroEntry kTableEntries[] = {
    {nullptr, 2, 0, {{1, 0, 4294967295u, {852454980, 0}}, {0, 0, 7, {4294967295u, 999}}}},
    {nullptr, 0, 0, {{1, 1, 3, {0, 0}}, {1, 1, 2, {852454980, 0}}}},
};
constexpr const char* kTableNames[] = {"d\xC3\xA9j\xC3\xA0.txt", "sub"};

void WriteSynchroTable(const char* name, Order) {
  SynchroEntries entries;
  CheckStatus(iSynchro_HoldSyntaxes(), "syntaxes");
  for (size_t i = 0; i < std::size(kTableEntries); ++i) {
    SynchroEntry* const entry = entries.Add(kTableNames[i]);
    Check(entry != nullptr, "entry");
    if (entry == nullptr) return;
    entry->state = kTableEntries[i].state;
    memcpy(entry->sides, kTableEntries[i].sides, sizeof entry->sides);
  }
  CheckStatus(iSynchro_WriteTable(name, entries, iSynchro_IsRemembered), name);
  iSynchro_ReleaseSyntaxes();
}

void ReadSynchroTable(const char* name, Order) {
  SynchroEntries entries;
  bool isBad = true;
  CheckStatus(iSynchro_HoldSyntaxes(), "syntaxes");
  CheckStatus(iSynchro_ReadTable(name, &entries, &isBad), name);
  Check(!isBad && entries.Count() == std::size(kTableEntries), "number of entries");
  for (size_t i = 0; i < std::size(kTableEntries) && i < entries.Count(); ++i) {
    CheckText(entries.At(static_cast<uint32_t>(i)).name, kTableNames[i], "name");
    const SynchroEntry& entry = entries.At(static_cast<uint32_t>(i));
    Check(entry.state == kTableEntries[i].state, "state");
    Check(memcmp(entry.sides, kTableEntries[i].sides, sizeof entry.sides) == 0, "values of the sides");
  }
  iSynchro_ReleaseSyntaxes();
}

// ---- all of them -----------------------------------------------------------------------------------

struct Format {
  const char* file;
  Order order;
  void (*write)(const char* name, Order order);
  void (*read)(const char* name, Order order);
};

constexpr Format kFormats[] = {
    {"numbers-little", Order::Little, WriteNumbers, ReadNumbers},
    {"numbers-network", Order::Network, WriteNumbers, ReadNumbers},
    {"texts-little", Order::Little, WriteTexts, ReadTexts},
    {"texts-network", Order::Network, WriteTexts, ReadTexts},
    {"servers-little", Order::Little, WriteServers, ReadServers},
    {"servers-network", Order::Network, WriteServers, ReadServers},
    {"readable-servers-little", Order::Little, WriteReadableServers, ReadReadableServers},
    {"readable-servers-network", Order::Network, WriteReadableServers, ReadReadableServers},
    {"transfer-servers-little", Order::Little, WriteTransferServers, ReadTransferServers},
    {"transfer-servers-network", Order::Network, WriteTransferServers, ReadTransferServers},
    {"settings.conf", Order::Little, WriteSettings, ReadSettings},
    {"synchro.conf", Order::Little, WriteSynchroTable, ReadSynchroTable},
};

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc == 2 ? argv[1] : "";
  if (command != "write" && command != "read") {
    fputs("usage: exchange write|read\n", stderr);
    return 2;
  }
  for (const Format& format : kFormats) {
    printf("%s\n", format.file);
    (command == "write" ? format.write : format.read)(format.file, format.order);
  }
  return g_failures == 0 ? 0 : 1;
}
