#include <algorithm>
#include <set>
#include <unordered_set>

#include "app/commands/command_handlers.h"
#include "base/numbers.h"
#include "edit/edit_elements.h"
#include "edit/edit_names.h"
#include "edit/edit_select.h"
#include "language/atom_names.h"
#include "language/residues.h"

namespace marvik {
namespace {

bool HasSelection(Workbench& bench) {
  if (!bench.document.atoms.selection.Empty()) return true;
  Refuse(bench, "Error: No Atoms Selected", "You must have at least one atom selected!");
  return false;
}

void Select(Workbench& bench, AtomRecord* atom, bool on) {
  AtomArray& selection = bench.document.atoms.selection;
  if (atom->Has(kSelected) == on) return;
  if (on) {
    selection.Append(atom);
  } else {
    selection.Remove(atom);
  }
}

void Deselect(Workbench& bench) {
  bench.document.atoms.selection.Clear();
  bench.document.atoms.selectedBonds.clear();
}

// Hydrogens go with what they ride on: alone they would ride on the atom before it in the file.
Outcome Kill(Workbench& bench, std::vector<AtomRecord*> atoms) {
  if (atoms.empty()) return Outcome::Done;
  const size_t named = atoms.size();
  const std::unordered_set<const AtomRecord*> chosen(atoms.begin(), atoms.end());
  for (AtomRecord* atom : Atoms(bench.document.atoms))
    if (atom->IsRiding() && chosen.contains(atom->parent) && !chosen.contains(atom)) atoms.push_back(atom);
  const size_t riders = atoms.size() - named;
  if (riders > 0 && bench.hooks.tell)
    bench.hooks.tell(Printf("%zu riding hydrogen%s went along.", riders, riders == 1 ? "" : "s"));
  std::set<std::string> names;
  for (const AtomRecord* atom : atoms) {
    if (!IsGrownAtom(*atom)) names.insert(QualifiedName(bench.document, *atom));
  }
  const bool subsetEmptied = bench.document.atoms.KillAtoms(atoms);
  bench.ConnectAndReframe();
  if (subsetEmptied) bench.ResetViewToModel();
  TellOfLinesNaming(bench.document, std::move(names), bench.messages);
  return Outcome::Changed;
}

}  // namespace

std::vector<AtomRecord*> PickedAtomsOf(Workbench& bench, const CommandCall& call) {
  AtomChoice choice;
  if (!call.argument.empty()) {
    choice = ChooseAtoms(bench.document, call.argument);
  } else if (AtomRecord* picked = bench.PickedAtom()) {
    choice.atoms.push_back(picked);
  }
  if (!choice.unmatched.empty()) {
    Refuse(bench, "Error: No Atoms Selected", "Couldn't find " + choice.unmatched + " in the atom list.");
    choice.atoms.clear();
  } else if (choice.atoms.empty()) {
    Refuse(bench, "Error: No Atoms Selected", "This command acts on an atom that was clicked or named.");
  }
  return choice.atoms;
}

// Without a sign in the text Select Atoms replaces the selection; selecting by name adds to it, so that a script can
// name atoms one by one.
Outcome SelectTextHandler(Workbench& bench, const CommandCall& call) {
  const auto usual = call.id == kSelectByNameCommand ? SelectMode::Add : SelectMode::Replace;
  const SelectChoice wanted = ParseSelectChoice(call.argument, usual);
  const AtomChoice choice = ChooseAtoms(bench.document, wanted.atoms);
  if (!choice.unmatched.empty()) {
    return Refuse(bench, "Error: No Atoms Selected", "Couldn't find " + choice.unmatched + " in the atom list.");
  }
  SelectAtoms(bench.document.atoms, choice.atoms, wanted.mode);
  return Outcome::Done;
}

Outcome DeselectHandler(Workbench& bench, const CommandCall&) {
  Deselect(bench);
  return Outcome::Done;
}

Outcome SelectAtomHandler(Workbench& bench, const CommandCall& call) {
  const auto atoms = PickedAtomsOf(bench, call);
  for (AtomRecord* atom : atoms) Select(bench, atom, !atom->Has(kSelected));
  return atoms.empty() ? Outcome::Failed : Outcome::Done;
}

Outcome KillSelectedHandler(Workbench& bench, const CommandCall&) {
  if (!HasSelection(bench)) return Outcome::Failed;
  const AtomArray& selection = bench.document.atoms.selection;
  return Kill(bench, {selection.begin(), selection.end()});
}

Outcome KillAtomHandler(Workbench& bench, const CommandCall& call) {
  const auto atoms = PickedAtomsOf(bench, call);
  return atoms.empty() ? Outcome::Failed : Kill(bench, atoms);
}

Outcome KillPeaksHandler(Workbench& bench, const CommandCall&) {
  std::vector<AtomRecord*> peaks;
  for (AtomRecord* atom : Atoms(bench.document.atoms)) {
    if (atom->IsPeak()) peaks.push_back(atom);
  }
  return Kill(bench, peaks);
}

Outcome HideHandler(Workbench& bench, const CommandCall& call) {
  constexpr int kHideSelected = 243;
  constexpr int kShowAll = 245;
  if (call.id == kHideSelected && !HasSelection(bench)) return Outcome::Failed;
  bool changed = false;
  for (AtomRecord* atom : Atoms(bench.document.atoms)) {
    const bool chosen = atom->Has(kSelected) == (call.id == kHideSelected);
    const bool hidden = call.id != kShowAll && (chosen || atom->Has(kHidden));
    changed |= hidden != atom->Has(kHidden);
    atom->Set(kHidden, hidden);
    // What is not seen must not be killed by the next command.
    if (hidden) Select(bench, atom, false);
  }
  return changed ? Outcome::Changed : Outcome::Done;
}

Outcome AtomLabelHandler(Workbench& bench, const CommandCall& call) {
  constexpr int kSelectedOff = 204;
  constexpr int kToggle = 213;
  if (call.id != kToggle && !HasSelection(bench)) return Outcome::Failed;
  const AtomArray& selection = bench.document.atoms.selection;
  const auto atoms =
      call.id == kToggle ? PickedAtomsOf(bench, call) : std::vector<AtomRecord*>(selection.begin(), selection.end());
  for (AtomRecord* atom : atoms) {
    const bool off = call.id == kToggle ? !(atom->flags2 & kLabelOff) : call.id == kSelectedOff;
    atom->flags2 = static_cast<uint8_t>(off ? atom->flags2 | kLabelOff : atom->flags2 & ~kLabelOff);
  }
  return atoms.empty() ? Outcome::Failed : Outcome::Changed;
}

// "C1 0.1 -0.05": the atom and where its label stands, in view units from it.
Outcome PlaceLabelHandler(Workbench& bench, const CommandCall& call) {
  const size_t nameEnd = std::min(call.argument.find(' '), call.argument.size());
  const std::string name = call.argument.substr(0, nameEnd);
  const std::string_view rest = std::string_view(call.argument).substr(nameEnd);
  const size_t middle = rest.find_last_of(' ');
  double x = 0.0;
  double y = 0.0;
  AtomRecord* atom = FindAtomByText(bench.document, name);
  if (!atom) return Refuse(bench, "Error: No Atoms Selected", "Couldn't find " + name + " in the atom list.");
  if (middle == std::string_view::npos || !ParseWholeNumber(rest.substr(0, middle), x) ||
      !ParseWholeNumber(rest.substr(middle), y)) {
    return Refuse(bench, "Command Usage Error:", "The place of a label is two numbers from -0.5 to 0.5.");
  }
  atom->labelOffsetX = static_cast<float>(std::clamp(x, -0.5, 0.5));
  atom->labelOffsetY = static_cast<float>(std::clamp(y, -0.5, 0.5));
  atom->flags2 |= kLabelPlaced;
  return Outcome::Changed;
}

Outcome DuplicatesHandler(Workbench& bench, const CommandCall&) {
  const auto atoms = AtomsWithDuplicateNames(bench.document);
  if (atoms.empty()) {
    bench.messages.Show({MessageIcon::Information, "No Duplicates Found", "No atom name duplications were found."});
    return Outcome::Done;
  }
  Deselect(bench);
  std::set<std::string> names;
  for (AtomRecord* atom : atoms) {
    names.insert(atom->name);
    Select(bench, atom, true);
  }
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : " ") + name;
  bench.messages.Show({MessageIcon::Warning, "Duplicate Atom Names Found",
                       std::to_string(atoms.size()) + " atoms share these names and are now selected:\n" + list});
  return Outcome::Done;
}

}  // namespace marvik
