// The proxies of --proxy and of the preferences, which the library's table holds.
#ifndef TOOL_PROXY_H
#define TOOL_PROXY_H

#include <optional>
#include <string>

#include "tool/address.h"
#include "tool/options.h"

namespace tool {

// "HOST:PORT" of the proxy through which an address is reached; nothing when it is reached directly.
std::optional<std::string> ProxyOf(const Address& address);

// Throws Failure (Usage) for an FTP server that is reached through a proxy and has another port than 21.
void CheckProxyPort(const Address& address, const Options& options);

// Lets the option --proxy, when it was given, take the place of the preferences' proxies.
void UseProxy(const Options& options);

}  // namespace tool

#endif
