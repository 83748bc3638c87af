#include "tests/support/os_session.h"

#include "qz/os.h"

namespace {

std::string SessionName() {
  return "qzsession" + std::to_string(ProgramNumber());
}

void RemoveFoldersBesideProgram(const std::string& applicationName) {
  for (const char* suffix : {"Temp", "Cache", "Desk", "Prefs"}) {
    std::error_code ignored;
    std::filesystem::remove_all(ProgramPath().parent_path() / (applicationName + suffix), ignored);
  }
}

}  // namespace

OSPlaces::OSPlaces(std::string applicationName)
    : applicationName_(std::move(applicationName)), names_{applicationName_} {
#ifndef _WIN32
  for (const char* variable : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"}) {
    const std::filesystem::path folder = folder_.Path() / variable;
    std::filesystem::create_directories(folder);
    variables_.push_back(std::make_unique<ScopedVariable>(variable, folder.c_str()));
  }
#endif
}

OSPlaces::~OSPlaces() {
  for (const std::string& name : names_) RemoveFoldersBesideProgram(name);
}

OSSession::OSSession() : places_(SessionName()) {
  const std::string log = places_.Folder().Name("session.log");
  status_ = OS_Init(places_.ApplicationName().c_str(), OSInitCode_LogPath, log.c_str(), OSInitCode_Platform,
                    OSInitCode_End);
}

OSSession::~OSSession() {
  if (status_ == 0) OS_Exit(0);
}
