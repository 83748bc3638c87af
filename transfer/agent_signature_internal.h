// The text by which a class declares its methods (qz/agentclass.h), taken apart. No input or output, no class
// is looked at.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "qz/types.h"

// The types of parameters. The address of a variable has the number of the variable's type plus 6.
enum class AgentType : int32_t {
  Invalid = -1,
  Bool = 0,
  String = 1,
  Integer = 2,
  Float = 3,
  Object = 4,
  OfClass = 5,
  BoolPtr = 6,
  StringPtr = 7,
  IntegerPtr = 8,
  FloatPtr = 9,
  ObjectPtr = 10,
  OfClassPtr = 11
};

// "Bool" to "AgentPtr"; "Invalid" for every other number.
const char* iAgentType_Name(AgentType type);

// All texts are in lower case, without the ".", and lie in the signature's block.
struct AgentDeclaredParameter {
  std::string_view name;
  std::string_view className;  // of types OfClass and OfClassPtr; else empty
  AgentType type;
};

struct AgentDeclaredMethod {
  std::string_view name;
  std::span<const AgentDeclaredParameter> parameters;
  bool isClassMethod;
};

// One without methods is all zeroes.
struct AgentSignature {
  void* block;  // owned; what all else points into
  std::span<const AgentDeclaredMethod> methods;
};

// Whether a class of this name, given in lower case, is registered.
using AgentClassCheck = bool (*)(std::string_view className);

// Takes a text apart. text: may be null. signature: out; without methods after a failure (free with
// iAgentSignature_Delete). Error_None; Error_Invalid; Error_Memory.
ErrorCode iAgentSignature_Parse(const char* text, AgentClassCheck isClass, AgentSignature* signature);

void iAgentSignature_Delete(AgentSignature* signature);

// Whether a name in any case is the one that was declared. name: not null.
bool iAgentSignature_IsName(const char* name, std::string_view declared);
