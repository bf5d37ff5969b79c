#include "phase/completion/added_hydrogens.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "chem/bonds/connectivity.h"
#include "chem/bonds/hybridization.h"
#include "chem/hydrogens/hfix.h"
#include "chem/hydrogens/hydrogen_geometry.h"
#include "files/res/reader.h"
#include "files/res/writer.h"
#include "phase/completion/instruction_edits.h"
#include "refine/job/prepare.h"

namespace marvik::phase {
namespace {

// Carbon, nitrogen or oxygen that a hydrogen at this place could be bonded to.
AtomRecord* CarrierOf(Document& document, const Metric& metric, const Fractional& x) {
  AtomRecord* carrier = nullptr;
  double nearest = 1.15;
  for (AtomRecord* atom : Atoms(document.atoms)) {
    const double d = std::sqrt(metric.DistanceSquared(x, atom->fract));
    if (!atom->IsHydrogen() && !atom->IsPeak() && d < nearest) nearest = d, carrier = atom;
  }
  const int z = carrier ? carrier->element->atomicNumber : 0;
  return nearest > 0.65 && z >= 6 && z <= 8 ? carrier : nullptr;
}

}  // namespace

std::string WithRidingHydrogens(const std::string& model) {
  Document document;
  RecordingMessages messages;
  if (!ReadInstructionText(document, model, messages)) return "";
  document.RecomputePositions();
  Connect(document, messages);
  if (!HybridizeAll(document, messages)) return "";
  AssignHfixCodes(document);
  std::string lines;
  for (const HfixEntry& entry : document.atoms.hfix) lines += entry.text + "\n";
  return lines.empty() ? "" : WithLines(model, "WGHT", lines);
}

std::string WithMapHydrogens(const std::string& model, const Metric& metric, const std::vector<Peak>& peaks) {
  Document document;
  RecordingMessages messages;
  if (!ReadInstructionText(document, model, messages)) return "";
  std::vector<Fractional> hydrogens;
  for (const AtomRecord* atom : Atoms(document.atoms))
    if (atom->IsHydrogen()) hydrogens.push_back(atom->fract);
  std::vector<std::pair<AtomRecord*, std::vector<const Peak*>>> found;
  for (const Peak& peak : peaks) {
    AtomRecord* carrier = CarrierOf(document, metric, peak.x);
    const bool taken = std::any_of(hydrogens.begin(), hydrogens.end(),
                                   [&](const Fractional& h) { return metric.DistanceSquared(peak.x, h) < 1.2 * 1.2; });
    if (!carrier || taken) continue;
    hydrogens.push_back(peak.x);
    auto at = std::find_if(found.begin(), found.end(), [&](const auto& f) { return f.first == carrier; });
    if (at == found.end()) at = found.insert(at, {carrier, {}});
    at->second.push_back(&peak);
  }
  const double temperature = TemperatureOf(document).value_or(20.0);
  std::string restraints;
  for (const auto& [carrier, places] : found) {
    const int z = carrier->element->atomicNumber;
    const HfixGroup& group = *FindHfixGroup((z == 8 ? kHfixBondedHydroxyl : kHfixAromatic) / 10);
    AtomRecord* place = carrier;
    while (place->next && place->next->IsHydrogen()) place = place->next;
    for (size_t i = 0; i < places.size(); ++i) {
      AtomRecord* h = AddHydrogen(document, *carrier, place, i, places.size(), messages);
      if (!h) return "";
      place = h;
      h->fract = places[i]->x;
      h->occupancy = h->codedValues[kCodedOccupancy] = 10.0 + places[i]->siteFraction;
      h->u[0] = h->codedValues[kCodedU] = group.uisoFactor;
      restraints +=
          Printf("DFIX %.2f 0.02 ", HydrogenDistance(group.m, z, temperature)) + carrier->name + " " + h->name + "\n";
    }
  }
  std::string text;
  if (found.empty() || !ComposeInstructionText(document, text, messages)) return "";
  return WithLines(text, "WGHT", restraints);
}

}  // namespace marvik::phase
