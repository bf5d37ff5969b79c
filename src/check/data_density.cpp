#include "check/data_density.h"

#include <algorithm>

#include "base/numbers.h"
#include "base/stop.h"
#include "check/data_session.h"
#include "crystal/nearest_images.h"
#include "crystal/symmetry.h"

namespace marvik {
namespace {

constexpr double kNeighbourReach = 3.5;  // Å
constexpr size_t kNeighbours = 3;
constexpr double kDoubtfulR1 = 0.3;

std::vector<std::string> NotesOn(const Session& s, const DensityMap& map, double r1) {
  std::vector<std::string> notes;
  if (s.observations.Components() > 1)
    notes.push_back("Of a twin, what the other components add is taken off as the model has it.");
  if (s.job.hkl.code != 4 && s.job.hkl.code != 3) {
    notes.push_back(Printf("Reflections of HKLF %d are not merged: equivalents count by their mean.", s.job.hkl.code));
  } else if (s.job.merge == 0) {
    notes.push_back("By MERG 0 the reflections are not merged: equivalents count by their mean.");
  }
  if (std::ranges::any_of(s.job.commands, [](const Instruction& c) { return c.name == "NEUT"; }))
    notes.push_back("These are neutrons: the map is of scattering lengths, fm/Å³, whatever is called e/Å³.");
  const CellParameters& cell = s.structure.metric.cell;
  const std::array<double, 3> edges{cell.a, cell.b, cell.c};
  for (size_t i = 0; i < 3; ++i) {
    if (edges[i] / static_cast<double>(map.size[i]) <= 1.05 * kDensityStep) continue;
    notes.push_back(
        Printf("The cell is so large that the points of the map are up to %.2f Å apart, and what is finer is left out.",
               edges[i] / static_cast<double>(map.size[i])));
    break;
  }
  if (r1 > kDoubtfulR1) notes.push_back(Printf("R1 is %.2f: are these the reflections of this structure?", r1));
  return notes;
}

}  // namespace

std::vector<DensityPeak> PeaksOf(const Session& s, const DensityMap& map, size_t count, bool holes) {
  std::vector<Fractional> places;
  for (const Site& site : s.structure.sites) places.push_back(site.x);
  const ImageSearch search(places, s.structure.group.all, s.structure.metric.cell, kNeighbourReach);
  std::vector<DensityPeak> peaks;
  for (const Peak& found : FindPeaks(s.structure, map, count, holes)) {
    DensityPeak peak{found.x, found.height, found.siteFraction, {}};
    std::vector<AtomImage> images;
    FindNearOrNearer(search, found.x, kNeighbourReach, images);
    std::ranges::stable_sort(images, {}, &AtomImage::distance);
    for (const AtomImage& image : images) {
      if (peak.nearest.size() == kNeighbours) break;
      const SymmetryOperator op = s.structure.group.all[image.op].Shifted(image.t);
      // An atom on a symmetry element is there once.
      const auto& known = peak.nearest;
      const std::string& label = s.structure.sites[image.atom].label;
      if (!known.empty() && known.back().atom == label && image.distance - known.back().distance < 1e-3) continue;
      peak.nearest.push_back({label, op == SymmetryOperator{} ? "" : OperatorText(op), image.distance});
    }
    peaks.push_back(std::move(peak));
  }
  return peaks;
}

DataDensity DensityFromData(const Document& document, const std::string& hklPath, MapKind kind, size_t count) {
  DataDensity density;
  Session s;
  density.problem = PrepareFromData(document, hklPath, s);
  if (!density.problem.empty()) return density;
  Calculated& calculated = s.result.calculated;
  DataPass pass(s.structure, s.observations, s.job.weights);
  MatchScale(s.structure, pass, calculated);
  if (StopWanted()) return density;
  density.map = std::make_shared<const DensityMap>(MapOf(s, kind, kDensityStep));
  density.reflections = s.observations.Size();
  density.r1 = MakeResiduals(calculated, 0).r1;
  density.notes = NotesOn(s, *density.map, density.r1);
  if (count == 0) return density;
  // On the grid of a refinement, so that these are its peaks.
  const DensityMap difference = MapOf(s, MapKind::Difference);
  density.peaks = PeaksOf(s, difference, count, false);
  density.holes = PeaksOf(s, difference, count, true);
  return density;
}

}  // namespace marvik
