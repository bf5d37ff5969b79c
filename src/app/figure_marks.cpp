#include "app/figure_marks.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "app/measures.h"
#include "check/model_trials.h"
#include "draw/renderer/figure_faces.h"
#include "language/atom_names.h"
#include "language/residues.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

// The atom that stands where a site is, if it is shown.
const AtomRecord* Shown(const AtomList& atoms, const GeometrySite& site) {
  const AtomRecord* found = site.atom;
  if (site.symmetryCode != GeometrySite::kIdentityCode) {
    found = nullptr;
    for (const AtomRecord* atom : Atoms(atoms))
      if (atom->sourceSerial == site.atom->serial && atom->symmetryCode == site.symmetryCode) found = atom;
  }
  return found && atoms.Passes(found, kVisibleOnly) ? found : nullptr;
}

void AddMeasures(const Workbench& bench, FigureMarks& marks) {
  for (const Measure& measure : MeasuresOf(bench)) {
    FigureMarks::Measure mark{{}, measure.Text()};
    for (const GeometrySite& site : measure.sites)
      if (const AtomRecord* atom = Shown(bench.document.atoms, site)) mark.places.push_back({atom->position, atom});
    if (mark.places.size() == measure.sites.size()) marks.measures.push_back(std::move(mark));
  }
}

// Planes, centroids and what is measured between them.
void AddGroups(const Workbench& bench, FigureMarks& marks) {
  const Document& document = bench.document;
  for (const GroupMeasure& measure : GroupMeasuresOf(bench)) {
    FigureMarks own;
    FigureMarks::Measure between{{}, measure.text};
    for (const MeasuredGroup& group : measure.groups) {
      std::vector<Cartesian> places;
      FigureMarks::Place middle;
      for (const GeometrySite& site : group.sites) {
        middle.atom = Shown(document.atoms, site);
        if (!middle.atom) break;
        places.push_back(document.matrix * site.fract);
        middle.at += places.back() / static_cast<double>(group.sites.size());
      }
      if (places.size() != group.sites.size()) break;
      if (group.kind != MeasuredGroup::Place) {
        middle.atom = nullptr;
        own.centroids.push_back(middle.at);
      }
      if (group.kind == MeasuredGroup::Plane) own.planes.push_back(PlaneOutline(places));
      if (group.kind == MeasuredGroup::Plane && measure.foot) middle.at = *measure.foot;
      between.places.push_back(middle);
    }
    if (between.places.size() != measure.groups.size()) continue;
    for (const Cartesian& centroid : own.centroids)
      if (std::ranges::find(marks.centroids, centroid) == marks.centroids.end()) marks.centroids.push_back(centroid);
    for (const std::vector<Cartesian>& plane : own.planes)
      if (!plane.empty() && std::ranges::find(marks.planes, plane) == marks.planes.end()) marks.planes.push_back(plane);
    for (size_t i = 1; i < between.places.size(); ++i)
      marks.lines.push_back({between.places[i - 1], between.places[i]});
    if (between.places.size() > 1) marks.measures.push_back(std::move(between));
  }
}

void AddStrains(const Document& document, const std::vector<StrainedAtoms>& strains, FigureMarks& marks) {
  std::unordered_map<uint32_t, const AtomRecord*> shown;
  for (const AtomRecord* atom : Atoms(document.atoms, kVisibleOnly)) shown.emplace(atom->serial, atom);
  for (const StrainedAtoms& strained : strains) {
    FigureMarks::Strain mark{{}, strained.strain};
    for (const uint32_t serial : strained.atoms)
      if (const auto known = shown.find(serial); known != shown.end()) mark.atoms.push_back(known->second);
    if (mark.atoms.size() == strained.atoms.size()) marks.strains.push_back(std::move(mark));
  }
}

}  // namespace

std::vector<StrainedAtoms> StrainsOf(const Document& document) {
  std::string problem;
  std::unordered_map<std::string, const AtomRecord*> byName;
  for (const AtomRecord* atom : Atoms(document.atoms)) byName.emplace(QualifiedName(document, *atom), atom);
  std::vector<StrainedAtoms> strains;
  for (const RestraintLine& line : RestraintsAsTheyAre(document, problem)) {
    StrainedAtoms strained{{}, std::fabs(line.value - line.target) / line.sigma};
    std::vector<std::string_view> names;
    SplitWords(line.atoms, names);
    bool known = true;
    for (const std::string_view name : names) {
      const auto held = byName.find(std::string(name));
      const AtomRecord* atom = held != byName.end() ? held->second : FindAtomByText(document, name);
      known = known && atom;
      if (known && std::ranges::find(strained.atoms, atom->serial) == strained.atoms.end())
        strained.atoms.push_back(atom->serial);
    }
    if (known) strains.push_back(std::move(strained));
  }
  std::ranges::stable_sort(strains, {}, &StrainedAtoms::strain);
  return strains;
}

FigureMarks MarksShown(const Workbench& bench, const std::vector<StrainedAtoms>* strains) {
  FigureMarks marks;
  if (bench.figure.measures) AddMeasures(bench, marks);
  if (bench.figure.planes) AddGroups(bench, marks);
  if (strains) AddStrains(bench.document, *strains, marks);
  return marks;
}

void AddMeasuredLines(const Document& document, const FigureMarks& marks, std::vector<DrawnContact>& contacts) {
  for (const FigureMarks::Measure& measure : marks.measures) {
    for (size_t i = 1; i < measure.places.size(); ++i) {
      const AtomRecord* from = measure.places[i - 1].atom;
      const AtomRecord* to = measure.places[i].atom;
      if (from && to && !document.atoms.FindBond(from, to)) contacts.push_back({from, to, ContactLine::Measured});
    }
  }
}

}  // namespace marvik
