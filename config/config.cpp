// A document's life: made with an empty first section, emptied, freed.
#include "qz/config.h"

#include "config/config_internal.h"
#include "config/configspec_internal.h"
#include "os/core/memory_internal.h"
#include "os/core/owned.h"
#include "qz/error.h"
#include "qz/memory.h"

Config* Config_New(ConfigSpec* spec) {
  if (spec == nullptr) return nullptr;
  Owned<Config, Memory_Delete> config(static_cast<Config*>(iMemory_NewCleared(sizeof(Config))));
  Owned<ConfigSection, iConfig_DeleteRecord> first(iConfig_NewFirstSection());
  if (!config || !first) return nullptr;
  config->spec = iConfigSpec_Reference(spec);
  config->first = first.release();
  return config.release();
}

void Config_Delete(Config* config) {
  if (config == nullptr) return;
  Config_Empty(config);
  iConfig_DeleteRecord(config->first);
  ConfigSpec_Delete(config->spec);
  config->sections.Free();
  Memory_Delete(config);
}

void Config_Empty(Config* config) {
  if (config == nullptr) return;
  ConfigSection* const first = config->first;
  config->sections.Free();
  first->keys.Free();
  iConfig_DeleteChain(first->next);
  first->next = nullptr;
  first->last = nullptr;
  first->hash = 0;
  first->lineCount = 0;
  first->fieldCount = 0;
  first->commentAt = 0;
}
