// Signatures of classes: arbitrary texts, held against a parser that reads character by character.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "os/core/memory_testing.h"
#include "qz/error.h"
#include "transfer/agent_signature_internal.h"

namespace {

void Require(bool condition) {
  if (!condition) abort();
}

bool IsClass(std::string_view name) {
  return name == "k" || name == "a b" || name == "x)y" || name == "x(y" || name == "k*";
}

struct ModelParameter {
  std::string name;
  int32_t type;
  std::string className;
};
struct ModelMethod {
  std::string name;
  bool isClassMethod;
  std::vector<ModelParameter> parameters;
};

// Reads one method from the front to the end, one character at a time.
class Reader {
 public:
  explicit Reader(std::string text) : text_(std::move(text)) {}

  bool Read(ModelMethod* method) {
    method->isClassMethod = Take('.');
    if (!ReadName(&method->name) || !Take('(')) return false;
    if (text_.back() != ')') return false;
    text_.pop_back();
    if (position_ == text_.size()) return true;
    do {
      if (!ReadParameter(&method->parameters.emplace_back())) return false;
    } while (Take(','));
    return position_ == text_.size();
  }

 private:
  bool Take(char c) {
    if (position_ == text_.size() || text_[position_] != c) return false;
    ++position_;
    return true;
  }
  static bool IsLetter(char c) { return c >= 'a' && c <= 'z'; }
  static bool IsDigit(char c) { return c >= '0' && c <= '9'; }
  bool ReadName(std::string* name) {
    while (position_ < text_.size()) {
      const char c = text_[position_];
      if (!IsLetter(c) && !(IsDigit(c) && !name->empty())) break;
      *name += c;
      ++position_;
    }
    return !name->empty();
  }
  bool ReadParameter(ModelParameter* parameter) {
    if (!ReadName(&parameter->name) || !Take('=')) return false;
    std::string word;
    while (position_ < text_.size() && text_[position_] != ',') word += text_[position_++];
    int32_t offset = 0;
    if (!word.empty() && word.back() == '*') {
      offset = 6;
      word.pop_back();
    }
    const char* words[] = {"bool", "string", "integer", "float", "object"};
    for (int32_t type = 0; type < 5; ++type) {
      if (word != words[type]) continue;
      parameter->type = type + offset;
      return true;
    }
    parameter->type = 5 + offset;
    parameter->className = word;
    return !word.empty() && IsClass(word);
  }

  std::string text_;
  size_t position_ = 0;
};

bool ReadAll(std::string text, std::vector<ModelMethod>* methods) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  std::string piece;
  for (const char c : text + ';') {
    if (c != ';') {
      piece += c;
      continue;
    }
    if (!piece.empty() && !Reader(piece).Read(&methods->emplace_back())) return false;
    piece.clear();
  }
  return true;
}

void RequireEqual(const AgentDeclaredMethod& method, const ModelMethod& model) {
  Require(method.name == model.name && method.isClassMethod == model.isClassMethod);
  Require(method.parameters.size() == model.parameters.size());
  for (size_t i = 0; i < model.parameters.size(); ++i) {
    Require(method.parameters[i].name == model.parameters[i].name);
    Require(static_cast<int32_t>(method.parameters[i].type) == model.parameters[i].type);
    Require(method.parameters[i].className == model.parameters[i].className);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const int64_t before = iMemory_CountLive();
  // The library sees the text up to its first byte 0.
  const std::string text = std::string(reinterpret_cast<const char*>(data), size).c_str();
  std::vector<ModelMethod> model;
  const bool isValid = ReadAll(text, &model);
  AgentSignature signature;
  const ErrorCode status = iAgentSignature_Parse(text.c_str(), IsClass, &signature);
  Require(status == (isValid ? Error_None : Error_Invalid));
  Require(signature.methods.size() == (isValid ? model.size() : 0));
  for (size_t i = 0; i < signature.methods.size(); ++i) RequireEqual(signature.methods[i], model[i]);
  iAgentSignature_Delete(&signature);
  Require(iMemory_CountLive() == before);
  return 0;
}
