#include "report/report_table.h"

#include <cmath>

#include "base/numbers.h"

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

}  // namespace

std::string JsonText(std::string_view text) {
  std::string result = "\"";
  while (!text.empty()) {
    const size_t length = Utf8Length(text);
    const auto byte = static_cast<unsigned char>(text[0]);
    if (length == 0 || byte < 0x20 || byte == 0x7F) {
      AppendPrintf(result, "\\u%04x", byte);
    } else {
      if (byte == '"' || byte == '\\') result += '\\';
      result += text.substr(0, length);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return result + '"';
}

void ReportTable::Number(double value, int decimals) {
  const bool isNumber = std::isfinite(value);
  fields_.push_back({isNumber ? Printf("%.*f", decimals, value) : "-", true});
}

std::string ReportTable::Separated(char separator) const {
  std::string text;
  for (size_t i = 0; i < headings.size(); ++i) text.append(i ? 1 : 0, separator).append(Quoted(headings[i], separator));
  for (size_t i = 0; i < Rows() * headings.size(); ++i)
    text.append(1, i % headings.size() == 0 ? '\n' : separator).append(Quoted(fields_[i].text, separator));
  return text + '\n';
}

std::string ReportTable::Json() const {
  std::string text = "[";
  for (size_t row = 0; row < Rows(); ++row) {
    text += row ? ",\n  {" : "\n  {";
    for (size_t column = 0; column < headings.size(); ++column) {
      const Field& field = fields_[row * headings.size() + column];
      text.append(column ? ", " : "").append(JsonText(headings[column])).append(": ");
      text += !field.isNumber ? JsonText(field.text) : field.text == "-" ? "null" : field.text;
    }
    text += '}';
  }
  return text + (Rows() ? "\n]" : "]");
}

}  // namespace marvik
