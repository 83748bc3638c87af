// The bytes of a transfer's record, typed by hand, in pieces that its versions share.
#pragma once

#include <string>
#include <vector>

namespace transfer_record {

inline const std::string kTag = "76 72 78 63 ";
inline const std::string kCreated = "00 CA 9A 3B F4 01 00 00 ";               // 1000000000 s, 500 ms
inline const std::string kSize = "00 10 00 00 ";                              // 4096
inline const std::string kDeclared = "88 13 00 00 ";                          // 5000
inline const std::string kServerFileName = "06 00 00 00 73 2E 62 69 6E 00 ";  // "s.bin"
inline const std::string kFlags = "07 00 ";                                   // reserved 7, a download
inline const std::string kUploadFlags = "07 01 ";
inline const std::string kState = "0D 00 00 00 3E 00 00 00 ";  // 13, edit flags 0x3E
inline const std::string kAgentsBefore7 = "00 00 00 00 ";      // none
inline const std::string kAgents = "00 00 00 00 00 00 00 00 ";
inline const std::string kServers =
    "76 72 78 73 01 00 00 00 02 00 00 00 "
    "0B 00 00 00 20 66 74 70 3A 2F 2F 61 2F 78 00 "                              // " ftp://a/x"
    "0B 00 00 00 21 66 74 70 3A 2F 2F 62 2F 78 00 ";                             // "!ftp://b/x"
inline const std::string kURL = "0A 00 00 00 66 74 70 3A 2F 2F 61 2F 78 00 ";    // "ftp://a/x"
inline const std::string kSourceTime = "02 00 00 00 03 00 00 00 ";               // 2 s, 3 ms
inline const std::string kLogin = "03 00 00 00 6D 65 00 03 00 00 00 70 77 00 ";  // "me", "pw"
inline const std::string kPaths = "03 00 00 00 2F 64 00 03 00 00 00 2F 6C 00 ";  // "/d", "/l"
inline const std::string kNames = "02 00 00 00 6E 00 03 00 00 00 2F 70 00 ";     // "n", "/p"
inline const std::string kElapsed = "DC 05 00 00 ";                              // 1500

inline const std::string kVersion1 =
    kTag + "01 00 00 00 " + kCreated + kSize + kFlags + kURL + kLogin + kPaths;
inline const std::string kVersion2 =
    kTag + "02 00 00 00 " + kCreated + kSize + kFlags + kURL + kLogin + kPaths + kNames;
inline const std::string kVersion3 = kTag + "03 00 00 00 " + kCreated + kSize + kFlags + kState +
                                     kAgentsBefore7 + kURL + kLogin + kPaths + kNames;
inline const std::string kVersion4 = kTag + "04 00 00 00 " + kCreated + kSize + kFlags + kState +
                                     kAgentsBefore7 + kServers + kLogin + kPaths + kNames;
inline const std::string kVersion5 = kTag + "05 00 00 00 " + kCreated + kSize + kDeclared + kFlags + kState +
                                     kAgentsBefore7 + kServers + kLogin + kPaths + kNames;
inline const std::string kVersion6 = kTag + "06 00 00 00 " + kCreated + kSize + kDeclared + kFlags + kState +
                                     kAgentsBefore7 + kServers + kSourceTime + kLogin + kPaths + kNames;
inline const std::string kVersion7 = kTag + "07 00 00 00 " + kCreated + kSize + kDeclared + kFlags + kState +
                                     kAgents + kServers + kSourceTime + kLogin + kPaths + kNames + kElapsed;
inline const std::string kVersion8 = kTag + "08 00 00 00 " + kCreated + kSize + kDeclared + kServerFileName +
                                     kFlags + kState + kAgents + kServers + kSourceTime + kLogin + kPaths +
                                     kNames + kElapsed;
inline const std::string kVersion9 = kTag + "09 00 00 00 " + kCreated + "FF FF FF FF " + kDeclared +
                                     kServerFileName + kFlags + kState + kAgents + kServers + kSourceTime +
                                     kLogin + kPaths + kNames + kElapsed +
                                     "89 67 45 23 01 00 00 00 "   // 4886718345
                                     "88 13 00 00 00 00 00 00 ";  // 5000
inline const std::vector<std::string> kVersions = {kVersion1, kVersion2, kVersion3, kVersion4, kVersion5,
                                                   kVersion6, kVersion7, kVersion8, kVersion9};

}  // namespace transfer_record
