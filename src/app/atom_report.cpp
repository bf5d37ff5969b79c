#include "app/atom_report.h"

#include <array>
#include <cmath>
#include <vector>

#include "cryst/cell_metric.h"
#include "model/coded_values.h"
#include "util/numbers.h"

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

// File text is bytes; what is not UTF-8 is taken as Latin-1, so that the result always is.
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

// Rows of texts and numbers under headings, in either form.
class Table {
 public:
  Table(std::vector<std::string_view> headings, bool json) : headings_(std::move(headings)), json_(json) {
    if (json_) {
      out_.push_back('[');
    } else {
      for (size_t i = 0; i < headings_.size(); ++i) out_.append(i ? "\t" : "").append(headings_[i]);
    }
  }
  void Text(std::string_view text) { Field(json_ ? JsonText(text) : std::string(text)); }
  void Number(double value, int decimals) {
    Field(std::isfinite(value) ? Printf("%.*f", decimals, value) : json_ ? "null" : "-");
  }
  void Integer(int value) { Field(std::to_string(value)); }
  std::string Finish() {
    if (json_) out_.append(rows_ ? "\n]" : "]");
    return out_.append("\n");
  }

 private:
  void Field(const std::string& value) {
    const bool first = column_ == 0;
    if (json_) {
      out_ += first ? (rows_ ? ",\n  {" : "\n  {") : ", ";
      out_.append(1, '"').append(headings_[column_]).append("\": ");
    } else {
      out_ += first ? '\n' : '\t';
    }
    out_ += value;
    column_ = (column_ + 1) % headings_.size();
    if (column_ != 0) return;
    ++rows_;
    if (json_) out_ += '}';
  }

  std::vector<std::string_view> headings_;
  bool json_;
  std::string out_;
  size_t column_ = 0;
  size_t rows_ = 0;
};

// As the atom information table has it: the mean of the first three values, whatever the cell.
double EquivalentU(const AtomRecord& atom) {
  return atom.IsAnisotropic() ? (atom.u[0] + atom.u[1] + atom.u[2]) / 3.0 : atom.u[0];
}

}  // namespace

const char* OrderWord(int order) {
  constexpr std::array kWords{"Single", "Double", "Triple", "Aromatic", "Pi"};
  return order < static_cast<int>(kWords.size()) ? kWords[static_cast<size_t>(order)] : "";
}

std::string AtomReport(const Document& document, bool json) {
  Table table({"name", "element", "x", "y", "z", "occupancy", "u", "part", "residue"}, json);
  for (const AtomRecord* atom : Atoms(document.atoms, document.atoms.selection.Empty() ? 0u : kSelectedOnly)) {
    table.Text(atom->name);
    table.Text(atom->element->Symbol());
    for (int i = 0; i < 3; ++i) table.Number(atom->fract[i], 6);
    table.Number(DecodedOccupancy(*atom, document.instructions), 5);
    table.Number(EquivalentU(*atom), 5);
    table.Integer(atom->part);
    table.Integer(atom->residue < 0 ? 0 : document.residues[static_cast<size_t>(atom->residue)].number);
  }
  return table.Finish();
}

std::string BondReport(const Document& document, bool json) {
  Table table({"atom1", "atom2", "length", "order"}, json);
  const bool all = document.atoms.selection.Empty();
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    ForEachOwnBond(atom, [&](const AtomRecord* partner, const BondRecord* bond) {
      if (!all && !atom->Has(kSelected) && !partner->Has(kSelected)) return;
      table.Text(atom->name);
      table.Text(partner->name);
      table.Number(Distance(*atom, *partner), 4);
      table.Text(OrderWord(bond->Order()));
    });
  }
  return table.Finish();
}

}  // namespace marvik
