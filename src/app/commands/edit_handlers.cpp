#include <algorithm>
#include <set>

#include "app/commands/command_handlers.h"
#include "base/numbers.h"
#include "edit/edit_atom.h"
#include "edit/edit_elements.h"
#include "edit/edit_label.h"
#include "edit/edit_names.h"
#include "edit/edit_part.h"
#include "edit/edit_riding.h"
#include "edit/edit_same.h"
#include "edit/edit_sort.h"
#include "edit/symmetry_commands.h"
#include "language/atom_names.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

constexpr char kNoneSelected[] = "Error: No Atoms Selected";
constexpr size_t kMostLines = 20;

}  // namespace

std::vector<AtomRecord*> AtomsToEdit(Workbench& bench, const std::string& names, bool fromPopup) {
  const AtomArray& selection = bench.document.atoms.selection;
  std::vector<AtomRecord*> atoms(selection.begin(), selection.end());
  if (!names.empty() || fromPopup) {
    atoms = PickedAtomsOf(bench, {0, names});
    if (atoms.empty()) return atoms;
  }
  if (atoms.empty()) Refuse(bench, kNoneSelected, "You must have at least one atom selected!");
  const auto image = std::ranges::find_if(atoms, [](const AtomRecord* atom) { return IsGrownAtom(*atom); });
  if (image == atoms.end()) return atoms;
  Refuse(bench,
         "Command Usage Error:", (*image)->name + " was made by GROW or PACK; edit the atom that it is an image of.");
  return {};
}

std::optional<std::string> TextOf(Workbench& bench, const CommandCall& call) {
  if (!call.argument.empty() || !bench.hooks.askArgument) return call.argument;
  return bench.hooks.askArgument(call.id);
}

Outcome EditAtomHandler(Workbench& bench, const CommandCall& call) {
  constexpr int kFromAtomPopup = 128;
  const auto text = TextOf(bench, call);
  if (!text) return Outcome::Cancelled;
  const EditArguments arguments = SplitEditArguments(*text);
  const auto atoms = AtomsToEdit(bench, arguments.atoms, call.id == kFromAtomPopup);
  if (atoms.empty()) return Outcome::Failed;
  EditFault fault;
  const auto edit = ParseAtomEdit(bench.document, atoms, arguments, fault);
  if (!edit) return RefuseField(bench, fault);
  if (edit->IsEmpty()) return RefuseField(bench, {"", "Atom: no field was given."});
  ApplyAtomEdit(bench.document, atoms, *edit, bench.messages);
  bench.ConnectAndReframe();
  return Outcome::Changed;
}

// "C1A", or "C1 C1A" with the atom before its new name.
Outcome RenameHandler(Workbench& bench, const CommandCall& call) {
  const auto text = TextOf(bench, call);
  if (!text) return Outcome::Cancelled;
  std::vector<std::string_view> words;
  SplitWords(*text, words);
  if (words.empty() || (words.size() > 1 && words.size() % 2 != 0)) {
    return RefuseField(bench, {"name", "Name: one selected or clicked atom and one name are needed."});
  }
  std::vector<std::pair<AtomRecord*, std::string>> names;
  std::set<std::pair<int, std::string>> given;
  for (size_t i = 0; i < words.size(); i += 2) {
    AtomRecord* named = words.size() > 1 ? FindAtomByText(bench.document, words[i]) : nullptr;
    const std::string serial = named ? Printf("#%u", named->serial) : std::string(words.size() > 1 ? words[i] : "");
    const auto atoms = AtomsToEdit(bench, serial, serial.empty() && bench.PickedAtom());
    if (atoms.empty()) return Outcome::Failed;
    if (atoms.size() > 1) return RefuseField(bench, {"name", "Name: this can be set for one atom at a time only."});
    const std::string name(words[std::min(i + 1, words.size() - 1)]);
    if (name == atoms[0]->name) continue;
    if (const EditFault fault = CheckNewName(bench.document, *atoms[0], name)) return RefuseField(bench, fault);
    if (!given.emplace(atoms[0]->residue, UpperCase(name)).second)
      return RefuseField(bench, {"name", "Name: another atom is called " + name + " already."});
    names.emplace_back(atoms[0], name);
  }
  if (names.empty()) return Outcome::Done;
  ElementChooser elements(bench.document, bench.messages);
  for (const auto& [atom, name] : names) RenameAtom(bench.document, atom, name, elements);
  elements.Finish();
  bench.ConnectAndReframe();
  return Outcome::Changed;
}

Outcome GroupLabelHandler(Workbench& bench, const CommandCall& call) {
  const EditArguments arguments = SplitEditArguments(call.argument);
  const auto atoms = AtomsToEdit(bench, arguments.atoms, false);
  if (atoms.empty()) return Outcome::Failed;
  EditFault fault;
  const auto label = ParseGroupLabel(arguments, fault);
  if (!label) return RefuseField(bench, fault);
  const LabelPlan plan = PlanGroupLabels(bench.document, atoms, *label);
  if (plan.fault) return RefuseField(bench, plan.fault);
  ElementChooser elements(bench.document, bench.messages);
  ApplyNames(bench.document, plan.names, elements);
  bench.ConnectAndReframe();
  return Outcome::Changed;
}

