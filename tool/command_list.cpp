// qz list: the saved transfers, one row each, in one write.
#include <algorithm>
#include <array>

#include "tool/commands.h"
#include "tool/failure.h"
#include "tool/output.h"
#include "tool/saved_text.h"
#include "tool/store.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr std::size_t kColumns = 5;
constexpr std::size_t kNameColumn = kColumns - 1;
using Row = std::array<std::string, kColumns>;

// Numbers stand at the right of their column, words at its left.
constexpr std::array<bool, kColumns> kIsNumber = {true, false, true, true, false};

Row RowOf(const SavedTransfer& transfer, Store* store) {
  return {std::to_string(transfer.number), StateText(transfer, store->IsTaken(transfer.number)),
          SizeColumn(transfer), DoneColumn(transfer), Printable(NameOf(transfer))};
}

std::array<std::size_t, kColumns> WidthsOf(const std::vector<Row>& rows) {
  std::array<std::size_t, kColumns> widths{};
  for (const Row& row : rows) {
    for (std::size_t column = 0; column < kNameColumn; column++)
      widths[column] = std::max(widths[column], row[column].size());
  }
  return widths;
}

std::string TableOf(const std::vector<Row>& rows) {
  const auto widths = WidthsOf(rows);
  std::string table;
  for (const Row& row : rows) {
    for (std::size_t column = 0; column < kNameColumn; column++) {
      const std::string blanks(widths[column] - row[column].size(), ' ');
      table += kIsNumber[column] ? blanks + row[column] : row[column] + blanks;
      table += "  ";
    }
    table += row[kNameColumn] + "\n";
  }
  return table;
}

void PrintRows(const std::vector<SavedTransfer>& transfers, Store* store) {
  std::vector<Row> rows = {{"No", "State", "Size", "Done", "Name"}};
  rows.reserve(transfers.size() + 1);
  for (const SavedTransfer& transfer : transfers) rows.push_back(RowOf(transfer, store));
  Print(TableOf(rows));
}

}  // namespace

void RunList(const Options&, Reporter* reporter) {
  Store store;
  StoreListing listing = store.List();
  for (SavedTransfer& transfer : listing.transfers) LookAtPartFile(&transfer);
  if (!listing.transfers.empty()) {
    PrintRows(listing.transfers, &store);
  } else if (listing.damaged.empty()) {
    reporter->Say("no saved transfers");
  }
  for (const DamagedRecord& record : listing.damaged)
    reporter->ReportError("\"" + record.path + "\" is damaged and left alone: " + record.why);
  if (!listing.damaged.empty()) throw Failure{ExitCode::Other, ""};
}

}  // namespace tool
