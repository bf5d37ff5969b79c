#include "report/report_table.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "base/numbers.h"
#include "chem/report_numbers.h"

namespace marvik {
namespace {

// Number of bytes of the UTF-8 character at the start, 0 when it is none.
size_t Utf8Length(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned first = byte(0);
  const size_t length = first < 0x80                    ? 1
                        : first >= 0xC2 && first < 0xE0 ? 2
                        : first >= 0xE0 && first < 0xF0 ? 3
                        : first >= 0xF0 && first < 0xF5 ? 4
                                                        : 0;
  if (length > text.size()) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  const bool bad = length > 2 && ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) >= 0xA0) ||
                                  (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) >= 0x90));
  return bad ? 0 : length;
}

std::string Quoted(const std::string& text, char separator) {
  const bool plain = text.find_first_of("\"\r\n") == std::string::npos && text.find(separator) == std::string::npos;
  if (plain || separator == '\t') return text;
  std::string result = "\"";
  for (const char c : text) result.append(c == '"' ? 2 : 1, c);
  return result + '"';
}

// With the digits that the text has.
nlohmann::ordered_json NumberOf(const std::string& text) {
  double value = 0.0;
  if (!ParseWholeNumber(text, value)) return nullptr;
  if (text.find('.') == std::string::npos && std::fabs(value) < 1e9) return static_cast<int>(value);
  return value;
}

}  // namespace

std::string Utf8Of(std::string_view bytes) {
  std::string result;
  while (!bytes.empty()) {
    const size_t length = Utf8Length(bytes);
    if (length == 0) {
      const auto byte = static_cast<unsigned char>(bytes[0]);
      result += {static_cast<char>(0xC0 | byte >> 6), static_cast<char>(0x80 | (byte & 0x3F))};
    } else {
      result += bytes.substr(0, length);
    }
    bytes.remove_prefix(std::max<size_t>(length, 1));
  }
  return result;
}

void ReportTable::Numbers(const std::vector<double>& values, int decimals, Kind kind) {
  Field field{kind, {}};
  for (const double value : values)
    field.texts.push_back(std::isfinite(value) ? Printf("%.*f", decimals, Shown(value, decimals)) : "");
  Add(std::move(field));
}

void ReportTable::Measured(double value, std::optional<double> su, int decimals) {
  const bool isKnown = std::isfinite(value);
  // Two decimals more than the text for readers, so that nothing is lost by rounding.
  Add({Kind::Measured,
       {isKnown ? Printf("%.*f", decimals + 2, Shown(value, decimals + 2)) : ""},
       isKnown ? WithUncertainty(value, su, decimals) : "-"});
  Add({Kind::Su, {su && std::isfinite(*su) ? Printf("%.*f", decimals + 2, *su) : ""}});
}

ReportTable::Cells ReportTable::Expanded(bool together) const {
  Cells cells(Rows() + 1);
  for (size_t column = 0; column < headings.size(); ++column) {
    const Kind kind = Rows() > 0 ? At(0, column).kind : Kind::Text;
    if (together && kind == Kind::Su) continue;
    size_t width = 1;
    const bool isList = kind == Kind::TextList || kind == Kind::NumberList;
    for (size_t row = 0; isList && row < Rows(); ++row) width = std::max(width, At(row, column).texts.size());
    const auto named = std::find_if(columnNames_.begin(), columnNames_.end(),
                                    [&](const Columns& c) { return c.heading == headings[column]; });
    const std::string& heading = headings[column];
    const std::string single = heading.ends_with('s') ? heading.substr(0, heading.size() - 1) : heading;
    for (size_t i = 0; i < width; ++i) {
      const bool hasName = named != columnNames_.end() && i < named->columns.size();
      cells[0].push_back(hasName ? named->columns[i] : isList ? single + std::to_string(i + 1) : heading);
      for (size_t row = 0; row < Rows(); ++row) {
        const Field& field = At(row, column);
        const bool isThere = i < field.texts.size();
        std::string text = isThere ? field.texts[i] : "";
        if (together && field.kind == Kind::Measured) text = field.together;
        if (together && text.empty() && (!isThere || kind == Kind::Number || kind == Kind::NumberList)) text = "-";
        cells[row + 1].push_back(std::move(text));
      }
    }
  }
  return cells;
}

std::string ReportTable::Joined(const Cells& cells, char separator) {
  std::string text;
  for (const auto& row : cells) {
    for (size_t i = 0; i < row.size(); ++i) text.append(i ? 1 : 0, separator).append(Quoted(row[i], separator));
    text += '\n';
  }
  return text;
}

std::string ReportTable::Aligned() const {
  const Cells cells = Expanded(true);
  std::vector<size_t> widths(cells[0].size());
  for (size_t row = 1; row < cells.size(); ++row)
    for (size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], cells[row][i].size());
  for (size_t i = 0; i < widths.size(); ++i)
    if (widths[i] > 0) widths[i] = std::max(widths[i], cells[0][i].size());
  std::string text;
  for (const auto& row : cells) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i)
      if (widths[i] > 0) line.append(row[i]).append(widths[i] + 2 - row[i].size(), ' ');
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
  }
  return text;
}

std::string ReportTable::Json(int indent) const {
  std::string text = "[";
  const std::string blanks(static_cast<size_t>(indent), ' ');
  for (size_t row = 0; row < Rows(); ++row) {
    nlohmann::ordered_json object = nlohmann::ordered_json::object();
    for (size_t column = 0; column < headings.size(); ++column) {
      const Field& field = At(row, column);
      auto& value = object[headings[column]];
      if (field.kind == Kind::Text) {
        value = Utf8Of(field.texts[0]);
      } else if (field.kind == Kind::TextList || field.kind == Kind::NumberList) {
        value = nlohmann::ordered_json::array();
        for (const std::string& item : field.texts)
          field.kind == Kind::TextList ? value.push_back(Utf8Of(item)) : value.push_back(NumberOf(item));
      } else {
        value = NumberOf(field.texts[0]);
      }
    }
    text.append(row ? ",\n" : "\n").append(blanks).append(object.dump());
  }
  return text + (Rows() ? "\n" + blanks.substr(0, blanks.size() / 2) + "]" : "]");
}

}  // namespace marvik
