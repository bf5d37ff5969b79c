#include "edit/edit_select.h"

#include <unordered_set>

namespace marvik {
namespace {

struct ModeSign {
  char sign;
  SelectMode mode;
};
constexpr ModeSign kSigns[] = {
    {'=', SelectMode::Replace}, {'+', SelectMode::Add}, {'-', SelectMode::Remove}, {'~', SelectMode::Invert}};

}  // namespace

SelectChoice ParseSelectChoice(std::string_view text, SelectMode usual) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  for (const ModeSign& row : kSigns) {
    if (text.starts_with(row.sign)) {
      text.remove_prefix(1);
      usual = row.mode;
      break;
    }
  }
  SelectChoice choice{usual, std::string(text)};
  if (usual == SelectMode::Invert && text.find_first_not_of(" \t") == std::string_view::npos) choice.atoms = "*";
  return choice;
}

std::string SelectText(const SelectChoice& choice) {
  for (const ModeSign& row : kSigns) {
    if (row.mode == choice.mode) return std::string(1, row.sign).append(choice.atoms);
  }
  return choice.atoms;
}

void SelectAtoms(AtomList& list, const std::vector<AtomRecord*>& atoms, SelectMode mode) {
  const std::unordered_set<const AtomRecord*> named(atoms.begin(), atoms.end());
  const bool drops = mode == SelectMode::Remove || mode == SelectMode::Invert;
  std::vector<AtomRecord*> chosen;
  std::unordered_set<const AtomRecord*> before;
  for (AtomRecord* atom : list.selection) {
    if (mode == SelectMode::Replace) break;
    before.insert(atom);
    if (!drops || !named.contains(atom)) chosen.push_back(atom);
  }
  if (mode != SelectMode::Remove) {
    for (AtomRecord* atom : atoms) {
      if (!before.contains(atom)) chosen.push_back(atom);
    }
  }
  if (mode == SelectMode::Replace) list.selectedBonds.clear();
  list.selection.Clear();
  for (AtomRecord* atom : chosen) list.selection.Append(atom);
}

}  // namespace marvik
