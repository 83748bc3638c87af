#include "net/remoteaccess_testing.h"
#include "tests/support/rasapi32/fake_service.h"

#ifdef _WIN32
#  include <windows.h>

#  include <string>

namespace {

// Loads the library from a folder beside the test program. A library that is loaded already is what a later
// request by its bare name finds.
HMODULE LoadFrom(const char* folder) {
  char program[MAX_PATH];
  GetModuleFileNameA(nullptr, program, sizeof program);
  const std::string path(program);
  const std::string library = path.substr(0, path.find_last_of('\\') + 1) + folder + "\\RASAPI32.DLL";
  const HMODULE loaded = LoadLibraryA(library.c_str());
  return loaded != nullptr && loaded == GetModuleHandleA("RASAPI32.DLL") ? loaded : nullptr;
}

}  // namespace

FakeService* InstallFakeService() {
  const HMODULE library = LoadFrom("fake_rasapi32");
  if (library == nullptr) return nullptr;
  const auto state = reinterpret_cast<FakeService* (*)()>(
      reinterpret_cast<void*>(GetProcAddress(library, "FakeService_State")));
  return state != nullptr ? state() : nullptr;
}

bool InstallIncompleteService() {
  const HMODULE library = LoadFrom("incomplete_rasapi32");
  return library != nullptr && GetProcAddress(library, "RasDialA") != nullptr &&
         GetProcAddress(library, "RasHangUpA") == nullptr;
}

#else

FakeService* InstallFakeService() {
  static const platform::DialCalls calls = {
      fake_service::EnumerateEntries,     fake_service::GetParameters, fake_service::GetStatus,
      fake_service::EnumerateConnections, fake_service::Dial,          fake_service::HangUp};
  iRemoteAccess_SetCalls(&calls);
  return fake_service::State();
}

bool InstallIncompleteService() {
  return true;
}

#endif
