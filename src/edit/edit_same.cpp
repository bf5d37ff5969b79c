#include "edit/edit_same.h"

#include <algorithm>
#include <unordered_set>

#include "edit/edit_elements.h"
#include "edit/edit_names.h"
#include "edit/edit_riding.h"
#include "language/composed_line.h"
#include "language/instruction.h"
#include "language/residues.h"

namespace marvik {
namespace {

bool Counts(const AtomRecord& atom) {
  return !atom.IsHydrogen() && !IsGrownAtom(atom) && !atom.IsPeak();
}

}  // namespace

bool IsPlainSame(std::string_view line) {
  const Instruction same = ParseInstruction(line);
  const auto plain = [](const std::string& word) { return word.find_first_of("$<>*") == std::string::npos; };
  return same.keyword == InstructionKeyword::kSame && same.residue.empty() && !same.words.empty() &&
         same.numbers.empty() && std::ranges::all_of(same.words, plain);
}

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
  ComposedLine same("SAME");
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (named.contains(group[i])) return group[i]->name + " is in the pattern and in the group that is to be like it.";
    if (group[i]->element != pattern[i]->element) {
      return group[i]->name + " is not of the same element as " + pattern[i]->name + ", which it is to be like.";
    }
    if (HolderOfName(document, pattern[i]->name, pattern[i]->residue, pattern[i])) {
      return "More than one atom is called " + pattern[i]->name + ".";
    }
    same.Add(" " + QualifiedName(document, *pattern[i]));
  }
  auto& lines = first->MutableExtras().linesBefore;
  std::erase_if(lines, [](const KeptLine& line) { return line.line < 0 && IsPlainSame(line.text); });
  lines.push_back({KeptPlace::BeforeAtom, same.Text(), -1});
  return "";
}

}  // namespace marvik
