// The library brought up for tests that need it, with its log and its directories where they disturb nobody.
//
//   OSSession session;                                     // in one test or one fixture
//   testing::AddGlobalTestEnvironment(new OSEnvironment);  // for a whole test program
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "qz/types.h"
#include "tests/support/environment.h"

// Where OS_Init puts what it creates, for as long as this lives: the user's folders are a temporary one
// (where variables name them), and the folders that it makes beside the test program for `applicationName`
// are removed at the end.
class OSPlaces {
 public:
  explicit OSPlaces(std::string applicationName);
  ~OSPlaces();

  const std::string& ApplicationName() const { return applicationName_; }
  const TemporaryFolder& Folder() const { return folder_; }
  // Another application name whose folders are to be removed.
  void AlsoRemove(const std::string& applicationName) { names_.push_back(applicationName); }

 private:
  std::string applicationName_;
  std::vector<std::string> names_;
  TemporaryFolder folder_;
  std::vector<std::unique_ptr<ScopedVariable>> variables_;
};

// Calls OS_Init with a log path in a temporary folder, and OS_Exit at the end.
class OSSession {
 public:
  OSSession();
  ~OSSession();
  OSSession(const OSSession&) = delete;
  OSSession& operator=(const OSSession&) = delete;

  // What OS_Init gave.
  ErrorCode Status() const { return status_; }
  // A temporary folder that lives as long as the session.
  const TemporaryFolder& Folder() const { return places_.Folder(); }

 private:
  OSPlaces places_;
  ErrorCode status_;
};

class OSEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    session_ = std::make_unique<OSSession>();
    ASSERT_EQ(session_->Status(), 0) << "OS_Init failed";
  }
  void TearDown() override { session_.reset(); }

 private:
  std::unique_ptr<OSSession> session_;
};
