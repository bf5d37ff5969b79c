#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace marvik {

// Text as a JSON string, quotes included; what is not UTF-8 is taken as Latin-1, so that the result always is.
std::string JsonText(std::string_view text);

// Rows of texts and numbers under headings. A row is complete when it has a field for every heading.
class ReportTable {
 public:
  ReportTable() = default;
  explicit ReportTable(std::vector<std::string> tableHeadings, std::string tableName = {})
      : name(std::move(tableName)), headings(std::move(tableHeadings)) {}

  void Text(std::string_view text) { fields_.push_back({std::string(text), false}); }
  // One that is not finite is "-", and null in JSON.
  void Number(double value, int decimals);
  void Integer(int value) { fields_.push_back({std::to_string(value), true}); }

  // Lines of the headings and of each row, ended by line feeds.
  std::string TabSeparated() const { return Separated('\t'); }
  // As RFC 4180 quotes them.
  std::string CommaSeparated() const { return Separated(','); }
  // An array of objects.
  std::string Json() const;

  size_t Rows() const { return headings.empty() ? 0 : fields_.size() / headings.size(); }
  const std::string& Cell(size_t row, size_t column) const { return fields_[row * headings.size() + column].text; }

  std::string name;
  std::vector<std::string> headings;

 private:
  struct Field {
    std::string text;
    bool isNumber = false;
  };
  std::string Separated(char separator) const;
  std::vector<Field> fields_;
};

}  // namespace marvik
