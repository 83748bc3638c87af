// The syntax of configuration files: a record of settings with a reference count.
#include "qz/configspec.h"

#include <cstddef>

#include "config/configspec_internal.h"
#include "qz/memory.h"
#include "qz/string.h"

namespace {

static_assert(sizeof(void*) != 4 ||
              (offsetof(ConfigSpec, references) == 4 && offsetof(ConfigSpec, lineComment) == 8 &&
               offsetof(ConfigSpec, notField) == 24 && offsetof(ConfigSpec, delimiter) == 56 &&
               offsetof(ConfigSpec, tabSize) == 60 && offsetof(ConfigSpec, minFields) == 64 &&
               offsetof(ConfigSpec, maxFields) == 68 && offsetof(ConfigSpec, flags) == 72 &&
               offsetof(ConfigSpec, sectionMethod) == 76 && sizeof(ConfigSpec) == 80));

constinit ConfigSpec defaultSpec = {
    .ended = 1,
    .references = 1,
    .lineComment = "#",
    .notField = "\t \n\r",
    .delimiter = 0,
    .tabSize = 4,
    .minFields = 1,
    .maxFields = 1,
    .flags = ConfigSpecFlag_UniqueLines,
    .sectionMethod = nullptr,
};

void SetFlag(ConfigSpec* spec, ConfigSpecFlag flag, int32_t on) {
  if (spec == nullptr) return;
  spec->flags = on != 0 ? spec->flags | flag : spec->flags & ~static_cast<uint32_t>(flag);
}

}  // namespace

ConfigSpec* ConfigSpec_GetDefault() {
  return &defaultSpec;
}

ConfigSpec* ConfigSpec_Start() {
  return ConfigSpec_StartFrom(&defaultSpec);
}

// Kept: the count of references is copied with the settings; callers drop each of them.
ConfigSpec* ConfigSpec_StartFrom(const ConfigSpec* spec) {
  if (spec == nullptr) return nullptr;
  auto* copy = static_cast<ConfigSpec*>(Memory_New(sizeof(ConfigSpec)));
  if (copy == nullptr) return nullptr;
  *copy = *spec;
  copy->ended = 0;
  return copy;
}

void ConfigSpec_SetLineComment(ConfigSpec* spec, const char* text) {
  if (spec != nullptr) String_CopyMax(text, sizeof spec->lineComment, spec->lineComment);
}

void ConfigSpec_SetNotField(ConfigSpec* spec, const char* text) {
  if (spec != nullptr) String_CopyMax(text, sizeof spec->notField, spec->notField);
}

void ConfigSpec_SetFieldDelimiter(ConfigSpec* spec, char delimiter) {
  if (spec != nullptr) spec->delimiter = delimiter;
}

void ConfigSpec_SetMinFields(ConfigSpec* spec, uint32_t count) {
  if (spec != nullptr) spec->minFields = count;
}

void ConfigSpec_SetMaxFields(ConfigSpec* spec, uint32_t count) {
  if (spec != nullptr) spec->maxFields = count;
}

void ConfigSpec_SetTabSize(ConfigSpec* spec, uint32_t size) {
  if (spec != nullptr) spec->tabSize = size != 0 ? size : 1;
}

void ConfigSpec_SetSectionMethod(ConfigSpec* spec, ConfigSectionMethod method) {
  if (spec != nullptr) spec->sectionMethod = method;
}

void ConfigSpec_SetStripComments(ConfigSpec* spec, int32_t on) {
  SetFlag(spec, ConfigSpecFlag_StripComments, on);
}

void ConfigSpec_SetUniqueLines(ConfigSpec* spec, int32_t on) {
  SetFlag(spec, ConfigSpecFlag_UniqueLines, on);
}

void ConfigSpec_SetCaseSensitive(ConfigSpec* spec, int32_t on) {
  SetFlag(spec, ConfigSpecFlag_CaseSensitive, on);
}

void ConfigSpec_SetLastFieldGrab(ConfigSpec* spec, int32_t on) {
  SetFlag(spec, ConfigSpecFlag_LastFieldGrab, on);
}

// Kept: nothing reads the mark, so the setters work after it too; programs change a setting late.
void ConfigSpec_End(ConfigSpec* spec) {
  if (spec != nullptr) spec->ended = 1;
}

// The default's count stays 1, so that every syntax started from it has one reference.
void ConfigSpec_Delete(ConfigSpec* spec) {
  if (spec == nullptr || spec == &defaultSpec) return;
  if (--spec->references == 0) Memory_Delete(spec);
}

ConfigSpec* iConfigSpec_Reference(ConfigSpec* spec) {
  if (spec != nullptr && spec != &defaultSpec) ++spec->references;
  return spec;
}
