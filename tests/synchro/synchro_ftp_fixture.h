// What the scripts of a synchroniser's FTP servers are put together from.
#pragma once

#include <string>

#include "tests/support/scripted_ftp.h"

namespace synchro {

inline Script Login() {
  using namespace script;
  return {SendLine("220 ready"), ExpectLine("USER u"), SendLine("331 who?"), ExpectLine("PASS p"),
          SendLine("230 in"),    ExpectLine("TYPE I"), SendLine("200 ok")};
}

// A folder is entered and listed.
inline Script List(const std::string& folder, const std::string& listing) {
  return ftp::Join({ftp::Exchange("CWD " + folder, "250 ok"), ftp::Passive(), ftp::Started("LIST"),
                    ftp::SendsFile(listing)});
}

inline Script Retrieve(const std::string& path, const std::string& bytes) {
  return ftp::Join({ftp::Exchange("SIZE " + path, "213 " + std::to_string(bytes.size())), ftp::Passive(),
                    ftp::Started("RETR " + path), ftp::SendsFile(bytes)});
}

// size and time: of the replies; the time has fourteen digits.
inline Script Values(const std::string& path, const std::string& size, const std::string& time) {
  return ftp::Join(
      {ftp::Exchange("SIZE " + path, "213 " + size), ftp::Exchange("MDTM " + path, "213 " + time)});
}

inline Script Store(const std::string& path, const std::string& size, const std::string& time) {
  return ftp::Join(
      {ftp::Passive(), ftp::Started("STOR " + path), ftp::TakesFile(), Values(path, size, time)});
}

// A line of a listing; the file was last modified on January 5, 1997.
inline std::string FileLine(const std::string& name, const std::string& size = "5",
                            const std::string& timeOfDay = "09:03") {
  return "-rw-r--r--   1 owner group " + size + " Jan  5 1997 " + timeOfDay + " " + name + "\r\n";
}
inline std::string FolderLine(const std::string& name) {
  return "drwxr-xr-x   2 owner group 4096 Jan  5 1997 09:03 " + name + "\r\n";
}

}  // namespace synchro
