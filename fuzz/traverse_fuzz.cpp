// Every kind of field read from arbitrary bytes in both byte orders, and records written and read back, each
// beside a plain model of the bytes.
//
// Input: byte 0 is the byte order (1), what is done (2: write and read back, else read) and, for reading,
// whether something fails on the way (4). Then, to read: pairs of a field and its capacity until a field of
// 0, the rest is the stream; when something fails, two bytes before that say what. To write: a field, a size
// and contents for each field.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "os/core/memory_testing.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "qz/traverse.h"
#include "tests/support/test_stream.h"
#include "traverse/traverse_internal.h"

// A count that promises gigabytes is answered with "out of memory", as small machines answer it.
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=64";
}

namespace {

void Require(bool condition) {
  if (!condition) abort();
}

constexpr uint32_t kLargestCapacity = 8;

enum Kind : uint8_t {
  Single8 = 1,
  Single16,
  Single32,
  Single64,
  Fixed16,
  Counted8,
  Counted16,
  Counted32,
  Counted64,
  Allocated8,
  Allocated16,
  Allocated32,
  Allocated64,
  Text,
  BText,
  FBText,
  BBText,
  RawBytes,
  Flag,
  Moment,
  State,
  Tag,
  Version,
  Memory,
  Fixed8,
  Fixed32,
  Fixed64,
  kKinds
};

// A member of a record, of any kind.
struct Member {
  uint8_t kind = 0;
  uint32_t capacity = 0;
  uint32_t number = 0;
  uint64_t room[kLargestCapacity + 1] = {};
  uint32_t count = 0;
  uint8_t* bytes = nullptr;
  uint16_t* shorts = nullptr;
  uint32_t* words = nullptr;
  double* doubles = nullptr;
  char* text = nullptr;
  char* texts[kLargestCapacity + 1] = {};
  char** list = nullptr;
  int32_t flag = 0;
  Time time = {};
  FileState state = {};
  void* memory = nullptr;
};

template <typename Value>
Value* Room(Member& member) {
  return reinterpret_cast<Value*>(member.room);
}

void DescribeMember(Traverse* traverse, Member& m) {
  switch (m.kind) {
    case Single8:
      Traverse_Uns8(traverse, Room<uint8_t>(m));
      break;
    case Single16:
      Traverse_Int16(traverse, Room<int16_t>(m));
      break;
    case Single32:
      Traverse_Float32(traverse, Room<float>(m));
      break;
    case Single64:
      Traverse_Float64(traverse, Room<double>(m));
      break;
    case Fixed16:
      Traverse_NUns16(traverse, m.capacity, Room<uint16_t>(m));
      break;
    case Fixed8:
      Traverse_NInt8(traverse, m.capacity, Room<int8_t>(m));
      break;
    case Fixed32:
      Traverse_NFloat32(traverse, m.capacity, Room<float>(m));
      break;
    case Fixed64:
      Traverse_NFloat64(traverse, m.capacity, Room<double>(m));
      break;
    case Counted8:
      Traverse_FInt8(traverse, m.capacity, &m.count, Room<int8_t>(m));
      break;
    case Counted16:
      Traverse_FUns16(traverse, m.capacity, &m.count, Room<uint16_t>(m));
      break;
    case Counted32:
      Traverse_FUns32(traverse, m.capacity, &m.count, Room<uint32_t>(m));
      break;
    case Counted64:
      Traverse_FFloat64(traverse, m.capacity, &m.count, Room<double>(m));
      break;
    case Allocated8:
      Traverse_BUns8(traverse, &m.count, &m.bytes);
      break;
    case Allocated16:
      Traverse_BUns16(traverse, &m.count, &m.shorts);
      break;
    case Allocated32:
      Traverse_BUns32(traverse, &m.count, &m.words);
      break;
    case Allocated64:
      Traverse_BFloat64(traverse, &m.count, &m.doubles);
      break;
    case Text:
      Traverse_String(traverse, m.capacity, Room<char>(m));
      break;
    case BText:
      Traverse_BString(traverse, &m.text);
      break;
    case FBText:
      Traverse_FBString(traverse, m.capacity, &m.count, m.texts);
      break;
    case BBText:
      Traverse_BBString(traverse, &m.count, &m.list);
      break;
    case RawBytes:
      Traverse_Raw(traverse, m.capacity, Room<uint8_t>(m));
      break;
    case Flag:
      Traverse_Bool(traverse, &m.flag);
      break;
    case Moment:
      Traverse_Time(traverse, &m.time);
      break;
    case State:
      Traverse_FileState(traverse, &m.state);
      break;
    case Tag:
      Traverse_Tag(traverse, 0x7A75657A, &m.number);
      break;
    case Version:
      Traverse_Version(traverse, 9, &m.number);
      break;
    case Memory:
      Traverse_MemoryStart(traverse, m.capacity, &m.memory);
      Traverse_MemoryEnd(traverse, &m.memory);
      break;
    default:
      break;
  }
}

struct Record {
  std::vector<Member> members;

