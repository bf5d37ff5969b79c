#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marvik {

// Rows of texts, numbers and lists under headings. A row is complete when it has a field for every heading.
class ReportTable {
 public:
  ReportTable() = default;
  explicit ReportTable(std::vector<std::string> tableHeadings, std::string tableName = {})
      : name(std::move(tableName)), headings(std::move(tableHeadings)) {}

  void Text(std::string_view text) { Add(Kind::Text, {text}); }
  void Number(double value, int decimals) { Numbers({value}, decimals, Kind::Number); }
  void Integer(int value) { Add(Kind::Number, {std::to_string(value)}); }
  void Missing() { Add(Kind::Number, {""}); }
  // A value and its standard uncertainty, two fields; texts for readers show them as one, "1.523(3)".
  void Measured(double value, std::optional<double> su, int decimals);
  // A list is one field of JSON and as many columns elsewhere as the longest has entries: "atom1", "atom2" of "atoms".
  void Texts(const std::vector<std::string>& texts) { Add(Kind::TextList, {texts.begin(), texts.end()}); }
  void Numbers(const std::vector<double>& values, int decimals) { Numbers(values, decimals, Kind::NumberList); }
  // Names for the columns of a list instead.
  void NameColumns(const std::string& heading, std::vector<std::string> columns) {
    columnNames_.push_back({heading, std::move(columns)});
  }

  // The rows of a table with the same headings behind these.
  void Append(const ReportTable& other);

  // Lines of the headings and of each row, ended by line feeds. What is not there is "-" where tabs part the columns
  // and empty between commas, quoted as RFC 4180 has it.
  std::string TabSeparated() const { return Joined(true, '\t'); }
  std::string CommaSeparated() const { return Joined(false, ','); }
  // As wide as they have to be; columns without any text are left out.
  std::string Aligned() const;
  // An array of objects; a number that is missing or not finite is null. `indent` blanks before each.
  std::string Json(int indent = 2) const;

  size_t Rows() const { return headings.empty() ? 0 : fields_.size() / headings.size(); }

  std::string name;
  std::vector<std::string> headings;

 private:
  enum class Kind : uint8_t { Text, Number, Measured, Su, TextList, NumberList };
  // A million rows are held in a hundred bytes each: the texts of a field stand in one string, each behind its length.
  struct Field {
    size_t at = 0;
    uint32_t count = 0;  // a measured value has a second text, with its uncertainty
    Kind kind = Kind::Text;
  };
  struct Columns {
    std::string heading;
    std::vector<std::string> columns;
  };
  // What a heading becomes in lines: none, one or several columns.
  struct Shape {
    std::vector<std::string> headings;
    Kind kind = Kind::Text;
  };

  void Add(Kind kind, const std::vector<std::string_view>& texts);
  void Numbers(const std::vector<double>& values, int decimals, Kind kind);
  const Field& At(size_t row, size_t column) const { return fields_[row * headings.size() + column]; }
  // A number that is missing is an empty text.
  std::vector<std::string_view> TextsOf(const Field& field) const;
  std::vector<Shape> Shapes(bool together) const;
  std::vector<std::string_view> Cells(const std::vector<Shape>& shapes, size_t row, bool together) const;
  std::string Joined(bool together, char separator) const;

  std::vector<Field> fields_;
  std::string texts_;
  std::vector<Columns> columnNames_;
};

// The text of a file or a name as JSON wants it: what is not UTF-8 is taken as Latin-1.
std::string Utf8Of(std::string_view bytes);

}  // namespace marvik
