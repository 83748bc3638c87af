// The Remote Access Service, an optional part of Windows: its library is loaded at run time.
#include "os/platform/remoteaccess.h"

#include <windows.h>

namespace platform {
namespace {

using EnumerateEntriesCall = DWORD(WINAPI*)(LPCSTR, LPCSTR, DialEntry*, LPDWORD, LPDWORD);
using GetParametersCall = DWORD(WINAPI*)(LPCSTR, DialParameters*, LPBOOL);
using GetStatusCall = DWORD(WINAPI*)(HANDLE, DialStatus*);
using EnumerateConnectionsCall = DWORD(WINAPI*)(DialConnection*, LPDWORD, LPDWORD);
using DialCall = DWORD(WINAPI*)(LPVOID, LPCSTR, DialParameters*, DWORD, LPVOID, HANDLE*);
using HangUpCall = DWORD(WINAPI*)(HANDLE);

struct EntryPoints {
  EnumerateEntriesCall enumerateEntries;
  GetParametersCall getParameters;
  GetStatusCall getStatus;
  EnumerateConnectionsCall enumerateConnections;
  DialCall dial;
  HangUpCall hangUp;
};
EntryPoints service{};

static_assert(sizeof(HANDLE) == sizeof(uint32_t) && sizeof(DWORD) == sizeof(uint32_t));

DWORD* Double(uint32_t* value) {
  return reinterpret_cast<DWORD*>(value);
}

HANDLE ToHandle(uint32_t connection) {
  return reinterpret_cast<HANDLE>(connection);
}

uint32_t EnumerateEntries(DialEntry* entries, uint32_t* sizeBytes, uint32_t* count) {
  return service.enumerateEntries(nullptr, nullptr, entries, Double(sizeBytes), Double(count));
}

uint32_t GetParameters(DialParameters* parameters, int32_t* hasPassword) {
  BOOL stored = FALSE;
  const DWORD result = service.getParameters(nullptr, parameters, &stored);
  *hasPassword = stored != FALSE ? 1 : 0;
  return result;
}

uint32_t GetStatus(uint32_t connection, DialStatus* status) {
  return service.getStatus(ToHandle(connection), status);
}

uint32_t EnumerateConnections(DialConnection* connections, uint32_t* sizeBytes, uint32_t* count) {
  return service.enumerateConnections(connections, Double(sizeBytes), Double(count));
}

uint32_t Dial(DialParameters* parameters, uint32_t* connection) {
  HANDLE dialled = nullptr;
  const DWORD result = service.dial(nullptr, nullptr, parameters, 0, nullptr, &dialled);
  *connection = static_cast<uint32_t>(reinterpret_cast<ULONG_PTR>(dialled));
  return result;
}

uint32_t HangUp(uint32_t connection) {
  return service.hangUp(ToHandle(connection));
}

constexpr DialCalls kCalls = {EnumerateEntries, GetParameters, GetStatus, EnumerateConnections, Dial, HangUp};

template <typename Call>
bool Find(HMODULE library, const char* name, Call* call) {
  *call = reinterpret_cast<Call>(reinterpret_cast<void*>(GetProcAddress(library, name)));
  return *call != nullptr;
}

}  // namespace

const DialCalls* LoadDialService() {
  const HMODULE library = LoadLibraryA("RASAPI32.DLL");
  if (library == nullptr) return nullptr;
  const bool complete = Find(library, "RasEnumEntriesA", &service.enumerateEntries) &&
                        Find(library, "RasGetEntryDialParamsA", &service.getParameters) &&
                        Find(library, "RasGetConnectStatusA", &service.getStatus) &&
                        Find(library, "RasEnumConnectionsA", &service.enumerateConnections) &&
                        Find(library, "RasDialA", &service.dial) &&
                        Find(library, "RasHangUpA", &service.hangUp);
  return complete ? &kCalls : nullptr;
}

}  // namespace platform