  static void Describe(Traverse* traverse, void* argument) {
    for (Member& member : static_cast<Record*>(argument)->members) DescribeMember(traverse, member);
  }
  // Capacities and kinds alone, everything else as after Init.
  Record Empty() const {
    Record record;
    for (const Member& member : members) {
      record.members.emplace_back();
      record.members.back().kind = member.kind;
      record.members.back().capacity = member.capacity;
    }
    Require(Traverse_DataInit(nullptr, Describe, &record) == Error_None);
    return record;
  }
};

class Context {
 public:
  Context(const std::string& bytes, bool isNetwork)
      : stream_(bytes), traverse_(Traverse_New(isNetwork ? 1 : 0, stream_.stream())) {}
  ~Context() { Traverse_Delete(traverse_); }
  Traverse* traverse() { return traverse_; }
  TestStream& stream() { return stream_; }

 private:
  TestStream stream_;
  Traverse* traverse_;
};

// ---- a model of reading: what is taken from the bytes, and with which status ------------------------

class ReadingModel {
 public:
  ReadingModel(std::string bytes, bool isNetwork) : bytes_(std::move(bytes)), isNetwork_(isNetwork) {}

  size_t position() const { return position_; }
  ErrorCode error() const { return error_; }

  void Read(const Member& m) {
    if (error_ != Error_None && error_ != Error_Exceed) return;
    const uint32_t widths[] = {1, 2, 4, 8};
    if (m.kind >= Single8 && m.kind <= Single64) return Set(Take(widths[m.kind - Single8]));
    if (m.kind == Fixed8) return Set(Take(m.capacity));
    if (m.kind == Fixed16) return Set(Take(m.capacity * 2));
    if (m.kind == Fixed32) return Set(Take(m.capacity * 4));
    if (m.kind == Fixed64) return Set(Take(m.capacity * 8));
    if (m.kind >= Counted8 && m.kind <= Counted64) return Counted(m.capacity, widths[m.kind - Counted8]);
    if (m.kind >= Allocated8 && m.kind <= Allocated64) return Allocated(widths[m.kind - Allocated8]);
    if (m.kind == Text) return Counted(m.capacity, 1);
    if (m.kind == BText) return Set(BString());
    if (m.kind == FBText) return FBStrings(m.capacity);
    if (m.kind == BBText) return BBStrings();
    if (m.kind == RawBytes && Take(m.capacity) != Error_None) error_ = Error_Ended;
    if (m.kind == Flag) Set(Take(1));
    if (m.kind == Moment) Fields({4, 4});
    if (m.kind == State) Fields({1, 1, 4, 4, 4});
    if (m.kind == Tag) TagOrVersion(true);
    if (m.kind == Version) TagOrVersion(false);
    if (m.kind == Memory) Set(Error_None);
  }

 private:
  size_t Left() const { return bytes_.size() - position_; }
  void Set(ErrorCode status) { error_ = status; }

