#include "edit/edit_same.h"

#include <algorithm>
#include <unordered_set>

#include "edit/edit_elements.h"
#include "edit/edit_names.h"
#include "edit/edit_riding.h"
#include "language/residues.h"

namespace marvik {
namespace {

bool Counts(const AtomRecord& atom) {
  return !atom.IsHydrogen() && !IsGrownAtom(atom) && !atom.IsPeak();
}

}  // namespace

std::string StartSameGroup(Document& document, std::vector<AtomRecord*> chosen, AtomRecord* first) {
  const std::unordered_set<const AtomRecord*> named(chosen.begin(), chosen.end());
  std::vector<AtomRecord*> pattern;
  std::vector<AtomRecord*> group;
  bool started = false;
  for (AtomRecord* atom : Atoms(document.atoms)) {
    if (!Counts(*atom)) continue;
    if (named.contains(atom)) pattern.push_back(atom);
    started = started || atom == first;
    if (started) group.push_back(atom);
  }
  if (pattern.empty()) return "There is no atom to be like: only atoms that are no hydrogens, peaks or images count.";
  if (group.size() < pattern.size()) {
    return "The pattern has " + std::to_string(pattern.size()) + " atoms, and from " + first->name + " on there are " +
           std::to_string(group.size()) + ".";
  }
  SameGroup same;
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (named.contains(group[i])) return group[i]->name + " is in the pattern and in the group that is to be like it.";
    if (group[i]->element != pattern[i]->element) {
      return group[i]->name + " is not of the same element as " + pattern[i]->name + ", which it is to be like.";
    }
    if (HolderOfName(document, pattern[i]->name, pattern[i]->residue, pattern[i])) {
      return "More than one atom is called " + pattern[i]->name + ".";
    }
    same.names.push_back(QualifiedName(document, *pattern[i]));
  }
  first->MutableExtras().sameGroup = std::move(same);
  return "";
}

}  // namespace marvik
