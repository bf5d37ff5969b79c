#include "edit/edit_sort.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <tuple>
#include <unordered_map>

#include "edit/edit_elements.h"
#include "edit/edit_label.h"
#include "edit/edit_names.h"
#include "edit/edit_riding.h"
#include "edit/edit_same.h"
#include "language/atom_names.h"
#include "language/instruction.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

using AtomVector = std::vector<AtomRecord*>;

// What atoms and groups are compared by.
struct SortKey {
  int element = 0;
  int64_t number = 0;
  std::string suffix;
  friend auto operator<=>(const SortKey&, const SortKey&) = default;
};

class KeyMaker {
 public:
  KeyMaker(const Document& document, const AtomOrder& order) {
    rank_.fill(kElementRows);
    int next = 0;
    for (const int row : order.rows) Give(row, next);
    for (const int row : ElementsInFile(document)) Give(row, next);
  }
  SortKey Of(const AtomRecord& atom) const {
    SortKey key;
    const std::string digits = LabelNumber(atom.name);
    std::from_chars(digits.data(), digits.data() + std::min<size_t>(digits.size(), 18), key.number);
    key.element = rank_[static_cast<size_t>(atom.element->atomicNumber)];
    key.suffix = LabelSuffix(atom.name);
    return key;
  }

 private:
  void Give(int row, int& next) {
    int& rank = rank_[static_cast<size_t>(row)];
    if (rank == kElementRows) rank = next++;
  }
  std::array<int, kElementRows> rank_{};
};

// Atoms that stay together in this order, placed by the first of them.
using Units = std::vector<AtomVector>;

void SortUnits(Units& units, const KeyMaker& keys) {
  std::vector<std::pair<SortKey, size_t>> order;
  for (size_t i = 0; i < units.size(); ++i) order.emplace_back(keys.Of(*units[i].front()), i);
  std::ranges::stable_sort(order, {}, [](const auto& entry) -> const SortKey& { return entry.first; });
  Units sorted;
  for (const auto& [key, index] : order) sorted.push_back(std::move(units[index]));
  units = std::move(sorted);
}

AtomVector Flat(const Units& units) {
  AtomVector atoms;
  for (const AtomVector& unit : units) atoms.insert(atoms.end(), unit.begin(), unit.end());
  return atoms;
}

// A SAME of plain names, when there is nothing else before an atom: it goes where the atom goes.
const std::string* OnlySame(const AtomRecord& atom) {
  const auto& lines = atom.Extras().linesBefore;
  return lines.size() == 1 && IsPlainSame(lines.front().text) ? &lines.front().text : nullptr;
}

// How many atoms from one on belong together: a SAME group, an AFIX group of its own, an atom with its riders.
size_t UnitLength(const AtomVector& atoms, size_t first) {
  size_t last = first;
  const auto extend = [&](size_t end) { last = std::max(last, end); };
  if (const std::string* same = OnlySame(*atoms[first])) {
    size_t left = ParseInstruction(*same).words.size();
    for (size_t i = first; i < atoms.size() && left > 0; ++i) {
      if (!atoms[i]->IsHydrogen()) --left;
      extend(i);
    }
  }
  if (atoms[first]->afix != 0 && !atoms[first]->parent) {
    for (size_t i = first; i < atoms.size() && atoms[i]->afix != 0; ++i) extend(i);
  }
  // The riders of whatever is in, which may hold the beginning of nothing else.
  for (size_t i = last + 1; i < atoms.size() && atoms[i]->parent; ++i) {
    const auto begin = atoms.begin() + static_cast<std::ptrdiff_t>(first);
    const auto end = atoms.begin() + static_cast<std::ptrdiff_t>(i);
    if (std::find(begin, end, atoms[i]->parent) == end) break;
    last = i;
  }
  return last - first + 1;
}

