// Takes the declarations of a class apart.
//
//   ".check(file=string,vrxc=object);new();"
//    | |    |    |                   `-- a method of agents, without parameters
//    | |    |    `-- type              = bool string integer float object, or the name of a class; "*": +6
//    | |    `-- parameter
//    | `-- method: a letter, then letters and digits
//    `-- a method of the class
//
// What is declared stands in one block: the methods, the parameters of all methods, and the text itself in
// lower case, which names and types point into.
#include <algorithm>
#include <array>
#include <cstring>

#include "os/text/characterclass_internal.h"
#include "os/text/textview_internal.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "transfer/agent_signature_internal.h"

namespace {

constexpr std::array<const char*, 12> kTypeNames = {"Bool",       "String",   "Integer",   "Float",
                                                    "Object",     "Agent",    "BoolPtr",   "StringPtr",
                                                    "IntegerPtr", "FloatPtr", "ObjectPtr", "AgentPtr"};

// In the order of AgentType.
constexpr std::array<std::string_view, 5> kTypeWords = {"bool", "string", "integer", "float", "object"};

constexpr int32_t kFromTypeToPointer = 6;

uint8_t ToLower(char c) {
  return iCharacter_ToLower(static_cast<uint8_t>(c));
}

bool HasClass(char c, uint32_t classes) {
  return (iCharacter_Class(static_cast<uint8_t>(c)) & classes) != 0;
}

bool IsName(std::string_view text) {
  constexpr uint32_t kNameCharacters = CharacterClass_Letter | CharacterClass_Digit;
  return !text.empty() && HasClass(text.front(), CharacterClass_Letter) &&
         std::all_of(text.begin(), text.end(), [](char c) { return HasClass(c, kNameCharacters); });
}

// The text up to a separator, which is cut off the rest together with it.
std::string_view TakePiece(std::string_view* rest, char separator) {
  const size_t end = std::min(rest->find(separator), rest->size());
  const std::string_view piece = rest->substr(0, end);
  rest->remove_prefix(std::min(end + 1, rest->size()));
  return piece;
}

// Fills the block. Room for everything was counted before.
class Parser {
 public:
  Parser(AgentClassCheck isClass, AgentDeclaredMethod* methods, AgentDeclaredParameter* parameters)
      : isClass_(isClass), methods_(methods), nextMethod_(methods), nextParameter_(parameters) {}

  bool Parse(std::string_view text) {
    while (!text.empty()) {
      const std::string_view piece = TakePiece(&text, ';');
      if (!piece.empty() && !ParseMethod(piece)) return false;
    }
    return true;
  }

  std::span<const AgentDeclaredMethod> Methods() const { return {methods_, nextMethod_}; }

 private:
  bool ParseMethod(std::string_view piece) {
    const bool isClassMethod = piece.front() == '.';
    if (isClassMethod) piece.remove_prefix(1);
    const size_t open = piece.find('(');
    if (open == std::string_view::npos || piece.back() != ')') return false;
    const std::string_view name = piece.substr(0, open);
    const AgentDeclaredParameter* first = nextParameter_;
    if (!IsName(name) || !ParseParameters(iTextView_Part(piece, open + 1, piece.size() - open - 2)))
      return false;
    *nextMethod_++ = {name, {first, nextParameter_}, isClassMethod};
    return true;
  }

  bool ParseParameters(std::string_view list) {
    // What ends with a comma has an empty parameter behind it.
    const bool endsOpen = list.ends_with(',');
    while (!list.empty()) {
      if (!ParseParameter(TakePiece(&list, ','))) return false;
    }
    return !endsOpen;
  }

  bool ParseParameter(std::string_view piece) {
    const size_t equals = piece.find('=');
    if (equals == std::string_view::npos) return false;
    AgentDeclaredParameter parameter = {piece.substr(0, equals), {}, AgentType::Invalid};
    if (!IsName(parameter.name) || !ParseType(iTextView_Part(piece, equals + 1), &parameter)) return false;
    *nextParameter_++ = parameter;
    return true;
  }

  bool ParseType(std::string_view word, AgentDeclaredParameter* parameter) {
    const bool isPointer = !word.empty() && word.back() == '*';
    if (isPointer) word.remove_suffix(1);
    const auto* found = std::find(kTypeWords.begin(), kTypeWords.end(), word);
    if (found == kTypeWords.end()) {
      if (word.empty() || !isClass_(word)) return false;
      parameter->className = word;
    }
    const auto type = static_cast<int32_t>(found - kTypeWords.begin());
    parameter->type = static_cast<AgentType>(isPointer ? type + kFromTypeToPointer : type);
    return true;
  }

  AgentClassCheck isClass_;
  AgentDeclaredMethod* methods_;
  AgentDeclaredMethod* nextMethod_;
  AgentDeclaredParameter* nextParameter_;
};

// Room for the parts of a text: every method but the last one ends with ";", every parameter has a "=".
struct Room {
  explicit Room(std::string_view text)
      : methodsSize((Count(text, ';') + 1) * sizeof(AgentDeclaredMethod)),
        parametersSize(Count(text, '=') * sizeof(AgentDeclaredParameter)),
        textSize(text.size()) {}

  static uint64_t Count(std::string_view text, char c) {
    return static_cast<uint64_t>(std::count(text.begin(), text.end(), c));
  }
  uint64_t Total() const { return methodsSize + parametersSize + textSize; }

  uint64_t methodsSize;
  uint64_t parametersSize;
  uint64_t textSize;
};

}  // namespace

const char* iAgentType_Name(AgentType type) {
  const auto number = static_cast<uint32_t>(type);
  return number < kTypeNames.size() ? kTypeNames[number] : "Invalid";
}

ErrorCode iAgentSignature_Parse(const char* text, AgentClassCheck isClass, AgentSignature* signature) {
  *signature = {};
  const std::string_view whole(text != nullptr ? text : "");
  if (whole.empty()) return Error_None;
  const Room room(whole);
  if (room.Total() > SIZE_MAX / 2) return Error_Memory;
  auto* block = static_cast<char*>(Memory_New(static_cast<size_t>(room.Total())));
  if (block == nullptr) return Error_Memory;
  char* parameters = block + room.methodsSize;
  char* lower = parameters + room.parametersSize;
  std::transform(whole.begin(), whole.end(), lower, ToLower);

  Parser parser(isClass, reinterpret_cast<AgentDeclaredMethod*>(block),
                reinterpret_cast<AgentDeclaredParameter*>(parameters));
  if (!parser.Parse({lower, whole.size()})) {
    Memory_Delete(block);
    return Error_Invalid;
  }
  *signature = {block, parser.Methods()};
  return Error_None;
}

void iAgentSignature_Delete(AgentSignature* signature) {
  Memory_Delete(signature->block);
  *signature = {};
}

bool iAgentSignature_IsName(const char* name, std::string_view declared) {
  for (const char c : declared) {
    if (ToLower(*name) != static_cast<uint8_t>(c)) return false;
    ++name;
  }
  return *name == '\0';
}
