// What the tests set of the agents.
#pragma once

namespace platform {
struct Module;
}

// Extensions are loaded by these instead of the system, for tests of its failures; null restores.
struct AgentLoader {
  platform::Module* (*Load)(const char* name);
  void (*Unload)(platform::Module* library);
};
void iAgentClass_SetLoader(const AgentLoader* replacement);