Units SplitIntoUnits(const AtomVector& atoms) {
  Units units;
  for (size_t i = 0; i < atoms.size(); i += units.back().size()) {
    const auto begin = atoms.begin() + static_cast<std::ptrdiff_t>(i);
    units.emplace_back(begin, begin + static_cast<std::ptrdiff_t>(UnitLength(atoms, i)));
  }
  return units;
}

bool SamePart(const AtomRecord& a, const AtomRecord& b) {
  return a.part == b.part && a.partHasOccupancy == b.partHasOccupancy && a.partOccupancy == b.partOccupancy;
}

// The units of one residue: those in no PART sort one by one, each PART run sorts within and goes by its first atom.
AtomVector SortedResidue(Units units, const KeyMaker& keys) {
  Units sorted;
  for (size_t i = 0; i < units.size();) {
    const AtomRecord& first = *units[i].front();
    Units run;
    do {
      run.push_back(std::move(units[i++]));
    } while (first.part != 0 && i < units.size() && SamePart(first, *units[i].front()));
    SortUnits(run, keys);
    sorted.push_back(Flat(run));
  }
  SortUnits(sorted, keys);
  return Flat(sorted);
}

// Atoms between two places where lines act: those in no residue first, then each residue as one.
AtomVector SortedSection(const AtomVector& atoms, const KeyMaker& keys) {
  Units outside;
  std::vector<Units> residues;
  std::unordered_map<int, size_t> place;
  for (AtomVector& unit : SplitIntoUnits(atoms)) {
    const int residue = unit.front()->residue;
    if (residue < 0) {
      outside.push_back(std::move(unit));
      continue;
    }
    const auto [at, isNew] = place.try_emplace(residue, residues.size());
    if (isNew) residues.emplace_back();
    residues[at->second].push_back(std::move(unit));
  }
  AtomVector sorted = SortedResidue(std::move(outside), keys);
  for (Units& residue : residues) {
    const AtomVector inner = SortedResidue(std::move(residue), keys);
    sorted.insert(sorted.end(), inner.begin(), inner.end());
  }
  return sorted;
}

// Behind a SAME line, or among lines that set PART, AFIX and the like, the order means something.
bool FreezesSection(const std::vector<KeptLine>& lines) {
  return std::ranges::any_of(lines, [](const KeptLine& line) {
    using enum InstructionKeyword;
    const InstructionKeyword keyword = HeadOf(line.text).keyword;
    return keyword == kSame || keyword == kPart || keyword == kAfix || keyword == kResi || keyword == kMole;
  });
}

bool BeginsSection(const AtomRecord& atom) {
  return !atom.Extras().linesBefore.empty() && !OnlySame(atom);
}

AtomVector SortedAtoms(const AtomVector& atoms, const KeyMaker& keys, std::vector<std::string>& held) {
  AtomVector sorted;
  for (size_t i = 0; i < atoms.size();) {
    size_t end = i + 1;
    while (end < atoms.size() && !BeginsSection(*atoms[end])) ++end;
    const AtomVector section(atoms.begin() + static_cast<std::ptrdiff_t>(i),
                             atoms.begin() + static_cast<std::ptrdiff_t>(end));
    const bool begins = BeginsSection(*section.front());
    const std::vector<KeptLine> lines = begins ? section.front()->Extras().linesBefore : std::vector<KeptLine>();
    AtomVector inner = SortedSection(section, keys);
    if (FreezesSection(lines) && inner != section) {
      held.push_back(lines.front().text);
      inner = section;
    }
    if (begins && inner.front() != section.front()) {
      section.front()->MutableExtras().linesBefore.clear();
      auto& target = inner.front()->MutableExtras().linesBefore;
      target.insert(target.begin(), lines.begin(), lines.end());
    }
    sorted.insert(sorted.end(), inner.begin(), inner.end());
    i = end;
  }
  return sorted;
}

// The names between which lines span a range, with the serials of the atoms in each.
struct NamedRange {
  std::string line;
  std::string from;
  std::string to;
  std::vector<uint32_t> atoms;
};

