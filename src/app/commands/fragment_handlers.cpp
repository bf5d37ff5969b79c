#include <algorithm>
#include <array>
#include <unordered_map>

#include "app/beside.h"
#include "app/commands/model_handlers.h"
#include "app/density.h"
#include "app/journal_files.h"
#include "app/measures.h"
#include "app/refinement/refine_flow.h"
#include "base/files.h"
#include "base/numbers.h"
#include "check/model_trials.h"
#include "chem/bonds/connectivity.h"
#include "crystal/cell_metric.h"
#include "edit/edit_elements.h"
#include "edit/edit_fragment.h"
#include "files/res/reader.h"
#include "language/residues.h"
#include "language/tokenizer.h"
#include "report/report_table.h"

namespace marvik {
namespace {

constexpr char kFragment[] = "Fragment";
constexpr char kOverlay[] = "Overlay";
constexpr std::array<FieldRange, 1> kOverlayFields{{{"file", "File of the other model"}}};

// Those of one model that an overlay pairs with those of the other.
struct OverlaySide {
  std::vector<std::string> names;
  std::vector<Cartesian> places;
  void Add(const Document& document, const AtomRecord& atom) {
    names.push_back(QualifiedName(document, atom));
    places.push_back(MakeMetric(document.cell).ToCartesian(atom.fract));
  }
};

std::string OverlayText(const OverlaySide& first, const OverlaySide& second, std::string& fault) {
  const auto fit = Superpose(first.places, second.places);
  const auto turned = Superpose(first.places, second.places, true);
  if (!fit || !turned) {
    fault = "Three pairs of atoms or more are overlaid, which must not lie on a line.";
    return {};
  }
  const bool inverted = turned->rms < fit->rms;
  const Superposition& best = inverted ? *turned : *fit;
  ReportTable table({"Atom", "Onto", "Distance"});
  double most = 0.0;
  for (size_t i = 0; i < first.places.size(); ++i) {
    const double distance = Length(best(first.places[i]) - second.places[i]);
    most = std::max(most, distance);
    table.Text(first.names[i]);
    table.Text(second.names[i]);
    table.Number(distance, 4);
  }
  return Printf("R.m.s. difference of %zu pairs %.4f Å, the largest %.4f Å%s.\nOf the other hand %.4f Å.\n\n",
                first.places.size(), best.rms, most, inverted ? ", one of the two inverted" : "",
                inverted ? fit->rms : turned->rms) +
         table.Aligned();
}

// Atoms of the same name in both files, the chosen ones or all that are no hydrogens.
bool PairByNames(Workbench& bench, const std::string& path, const std::vector<AtomRecord*>& chosen, OverlaySide& first,
                 OverlaySide& second) {
  Document other;
  RecordingMessages quiet;
  const std::string& base = bench.document.WorkingDirectory;
  const std::string full = StampOf(path) || base.empty() ? path : base + path;
  if (!StampOf(full) || !ReadInstructionFile(other, full, quiet)) {
    Refuse(bench, kOverlay, path + " cannot be read as an instruction file.");
    return false;
  }
  std::vector<AtomRecord*> atoms = chosen;
  if (atoms.empty())
    for (AtomRecord* atom : Atoms(bench.document.atoms))
      if (!atom->IsHydrogen() && !atom->IsPeak() && !IsGrownAtom(*atom)) atoms.push_back(atom);
  std::unordered_map<std::string, const AtomRecord*> named;
  for (const AtomRecord* onto : Atoms(other.atoms)) named.emplace(UpperCase(QualifiedName(other, *onto)), onto);
  for (const AtomRecord* atom : atoms) {
    const auto onto = named.find(UpperCase(QualifiedName(bench.document, *atom)));
    if (onto == named.end()) continue;
    first.Add(bench.document, *atom);
    second.Add(other, *onto->second);
  }
  return true;
}

}  // namespace

std::span<const FieldRange> OverlayFields() {
  return kOverlayFields;
}

std::vector<GroupShape> FragmentLibrary(std::vector<std::string>& faults) {
  std::vector<GroupShape> shapes;
  for (const std::string& name : PackageFiles("fragments", "txt")) {
    const std::string path = PackageFile("fragments", name, "txt");
    std::string fault;
    if (auto shape = ReadGroupShape(name, ReadWholeFile(path).content, fault)) {
      shapes.push_back(std::move(*shape));
    } else {
      faults.push_back(path + ": " + fault);
    }
  }
  return shapes;
}

Outcome FragmentHandler(Workbench& bench, const CommandCall& call) {
  const auto text = TextOf(bench, call);
  if (!text) return Outcome::Cancelled;
  const EditArguments arguments = SplitEditArguments(*text);
  EditFault fault;
  const auto request = ParseFragment(arguments, fault);
  if (!request) return RefuseField(bench, fault);
  std::vector<std::string> faults;
  const std::vector<GroupShape> shapes = FragmentLibrary(faults);
  const auto shape = std::ranges::find(shapes, request->fragment, &GroupShape::name);
  if (shape == shapes.end())
    return RefuseField(bench, {"fragment", "Fragment: there is no " + request->fragment +
                                               " in the library; the list of fragments names them."});
  const auto atoms = AtomsInOrder(bench, arguments.atoms);
  if (atoms.empty() && !arguments.atoms.empty()) return Outcome::Failed;
  for (const AtomRecord* atom : atoms)
    if (IsGrownAtom(*atom)) return Refuse(bench, kFragment, atom->name + " was made by GROW or PACK.");
  double rms = 0.0;
  const std::string refusal = PlaceFragment(bench.document, atoms, *shape, *request, bench.messages, rms);
  if (!refusal.empty()) return Refuse(bench, kFragment, refusal);
  bench.ConnectAndReframe();
  if (bench.hooks.tell) bench.hooks.tell(Printf("%s: %.3f Å from the chosen atoms", shape->title.c_str(), rms));
  return Outcome::Changed;
}

Outcome FragmentsHandler(Workbench& bench, const CommandCall&) {
  std::vector<std::string> faults;
  ReportTable table({"Name", "Class", "Atoms", "Title", "Source"});
  for (const GroupShape& shape : FragmentLibrary(faults)) {
    table.Text(shape.name);
    table.Text(shape.residueClass);
    table.Integer(static_cast<int>(shape.atoms.size()));
    table.Text(shape.title);
    table.Text(shape.source);
  }
  std::string text = table.Aligned();
  for (const std::string& fault : faults) text += "\n" + fault;
  return ShowList(bench, "Fragments", text);
}

// "C1 C2 C3 C11 C12 C13": the first half onto the second; "file=old.res": by names.
Outcome OverlayHandler(Workbench& bench, const CommandCall& call) {
  const EditArguments arguments = SplitEditArguments(call.argument);
  const std::string* file = arguments.Find("file");
  const std::vector<AtomRecord*> atoms = AtomsInOrder(bench, arguments.atoms);
  if (atoms.empty() && !arguments.atoms.empty()) return Outcome::Failed;
  OverlaySide first, second;
  if (file) {
    if (!PairByNames(bench, *file, atoms, first, second)) return Outcome::Failed;
  } else if (atoms.size() % 2 != 0) {
    return Refuse(bench, kOverlay, "The first half of the chosen atoms is laid over the second: their number is odd.");
  } else {
    for (size_t i = 0; i < atoms.size(); ++i) (2 * i < atoms.size() ? first : second).Add(bench.document, *atoms[i]);
  }
  std::string fault;
  const std::string text = OverlayText(first, second, fault);
  return fault.empty() ? ShowList(bench, kOverlay, text) : Refuse(bench, kOverlay, fault);
}

Outcome WriteHtabHandler(Workbench& bench, const CommandCall&) {
  const size_t added = AddHydrogenBondLines(bench.document);
  if (added == 0) return Refuse(bench, "HTAB", "There is no hydrogen bond that the file does not list already.");
  if (bench.hooks.tell) bench.hooks.tell(Printf("%zu HTAB lines", added));
  return Outcome::Changed;
}

Outcome ShadePartsHandler(Workbench& bench, const CommandCall&) {
  ColourBy& by = bench.figure.colourBy;
  by = by == ColourBy::Part ? ColourBy::Element : ColourBy::Part;
  return Outcome::Done;
}

namespace {

Outcome ListDoubts(Workbench& bench, const std::vector<ElementDoubt>& doubts) {
  ReportTable table({"Atom", "Electrons", "S.u.", "Ueq", "Looks like"});
  for (const ElementDoubt& doubt : doubts) {
    table.Text(doubt.atom);
    table.Number(doubt.share, 3);
    table.Number(doubt.su, 3);
    table.Number(doubt.displacement, 2);
    table.Text(doubt.suggested.empty() ? "nothing" : doubt.suggested);
  }
  return ShowList(bench, "Atoms That May Be Another Element",
                  "Electrons and Ueq are shares of what the model and the neighbours have.\n\n" + table.Aligned());
}

}  // namespace

Outcome SuggestElementsHandler(Workbench& bench, const CommandCall&) {
  struct Found {
    std::vector<ElementDoubt> doubts;
    std::string problem;
  };
  const auto document = std::make_shared<const Document>(bench.document);
  return DoBeside(
      bench, "Elements are being compared with their electrons",
      [document, path = JobBase(bench) + ".hkl"] {
        Found found;
        found.doubts = FindElementDoubts(*document, path, found.problem);
        return found;
      },
      [&bench](const Found& found) {
        if (!found.problem.empty()) return Refuse(bench, "Elements", found.problem);
        return found.doubts.empty() ? Refuse(bench, "Elements", "No atom has the electrons of another element.")
                                    : ListDoubts(bench, found.doubts);
      });
}

Outcome ElementBadgesHandler(Workbench& bench, const CommandCall&) {
  bench.elementBadges = !bench.elementBadges;
  return Outcome::Done;
}

}  // namespace marvik
