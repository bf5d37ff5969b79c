#include <algorithm>
#include <map>
#include <unordered_set>

#include "app/beside.h"
#include "app/commands/command_handlers.h"
#include "app/density.h"
#include "app/proposals.h"
#include "app/reports.h"
#include "base/numbers.h"
#include "chem/bonds/hybridization.h"
#include "chem/environment.h"
#include "chem/geometry/mean_plane.h"
#include "chem/hydrogens/hfix.h"
#include "chem/hydrogens/hydrogens.h"
#include "edit/edit_elements.h"
#include "language/atom_names.h"

namespace marvik {
namespace {

// The atom that a command of the atom menu is about, and the number behind it: "C1", "C1 3.5", "3.5", "".
struct AtomAndNumber {
  const AtomRecord* atom = nullptr;
  std::optional<double> number;
};

// No atom after a message.
AtomAndNumber TakeAtom(Workbench& bench, const CommandCall& call) {
  AtomAndNumber taken;
  std::string name = call.argument;
  std::ranges::replace(name, ',', ' ');
  name.erase(name.find_last_not_of(' ') + 1);
  const size_t blank = name.find_last_of(' ');
  double value = 0.0;
  if (ParseWholeNumber(std::string_view(name).substr(blank == std::string::npos ? 0 : blank + 1), value)) {
    taken.number = value;
    name.erase(blank == std::string::npos ? 0 : blank);
    name.erase(name.find_last_not_of(' ') + 1);
  }
  taken.atom = name.empty() ? bench.PickedAtom() : FindAtomByText(bench.document, name);
  if (!taken.atom && !name.empty()) {
    Refuse(bench, "Error: No Atoms Selected", "Couldn't find " + name + " in the atom list.");
  } else if (!taken.atom) {
    Refuse(bench, "Error: No Atoms Selected", "This command acts on an atom that was clicked or named.");
  }
  return taken;
}

// Where no window and no output takes reports they are messages.
Outcome ShowReport(Workbench& bench, const ReportRequest& request) {
  if (bench.hooks.showReport) {
    bench.hooks.showReport(request);
  } else if (const auto report = ComposeReport(bench, request)) {
    bench.messages.Show({MessageIcon::Information, report->title, PlainLines(report->text)});
  }
  return Outcome::Done;
}

// Hydrogens that the refinement is to make need their element on SFAC.
void SeeToSfac(Workbench& bench) {
  const AtomList& atoms = bench.document.atoms;
  bool any = std::ranges::any_of(atoms.hfix, [](const HfixEntry& entry) { return entry.carrier != nullptr; });
  for (const AtomRecord* atom : Atoms(atoms)) any = any || (atom->flags2 & kProgramHydrogen) != 0;
  if (!any) return;
  ElementChooser elements(bench.document, bench.messages);
  elements.OnSfac(kHydrogenRow);
  elements.Finish();
}

// "H1A to O3 (3_655), 1.92 Å": where the hydrogens of a water molecule point.
std::string BondsOf(const Document& document, const AtomRecord& oxygen, const char* separator) {
  const GeometryUncertainty none(document, nullptr);
  std::string text;
  for (const HydrogenBond& bond :
       EnvironmentSearch(document, kDefaultEnvironment, none).About(oxygen, kDefaultEnvironment).hydrogenBonds) {
    if (bond.donor.atom != &oxygen) continue;
    const std::string code = SymmetryText(bond.acceptor.symmetryCode);
    AppendPrintf(text, "%s%s to %s%s, %.2f Å", text.empty() ? "" : separator, bond.hydrogen.atom->name.c_str(),
                 bond.acceptor.atom->name.c_str(), code.empty() ? "" : (" " + code).c_str(),
                 bond.hydrogenAcceptor.value);
  }
  return text;
}

using PlacedHydrogens = std::map<uint32_t, std::vector<AtomRecord*>>;  // by the serial of the oxygen

void ChooseWater(Workbench& bench, const PlacedHydrogens& placed) {
  FoundModels list;
  list.title = "Water";
  list.accept = "&Keep";
  list.headings = {"Water", "Hydrogen bonds"};
  std::vector<Proposal> proposals;
  for (const auto& [serial, hydrogens] : placed) {
    Proposal& proposal = proposals.emplace_back();
    const AtomRecord& oxygen = *bench.document.atoms.FindSerial(serial);
    proposal.cells = {oxygen.name, BondsOf(bench.document, oxygen, "; ")};
    for (const AtomRecord* hydrogen : hydrogens) proposal.atoms.push_back(hydrogen->serial);
    proposal.show = [of = hydrogens](bool on) {
      for (AtomRecord* hydrogen : of) hydrogen->Set(kHidden, !on);
    };
  }
  TakeProposals(bench, list, proposals);
  for (const auto& [serial, hydrogens] : placed)
    if (hydrogens.front()->Has(kHidden)) bench.document.atoms.DestroyAtoms(hydrogens);
  bench.ConnectAndReframe();
}

// Water that had no hydrogens: these were placed by its hydrogen bonds alone, and are shown before they stay.
void AskAboutWater(Workbench& bench, const std::unordered_set<uint32_t>& before) {
  AtomList& atoms = bench.document.atoms;
  PlacedHydrogens placed;
  for (AtomRecord* atom : Atoms(atoms)) {
    const bool isNew = atom->IsHydrogen() && atom->afix == kFixExisting && !before.contains(atom->serial);
    if (isNew && atom->parent && atom->parent->element->atomicNumber == 8) placed[atom->parent->serial].push_back(atom);
  }
  if (placed.empty()) return;
  if (bench.hooks.chooseModel) return ChooseWater(bench, placed);
  for (const auto& [serial, hydrogens] : placed) {
    const AtomRecord& oxygen = *atoms.FindSerial(serial);
    const std::string text = "Two hydrogens make water of " + oxygen.name + ":\n" +
                             BondsOf(bench.document, oxygen, "\n") + "\n\nAre they to stay?";
    if (bench.messages.AskYesNo({MessageIcon::Question, "Water", text}, Unattended::Yes)) continue;
    atoms.DestroyAtoms(hydrogens);
    bench.ConnectAndReframe();
  }
}

std::string PlaneKey(const Document& document) {
  std::string key = document.CurrentFile;
  const CellParameters& c = document.cell;
  AppendPrintf(key, "|%g %g %g %g %g %g", c.a, c.b, c.c, c.alpha, c.beta, c.gamma);
  return key;
}

}  // namespace

Outcome HybridizeHandler(Workbench& bench, const CommandCall&) {
  if (!HybridizeAll(bench.document, bench.messages)) return Outcome::Failed;
  bench.HybridLabelColoration = true;
  return Outcome::Changed;
}

Outcome HydrogensHandler(Workbench& bench, const CommandCall&) {
  std::unordered_set<uint32_t> before;
  for (const AtomRecord* atom : Atoms(bench.document.atoms)) before.insert(atom->serial);
  if (!CalculateHydrogens(bench.document, bench.messages)) return Outcome::Failed;
  SeeToSfac(bench);
  bench.ConnectAndReframe();
  AskAboutWater(bench, before);
  return Outcome::Changed;
}

Outcome HfixHandler(Workbench& bench, const CommandCall& call) {
  const auto option = ParseHfixOption(call.argument);
  if (!option) {
    return Refuse(
        bench, "Command Usage Error:", "The code is one of 163, 43, 93, 13, 23, 137, 147 and 83, or AFIX 3, or none.");
  }
  if (!ApplyHfixOption(bench.document, *option, bench.messages)) return Outcome::Failed;
  SeeToSfac(bench);
  bench.ConnectAndReframe();
  return Outcome::Changed;
}

Outcome TableOf(Workbench& bench, ReportKind kind) {
  if (!bench.document.atoms.head) return Refuse(bench, "Geometry", "There are no atoms to tell of.");
  ReportRequest request;
  request.kind = kind;
  return ShowReport(bench, request);
}

Outcome DataTableOf(Workbench& bench, ReportKind kind) {
  const auto document = std::make_shared<const Document>(bench.document);
  return DoBeside(
      bench, kind == ReportKind::Voids ? "The voids are being listed" : "Peaks and holes are being looked for",
      [document, kind] { return MakeDataReport(*document, kind); },
      [&bench, kind, base = document->CurrentFile](DataReport made) {
        if (bench.document.CurrentFile != base) return Outcome::Cancelled;
        if (!KeepDataReport(bench, kind, std::move(made))) return Outcome::Failed;
        ReportRequest request;
        request.kind = kind;
        return ShowReport(bench, request);
      });
}

Outcome AtomInformationHandler(Workbench& bench, const CommandCall& call) {
  constexpr int kInfoOnSelected = 197;
  if (!bench.document.atoms.head) return Refuse(bench, "Atom Information", "There are no atoms to tell of.");
  ReportRequest request;
  if (call.id == kInfoOnSelected)
    for (const AtomRecord* atom : ReportedAtoms(bench.document)) request.members.push_back(atom->serial);
  return ShowReport(bench, request);
}

Outcome PlaneHandler(Workbench& bench, const CommandCall& call) {
  constexpr int kWeightedPlane = 146;
  const bool weighted = call.id == kWeightedPlane;
  const AtomSet members = ReportedAtoms(bench.document);
  const auto plane = FitMeanPlane(bench.document, members, weighted);
  if (!plane) return Refuse(bench, "Mean Plane ", "There are no atoms to lay a plane through.");
  ReportRequest request;
  request.kind = weighted ? ReportKind::WeightedPlane : ReportKind::MeanPlane;
  if (!bench.document.atoms.selection.Empty())
    for (const AtomRecord* atom : members) request.members.push_back(atom->serial);
  const std::string key = PlaneKey(bench.document);
  if (bench.reports.planeKey == key) request.previousPlane = bench.reports.planeNormal;
  bench.reports.planeKey = key;
  bench.reports.planeNormal = plane->normal;
  return ShowReport(bench, request);
}

Outcome BondsAndAnglesHandler(Workbench& bench, const CommandCall& call) {
  const AtomRecord* atom = TakeAtom(bench, call).atom;
  if (!atom) return Outcome::Failed;
  ReportRequest request;
  request.kind = ReportKind::BondsAndAngles;
  request.atom = atom->serial;
  return ShowReport(bench, request);
}

Outcome EnvironmentHandler(Workbench& bench, const CommandCall& call) {
  const AtomAndNumber taken = TakeAtom(bench, call);
  if (!taken.atom) return Outcome::Failed;
  const double radius = taken.number.value_or(bench.reports.environmentRadius);
  if (!(radius > 0.0) || radius > kLargestEnvironment) {
    return Refuse(bench, "Command Usage Error:", Printf("The distance is a number up to %g Å.", kLargestEnvironment));
  }
  bench.reports.environmentRadius = radius;
  ReportRequest request;
  request.kind = ReportKind::Environment;
  request.atom = taken.atom->serial;
  request.radius = radius;
  return ShowReport(bench, request);
}

Outcome CentroidHandler(Workbench& bench, const CommandCall& call) {
  // With atoms selected none has to be named.
  const bool selection = !bench.document.atoms.selection.Empty();
  const AtomRecord* atom = selection && call.argument.empty() ? nullptr : TakeAtom(bench, call).atom;
  if (!atom && !(selection && call.argument.empty())) return Outcome::Failed;
  const auto centroid = ComputeCentroid(bench.document, atom);
  if (!centroid) return Refuse(bench, "Centroid", "There are no atoms to take the centroid of.");
  bench.messages.Show({MessageIcon::Information, "Centroid", CentroidText(*centroid)});
  return Outcome::Done;
}

}  // namespace marvik
