// What the tests of the FTP client share.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "qz/error.h"
#include "qz/ftpc.h"
#include "tests/support/scripted_ftp.h"

inline constexpr uint32_t kAll = 0xFFFFFFFFu;

// The control connection.
class FTPcTest : public ftp::LibraryTest {
 protected:
  // A server that plays these lines after the login, and then sees the client go.
  static Script AfterLogin(const Script& script) { return ftp::Join({ftp::Login(), script, ftp::Gone()}); }
};

// Data connections.
class FTPcData : public ftp::LibraryTest {
 protected:
  static Script AfterLogin(std::initializer_list<Script> parts) {
    return ftp::Join({ftp::Login(), ftp::Join(parts), ftp::Gone()});
  }
};

inline void ExpectEmpty(const Reply& reply) {
  EXPECT_EQ(reply.replyClass, 0);
  EXPECT_EQ(reply.code, 0);
  EXPECT_STREQ(reply.text, "");
}

// Reads a data connection to its end.
inline std::string ReadAll(Stream* stream) {
  std::string all;
  char buffer[4096];
  while (const uint32_t length = Stream_Read(stream, sizeof buffer, buffer)) all.append(buffer, length);
  EXPECT_EQ(Stream_Error(stream), Error_Ended);
  return all;
}

// "0\n1\n2\n" and so on, cut at so many bytes.
inline std::string Numbers(size_t count) {
  std::string text;
  for (size_t i = 0; text.size() < count; ++i) text += std::to_string(i) + "\n";
  return text.substr(0, count);
}
