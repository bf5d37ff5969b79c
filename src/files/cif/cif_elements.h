#pragma once

#include <array>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "model/element_table.h"

namespace marvik {

struct FormulaElement {
  int row = 0;  // of the element table
  double count = 0.0;
};

// "C18 H25 N O3", "C12H10Cl2.5"; what names no element is left out. In the formula's order, each element once.
std::vector<FormulaElement> ParseFormula(std::string_view formula);

// The row of an atom type such as "C", "CL", "Fe3+", "O2-(H2O)", or "D"; kUnknownRow for one that names no element.
int RowOfAtomType(std::string_view type);

// The row that a label alone suggests. Where both its first letter and its first two name an element, the formula
// decides; without one, two letters go before one.
int RowOfCifLabel(std::string_view label, const std::vector<FormulaElement>& formula);

// Gives labels that an instruction file can hold: at most four characters, unique whatever their case, no instructions,
// and such that the reader finds the right element in them.
class CifLabels {
 public:
  // The elements on SFAC, which the reader looks at when it takes an element from a label.
  CifLabels(const ElementTable& table, const std::vector<int>& sfac);

  struct Request {
    std::string_view label;
    int row = kUnknownRow;
  };
  // Labels that can stay do; of two that are the same the first. The result goes by the requests.
  std::vector<std::string> Assign(const std::vector<Request>& requests);

 private:
  bool Fits(std::string_view label, int row, size_t longest) const;
  bool Take(std::string_view label, int row, size_t longest = 4);
  std::string NewLabel(int row);

  const ElementTable& table_;
  std::array<bool, kElementRows> isOnSfac_{};
  std::array<int, kElementRows> nextNumber_{};
  std::unordered_set<std::string> taken_;  // upper case
};

}  // namespace marvik
