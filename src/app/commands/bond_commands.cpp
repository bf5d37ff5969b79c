#include <algorithm>
#include <array>

#include "app/commands/command_handlers.h"
#include "base/numbers.h"
#include "chem/bonds/connectivity.h"
#include "edit/edit_fields.h"
#include "language/atom_names.h"
#include "model/placement.h"
#include "report/structure_tables.h"

namespace marvik {
namespace {

// "C1 C2" or "C1-C2". Nothing, after a message, when that is not a bond.
BondRecord* NamedBond(Workbench& bench, const std::string& text) {
  const size_t middle = text.find_first_of(" ,-");
  const size_t second = middle == std::string::npos ? middle : text.find_first_not_of(" ,-", middle);
  BondRecord* bond = nullptr;
  if (second != std::string::npos) {
    const AtomRecord* a = FindAtomByText(bench.document, std::string_view(text).substr(0, middle));
    const AtomRecord* b = FindAtomByText(bench.document, std::string_view(text).substr(second));
    if (a && b) bond = bench.document.atoms.FindBond(a, b);
  }
  if (!bond) Refuse(bench, "Error: No Bonds Selected", "There is no bond " + text + ".");
  return bond;
}

// The one bond that a command of the bond popup acts on, nothing after a message.
BondRecord* NamedOrPicked(Workbench& bench, const CommandCall& call) {
  if (!call.argument.empty()) return NamedBond(bench, call.argument);
  BondRecord* picked = bench.PickedBond();
  if (!picked) Refuse(bench, "Error: No Bonds Selected", "This command acts on a bond that was clicked or named.");
  return picked;
}

// For the commands on many bonds: the named or picked one, which stands for all when it is selected, else the selected
// ones. Empty after a message.
std::vector<BondRecord*> ChosenBonds(Workbench& bench, const CommandCall& call) {
  const auto& selected = bench.document.atoms.selectedBonds;
  if (!call.argument.empty()) {
    BondRecord* named = NamedBond(bench, call.argument);
    return named ? std::vector{named} : std::vector<BondRecord*>{};
  }
  BondRecord* picked = bench.PickedBond();
  if (picked && std::ranges::find(selected, picked) == selected.end()) return {picked};
  if (selected.empty()) {
    Refuse(bench, "Error: No Bonds Selected", "You must have at least one bond selected!");
  }
  return selected;
}

}  // namespace

Outcome SelectBondHandler(Workbench& bench, const CommandCall& call) {
  BondRecord* bond = NamedOrPicked(bench, call);
  if (!bond) return Outcome::Failed;
  auto& selected = bench.document.atoms.selectedBonds;
  if (std::erase(selected, bond) == 0) selected.push_back(bond);
  return Outcome::Done;
}

Outcome BondInfoHandler(Workbench& bench, const CommandCall& call) {
  const BondRecord* bond = NamedOrPicked(bench, call);
  if (!bond) return Outcome::Failed;
  bench.messages.Show({MessageIcon::Information, "Bond",
                       Printf("%s  %s  %8.3f\n order: %s", bond->owner->name.c_str(), bond->partner->name.c_str(),
                              Distance(*bond->owner, *bond->partner), OrderWord(bond->Order()))});
  return Outcome::Done;
}

Outcome BondOrderHandler(Workbench& bench, const CommandCall& call) {
  const int order = call.id == 235 ? kAromatic : call.id == 236 ? kPi : call.id - 189;
  const auto bonds = ChosenBonds(bench, call);
  for (BondRecord* bond : bonds) bond->SetOrder(order);
  return bonds.empty() ? Outcome::Failed : Outcome::Changed;
}

Outcome BondStyleHandler(Workbench& bench, const CommandCall& call) {
  const auto bonds = ChosenBonds(bench, call);
  for (BondRecord* bond : bonds) bond->SetStyle(call.id - 224);
  return bonds.empty() ? Outcome::Failed : Outcome::Changed;
}

Outcome BondWidthHandler(Workbench& bench, const CommandCall& call) {
  struct Preset {
    int id;
    int widthClass;
    float width;  // Å
  };
  constexpr std::array<Preset, 3> kPresets{{{217, 0, 0.1f}, {219, 1, 0.025f}, {218, 2, 0.2f}}};
  const auto preset = std::ranges::find(kPresets, call.id, &Preset::id);
  const auto bonds = ChosenBonds(bench, call);
  for (BondRecord* bond : bonds) {
    bond->width = preset->width;
    bond->SetWidthClass(preset->widthClass);
  }
  return bonds.empty() ? Outcome::Failed : Outcome::Changed;
}

// "0.15", or "0.15 C1 C2" for a bond that is named.
Outcome CustomWidthHandler(Workbench& bench, const CommandCall& call) {
  constexpr int kCustomClass = 3;
  const size_t end = std::min(call.argument.find(' '), call.argument.size());
  EditFault fault;
  const auto width = ReadFieldNumber(kBondWidthRange, std::string_view(call.argument).substr(0, end), fault);
  if (!width) return RefuseField(bench, fault);
  const size_t names = std::min(call.argument.find_first_not_of(' ', end), call.argument.size());
  const auto bonds = ChosenBonds(bench, {call.id, call.argument.substr(names)});
  for (BondRecord* bond : bonds) {
    bond->width = static_cast<float>(*width);
    bond->SetWidthClass(kCustomClass);
  }
  return bonds.empty() ? Outcome::Failed : Outcome::Changed;
}

Outcome BondWithHandler(Workbench& bench, const CommandCall& call) {
  constexpr int kFromAtomPopup = 238;
  Document& document = bench.document;
  AtomRecord* clicked = call.id == kFromAtomPopup ? bench.PickedAtom() : nullptr;
  if (!clicked && document.atoms.selection.Empty()) {
    return Refuse(bench, "Error: No Atoms Selected", "You must select at least one atom to bind to a target.");
  }
  AtomRecord* target = FindAtomByText(document, call.argument);
  if (!target) {
    return Refuse(bench, "Error: No Atoms Selected", "Couldn't find " + call.argument + " in the atom list.");
  }
  if (clicked == target) return Refuse(bench, "Command Usage Error:", "An atom cannot be bonded with itself.");
  // An atom that was clicked stands alone unless it is one of the selected.
  const bool onlyClicked = clicked && !clicked->Has(kSelected);
  const auto mode = onlyClicked ? BindMode::Pair : BindMode::SelectionToTarget;
  if (!BindAtoms(document, mode, onlyClicked ? clicked : nullptr, target, bench.messages)) return Outcome::Failed;
  return Outcome::Changed;
}

Outcome DeleteBondHandler(Workbench& bench, const CommandCall& call) {
  const BondRecord* bond = NamedOrPicked(bench, call);
  if (!bond) return Outcome::Failed;
  AtomRecord* a = bond->owner;
  AtomRecord* b = bond->partner;
  FreeAtoms(bench.document, a, b, bench.messages);
  return Outcome::Changed;
}

}  // namespace marvik
