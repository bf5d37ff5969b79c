#include "publish/publication_loops.h"

#include <algorithm>

#include "base/words.h"
#include "files/cif/cif_writer.h"

namespace marvik {
namespace {

constexpr char kMark = '|';

std::vector<std::string> CellsOf(const std::string& row) {
  std::vector<std::string> cells;
  for (size_t at = 0; at <= row.size();) {
    const size_t end = std::min(row.find(kMark, at), row.size());
    cells.emplace_back(Trimmed(std::string_view(row).substr(at, end - at)));
    at = end + 1;
  }
  return cells;
}

// A line that begins with a blank goes on where the one before ended.
std::vector<std::string> RowsOf(std::string_view text) {
  std::vector<std::string> rows;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end), plain = Trimmed(line);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (plain.empty()) continue;
    if ((line[0] == ' ' || line[0] == '\t') && !rows.empty()) {
      rows.back().append("\n").append(plain);
    } else {
      rows.emplace_back(plain);
    }
  }
  return rows;
}

}  // namespace

std::vector<std::string> ColumnsOf(const PublicationField& field) {
  std::vector<std::string> columns{field.item};
  for (std::string_view rest = field.more; !rest.empty();) {
    const size_t end = std::min(rest.find(' '), rest.size());
    columns.emplace_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return columns;
}

bool IsLoopOf(const KnownItems::Loop& loop, const PublicationField& field) {
  return std::ranges::any_of(loop.names,
                             [&](const std::string& name) { return LowerCase(name) == LowerCase(field.item); });
}

std::string LinesOfLoop(const KnownItems::Loop& loop, const PublicationField& field) {
  std::string lines;
  const std::vector<std::string> columns = ColumnsOf(field);
  for (size_t row = 0; row + loop.names.size() <= loop.values.size(); row += loop.names.size()) {
    std::string line;
    size_t open = 0;  // empty cells so far
    for (const std::string& column : columns) {
      const auto same = [&](const std::string& name) { return LowerCase(name) == LowerCase(column); };
      const auto at = std::ranges::find_if(loop.names, same);
      std::string cell;
      if (at != loop.names.end()) cell = PlainValue(loop.values[row + static_cast<size_t>(at - loop.names.begin())]);
      std::string indented;
      for (const char c : std::string(Trimmed(cell == "?" ? "" : cell)))
        indented += c == '\n' ? "\n  " : std::string(1, c);
      if (!indented.empty()) {
        while (open > 0) line += " |", --open;
        line += (line.empty() ? "" : " ") + indented;
      }
      ++open;
    }
    lines += line + "\n";
  }
  return lines.substr(0, lines.find_last_not_of('\n') + 1);
}

std::string LoopOfLines(std::string_view lines, const PublicationField& field) {
  const std::vector<std::string> columns = ColumnsOf(field);
  std::vector<std::vector<std::string>> rows;
  size_t used = 1;
  for (const std::string& row : RowsOf(lines)) {
    used = std::max(used, rows.emplace_back(CellsOf(row)).size());
  }
  used = std::min(used, columns.size());
  std::string text = "loop_\n";
  for (size_t i = 0; i < used; ++i) text += columns[i] + "\n";
  if (rows.empty()) text += "?\n";
  for (std::vector<std::string>& row : rows) {
    row.resize(used);
    for (const std::string& cell : row) {
      const std::string value = CifValueText(CifMarkup(cell));
      text += (value.starts_with('\n') ? "" : " ") + value;
    }
    text += "\n";
  }
  return text;
}

std::string LoopFault(std::string_view lines, const PublicationField& field) {
  const std::vector<std::string> columns = ColumnsOf(field);
  for (const std::string& row : RowsOf(lines)) {
    if (CellsOf(row).size() <= columns.size()) continue;
    std::string names;
    for (const std::string& column : columns) names += (names.empty() ? "" : " | ") + column;
    return "A line takes " + names + ", not " + row.substr(0, 60) + ".";
  }
  return "";
}

}  // namespace marvik
