// qz show: all that is known of a saved transfer.
#include <string_view>

#include "qz/error.h"
#include "tool/commands.h"
#include "tool/console.h"
#include "tool/failure.h"
#include "tool/output.h"
#include "tool/record.h"
#include "tool/saved_text.h"
#include "tool/store.h"
#include "tool/text.h"

namespace tool {
namespace {

std::string Line(const std::string& name, const std::string& value) {
  constexpr std::size_t kNameColumns = 10;
  const std::string label = name + ":";
  return label + std::string(kNameColumns - label.size(), ' ') + Printable(value) + "\n";
}

std::string FactsOf(const SavedTransfer& transfer, bool isTaken) {
  std::string text = Line("number", std::to_string(transfer.number));
  text += Line("kind", transfer.isUpload ? "upload" : "download");
  text += Line("state", StateText(transfer, isTaken));
  text += Line("URL", transfer.url);
  text += Line("file", console::ToSystemName(transfer.localPath));
  if (!transfer.user.empty()) text += Line("user", transfer.user);
  text += Line("size", SizeColumn(transfer));
  text += Line("done", DoneColumn(transfer));
  text += Line("options", OptionsText(transfer));
  text += Line("attempts", std::to_string(transfer.attempts));
  if (!transfer.lastReason.empty()) text += Line("failure", transfer.lastReason);
  return text;
}

// "in use; 45.2 MiB/s in 3 samples; 2 failures". The library counts no outcome but failures.
std::string StatisticsOf(const VRXClientServer& server) {
  std::string text = server.isFailed != 0 ? "dropped" : server.isCurrent != 0 ? "in use" : "ready";
  if (server.speedSamples > 0 && server.averageSpeed >= 0) {
    text += "; " + SizeText(static_cast<std::uint64_t>(server.averageSpeed)) + "/s in " +
            std::to_string(server.speedSamples) + (server.speedSamples == 1 ? " sample" : " samples");
  }
  if (server.outcomeSamples > 0) {
    text += "; " + std::to_string(server.outcomeSamples) +
            (server.outcomeSamples == 1 ? " failure" : " failures");
  }
  return text;
}

std::string ServersOf(const VRXClient* client) {
  std::string text = "servers:\n";
  VRXClientServer server;
  for (std::uint32_t index = 0; VRXClient_GetServer(client, index, &server) == Error_None; index++)
    text += "  " + Printable(server.url) + "  (" + StatisticsOf(server) + ")\n";
  return text;
}

std::string MessagesOf(VRXClient* client) {
  const char* log = nullptr;
  if (VRXClient_GetInfo(client, &log) != Error_None) return "";
  return "messages:\n" + PrintableLines("  ", log);
}

}  // namespace

void RunShow(const Options& options, Reporter*) {
  const unsigned number = options.numbers[0];
  Store store;
  auto transfer = store.Find(number);
  if (!transfer) throw Failure{ExitCode::NotFound, "there is no transfer " + std::to_string(number)};
  LookAtPartFile(&*transfer);
  const std::string facts = FactsOf(*transfer, store.IsTaken(number));
  const auto record = store.ReadRecord(number);
  if (!record) return Print(facts);
  OwnedTransfer client;
  try {
    client = ReadRecord(*record);
  } catch (const Failure&) {
    Print(facts);
    throw;
  }
  Print(facts + ServersOf(client.get()) + MessagesOf(client.get()));
}

}  // namespace tool
