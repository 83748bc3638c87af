// What only tests need of the FTP client.
#pragma once

#include <cstdint>

#include "qz/stringlookup.h"

// The texts of the reply codes, by code.
inline constexpr uint32_t kFTPReply_Count = 39;
extern const StringLookup kFTPReply_Texts[kFTPReply_Count];

// The port that the next active data connection tries: the ports of the range one after the other.
uint32_t iFTPc_NextActivePort();

// The proxy that FTPc_SetProxyServer recorded.
struct FTPProxyServer {
  bool enabled;
  char host[257];
  uint32_t port;
};
const FTPProxyServer& iFTPc_GetProxyServer();
