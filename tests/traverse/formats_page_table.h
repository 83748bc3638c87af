// The tables of docs/formats.md.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "formats_page.h"

using PageRow = std::vector<std::string>;

inline std::string WithoutOuterBlanks(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The rows of the table below a heading.
inline std::vector<PageRow> RowsBelow(const std::string& heading) {
  const std::string page(kFormatsPage);
  std::istringstream lines(page.substr(page.find("\n" + heading + "\n") + heading.size() + 2));
  std::vector<PageRow> rows;
  for (std::string line; std::getline(lines, line) && line[0] != '#';) {
    if (line.rfind("| ", 0) != 0) continue;
    std::istringstream columns(line.substr(1));
    PageRow row;
    for (std::string column; std::getline(columns, column, '|');) row.push_back(WithoutOuterBlanks(column));
    rows.push_back(row);
  }
  if (!rows.empty()) rows.erase(rows.begin());  // the names of the columns
  return rows;
}

constexpr size_t kPlainColumn = 2;
constexpr size_t kNetworkColumn = 3;
enum class Side { Reader, Writer };

// A column of a table of bytes in hexadecimal: what a reader expects, or what a writer gives.
inline std::string ColumnBelow(const std::string& heading, size_t column, Side side) {
  const std::string mark = " written ";
  std::string hex;
  for (const PageRow& row : RowsBelow(heading)) {
    std::string bytes = row.at(column);
    if (const size_t at = bytes.find(mark); at != std::string::npos)
      bytes = side == Side::Writer ? bytes.substr(at + mark.size()) : bytes.substr(0, at);
    hex += (hex.empty() ? "" : " ") + bytes;
  }
  return hex;
}

inline std::string ExampleColumn(size_t column, Side side) {
  return ColumnBelow("### Example", column, side);
}
