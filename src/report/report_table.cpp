#include "report/report_table.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "base/numbers.h"
#include "chem/geometry/report_numbers.h"

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

std::string Quoted(std::string_view text, char separator) {
  const bool plain = text.find_first_of("\"\r\n") == text.npos && text.find(separator) == text.npos;
  if (plain || separator == '\t') return std::string(text);
  std::string result = "\"";
  for (const char c : text) result.append(c == '"' ? 2 : 1, c);
  return result + '"';
}

// With the digits that the text has.
nlohmann::ordered_json NumberOf(std::string_view text) {
  double value = 0.0;
  if (!ParseWholeNumber(text, value)) return nullptr;
  if (text.find('.') == text.npos && std::fabs(value) < 1e9) return static_cast<int>(value);
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

void ReportTable::Add(Kind kind, const std::vector<std::string_view>& texts) {
  fields_.push_back({texts_.size(), static_cast<uint32_t>(texts.size()), kind});
  for (const std::string_view text : texts) {
    const auto length = static_cast<uint32_t>(text.size());
    texts_.append(reinterpret_cast<const char*>(&length), sizeof length).append(text.substr(0, length));
  }
}

std::vector<std::string_view> ReportTable::TextsOf(const Field& field) const {
  std::vector<std::string_view> texts(field.count);
  std::string_view rest = std::string_view(texts_).substr(field.at);
  for (std::string_view& text : texts) {
    uint32_t length = 0;
    std::memcpy(&length, rest.data(), sizeof length);
    text = rest.substr(sizeof length, length);
    rest.remove_prefix(sizeof length + length);
  }
  return texts;
}

void ReportTable::Append(const ReportTable& other) {
  for (Field field : other.fields_) {
    field.at += texts_.size();
    fields_.push_back(field);
  }
  texts_ += other.texts_;
}

void ReportTable::Numbers(const std::vector<double>& values, int decimals, Kind kind) {
  std::vector<std::string> texts;
  for (const double value : values)
    texts.push_back(std::isfinite(value) ? Printf("%.*f", decimals, Shown(value, decimals)) : "");
  Add(kind, {texts.begin(), texts.end()});
}

void ReportTable::Measured(double value, std::optional<double> su, int decimals) {
  const bool isKnown = std::isfinite(value);
  // Two decimals more than the text for readers, so that nothing is lost by rounding.
  Add(Kind::Measured, {isKnown ? Printf("%.*f", decimals + 2, Shown(value, decimals + 2)) : "",
                       isKnown ? WithUncertainty(value, su, decimals) : "-"});
  Add(Kind::Su, {su && std::isfinite(*su) ? Printf("%.*f", decimals + 2, *su) : ""});
}

std::vector<ReportTable::Shape> ReportTable::Shapes(bool together) const {
  std::vector<Shape> shapes;
  for (size_t column = 0; column < headings.size(); ++column) {
    Shape shape{{}, Rows() > 0 ? At(0, column).kind : Kind::Text};
    const bool isList = shape.kind == Kind::TextList || shape.kind == Kind::NumberList;
    size_t width = together && shape.kind == Kind::Su ? 0 : 1;
    for (size_t row = 0; isList && row < Rows(); ++row) width = std::max<size_t>(width, At(row, column).count);
    const auto named = std::find_if(columnNames_.begin(), columnNames_.end(),
                                    [&](const Columns& c) { return c.heading == headings[column]; });
    const std::string& heading = headings[column];
    const std::string single = heading.ends_with('s') ? heading.substr(0, heading.size() - 1) : heading;
    for (size_t i = 0; i < width; ++i) {
      const bool hasName = named != columnNames_.end() && i < named->columns.size();
      shape.headings.push_back(hasName ? named->columns[i] : isList ? single + std::to_string(i + 1) : heading);
    }
    shapes.push_back(std::move(shape));
  }
  return shapes;
}

std::vector<std::string_view> ReportTable::Cells(const std::vector<Shape>& shapes, size_t row, bool together) const {
  std::vector<std::string_view> cells;
  for (size_t column = 0; column < shapes.size(); ++column) {
    const Field& field = At(row, column);
    const auto texts = TextsOf(field);
    const bool isMeasured = field.kind == Kind::Measured;
    const bool isNumber = shapes[column].kind == Kind::Number || shapes[column].kind == Kind::NumberList;
    for (size_t i = 0; i < shapes[column].headings.size(); ++i) {
      const bool isThere = i < texts.size();
      std::string_view text = isMeasured && together ? texts[1] : isThere ? texts[i] : "";
      if (together && text.empty() && (!isThere || isNumber)) text = "-";
      cells.push_back(text);
    }
  }
  return cells;
}

std::string ReportTable::Joined(bool together, char separator) const {
  const auto shapes = Shapes(together);
  std::string text;
  const auto join = [&](const auto& cells, bool isFirst) {
    for (const auto& cell : cells) {
      if (!isFirst) text += separator;
      text += Quoted(cell, separator);
      isFirst = false;
    }
  };
  bool isFirst = true;
  for (const Shape& shape : shapes) {
    join(shape.headings, isFirst);
    isFirst &= shape.headings.empty();
  }
  text += '\n';
  for (size_t row = 0; row < Rows(); ++row) {
    join(Cells(shapes, row, together), true);
    text += '\n';
  }
  return text;
}

std::string ReportTable::Aligned() const {
  const auto shapes = Shapes(true);
  std::vector<std::string_view> first;
  for (const Shape& shape : shapes) first.insert(first.end(), shape.headings.begin(), shape.headings.end());
  std::vector<size_t> widths(first.size());
  for (size_t row = 0; row < Rows(); ++row) {
    const auto cells = Cells(shapes, row, true);
    for (size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], cells[i].size());
  }
  for (size_t i = 0; i < widths.size(); ++i)
    if (widths[i] > 0) widths[i] = std::max(widths[i], first[i].size());
  std::string text;
  for (size_t line = 0; line <= Rows(); ++line) {
    const auto cells = line == 0 ? first : Cells(shapes, line - 1, true);
    for (size_t i = 0; i < widths.size(); ++i)
      if (widths[i] > 0) text.append(cells[i]).append(widths[i] + 2 - cells[i].size(), ' ');
    text.erase(text.find_last_not_of(' ') + 1);
    text += '\n';
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
      const auto texts = TextsOf(field);
      if (field.kind == Kind::Text) {
        value = Utf8Of(texts[0]);
      } else if (field.kind == Kind::TextList || field.kind == Kind::NumberList) {
        value = nlohmann::ordered_json::array();
        for (const std::string_view item : texts)
          field.kind == Kind::TextList ? value.push_back(Utf8Of(item)) : value.push_back(NumberOf(item));
      } else {
        value = NumberOf(texts[0]);
      }
    }
    text.append(row ? ",\n" : "\n").append(blanks).append(object.dump());
  }
  return text + (Rows() ? "\n" + blanks.substr(0, blanks.size() / 2) + "]" : "]");
}

}  // namespace marvik
