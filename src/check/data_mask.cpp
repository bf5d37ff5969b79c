#include "check/data_mask.h"

#include <algorithm>

#include "base/numbers.h"
#include "base/stop.h"
#include "check/data_session.h"

namespace marvik {
namespace {

constexpr double kShortWave = 0.05;  // Å; electrons scatter at what is below
constexpr double kEmpty = 0.05;      // e/Å³; a third of what liquids have

std::string WhyNot(const Session& s) {
  if (s.observations.Components() > 1)
    return "The crystal is a twin: what belongs to the voids cannot be told from what the other components add.";
  if (s.structure.wavelength < kShortWave ||
      std::ranges::any_of(s.job.commands, [](const Instruction& c) { return c.name == "NEUT"; }))
    return "Electrons in voids are counted with X-rays only.";
  return "";
}

std::vector<std::string> VoidLines(const DataMask& data, const MaskOptions& options) {
  const SolventMask& mask = data.mask;
  std::vector<std::string> lines{
      Printf("Voids of the cell from van der Waals radii with a probe of %.2f A, widened by %.2f A, on a grid of",
             options.probe, options.shrink),
      Printf("%zu x %zu x %zu points; electrons from the density in them. R1 %.4f without and %.4f with them.",
             mask.size[0], mask.size[1], mask.size[2], data.r1Before, data.r1),
      "  void     x      y      z    volume/A^3^  electrons"};
  int number = 0;
  for (const SolventVoid& one : mask.voids)
    lines.push_back(Printf("%6d %6.3f %6.3f %6.3f %10.1f %10.1f%s", ++number, one.centre.x, one.centre.y, one.centre.z,
                           one.volume, one.electrons, one.endless ? "  runs on through the crystal" : ""));
  lines.push_back(Printf("   all                      %10.1f %10.1f", mask.volume, mask.electrons));
  return lines;
}

}  // namespace

DataMask MaskFromData(const Document& document, const std::string& hklPath, const MaskOptions& options) {
  DataMask data;
  Session s;
  data.problem = PrepareFromData(document, hklPath, s);
  if (data.problem.empty()) data.problem = WhyNot(s);
  if (!data.problem.empty()) return data;
  s.observations.added.clear();
  data.mask = FindVoids(s.structure, s.observations, options);
  if (data.mask.owner.empty()) {
    data.problem = "The cell is too large for a solvent mask.";
  } else if (data.mask.voids.empty()) {
    data.problem = Printf("There is no void of %g Å³ or more: the atoms fill the cell.", options.smallest);
  }
  if (!data.problem.empty()) return data;
  Calculated calculated;
  {
    DataPass pass(s.structure, s.observations, s.job.weights);
    MatchScale(s.structure, pass, calculated);
    if (StopWanted()) return data;
    data.r1Before = MakeResiduals(calculated, 0).r1;
  }
  FillVoids(s.structure, s.observations, s.job.weights, data.mask, calculated);
  data.r1 = MakeResiduals(calculated, 0).r1;
  data.fab = FabText(data.mask.factors, VoidLines(data, options));
  if (!data.mask.settled)
    data.notes.push_back("The electrons did not come to rest: refine with the mask and make it again.");
  if (data.mask.electrons < kEmpty * data.mask.volume)
    data.notes.push_back("There is so little density in the voids that they may be empty.");
  if (data.r1 > data.r1Before) data.notes.push_back("R1 is higher with the mask than without.");
  return data;
}

}  // namespace marvik
