#include "tool/proxy.h"

#include "qz/proxy.h"
#include "tool/failure.h"

namespace tool {

std::optional<std::string> ProxyOf(const Address& address) {
  constexpr std::size_t kHostBytes = 1024;
  char host[kHostBytes] = "";
  std::uint32_t port = 0;
  const ProxyIndex index = address.scheme == Scheme::FTP ? ProxyIndex_FTP : ProxyIndex_HTTP;
  if (Proxy_Resolve(index, address.host.c_str(), address.port, host, &port) == 0) return std::nullopt;
  return std::string(host) + ":" + std::to_string(port);
}

void CheckProxyPort(const Address& address, const Options& options) {
  constexpr std::uint32_t kUsualPort = 21;
  if (address.scheme != Scheme::FTP || address.port == kUsualPort || !ProxyOf(address)) return;
  throw Failure{ExitCode::Usage,
                "an FTP proxy supports servers on port 21 only; \"" + address.shown +
                    "\" has another port, " +
                    (options.proxyHost ? "omit --proxy" : "add its host to qz prefs proxy-bypass")};
}

void UseProxy(const Options& options) {
  if (!options.proxyHost) return;
  Proxy_SetBypassList(nullptr);
  Proxy_SetServer(ProxyIndex_HTTP, options.proxyHost->c_str(), options.proxyPort);
  Proxy_SetServer(ProxyIndex_FTP, options.proxyHost->c_str(), options.proxyPort);
  Proxy_SetEnabled(1);
}

}  // namespace tool
