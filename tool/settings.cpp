// settings.conf: a line "upgrade-location URL".
#include "tool/settings.h"

#include <memory>

#include "qz/config.h"
#include "qz/error.h"
#include "tool/address.h"
#include "tool/console.h"
#include "tool/failure.h"
#include "tool/library_call.h"
#include "tool/private_file.h"
#include "tool/store.h"

namespace tool {
namespace {

constexpr const char* kUpgradeLocation = "upgrade-location";
constexpr std::size_t kLongestLocation = 1023;  // the library's limit

struct DeleteSpec {
  void operator()(ConfigSpec* spec) const { ConfigSpec_Delete(spec); }
};
struct DeleteConfig {
  void operator()(Config* config) const { Config_Delete(config); }
};
using Document = std::unique_ptr<Config, DeleteConfig>;

// Two fields a line. A "#" may be part of a URL, so nothing is a comment.
Document NewDocument() {
  const std::unique_ptr<ConfigSpec, DeleteSpec> spec(ConfigSpec_Start());
  ConfigSpec_SetLineComment(spec.get(), nullptr);
  ConfigSpec_SetMinFields(spec.get(), 2);
  ConfigSpec_SetMaxFields(spec.get(), 2);
  ConfigSpec_End(spec.get());
  Document document(Config_New(spec.get()));
  if (document == nullptr) throw Failure{ExitCode::Other, "out of memory"};
  return document;
}

std::string PathOf(const Store& store) {
  return PathInFolder(store.Folder(), "settings.conf");
}

}  // namespace

std::string ReadUpgradeLocation() {
  const Store store;
  const std::string path = PathOf(store);
  const Document document = NewDocument();
  Error_ClearLast();
  const ErrorCode status = Config_Read(document.get(), console::ToLibraryName(path).c_str());
  if (status == Error_NotFound) return "";
  if (status != Error_None)
    throw Failure{ExitCode::Disk, "cannot read \"" + path + "\"" + RecordedDetails(status)};
  const ConfigLine* line = Config_FindLine(document.get(), nullptr, kUpgradeLocation);
  return line == nullptr ? "" : Config_GetFields(document.get(), line)[1];
}

void WriteUpgradeLocation(const std::string& location) {
  const Store store;
  const std::string line = location.empty() ? "" : std::string(kUpgradeLocation) + "\t" + location + "\n";
  WritePrivateFile(PathOf(store), line, false);
}

void CheckUpgradeLocation(const std::string& location) {
  if (location.size() > kLongestLocation) {
    throw Failure{ExitCode::Usage,
                  "the location of upgrades is longer than " + std::to_string(kLongestLocation) + " bytes"};
  }
  for (std::size_t begin = 0; begin <= location.size();) {
    const std::size_t end = std::min(location.find(';', begin), location.size());
    const Address address = ParseAddress(location.substr(begin, end - begin));
    if (address.scheme != Scheme::FTP)
      throw Failure{ExitCode::Usage, "\"" + address.shown + "\" is not an FTP URL; upgrades come over FTP"};
    begin = end + 1;
  }
}

}  // namespace tool
