// OS_Init brings the library up once, by a list of codes; OS_Exit takes it down.
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "os/core/os_internal.h"
#include "os/core/os_testing.h"
#include "os/core/socketlayer_internal.h"
#include "os/file/sysdir_internal.h"
#include "os/platform/clock.h"
#include "os/platform/process.h"
#include "os/platform/shortcut.h"
#include "qz/error.h"
#include "qz/os.h"
#include "qz/string.h"
#include "qz/winosregistry.h"

namespace {

constexpr size_t kNameBytes = 1024;
constexpr uint32_t kIdentifierSlots = 3;
constexpr uint32_t kApplicationIdentifier = 0;
constexpr int32_t kLittleEndian = 0;

constexpr uint32_t BitOf(int32_t code) {
  return 1u << (static_cast<uint32_t>(code) % 32u);
}

// What the list of codes asked for.
struct Request {
  uint32_t seenCodes = 0;
  const char* logPath = nullptr;
  Word instance = 0;
  const void* identifier = nullptr;

  bool Has(int32_t code) const { return (seenCodes & BitOf(code)) != 0; }
};

std::atomic<uint32_t> initialisedCodes{0};
char applicationName[kNameBytes];
char companyName[kNameBytes];
Word moduleInstance = 0;
std::atomic<ErrorCode (*)()> socketStart{nullptr};

const char* NullWhenEmpty(const char* text) {
  return text != nullptr && text[0] != '\0' ? text : nullptr;
}

// source may be `name` itself: an application that starts again passes on what OS_GetApplicationName gave.
void CopyName(const char* source, char* name) {
  const size_t length = source != nullptr ? strnlen(source, kNameBytes - 1) : 0;
  if (length != 0) memmove(name, source, length);
  name[length] = '\0';
}

ErrorCode ParseCodes(va_list list, Request* request) {
  int32_t lastGoodCode = OSInitCode_End;
  for (;;) {
    const int32_t code = va_arg(list, int);
    // Kept: the mark is tested and set before the code is known to be one; 33 counts as a second 1.
    if ((request->seenCodes & BitOf(code)) != 0) Error("OS_Init: Initialized same variable twice!");
    request->seenCodes |= BitOf(code);
    switch (code) {
      case OSInitCode_End:
        return Error_None;
      case OSInitCode_LogPath:
        request->logPath = NullWhenEmpty(va_arg(list, const char*));
        break;
      case OSInitCode_Platform:
      case OSInitCode_OLE:
        break;
      case OSInitCode_CompanyName:
        CopyName(va_arg(list, const char*), companyName);
        break;
      case OSInitCode_Instance:
        request->instance = va_arg(list, Word);
        // Kept: read and dropped; the list of code 4 has carried a second word from the beginning.
        (void)va_arg(list, Word);
        break;
      case OSInitCode_Identifier:
        request->identifier = va_arg(list, const void*);
        break;
      default:
        Error("OS_Init: Error parsing init code %ld, last good code was %d", static_cast<long>(code),
              static_cast<int>(lastGoodCode));
        return Error_Fail;
    }
    lastGoodCode = code;
  }
}

void ClearIdentifiers() {
  for (uint32_t slot = 0; slot < kIdentifierSlots; ++slot) WinOSRegistry_SetID(slot, nullptr);
}

ErrorCode ApplyServices(const Request& request) {
  if (!request.Has(OSInitCode_Platform)) return Error_None;
  if (request.Has(OSInitCode_Instance)) moduleInstance = request.instance;
  if (request.Has(OSInitCode_OLE) && !platform::StartOle()) {
    Error("OleInitialize(NULL) failed!");
    platform::StopOle();
    return Error_Fail;
  }
  if (request.Has(OSInitCode_Identifier)) {
    ClearIdentifiers();
    WinOSRegistry_SetID(kApplicationIdentifier, request.identifier);
  }
  return Error_None;
}

void UndoServices(uint32_t codes) {
  if ((codes & BitOf(OSInitCode_Platform)) == 0) return;
  if ((codes & BitOf(OSInitCode_OLE)) != 0) platform::StopOle();
  if ((codes & BitOf(OSInitCode_Identifier)) != 0) ClearIdentifiers();
  if ((codes & BitOf(OSInitCode_Instance)) != 0) moduleInstance = 0;
}

void SetApplicationName(const char* name) {
  if (name != nullptr) {
    CopyName(name, applicationName);
    return;
  }
  snprintf(applicationName, kNameBytes, "app%ld", static_cast<long>(platform::CurrentProcessIdentifier()));
}

ErrorCode StartSockets() {
  ErrorCode (*start)() = socketStart.load();
  return start != nullptr ? start() : iSock_Init();
}

// Kept: what the services did stays done when a later step fails, and OS_Exit does not undo it either; and
// after a failure of the socket layer the directories stay ready, so that the next OS_Init gives
// Error_Inited.
ErrorCode Start(const char* name, const Request& request) {
  if (const ErrorCode status = ApplyServices(request); status != Error_None) return status;
  SetApplicationName(name);
  if (const ErrorCode status = iSysDir_Init(request.logPath); status != Error_None) return status;
  if (const ErrorCode status = StartSockets(); status != Error_None) {
    iSysDir_CloseLog();
    return status;
  }
  srand(static_cast<unsigned>(platform::MonotonicMilliseconds()));
  initialisedCodes.store(request.seenCodes);
  return Error_None;
}

}  // namespace

bool iOS_IsInited() {
  return initialisedCodes.load() != 0;
}

Word iOS_GetInstance() {
  return moduleInstance;
}

void iOS_SetSocketStart(ErrorCode (*start)()) {
  socketStart.store(start);
}

ErrorCode OS_Init(const char* name, ...) {
  if (iOS_IsInited()) return Error_Inited;
  companyName[0] = '\0';
  moduleInstance = 0;
  Request request;
  va_list list;
  va_start(list, name);
  const ErrorCode status = ParseCodes(list, &request);
  va_end(list);
  return status != Error_None ? status : Start(name, request);
}

void OS_Exit(int32_t /*ignored*/) {
  const uint32_t codes = initialisedCodes.load();
  if ((codes & BitOf(OSInitCode_End)) != 0) {
    iSock_Exit();
    iSysDir_CloseLog();
    iSysDir_Exit();
  }
  UndoServices(codes);
  initialisedCodes.store(0);
}

const char* OS_GetApplicationName() {
  return applicationName;
}

const char* OS_GetCompanyName() {
  return companyName;
}

int32_t OS_GetProcessorEndian() {
  return kLittleEndian;
}
