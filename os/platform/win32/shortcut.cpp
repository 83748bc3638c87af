#include "os/platform/shortcut.h"

#include <windows.h>
// After windows.h, which declares what these build upon.
#include <ole2.h>
#include <shlobj.h>

#include "os/core/owned.h"
#include "qz/error.h"

namespace platform {
namespace {

constexpr int kMaximumLinkName = 260;

template <typename Interface>
void Release(Interface* object) {
  object->Release();
}

using ShellLink = Owned<IShellLinkA, Release<IShellLinkA>>;
using LinkFile = Owned<IPersistFile, Release<IPersistFile>>;

bool Fill(IShellLinkA* link, const Shortcut& shortcut) {
  if (FAILED(link->SetPath(shortcut.target))) return false;
  if (shortcut.arguments != nullptr && FAILED(link->SetArguments(shortcut.arguments))) return false;
  if (shortcut.description != nullptr && FAILED(link->SetDescription(shortcut.description))) return false;
  return shortcut.iconFile == nullptr ||
         SUCCEEDED(link->SetIconLocation(shortcut.iconFile, shortcut.iconIndex));
}

bool Save(IShellLinkA* link, const char* linkName) {
  LinkFile file;
  if (FAILED(link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(file.out())))) return false;
  wchar_t wideName[kMaximumLinkName];
  if (MultiByteToWideChar(CP_ACP, 0, linkName, -1, wideName, kMaximumLinkName) == 0) return false;
  return SUCCEEDED(file->Save(wideName, TRUE));
}

}  // namespace

bool StartOle() {
  return SUCCEEDED(OleInitialize(nullptr));
}

void StopOle() {
  OleUninitialize();
}

ErrorCode CreateShortcut(const Shortcut& shortcut) {
  ShellLink link;
  const HRESULT created = CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkA,
                                           reinterpret_cast<void**>(link.out()));
  if (FAILED(created)) return Error_Fail;
  return Fill(link.get(), shortcut) && Save(link.get(), shortcut.linkName) ? Error_None : Error_Fail;
}

}  // namespace platform