  ErrorCode Take(uint64_t count) {
    const bool isThere = count <= Left();
    position_ += isThere ? count : Left();
    return isThere ? Error_None : Error_Ended;
  }
  uint32_t NumberBefore(bool isReversed) const {
    uint32_t number = 0;
    for (size_t i = 0; i < 4; ++i) {
      const size_t at = isReversed ? position_ - 4 + i : position_ - 1 - i;
      number = number << 8 | static_cast<uint8_t>(bytes_[at]);
    }
    return number;
  }
  ErrorCode Count(uint32_t* count) {
    *count = 0;
    if (Take(4) != Error_None) return Error_Ended;
    *count = NumberBefore(isNetwork_);
    return Error_None;
  }
  ErrorCode Skip(uint32_t count) { return Take(count) == Error_None ? Error_Exceed : Error_Ended; }
  void Fields(std::vector<uint32_t> widths) {
    for (const uint32_t width : widths)
      if (error_ == Error_None || error_ == Error_Exceed) Set(Take(width));
  }
  void Counted(uint32_t capacity, uint32_t width) {
    uint32_t count;
    if (Count(&count) != Error_None) return Set(Error_Ended);
    if (count == 0) return Set(Error_None);
    if (Take(uint64_t{std::min(count, capacity)} * width) != Error_None) return Set(Error_Ended);
    Set(count < capacity ? Error_None : Skip(capacity - count));
  }
  // What is too large for this program gives Error_Memory in place of Error_Ended.
  ErrorCode TakeAllocated(uint64_t size) {
    mayLackMemory_ = mayLackMemory_ || size > Left();
    return Take(size);
  }
  void Allocated(uint32_t width) {
    uint32_t count;
    if (Count(&count) != Error_None) return Set(Error_Ended);
    Set(TakeAllocated(uint64_t{count} * width));
  }
  ErrorCode BString() {
    uint32_t length;
    if (Count(&length) != Error_None) return Error_Ended;
    return TakeAllocated(length);
  }
  ErrorCode Strings(uint32_t count) {
    ErrorCode status = Error_None;
    for (uint32_t i = 0; i < count && status == Error_None; ++i) status = BString();
    return status;
  }
  void FBStrings(uint32_t capacity) {
    uint32_t count;
    if (Count(&count) != Error_None) return Set(Error_Ended);
    ErrorCode status = Strings(std::min(count, capacity));
    for (uint32_t i = capacity; i < count && status == Error_None; ++i) {
      status = Take(4);
      if (status == Error_None && NumberBefore(false) != 0) status = Skip(0u - NumberBefore(false));
    }
    Set(status);
  }
  void BBStrings() {
    uint32_t count;
    if (Count(&count) != Error_None) return Set(Error_Ended);
    mayLackMemory_ = mayLackMemory_ || count > Left();
    Set(Strings(count));
  }
  void TagOrVersion(bool isTag) {
    if (Take(4) != Error_None) return Set(Error_Ended);
    const uint32_t number = NumberBefore(isNetwork_);
    Set((isTag ? number == 0x7A75657A : number <= 9) ? Error_None : Error_NotFound);
  }

  std::string bytes_;
  bool isNetwork_;
  size_t position_ = 0;
  ErrorCode error_ = Error_None;
  bool mayLackMemory_ = false;

 public:
  bool mayLackMemory() const { return mayLackMemory_; }
};

struct Input {
  const uint8_t* data;
  size_t size;
  uint8_t Next() {
    if (size == 0) return 0;
    --size;
    return *data++;
  }
  std::string Rest() const { return {reinterpret_cast<const char*>(data), size}; }
};

// Kinds and capacities, up to a kind of 0.
Record NextPlan(Input& input) {
  Record plan;
  while (input.size > 1 && *input.data % kKinds != 0 && plan.members.size() < 32) {
    plan.members.emplace_back();
    plan.members.back().kind = input.Next() % kKinds;
    plan.members.back().capacity = input.Next() % kLargestCapacity;
  }
  return plan;
}

void ReadArbitrary(Input input, bool isNetwork) {
  const Record plan = NextPlan(input);
  const std::string bytes = input.Rest();
  ReadingModel model(bytes, isNetwork);
  for (const Member& member : plan.members) model.Read(member);

  Record record = plan.Empty();
  Context context(bytes, isNetwork);
  const ErrorCode status = Traverse_DataRead(context.traverse(), Record::Describe, &record);
  if (status == Error_Memory) {
    Require(model.mayLackMemory());
  } else {
    Require(status == model.error());
    Require(context.stream().Rest() == bytes.substr(model.position()));
  }
  if (status == Error_None || status == Error_Exceed) Traverse_DataDelete(nullptr, Record::Describe, &record);
}

// The stream gives its bytes in pieces, and an allocation fails: the status is one of those that say so, or
// what reading would have given anyway, and the record can be read again afterwards.
void ReadWithFailures(Input input, bool isNetwork) {
  const uint8_t pieceSize = static_cast<uint8_t>(input.Next() % 32 + 1);
  const uint8_t failingAllocation = input.Next();
  const Record plan = NextPlan(input);
  const std::string bytes = input.Rest();
  Record record = plan.Empty();
  Context context("", isNetwork);
  for (size_t i = 0; i < bytes.size(); i += pieceSize) context.stream().Gives(bytes.substr(i, pieceSize));
  iMemory_FailAllocation(failingAllocation);
  const ErrorCode status = Traverse_DataRead(context.traverse(), Record::Describe, &record);
  iMemory_FailAllocation(0);
  Require(status == Error_None || status == Error_Exceed || status == Error_Ended || status == Error_Memory ||
          status == Error_NotFound);
  if (status == Error_None || status == Error_Exceed) Traverse_DataDelete(nullptr, Record::Describe, &record);
  Require(Traverse_DataInit(nullptr, Record::Describe, &record) == Error_None);
  Context again(bytes, isNetwork);
  const ErrorCode second = Traverse_DataRead(again.traverse(), Record::Describe, &record);
  if (second == Error_None || second == Error_Exceed) Traverse_DataDelete(nullptr, Record::Describe, &record);
}

// ---- a model of writing: the bytes of each member --------------------------------------------------

class WritingModel {
 public:
  WritingModel(const Record& record, bool isNetwork) : isNetwork_(isNetwork) {
    for (const Member& member : record.members) Write(member);
  }
  const std::string& bytes() const { return bytes_; }

