#include "edit/part_list.h"

#include <algorithm>
#include <map>
#include <set>

#include "edit/edit_elements.h"
#include "model/coded_values.h"

namespace marvik {
namespace {

// The positive PARTs of each disorder: those of one free variable, or of free variables that a PART has in common.
std::vector<std::set<int>> Disorders(const Document& document) {
  std::map<int, std::set<int>> byVariable;
  for (const PartGroup& group : PartGroups(document))
    if (group.part > 0) byVariable[std::abs(group.variable)].insert(group.part);
  std::vector<std::set<int>> disorders;
  for (const auto& [variable, parts] : byVariable)
    if (std::ranges::find(disorders, parts) == disorders.end()) disorders.push_back(parts);
  return disorders;
}

}  // namespace

std::vector<PartGroup> PartGroups(const Document& document) {
  std::map<std::pair<int, int>, PartGroup> groups;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    const double coded = atom->partHasOccupancy ? static_cast<double>(atom->partOccupancy) : atom->occupancy;
    const int variable = SplitCodedValue(coded).variable;
    const int tied = variable < 2 ? 0 : coded < 0.0 ? -variable : variable;
    if (IsGrownAtom(*atom) || atom->IsPeak() || (atom->part == 0 && tied == 0)) continue;
    PartGroup& group = groups[{std::abs(tied), 10 * atom->part + (tied < 0 ? 1 : 0)}];
    if (group.atoms.empty()) {
      group.part = atom->part;
      group.variable = tied;
      group.occupancy = DecodedOccupancy(*atom, document.instructions);
    }
    group.atoms.push_back(atom);
  }
  std::vector<PartGroup> list;
  for (auto& [key, group] : groups) list.push_back(std::move(group));
  return list;
}

std::vector<int> PartsBeside(const Document& document, int alternative) {
  std::set<int> hidden;
  std::set<int> shown;
  for (const std::set<int>& parts : Disorders(document)) {
    const auto last = static_cast<int>(parts.size());
    int at = 0;
    for (const int part : parts) (++at == std::min(alternative, last) ? shown : hidden).insert(part);
  }
  std::vector<int> result;
  std::ranges::set_difference(hidden, shown, std::back_inserter(result));
  return result;
}

int MostAlternatives(const Document& document) {
  size_t most = 0;
  for (const std::set<int>& parts : Disorders(document)) most = std::max(most, parts.size());
  return static_cast<int>(most);
}

int ShownAlternative(const Document& document) {
  const auto& hidden = document.atoms.hiddenParts;
  for (int n = MostAlternatives(document); n > 0 && !hidden.empty(); --n)
    if (std::ranges::is_permutation(PartsBeside(document, n), hidden)) return n;
  return 0;
}

}  // namespace marvik
