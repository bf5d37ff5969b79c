#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <numeric>

#include "app/beside.h"
#include "app/commands/model_handlers.h"
#include "app/measures.h"
#include "base/numbers.h"
#include "check/model_trials.h"
#include "edit/edit_restraint.h"
#include "language/atom_names.h"
#include "language/tokenizer.h"
#include "report/report_table.h"

namespace marvik {
namespace {

constexpr char kCaption[] = "Restraints";
constexpr char kMeasure[] = "Measure";
constexpr FieldRange kPlace{"number", "Number", 1.0, 1e6};

std::string ListOf(const Document& document, const std::vector<size_t>& places) {
  const std::vector<std::string> texts = RestraintTexts(document);
  std::string problem;
  std::map<std::string, std::vector<RestraintLine>> lines;
  for (RestraintLine& line : RestraintsAsTheyAre(document, problem)) lines[line.instruction].push_back(std::move(line));
  ReportTable table({"No.", "Chi2", "Target", "Value", "Sigma", "Instruction"});
  for (const size_t place : places) {
    double chi2 = 0.0;
    const std::vector<RestraintLine>& own = lines[texts[place]];
    for (const RestraintLine& line : own) chi2 += line.chi2;
    table.Integer(static_cast<int>(place) + 1);
    own.empty() ? table.Missing() : table.Number(chi2, 2);
    for (int k = 0; k < 3; ++k) table.Missing();
    table.Text(texts[place]);
    for (const RestraintLine& line : own) {
      table.Missing();
      table.Number(line.chi2, 2);
      table.Number(line.target, 4);
      table.Number(line.value, 4);
      table.Number(line.sigma, 4);
      table.Text("   " + line.atoms);
    }
  }
  return (problem.empty() ? "" : "The model cannot be refined: " + problem + "\n\n") + table.Aligned();
}

Outcome List(Workbench& bench, const std::vector<size_t>& places) {
  const auto document = std::make_shared<const Document>(bench.document);
  return DoBeside(
      bench, "The restraints are being worked out", [document, places] { return ListOf(*document, places); },
      [&bench](const std::string& text) { return ShowList(bench, kCaption, text); });
}

}  // namespace

std::vector<AtomRecord*> AtomsInOrder(Workbench& bench, const std::string& names) {
  const AtomArray& selection = bench.document.atoms.selection;
  if (names.empty()) return {selection.begin(), selection.end()};
  std::vector<std::string_view> words;
  SplitWords(names, words);
  std::vector<AtomRecord*> atoms;
  for (const std::string_view word : words) {
    atoms.push_back(FindAtomByText(bench.document, word));
    if (atoms.back()) continue;
    Refuse(bench, "Error: No Atoms Selected", "Couldn't find " + std::string(word) + " in the atom list.");
    return {};
  }
  return atoms;
}

Outcome RestrainHandler(Workbench& bench, const CommandCall& call) {
  const auto text = TextOf(bench, call);
  if (!text) return Outcome::Cancelled;
  const EditArguments arguments = SplitEditArguments(*text);
  EditFault fault;
  const auto request = ParseRestraint(arguments, fault);
  if (!request) return RefuseField(bench, fault);
  std::vector<AtomRecord*> atoms = AtomsInOrder(bench, arguments.atoms);
  if (atoms.empty() && !arguments.atoms.empty()) return Outcome::Failed;
  for (const AtomRecord* atom : atoms)
    if (atom->generated != 0)
      return Refuse(bench, kCaption,
                    atom->name + " was made by GROW or PACK; restrain the atom that it is an image of.");
  const std::string refusal = AddRestraint(bench.document, atoms, *request);
  return refusal.empty() ? Outcome::Changed : Refuse(bench, kCaption, refusal);
}

// What each instruction costs, then what it holds, with what it is now.
Outcome RestraintsHandler(Workbench& bench, const CommandCall&) {
  std::vector<size_t> all(RestraintTexts(bench.document).size());
  std::iota(all.begin(), all.end(), 0);
  if (all.empty()) return Refuse(bench, kCaption, "There are no restraints.");
  return List(bench, all);
}

Outcome RestraintsHereHandler(Workbench& bench, const CommandCall& call) {
  const auto atoms = AtomsToEdit(bench, call.argument, call.argument.empty() && bench.PickedAtom());
  if (atoms.empty()) return Outcome::Failed;
  const auto places = RestraintsOn(bench.document, {atoms.begin(), atoms.end()});
  if (places.empty()) return Refuse(bench, kCaption, "Nothing restrains " + atoms.front()->name + ".");
  return List(bench, places);
}

Outcome EditRestraintHandler(Workbench& bench, const CommandCall& call) {
  const EditArguments arguments = SplitEditArguments(call.argument);
  const auto fields = RestraintEditFields();
  EditFault fault = UnknownFieldFault(arguments, fields);
  std::array<std::optional<double>, 3> values;
  for (size_t i = 0; i < values.size() && !fault; ++i) {
    const std::string* text = arguments.Find(fields[i].key);
    if (text) values[i] = ReadFieldNumber(fields[i], *text, fault);
  }
  if (!fault && !values[0]) fault = {fields[0].key, "Number: that of the restraint in the list is wanted."};
  if (fault) return RefuseField(bench, fault);
  const std::string refusal = EditRestraint(bench.document, static_cast<size_t>(*values[0]) - 1, values[1], values[2]);
  return refusal.empty() ? Outcome::Changed : Refuse(bench, kCaption, refusal);
}

Outcome DrawnOverHandler(Workbench& bench, const CommandCall&) {
  bench.figure.restraints = !bench.figure.restraints;
  return Outcome::Done;
}

Outcome RemoveRestraintHandler(Workbench& bench, const CommandCall& call) {
  EditFault fault;
  const auto number = ReadFieldInteger(kPlace, call.argument, fault);
  if (!number) return RefuseField(bench, fault);
  if (RemoveRestraint(bench.document, static_cast<size_t>(*number) - 1)) return Outcome::Changed;
  return Refuse(bench, kCaption, Printf("There is no restraint number %d.", *number));
}

Outcome MeasureHandler(Workbench& bench, const CommandCall& call) {
  const std::vector<AtomRecord*> atoms = AtomsInOrder(bench, call.argument);
  if (atoms.empty() && !call.argument.empty()) return Outcome::Failed;
  const std::string refusal = AddMeasure(bench.document, {atoms.begin(), atoms.end()});
  if (!refusal.empty()) return Refuse(bench, kMeasure, refusal);
  bench.figure.measures = true;  // what was measured just now is to be seen
  return Outcome::Changed;
}

Outcome MeasurementsHandler(Workbench& bench, const CommandCall&) {
  const std::vector<Measure> measures = MeasuresOf(bench);
  if (measures.empty()) return Refuse(bench, kMeasure, "Nothing is measured: select two to four atoms, then Measure.");
  ReportTable table({"No.", "Name", "Atoms", "Value"});
  int number = 0;
  for (const Measure& measure : measures) {
    table.Integer(++number);
    table.Text(measure.label);
    table.Text(measure.names);
    table.Text(measure.Text());
  }
  return ShowList(bench, "Measurements", table.Aligned());
}

Outcome RemoveMeasuresHandler(Workbench& bench, const CommandCall& call) {
  EditFault fault;
  std::optional<size_t> at;
  if (!call.argument.empty()) {
    const auto number = ReadFieldInteger(kPlace, call.argument, fault);
    if (!number) return RefuseField(bench, fault);
    at = static_cast<size_t>(*number) - 1;
  }
  const bool groups = !at && !bench.measuredGroups.empty();
  if (groups) bench.measuredGroups.clear();
  if (RemoveMeasures(bench.document, at)) return Outcome::Changed;
  if (groups) return Outcome::Done;
  return Refuse(bench, kMeasure, "There is no such measurement.");
}

Outcome MeasureGroupsHandler(Workbench& bench, const CommandCall& call) {
  std::string fault;
  const std::string text = MeasureGroups(bench, call.argument, fault);
  if (!fault.empty()) return Refuse(bench, kMeasure, fault);
  if (std::ranges::find(bench.measuredGroups, call.argument) == bench.measuredGroups.end())
    bench.measuredGroups.push_back(call.argument);
  bench.figure.planes = true;  // what was measured just now is to be seen
  bench.Repaint();
  return ShowList(bench, call.argument, text);
}

}  // namespace marvik
