#include "os/platform/window.h"

#include <windows.h>

namespace platform {
namespace {

struct HiddenWindow {
  ATOM classAtom;
  HWND window;
  HINSTANCE instance;
};

HiddenWindow hidden{};

// Answers without the default procedure: the window takes part in nothing, and never keeps Windows from
// ending.
LRESULT CALLBACK Answer(HWND /*window*/, UINT message, WPARAM /*wparam*/, LPARAM /*lparam*/) {
  switch (message) {
    case WM_QUERYENDSESSION:
    case WM_GETMINMAXINFO:
    case WM_NCCREATE:
      return 1;
    default:
      return 0;
  }
}

ATOM RegisterClassOf(const char* name, HINSTANCE instance) {
  WNDCLASSA windowClass{};
  windowClass.lpfnWndProc = Answer;
  windowClass.hInstance = instance;
  windowClass.lpszClassName = name;
  return RegisterClassA(&windowClass);
}

LPCSTR NameOf(ATOM atom) {
  return reinterpret_cast<LPCSTR>(static_cast<ULONG_PTR>(atom));
}

}  // namespace

WindowCreation CreateHiddenWindow(const char* name, Word instance) {
  const auto module = instance != 0 ? reinterpret_cast<HINSTANCE>(instance) : GetModuleHandleA(nullptr);
  const ATOM classAtom = RegisterClassOf(name, module);
  if (classAtom == 0) return WindowCreation::ClassFailed;

  const HWND window =
      CreateWindowExA(0, name, name, WS_DISABLED, -2, -2, 1, 1, nullptr, nullptr, module, nullptr);
  if (window == nullptr) {
    UnregisterClassA(NameOf(classAtom), module);
    return WindowCreation::WindowFailed;
  }
  hidden = HiddenWindow{classAtom, window, module};
  return WindowCreation::Created;
}

void DestroyHiddenWindow() {
  if (hidden.window == nullptr) return;
  DestroyWindow(hidden.window);
  UnregisterClassA(NameOf(hidden.classAtom), hidden.instance);
  hidden = HiddenWindow{};
}

}  // namespace platform
