// RASAPI32.DLL around the fake service. Built twice: once without its last call, RasHangUpA.
#include <windows.h>

#include "tests/support/rasapi32/fake_service.h"

#define EXPORTED extern "C" __declspec(dllexport)

namespace {
uint32_t* Common(DWORD* value) {
  return reinterpret_cast<uint32_t*>(value);
}
uint32_t Common(HANDLE handle) {
  return static_cast<uint32_t>(reinterpret_cast<ULONG_PTR>(handle));
}
}  // namespace

EXPORTED FakeService* FakeService_State() {
  return fake_service::State();
}

EXPORTED DWORD WINAPI RasEnumEntriesA(LPCSTR, LPCSTR, platform::DialEntry* entries, DWORD* size,
                                      DWORD* count) {
  return fake_service::EnumerateEntries(entries, Common(size), Common(count));
}

EXPORTED DWORD WINAPI RasGetEntryDialParamsA(LPCSTR, platform::DialParameters* parameters,
                                             BOOL* hasPassword) {
  int32_t stored = 0;
  const uint32_t result = fake_service::GetParameters(parameters, &stored);
  *hasPassword = stored;
  return result;
}

EXPORTED DWORD WINAPI RasGetConnectStatusA(HANDLE connection, platform::DialStatus* status) {
  return fake_service::GetStatus(Common(connection), status);
}

EXPORTED DWORD WINAPI RasEnumConnectionsA(platform::DialConnection* connections, DWORD* size, DWORD* count) {
  return fake_service::EnumerateConnections(connections, Common(size), Common(count));
}

EXPORTED DWORD WINAPI RasDialA(LPVOID extensions, LPCSTR phoneBook, platform::DialParameters* parameters,
                               DWORD notifierType, LPVOID notifier, HANDLE* connection) {
  // Dialling waits, and uses the default phone book.
  if (extensions != nullptr || phoneBook != nullptr || notifierType != 0 || notifier != nullptr) return 87;
  uint32_t handle = 0;
  const uint32_t result = fake_service::Dial(parameters, &handle);
  *connection = reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(handle));
  return result;
}

#ifndef WITHOUT_HANG_UP
EXPORTED DWORD WINAPI RasHangUpA(HANDLE connection) {
  return fake_service::HangUp(Common(connection));
}
#endif
