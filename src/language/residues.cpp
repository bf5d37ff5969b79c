#include "language/residues.h"

#include <vector>

#include "base/numbers.h"
#include "language/tokenizer.h"

namespace marvik {

namespace {

// A residue number, with its chain when that is written before a colon.
bool TakeNumber(std::string_view word, Residue& residue) {
  const size_t colon = word.find(':');
  const std::string_view digits = colon == std::string_view::npos ? word : word.substr(colon + 1);
  double value = 0.0;
  if (!ParseWholeNumber(digits, value)) return false;
  residue.number = RoundHalfAway(value);
  if (colon != std::string_view::npos) residue.chain = word.substr(0, colon);
  return true;
}

std::string NumberText(const Residue& residue) {
  const std::string number = std::to_string(residue.number);
  return residue.chain.empty() ? number : residue.chain + ":" + number;
}

}  // namespace

Residue ParseResidue(std::string_view arguments) {
  std::vector<std::string_view> words;
  SplitWords(arguments, words);
  Residue residue;
  bool hasNumber = false;
  for (const std::string_view word : words) {
    if (!hasNumber && TakeNumber(word, residue)) {
      hasNumber = true;
    } else if (residue.className.empty() && residue.more.empty()) {
      residue.className = word;
    } else {
      residue.more.append(residue.more.empty() ? "" : " ").append(word);
    }
  }
  return residue;
}

bool IsNoResidue(const Residue& residue) {
  return residue.number == 0 && residue.className.empty() && residue.chain.empty();
}

std::string ResidueKey(const Residue& residue) {
  return UpperCase(NumberText(residue) + " " + residue.className + " " + residue.more);
}

std::string ResidueLine(const Document& document, int residue) {
  if (residue < 0 || static_cast<size_t>(residue) >= document.residues.size()) return "RESI 0";
  const Residue& r = document.residues[static_cast<size_t>(residue)];
  if (!r.line.empty()) return r.line;
  std::string line = "RESI ";
  line += NumberText(r);
  if (!r.className.empty()) line.append(" ").append(r.className);
  return line;
}

std::string QualifiedName(const Document& document, const AtomRecord& atom) {
  if (atom.residue < 0 || static_cast<size_t>(atom.residue) >= document.residues.size()) return atom.name;
  const Residue& residue = document.residues[static_cast<size_t>(atom.residue)];
  if (residue.number == 0 && residue.chain.empty()) return atom.name;
  return atom.name + "_" + NumberText(residue);
}

}  // namespace marvik
