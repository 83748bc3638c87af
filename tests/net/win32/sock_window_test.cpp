// The hidden window of the socket layer, as Windows shows it.
#include <gtest/gtest.h>
#include <windows.h>

#include "os/core/socketlayer_internal.h"
#include "qz/error.h"

namespace {

constexpr char kClass[] = "qzSockHandler";

class SockWindow : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(iSock_Init(), Error_None);
    window = OwnWindow();
    ASSERT_NE(window, nullptr);
  }
  void TearDown() override { iSock_Exit(); }

  // Other test programs may have one too.
  static HWND OwnWindow() {
    DWORD owner = 0;
    HWND found = nullptr;
    while ((found = FindWindowExA(nullptr, found, kClass, nullptr)) != nullptr) {
      GetWindowThreadProcessId(found, &owner);
      if (owner == GetCurrentProcessId()) break;
    }
    return found;
  }

  LRESULT Ask(UINT message) const { return SendMessageA(window, message, 0, 0); }

  HWND window = nullptr;
};

TEST_F(SockWindow, AnswersFixedNumbers) {
  EXPECT_EQ(Ask(WM_QUERYENDSESSION), 1);
  EXPECT_EQ(Ask(WM_GETMINMAXINFO), 1);
  EXPECT_EQ(Ask(WM_NCCREATE), 1);
  EXPECT_EQ(Ask(WM_GETTEXT), 0);
  EXPECT_EQ(Ask(WM_ACTIVATEAPP), 0);
  EXPECT_EQ(Ask(WM_USER), 0);
  // The default procedure answers 1 and closes the window; this one does neither.
  EXPECT_EQ(Ask(WM_QUERYOPEN), 0);
  EXPECT_EQ(Ask(WM_CLOSE), 0);
  EXPECT_TRUE(IsWindow(window));
}

TEST_F(SockWindow, TakesNoPartInTheDesktop) {
  EXPECT_NE(GetWindowLongA(window, GWL_STYLE) & WS_DISABLED, 0);
  EXPECT_EQ(GetWindowLongA(window, GWL_STYLE) & WS_VISIBLE, 0);
  EXPECT_EQ(GetParent(window), nullptr);
  EXPECT_EQ(GetMenu(window), nullptr);
}

TEST_F(SockWindow, HasAPlainClassOfItsOwn) {
  const auto module = reinterpret_cast<HINSTANCE>(GetWindowLongA(window, GWL_HINSTANCE));
  WNDCLASSA found{};
  ASSERT_TRUE(GetClassInfoA(module, kClass, &found));
  EXPECT_EQ(found.style, 0u);
  EXPECT_EQ(found.cbClsExtra, 0);
  EXPECT_EQ(found.cbWndExtra, 0);
  EXPECT_EQ(found.hIcon, nullptr);
  EXPECT_EQ(found.hCursor, nullptr);
  EXPECT_EQ(found.hbrBackground, nullptr);
  EXPECT_EQ(found.lpszMenuName, nullptr);
  const HWND asked = window;
  iSock_Exit();
  EXPECT_FALSE(IsWindow(asked));
  EXPECT_FALSE(GetClassInfoA(module, kClass, &found));
  ASSERT_EQ(iSock_Init(), Error_None);
}

}  // namespace