std::vector<uint32_t> AtomsBetween(const Document& document, const NamedRange& range) {
  const AtomRecord* from = FindAtomByText(document, range.from);
  const AtomRecord* to = FindAtomByText(document, range.to);
  std::vector<uint32_t> serials;
  if (!from || !to) return serials;
  bool inside = false;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    const bool end = atom == from || atom == to;
    if (end || inside) serials.push_back(atom->serial);
    if (end && from != to) inside = !inside;
  }
  return serials;
}

std::vector<NamedRange> RangesOf(Document& document) {
  std::vector<NamedRange> ranges;
  ForEachInstructionText(document, [&](const InstructionText& place) {
    if (place.text.find_first_of("<>") == std::string::npos) return;
    const Instruction line = ParseInstruction(place.text);
    for (size_t i = 1; i + 1 < line.all.size(); ++i) {
      if (line.all[i] == ">" || line.all[i] == "<") ranges.push_back({line.text, line.all[i - 1], line.all[i + 1], {}});
    }
  });
  for (NamedRange& range : ranges) range.atoms = AtomsBetween(document, range);
  return ranges;
}

}  // namespace

std::vector<int> ElementsInFile(const Document& document) {
  std::array<bool, kElementRows> present{};
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (!atom->IsPeak()) present[static_cast<size_t>(atom->element->atomicNumber)] = true;
  }
  std::vector<int> rows;
  const auto add = [&](int row) {
    if (present[static_cast<size_t>(row)]) rows.push_back(row);
    present[static_cast<size_t>(row)] = false;
  };
  for (const int row : document.instructions.sfac) add(row);
  for (int row = 0; row < kElementRows; ++row) add(row);
  return rows;
}

std::optional<AtomOrder> ParseAtomOrder(const EditArguments& arguments, EditFault& fault) {
  fault = UnknownFieldFault(arguments, {});
  if (fault) fault.text = "Element order: \"" + fault.field + "=\" is no symbol of an element.";
  AtomOrder order;
  std::vector<std::string_view> words;
  SplitWords(arguments.atoms, words);
  for (const std::string_view word : words) {
    const int row = RowOfSymbol(word);
    if (fault) break;
    if (row == 0) fault = {"order", "Element order: \"" + std::string(word) + "\" is not the symbol of an element."};
    order.rows.push_back(row);
  }
  return fault ? std::nullopt : std::optional(order);
}

SortResult SortAtoms(Document& document, const AtomOrder& order) {
  AtomList& list = document.atoms;
  AtomVector atoms;
  AtomVector peaks;
  AtomVector grown;
  AtomVector before;
  for (AtomRecord* atom : Atoms(list)) {
    before.push_back(atom);
    (IsGrownAtom(*atom) ? grown : atom->IsPeak() ? peaks : atoms).push_back(atom);
  }
  const KeyMaker keys(document, order);
  const std::vector<NamedRange> ranges = RangesOf(document);
  SortResult result;
  AtomVector sorted = SortedAtoms(atoms, keys, result.held);
  std::ranges::stable_sort(peaks, {}, [&](const AtomRecord* peak) { return keys.Of(*peak).number; });
  sorted.insert(sorted.end(), grown.begin(), grown.end());
  sorted.insert(sorted.end(), peaks.begin(), peaks.end());
  result.changed = sorted != before;
  if (!result.changed) return result;
  for (AtomRecord* atom : before) list.Unlink(atom);
  for (AtomRecord* atom : sorted) list.LinkAtTail(atom);
  for (const NamedRange& range : ranges) {
    if (AtomsBetween(document, range) != range.atoms) result.brokenRanges.push_back(range.line);
  }
  std::vector<std::string>& broken = result.brokenRanges;
  broken.erase(std::unique(broken.begin(), broken.end()), broken.end());
  return result;
}

}  // namespace marvik
