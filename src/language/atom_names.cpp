#include "language/atom_names.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "base/numbers.h"
#include "language/atom_references.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

// "*" any run of characters, "?" any one; both texts in upper case. Linear for every pattern with one star, never worse
// than the product of the lengths.
bool MatchesPattern(std::string_view pattern, std::string_view text) {
  size_t p = 0;
  size_t t = 0;
  size_t star = std::string_view::npos;
  size_t resume = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = t;
    } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == text[t])) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

// By number, chain and number, or class.
bool IsInResidue(const Document& document, const AtomRecord& atom, const std::string& text) {
  const ResidueNumber key = ResidueNumberOf(document, atom);
  const std::string number = std::to_string(key.number);
  if (text == number || (!key.chain.empty() && text == key.chain + ":" + number)) return true;
  return atom.residue >= 0 && text == UpperCase(document.residues[static_cast<size_t>(atom.residue)].className);
}

// One word of a selection text: which atoms it stands for.
struct NamePattern {
  std::string name;                      // in upper case
  std::optional<ResidueNumber> residue;  // of any chain where it says none

  explicit NamePattern(std::string_view word) : name(UpperCase(word)) {
    const size_t underscore = name.rfind('_');
    if (underscore == std::string::npos) return;
    residue = ParseResidueNumber(std::string_view(name).substr(underscore + 1));
    if (residue) name.resize(underscore);
  }
  bool MatchesResidue(const Document& document, const AtomRecord& atom) const {
    if (!residue) return true;
    const ResidueNumber key = ResidueNumberOf(document, atom);
    return key.number == residue->number && (residue->chain.empty() || key.chain == residue->chain);
  }
  bool Matches(const Document& document, const AtomRecord& atom) const {
    if (name == "PEAKS") return atom.IsPeak();
    if (name.starts_with('#')) return std::to_string(atom.serial) == name.substr(1);
    if (name == "HYDROGENS") return atom.IsHydrogen();
    if (name.starts_with("PART:")) return std::to_string(atom.part) == name.substr(5);
    if (name.starts_with("RESI:")) return IsInResidue(document, atom, name.substr(5));
    if (!MatchesResidue(document, atom)) return false;
    if (name.starts_with('$')) return UpperCase(atom.element->Symbol()) == std::string_view(name).substr(1);
    return MatchesPattern(name, UpperCase(atom.name));
  }
};

std::vector<std::string_view> WordsOf(std::string_view text) {
  std::vector<std::string_view> words;
  size_t at = 0;
  while ((at = text.find_first_not_of(" ,\t\r\n", at)) != std::string_view::npos) {
    if (text[at] == '>') {
      words.push_back(text.substr(at++, 1));
      continue;
    }
    const size_t end = std::min(text.find_first_of(" ,\t\r\n>", at), text.size());
    words.push_back(text.substr(at, end - at));
    at = end;
  }
  return words;
}

class Chooser {
 public:
  explicit Chooser(const Document& document) : document_(document) {
    for (AtomRecord* atom : Atoms(document.atoms, kVisibleOnly)) atoms_.push_back(atom);
    chosen_.resize(atoms_.size());
  }
  bool AddPattern(std::string_view word) {
    const NamePattern pattern(word);
    bool found = false;
    for (size_t i = 0; i < atoms_.size(); ++i) {
      if (!pattern.Matches(document_, *atoms_[i])) continue;
      chosen_[i] = found = true;
    }
    return found;
  }
  // The end that names no atom, empty when the range was taken.
  std::string_view AddRange(std::string_view from, std::string_view to) {
    const auto place = [&](std::string_view word) {
      return std::ranges::find(atoms_, FindAtomByText(document_, word)) - atoms_.begin();
    };
    const auto none = static_cast<std::ptrdiff_t>(atoms_.size());
    const auto a = place(from);
    const auto b = place(to);
    if (a == none) return from;
    if (b == none) return to;
    std::fill(chosen_.begin() + std::min(a, b), chosen_.begin() + std::max(a, b) + 1, true);
    return {};
  }
  std::vector<AtomRecord*> Chosen() const {
    std::vector<AtomRecord*> result;
    for (size_t i = 0; i < atoms_.size(); ++i) {
      if (chosen_[i]) result.push_back(atoms_[i]);
    }
    return result;
  }

 private:
  const Document& document_;
  std::vector<AtomRecord*> atoms_;
  std::vector<bool> chosen_;
};

}  // namespace

AtomRecord* FindAtomByText(const Document& document, std::string_view text) {
  double serial = 0.0;
  if (text.starts_with('#') && ParseWholeNumber(text.substr(1), serial)) {
    return serial > 0.0 && serial < 4294967296.0 ? document.atoms.FindSerial(static_cast<uint32_t>(serial)) : nullptr;
  }
  if (AtomRecord* exact = document.atoms.FindAtom(text)) return exact;
  const NamePattern pattern(text);
  for (AtomRecord* atom : Atoms(document.atoms)) {
    if (UpperCase(atom->name) == pattern.name && pattern.MatchesResidue(document, *atom)) return atom;
  }
  return nullptr;
}

AtomChoice ChooseAtoms(const Document& document, std::string_view text) {
  const auto words = WordsOf(text);
  Chooser chooser(document);
  AtomChoice choice;
  for (size_t i = 0; i < words.size(); ++i) {
    std::string_view unmatched;
    if (i + 2 < words.size() && words[i + 1] == ">") {
      unmatched = chooser.AddRange(words[i], words[i + 2]);
      i += 2;
    } else if (!chooser.AddPattern(words[i])) {
      unmatched = words[i];
    }
    if (choice.unmatched.empty()) choice.unmatched = unmatched;
  }
  choice.atoms = chooser.Chosen();
  return choice;
}

AtomChoice ChooseKilledAtoms(const Document& document, std::string_view text) {
  std::vector<AtomRecord*> killed;
  for (AtomRecord* atom = document.atoms.killedHead; atom; atom = atom->next) killed.push_back(atom);
  std::vector<bool> chosen(killed.size());
  AtomChoice choice;
  for (const std::string_view word : WordsOf(text)) {
    const NamePattern pattern(word);
    bool found = false;
    for (size_t i = 0; i < killed.size(); ++i) {
      if (!pattern.Matches(document, *killed[i])) continue;
      chosen[i] = found = true;
    }
    if (!found && choice.unmatched.empty()) choice.unmatched = word;
  }
  for (size_t i = 0; i < killed.size(); ++i) {
    if (chosen[i]) choice.atoms.push_back(killed[i]);
  }
  return choice;
}

std::vector<AtomRecord*> AtomsWithDuplicateNames(const Document& document) {
  std::map<std::pair<ResidueNumber, std::string>, int> uses;
  const auto key = [&](const AtomRecord& atom) {
    return std::pair(ResidueNumberOf(document, atom), UpperCase(atom.name));
  };
  const auto counts = [](const AtomRecord& atom) { return atom.generated == 0 && !atom.Has(kFromGrownSection); };
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (counts(*atom)) ++uses[key(*atom)];
  }
  std::vector<AtomRecord*> result;
  for (AtomRecord* atom : Atoms(document.atoms)) {
    if (counts(*atom) && uses[key(*atom)] > 1) result.push_back(atom);
  }
  return result;
}

}  // namespace marvik