 private:
  void Write(const Member& m) {
    const size_t widths[] = {1, 2, 4, 8};
    const void* const blocks[] = {m.bytes, m.shorts, m.words, m.doubles};
    if (m.kind >= Single8 && m.kind <= Single64) Elements(m.room, 1, widths[m.kind - Single8]);
    if (m.kind == Fixed8) Elements(m.room, m.capacity, 1);
    if (m.kind == Fixed16) Elements(m.room, m.capacity, 2);
    if (m.kind == Fixed32) Elements(m.room, m.capacity, 4);
    if (m.kind == Fixed64) Elements(m.room, m.capacity, 8);
    if (m.kind >= Counted8 && m.kind <= Counted64) Counted(m.count, m.room, widths[m.kind - Counted8]);
    if (m.kind >= Allocated8 && m.kind <= Allocated64)
      Counted(m.count, blocks[m.kind - Allocated8], widths[m.kind - Allocated8]);
    if (m.kind == Text) TextBytes(reinterpret_cast<const char*>(m.room));
    if (m.kind == BText) TextBytes(m.text);
    if (m.kind == FBText) List(m.count, m.texts);
    if (m.kind == BBText) List(m.count, m.list);
    if (m.kind == RawBytes) bytes_.append(reinterpret_cast<const char*>(m.room), m.capacity);
    if (m.kind == Flag) FlagByte(m.flag);
    if (m.kind == Moment) Moments(m.time);
    if (m.kind == State) {
      FlagByte(m.state.exists);
      FlagByte(m.state.isDirectory);
      Number(m.state.size);
      Moments(m.state.modificationTime);
    }
    if (m.kind == Tag) bytes_ += isNetwork_ ? "zuez" : "zeuz";
    if (m.kind == Version) Number(m.number);
  }

  void Elements(const void* elements, size_t count, size_t width) {
    const auto* from = static_cast<const char*>(elements);
    for (size_t i = 0; i < count; ++i)
      for (size_t byte = 0; byte < width; ++byte)
        bytes_ += from[i * width + (isNetwork_ ? width - 1 - byte : byte)];
  }
  void Number(uint32_t number) { Elements(&number, 1, sizeof number); }
  void FlagByte(int32_t flag) { bytes_ += flag != 0 ? '\1' : '\0'; }
  void Moments(const Time& time) {
    Number(time.seconds);
    Number(time.milliseconds);
  }
  void Counted(uint32_t count, const void* elements, size_t width) {
    Number(count);
    Elements(elements, count, width);
  }
  void TextBytes(const char* text) {
    if (text == nullptr) return Number(0);
    Number(static_cast<uint32_t>(strlen(text) + 1));
    bytes_.append(text, strlen(text) + 1);
  }
  void List(uint32_t count, char* const* texts) {
    for (int shift = 0; shift < 32; shift += 8) bytes_ += static_cast<char>(count >> shift);
    for (uint32_t i = 0; i < count; ++i) TextBytes(texts[i]);
  }

