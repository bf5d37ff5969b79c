#include <algorithm>
#include <array>
#include <optional>

#include "app/commands/command_handlers.h"
#include "base/numbers.h"
#include "edit/edit_fields.h"
#include "edit/symmetry_commands.h"
#include "language/atom_names.h"

namespace marvik {
namespace {

constexpr double kFarthestLimit = 1e5;
constexpr std::array<FieldRange, 6> kLimits{{{"a1", "Lower limit along a", -kFarthestLimit, kFarthestLimit},
                                             {"a2", "Upper limit along a", -kFarthestLimit, kFarthestLimit},
                                             {"b1", "Lower limit along b", -kFarthestLimit, kFarthestLimit},
                                             {"b2", "Upper limit along b", -kFarthestLimit, kFarthestLimit},
                                             {"c1", "Lower limit along c", -kFarthestLimit, kFarthestLimit},
                                             {"c2", "Upper limit along c", -kFarthestLimit, kFarthestLimit}}};
constexpr FieldRange kCells{"cells", "Number of cells", 0.0, kFarthestLimit};

// "0,2,0,1,0,1": limits along a, b and c; "atoms" behind them packs single atoms instead of whole molecules.
std::optional<PackBox> ParsePackBox(const std::string& text, EditFault& fault) {
  PackBox box;
  std::string_view rest = text;
  for (size_t i = 0; i < kLimits.size(); ++i) {
    const size_t comma = std::min(rest.find(','), rest.size());
    const auto value = ReadFieldNumber(kLimits[i], rest.substr(0, comma), fault);
    if (!value) return std::nullopt;
    (i % 2 ? box.high : box.low)[i / 2] = *value;
    if (i % 2 && box.high[i / 2] < box.low[i / 2]) {
      fault = {kLimits[i].key,
               Printf("%s: %g is below the lower limit, %g.", kLimits[i].caption, *value, box.low[i / 2])};
      return std::nullopt;
    }
    rest = rest.substr(std::min(comma + 1, rest.size()));
  }
  if (rest == "atoms") {
    box.wholeMolecules = false;
  } else if (!rest.empty()) {
    fault = {"a1", "The limits along a, b and c are six numbers, such as 0,2,0,1,0,1, not " + text};
    return std::nullopt;
  }
  return box;
}

Outcome PackIntoBox(Workbench& bench, const PackBox& box) {
  const PackResult result = Pack(bench.document, box, bench.messages);
  if (result.refused) {
    return Refuse(bench, "Error: Pack Parameters",
                  Printf("A box of %g to %g, %g to %g and %g to %g cells cannot be packed: it would take %.0f atoms.",
                         box.low[0], box.high[0], box.low[1], box.high[1], box.low[2], box.high[2], result.expected));
  }
  bench.FollowCentre();
  return result.added ? Outcome::Changed : Outcome::Done;
}

Outcome ShowOnly(Workbench& bench, const std::vector<AtomRecord*>& atoms) {
  AtomArray& subset = bench.document.atoms.displaySubset;
  std::vector<uint32_t> before;
  for (const AtomRecord* atom : subset) before.push_back(atom->serial);
  bench.uniqHistory.push_back(std::move(before));
  subset.Clear();
  for (AtomRecord* atom : atoms) subset.Append(atom);
  bench.ResetViewToModel();
  return Outcome::Changed;
}

}  // namespace

Outcome GrowHandler(Workbench& bench, const CommandCall&) {
  bench.SetBusy(true);
  const size_t added = Grow(bench.document, bench.messages);
  bench.SetBusy(false);
  bench.FollowCentre();
  return added ? Outcome::Changed : Outcome::Done;
}

// "O1 3_655": what a contact of the picture ends at.
Outcome GrowContactHandler(Workbench& bench, const CommandCall& call) {
  const size_t blank = std::min(call.argument.find(' '), call.argument.size());
  const AtomRecord* atom = FindAtomByText(bench.document, call.argument.substr(0, blank));
  std::string text = call.argument.substr(std::min(blank + 1, call.argument.size()));
  std::erase(text, '_');
  double code = 0.0;
  if (!atom) return Refuse(bench, "Grow", "Couldn't find " + call.argument.substr(0, blank) + " in the atom list.");
  if (!ParseWholeNumber(text, code) || !(code >= 1000.0 && code < 1e6))
    return Refuse(bench, "Grow", "A symmetry code such as 3_655 is wanted behind the atom, not " + text + ".");
  const size_t operators = std::max<size_t>(1, bench.document.symmetry.size());
  if (code / 1000.0 >= static_cast<double>(operators) + 1.0)
    return Refuse(bench, "Grow",
                  Printf("There is no such image: the structure has %zu symmetry operators.", operators));
  const size_t added = GrowImage(bench.document, *atom, static_cast<int32_t>(code), bench.messages);
  bench.FollowCentre();
  return added ? Outcome::Changed : Outcome::Done;
}

Outcome PackHandler(Workbench& bench, const CommandCall& call) {
  PackBox box;
  EditFault fault;
  if (call.id == kPackCountCommand) {
    const auto cells = ReadFieldNumber(kCells, call.argument, fault);
    if (cells) box.high = {*cells, *cells, *cells};
  } else if (const auto parsed = ParsePackBox(call.argument, fault)) {
    box = *parsed;
  }
  if (fault) return Refuse(bench, "Error: Pack Parameters", fault.text);
  bench.SetBusy(true);
  const Outcome outcome = PackIntoBox(bench, box);
  bench.SetBusy(false);
  return outcome;
}

Outcome TrimHandler(Workbench& bench, const CommandCall&) {
  bench.document.atoms.RebuildBackwardLinks();
  const size_t removed = Trim(bench.document, bench.messages);
  bench.FollowCentre();
  return removed ? Outcome::Changed : Outcome::Done;
}

Outcome UniqHandler(Workbench& bench, const CommandCall& call) {
  constexpr int kFromAtomPopup = 129;
  const AtomArray& selection = bench.document.atoms.selection;
  std::vector<AtomRecord*> chosen(selection.begin(), selection.end());
  if (call.id == kFromAtomPopup) {
    chosen = PickedAtomsOf(bench, call);
    if (chosen.empty()) return Outcome::Failed;
  }
  if (chosen.empty()) return Refuse(bench, "Error: No Atoms Selected", "You must have at least one atom selected!");
  return ShowOnly(bench, ConnectedFragments(bench.document, chosen));
}

Outcome UnUniqHandler(Workbench& bench, const CommandCall&) {
  AtomList& atoms = bench.document.atoms;
  if (atoms.displaySubset.Empty()) {
    return Refuse(bench, "Error: Not UNIQued", "The current structure is not currently UNIQued.");
  }
  std::vector<uint32_t> before;
  if (!bench.uniqHistory.empty()) {
    before = std::move(bench.uniqHistory.back());
    bench.uniqHistory.pop_back();
  }
  atoms.displaySubset.Clear();
  for (const uint32_t serial : before) {
    if (AtomRecord* atom = atoms.FindSerial(serial)) atoms.displaySubset.Append(atom);
  }
  bench.ResetViewToModel();
  return Outcome::Changed;
}

Outcome FmolHandler(Workbench& bench, const CommandCall&) {
  const size_t before = bench.document.atoms.LiveCount();
  const size_t moved = FormMolecules(bench.document, true, bench.messages);
  bench.RefreshAfterStructureChange(false);
  return moved || bench.document.atoms.LiveCount() != before ? Outcome::Changed : Outcome::Done;
}

Outcome FmolToggleHandler(Workbench& bench, const CommandCall&) {
  bench.FmolAfterChanges = !bench.FmolAfterChanges;
  return Outcome::Done;
}

Outcome MoveNearHandler(Workbench& bench, const CommandCall& call) {
  constexpr int kFromAtomPopup = 241;
  Document& document = bench.document;
  AtomRecord* clicked = call.id == kFromAtomPopup ? bench.PickedAtom() : nullptr;
  if (!clicked && document.atoms.selection.Empty()) {
    return Refuse(bench, "Error: No Atoms Selected", "You must select at least one atom to move near the target.");
  }
  const AtomRecord* target = FindAtomByText(document, call.argument);
  if (!target) {
    return Refuse(bench, "Error: No Atoms Selected", "Couldn't find " + call.argument + " in the atom list.");
  }
  std::vector<AtomRecord*> atoms(document.atoms.selection.begin(), document.atoms.selection.end());
  // An atom that was clicked stands alone unless it is one of the selected.
  if (clicked && !clicked->Has(kSelected)) atoms = {clicked};
  MoveNear(document, atoms, *target, bench.messages);
  bench.FollowCentre();
  return Outcome::Changed;
}

}  // namespace marvik
