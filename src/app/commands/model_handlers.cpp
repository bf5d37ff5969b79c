#include "app/commands/model_handlers.h"

#include <algorithm>

#include "edit/edit_split.h"

namespace marvik {
namespace {

constexpr char kSplit[] = "Split";
constexpr char kJoin[] = "Join";

}  // namespace

// Peaks that are chosen with the atoms are where the parts go.
Outcome SplitHandler(Workbench& bench, const CommandCall& call) {
  const auto text = TextOf(bench, call);
  if (!text) return Outcome::Cancelled;
  EditArguments arguments = SplitEditArguments(*text);
  auto atoms = AtomsToEdit(bench, arguments.atoms, arguments.atoms.empty() && bench.PickedAtom());
  if (atoms.empty()) return Outcome::Failed;
  const auto isPeak = [](const AtomRecord* atom) { return atom->IsPeak(); };
  if (!arguments.Find("to") && std::ranges::any_of(atoms, isPeak) && !std::ranges::all_of(atoms, isPeak)) {
    std::string peaks;
    for (const AtomRecord* atom : atoms)
      if (atom->IsPeak()) peaks += (peaks.empty() ? "#" : " #") + std::to_string(atom->serial);
    arguments.fields.push_back({"to", peaks});
  }
  EditFault fault;
  const auto request = ParseSplit(bench.document, arguments, fault);
  if (!request) return RefuseField(bench, fault);
  const std::string refusal = SplitAtoms(bench.document, atoms, *request, bench.messages);
  if (!refusal.empty()) return Refuse(bench, kSplit, refusal);
  bench.ConnectAndReframe();
  return Outcome::Changed;
}

Outcome JoinHandler(Workbench& bench, const CommandCall& call) {
  const auto atoms = AtomsToEdit(bench, call.argument, call.argument.empty() && bench.PickedAtom());
  if (atoms.empty()) return Outcome::Failed;
  const std::string refusal = JoinAtoms(bench.document, atoms, bench.messages);
  if (!refusal.empty()) return Refuse(bench, kJoin, refusal);
  bench.ConnectAndReframe();
  return Outcome::Changed;
}

}  // namespace marvik
