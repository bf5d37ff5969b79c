#include "app/figure_marks.h"

#include <algorithm>
#include <cmath>

#include "app/measures.h"
#include "check/model_trials.h"
#include "language/atom_names.h"
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
    for (const GeometrySite& site : measure.sites) mark.atoms.push_back(Shown(bench.document.atoms, site));
    if (std::ranges::find(mark.atoms, nullptr) == mark.atoms.end()) marks.measures.push_back(std::move(mark));
  }
}

void AddStrains(const Document& document, FigureMarks& marks) {
  std::string problem;
  for (const RestraintLine& line : RestraintsAsTheyAre(document, problem)) {
    FigureMarks::Strain mark{{}, std::fabs(line.value - line.target) / line.sigma};
    std::vector<std::string_view> names;
    SplitWords(line.atoms, names);
    bool shown = true;
    for (const std::string_view name : names) {
      const AtomRecord* atom = FindAtomByText(document, name);
      shown = shown && atom && document.atoms.Passes(atom, kVisibleOnly);
      if (shown && std::ranges::find(mark.atoms, atom) == mark.atoms.end()) mark.atoms.push_back(atom);
    }
    if (shown) marks.strains.push_back(std::move(mark));
  }
  std::ranges::stable_sort(marks.strains, {}, &FigureMarks::Strain::strain);
}

}  // namespace

FigureMarks MarksShown(const Workbench& bench) {
  FigureMarks marks;
  if (bench.figure.measures) AddMeasures(bench, marks);
  if (bench.figure.restraints) AddStrains(bench.document, marks);
  return marks;
}

void AddMeasuredLines(const Document& document, const FigureMarks& marks, std::vector<DrawnContact>& contacts) {
  for (const FigureMarks::Measure& measure : marks.measures) {
    for (size_t i = 1; i < measure.atoms.size(); ++i)
      if (!document.atoms.FindBond(measure.atoms[i - 1], measure.atoms[i]))
        contacts.push_back({measure.atoms[i - 1], measure.atoms[i], ContactLine::Measured});
  }
}

}  // namespace marvik
