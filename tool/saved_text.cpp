#include "tool/saved_text.h"

#include <array>
#include <utility>

#include "tool/text.h"

namespace tool {

std::string NameOf(const SavedTransfer& transfer) {
  const std::size_t separator = transfer.localPath.rfind('/');
  return separator == std::string::npos ? transfer.localPath : transfer.localPath.substr(separator + 1);
}

std::string StateText(const SavedTransfer& transfer, bool isTaken) {
  if (isTaken) return "running";
  return transfer.status == TransferStatus::Failed ? "failed" : "waiting";
}

std::string SizeColumn(const SavedTransfer& transfer) {
  return transfer.sizeBytes ? SizeText(*transfer.sizeBytes) : "unknown";
}

std::string DoneColumn(const SavedTransfer& transfer) {
  if (!transfer.sizeBytes || *transfer.sizeBytes == 0) return SizeText(transfer.doneBytes);
  if (transfer.doneBytes >= *transfer.sizeBytes) return "100%";
  constexpr double kWhole = 100;
  const double share = static_cast<double>(transfer.doneBytes) / static_cast<double>(*transfer.sizeBytes);
  return std::to_string(static_cast<unsigned>(share * kWhole)) + "%";
}

std::string OptionsText(const SavedTransfer& transfer) {
  const std::array<std::pair<bool, const char*>, 8> options = {{
      {transfer.isActive, "active"},
      {transfer.continuesUpload, "continue"},
      {transfer.overwrites, "overwrite"},
      {transfer.savesPassword, "save-password"},
      {transfer.verifies && !transfer.digest.empty(), "sha256"},
      {transfer.isSynchronised, "sync"},
      {transfer.unpacks, "unpack"},
      {transfer.verifies && transfer.digest.empty(), "verify"},
  }};
  std::string text;
  for (const auto& [isSet, name] : options) {
    if (isSet) text += (text.empty() ? "" : ", ") + std::string(name);
  }
  return text.empty() ? "none" : text;
}

}  // namespace tool