  bool isNetwork_;
  std::string bytes_;
};

// ---- writing ---------------------------------------------------------------------------------------

std::string NextText(Input& input) {
  std::string text(input.Next() % kLargestCapacity, ' ');
  for (char& c : text) c = static_cast<char>(input.Next() | 1);
  return text;
}

char* NewText(const std::string& text) {
  auto* copy = static_cast<char*>(Memory_New(text.size() + 1));
  memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

template <typename Value>
void FillBlock(Input& input, Member& m, Value** block) {
  m.count = input.Next();
  if (m.count == 0) return;
  *block = static_cast<Value*>(Memory_New(m.count * sizeof(Value)));
  auto* bytes = reinterpret_cast<uint8_t*>(*block);
  for (size_t i = 0; i < m.count * sizeof(Value); ++i) bytes[i] = input.Next();
}

Member NextMember(Input& input) {
  Member m;
  m.kind = input.Next() % kKinds;
  m.capacity = kLargestCapacity;
  for (uint64_t& word : m.room)
    for (int i = 0; i < 8; ++i) word = word << 8 | input.Next();
  switch (m.kind) {
    case Counted8:
    case Counted16:
    case Counted32:
    case Counted64:
      m.count = input.Next() % kLargestCapacity;
      break;
    case Allocated8:
      FillBlock(input, m, &m.bytes);
      break;
    case Allocated16:
      FillBlock(input, m, &m.shorts);
      break;
    case Allocated32:
      FillBlock(input, m, &m.words);
      break;
    case Allocated64:
      FillBlock(input, m, &m.doubles);
      break;
    case Text: {
      const std::string text = NextText(input).substr(0, kLargestCapacity - 2);
      memset(m.room, 0, sizeof m.room);
      memcpy(m.room, text.c_str(), text.size());
      break;
    }
    case BText:
      if (input.Next() & 1) m.text = NewText(NextText(input));
      break;
    case FBText:
      m.count = input.Next() % (kLargestCapacity + 1);
      for (uint32_t i = 0; i < m.count; ++i)
        if (input.Next() & 1) m.texts[i] = NewText(NextText(input));
      break;
    case BBText:
      m.count = input.Next() % kLargestCapacity;
      if (m.count == 0) break;
      m.list = static_cast<char**>(Memory_New(m.count * sizeof(char*)));
      for (uint32_t i = 0; i < m.count; ++i)
        m.list[i] = input.Next() & 1 ? NewText(NextText(input)) : nullptr;
      break;
    case Flag:
      m.flag = input.Next() % 3;
      break;
    case Moment:
      m.time = {input.Next(), input.Next()};
      break;
    case State:
      m.state = {input.Next(), input.Next(), input.Next(), {input.Next(), input.Next()}};
      break;
    case Version:
      m.number = input.Next() % 10;
      break;
    default:
      break;
  }
  return m;
}

// Each field by itself, or gathered.
std::string WriteRecord(Record& record, bool isNetwork, bool isGathered) {
  Context context("", isNetwork);
  if (isGathered) Require(iTraverse_GatherWrites(*context.traverse()) == Error_None);
  Require(Traverse_DataWrite(context.traverse(), Record::Describe, &record) == Error_None);
  return context.stream().written();
}

// The counts of lists of texts, which are written in memory order, as a reader in network order wants them.
void ReverseListCounts(const Record& record, std::string& bytes) {
  ReadingModel model(bytes, true);
  for (const Member& member : record.members) {
    if (member.kind == FBText || member.kind == BBText)
      std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(model.position()),
                   bytes.begin() + static_cast<std::ptrdiff_t>(model.position()) + 4);
    ReadingModel next(bytes, true);
    for (const Member* m = record.members.data(); m <= &member; ++m) next.Read(*m);
    model = next;
  }
}

void WriteAndReadBack(Input input, bool isNetwork) {
  Record record;
  while (input.size != 0 && record.members.size() < 16) record.members.push_back(NextMember(input));
  const std::string written = WriteRecord(record, isNetwork, false);
  Require(written == WritingModel(record, isNetwork).bytes());
  Require(WriteRecord(record, isNetwork, true) == written);
  std::string readable = written;
  if (isNetwork) ReverseListCounts(record, readable);
  Record copy = record.Empty();
  Context context(readable, isNetwork);
  Require(Traverse_DataRead(context.traverse(), Record::Describe, &copy) == Error_None);
  Require(context.stream().Rest().empty());
  Require(WritingModel(copy, isNetwork).bytes() == written);
  Traverse_DataDelete(nullptr, Record::Describe, &record);
  Traverse_DataDelete(nullptr, Record::Describe, &copy);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > 4096) return 0;
  const int64_t before = iMemory_CountLive();
  const bool isNetwork = (data[0] & 1) != 0;
  const Input input = {data + 1, size - 1};
  if ((data[0] & 2) != 0) {
    WriteAndReadBack(input, isNetwork);
  } else if ((data[0] & 4) != 0) {
    ReadWithFailures(input, isNetwork);
  } else {
    ReadArbitrary(input, isNetwork);
  }
  Require(iMemory_CountLive() == before);
  return 0;
}
