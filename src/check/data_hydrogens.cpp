#include "check/data_hydrogens.h"

#include "check/data_session.h"
#include "refine/job/turn_groups.h"

namespace marvik {

std::vector<HydrogenTurn> TurnHydrogensByMap(const Document& document, const std::string& hklPath,
                                             std::string& problem) {
  Session s;
  problem = PrepareFromData(document, hklPath, s);
  if (!problem.empty()) return {};
  const auto serialOf = [&](int site) { return s.structure.sites[static_cast<size_t>(site)].atom->serial; };
  std::vector<HydrogenTurn> turns;
  for (const TurnedGroup& turned : TurnToDensity(s, TurningGroups(s))) {
    const HydrogenGroup& group = *turned.group;
    HydrogenTurn turn{serialOf(group.carrier), {}, turned.places, turned.degrees, turned.density, turned.before,
                      turned.contrast};
    for (const int h : group.hydrogens) turn.hydrogens.push_back(serialOf(h));
    // Those of an HFIX line that are yet to be made are no atoms of the document.
    if (document.atoms.FindSerial(turn.hydrogens[0])) turns.push_back(std::move(turn));
  }
  return turns;
}

}  // namespace marvik
