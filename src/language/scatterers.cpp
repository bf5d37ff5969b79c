#include "language/scatterers.h"

#include <algorithm>
#include <cstdlib>

#include "language/tokenizer.h"

namespace marvik {

int SfacEntryOf(const Instructions& instructions, const AtomRecord& atom) {
  const std::vector<int>& sfac = instructions.sfac;
  const int row = atom.element->atomicNumber;
  const size_t read = static_cast<size_t>(std::abs(atom.sfacNumber));
  if (read > 0 && read <= sfac.size() && sfac[read - 1] == row) return static_cast<int>(read - 1);
  const auto at = std::find(sfac.begin(), sfac.end(), row);
  return at == sfac.end() ? -1 : static_cast<int>(at - sfac.begin());
}

std::string SfacLabel(const Document& document, size_t entry) {
  const Instructions& in = document.instructions;
  const int row = in.sfac[entry];
  const std::string symbol(row == kUnknownRow ? std::string_view() : document.elements[row].Symbol());
  if (entry >= in.sfacForms.size()) return symbol;
  const std::string& label = in.sfacForms[entry].label;
  const bool holds = !label.empty() && ElementTable::ElementFromLabel(label) == row;
  return holds && UpperCase(label) != UpperCase(symbol) ? label : symbol;
}

}  // namespace marvik