Outcome SortHandler(Workbench& bench, const CommandCall& call) {
  EditFault fault;
  const auto order = ParseAtomOrder(SplitEditArguments(call.argument), fault);
  if (!order) return RefuseField(bench, fault);
  const SortResult result = SortAtoms(bench.document, *order);
  if (!result.held.empty()) {
    std::string text = "The atoms behind these lines keep their order, which means something there:";
    const size_t shown = std::min(result.held.size(), kMostLines);
    for (size_t i = 0; i < shown; ++i) text += "\n" + result.held[i];
    bench.messages.Show({MessageIcon::Information, "Sort Atoms", text});
  }
  if (!result.changed) return Outcome::Done;
  bench.ConnectAndReframe();
  if (!result.brokenRanges.empty()) {
    std::string text = "These lines name a range of atoms that is now another one:";
    const size_t shown = std::min(result.brokenRanges.size(), kMostLines);
    for (size_t i = 0; i < shown; ++i) text += "\n" + result.brokenRanges[i];
    bench.messages.Show({MessageIcon::Warning, "Sort Atoms", text});
  }
  return Outcome::Changed;
}

Outcome ChangePartHandler(Workbench& bench, const CommandCall& call) {
  const EditArguments arguments = SplitEditArguments(call.argument);
  const auto atoms = AtomsToEdit(bench, arguments.atoms, false);
  if (atoms.empty()) return Outcome::Failed;
  EditFault fault;
  const auto change = ParsePartChange(bench.document, arguments, fault);
  if (!change) return RefuseField(bench, fault);
  ApplyPartChange(bench.document, atoms, *change);
  bench.ConnectAndReframe();
  return Outcome::Changed;
}

Outcome HidePartHandler(Workbench& bench, const CommandCall& call) {
  EditFault fault;
  const auto parts = ParseHiddenParts(bench.document, SplitEditArguments(call.argument), fault);
  if (!parts) return RefuseField(bench, fault);
  const std::vector<int32_t>& hidden = bench.document.atoms.hiddenParts;
  if (std::ranges::equal(hidden, *parts)) return Outcome::Done;
  HideParts(bench.document, *parts);
  bench.ConnectAndReframe();
  return Outcome::Changed;
}

Outcome RestoreHandler(Workbench& bench, const CommandCall& call) {
  Document& document = bench.document;
  if (!document.atoms.killedHead) {
    return Refuse(bench, "Restore Killed Atom(s)", "There are no killed atoms to restore.");
  }
  const AtomChoice choice = ChooseKilledAtoms(document, call.argument);
  if (!choice.unmatched.empty() || choice.atoms.empty()) {
    return Refuse(bench, kNoneSelected, "Couldn't find " + choice.unmatched + " among the killed atoms.");
  }
  const size_t restored = RestoreAtoms(document, choice.atoms, bench.messages);
  bench.RefreshAfterStructureChange(bench.FmolAfterChanges);
  return restored ? Outcome::Changed : Outcome::Failed;
}

Outcome SameHandler(Workbench& bench, const CommandCall& call) {
  constexpr char kUsage[] = "Command Usage Error:";
  constexpr char kHydrogen[] = "The SAME command can't be applied to Hydrogen atoms.";
  Document& document = bench.document;
  AtomRecord* clicked = bench.PickedAtom();
  if (clicked && clicked->IsHydrogen()) return Refuse(bench, kUsage, kHydrogen);
  const auto text = TextOf(bench, call);
  if (!text) return Outcome::Cancelled;
  AtomRecord* target = FindAtomByText(document, *text);
  if (!target) return Refuse(bench, kNoneSelected, "Couldn't find " + *text + " in the atom list.");
  if (target->IsHydrogen()) return Refuse(bench, kUsage, kHydrogen);
  std::vector<AtomRecord*> pattern(document.atoms.selection.begin(), document.atoms.selection.end());
  if (pattern.empty() && clicked) pattern = ConnectedFragments(document, {clicked});
  if (pattern.empty()) return Refuse(bench, kNoneSelected, "You must have at least one atom selected!");
  const std::string fault = StartSameGroup(document, std::move(pattern), target);
  if (!fault.empty()) return Refuse(bench, "SAME Command Error:", fault);
  return Outcome::Changed;
}

Outcome RecountUnitHandler(Workbench& bench, const CommandCall&) {
  ElementChooser elements(bench.document, bench.messages);
  const size_t before = bench.document.instructions.sfac.size();
  for (const int row : ElementsInFile(bench.document)) elements.OnSfac(row);
  const bool added = bench.document.instructions.sfac.size() != before;
  return RecountUnit(bench.document) || added ? Outcome::Changed : Outcome::Done;
}

}  // namespace marvik
