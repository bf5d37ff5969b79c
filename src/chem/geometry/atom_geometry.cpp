#include "chem/geometry/atom_geometry.h"

#include <limits>

#include "base/numbers.h"
#include "chem/bonds/hybridization.h"
#include "chem/geometry/report_numbers.h"
#include "model/coded_values.h"
#include "model/placement.h"

namespace marvik {
namespace {

// Whether the isotropic value is a factor on the equivalent one of the atom before.
bool IsTied(const AtomRecord& atom) {
  return !atom.IsAnisotropic() && IsRidingU(atom.u[0]);
}

}  // namespace

std::vector<const AtomRecord*> BondedAtoms(const Document& document, const AtomRecord& atom) {
  std::vector<const AtomRecord*> found;
  ForEachOwnBond(&atom, [&found](const AtomRecord* partner, const BondRecord*) { found.push_back(partner); });
  for (const AtomRecord* other : Atoms(document.atoms))
    ForEachOwnBond(other, [&](const AtomRecord* partner, const BondRecord*) {
      if (partner == &atom) found.push_back(other);
    });
  return found;
}

BondPartners::BondPartners(const Document& document) {
  for (const AtomRecord* atom : Atoms(document.atoms))
    ForEachOwnBond(atom, [&](const AtomRecord* partner, const BondRecord*) { partners_[atom].push_back(partner); });
  for (const AtomRecord* atom : Atoms(document.atoms))
    ForEachOwnBond(atom, [&](const AtomRecord* partner, const BondRecord*) { partners_[partner].push_back(atom); });
}

const std::vector<const AtomRecord*>& BondPartners::Of(const AtomRecord& atom) const {
  static const std::vector<const AtomRecord*> kNone;
  const auto found = partners_.find(&atom);
  return found == partners_.end() ? kNone : found->second;
}

std::string BondsAndAnglesText(const Document& document, const AtomRecord& atom) {
  std::string text = Printf("Bonds and Angles for %s\r\n", atom.name.c_str());
  if (atom.peakHeight != 0.0) AppendPrintf(text, "Peak Height: %.2f\r\n", Shown(atom.peakHeight, 2));
  const std::vector<const AtomRecord*> neighbours = BondedAtoms(document, atom);
  if (neighbours.empty()) return text;
  for (size_t i = neighbours.size(); i-- > 0;) {
    AppendPrintf(text, "%4s\t%#5.3f", neighbours[i]->name.c_str(), Shown(Distance(atom, *neighbours[i]), 3));
    for (size_t j = neighbours.size(); --j > i;)
      AppendPrintf(text, "\t%#6.2f", Shown(Angle(atom.position, neighbours[i]->position, neighbours[j]->position), 2));
    text += "\r\n";
  }
  // As wide as the columns they stand below: the distances are those from the atom itself.
  AppendPrintf(text, "\t %4s", atom.name.c_str());
  for (size_t j = neighbours.size(); --j > 0;) AppendPrintf(text, "\t  %4s", neighbours[j]->name.c_str());
  return text + "\r\n";
}

double ListedUeq(const Document& document, const AtomRecord& atom) {
  if (atom.IsAnisotropic() || !IsTied(atom)) return PlainUeq(atom, MakeMetric(document.cell));
  for (const AtomRecord* before = atom.prev; before; before = before->prev)
    if (!IsTied(*before) && !before->IsPeak()) return -atom.u[0] * ListedUeq(document, *before);
  return std::numeric_limits<double>::quiet_NaN();
}

std::vector<double> ListedU(const Document& document, const AtomRecord& atom) {
  if (atom.IsAnisotropic()) return {atom.u.begin(), atom.u.end()};
  return {ListedUeq(document, atom)};
}

std::string AtomInformationText(const Document& document, const AtomSet& atoms) {
  std::string text = "LABEL  PEAK HEIGHT  TYPE       X          Y          Z        HYBRID   CHARGE   UEQ\r\n";
  for (const AtomRecord* atom : atoms) {
    const std::string height = atom->peakHeight != 0.0 ? Printf("%.2f", Shown(atom->peakHeight, 2)) : "---";
    AppendPrintf(text, "%-5s  %11s  %-4s%11.5f%11.5f%11.5f%11s%9d%8.5f\r\n", atom->name.c_str(), height.c_str(),
                 std::string(atom->element->Symbol()).c_str(), Shown(atom->fract.x, 5), Shown(atom->fract.y, 5),
                 Shown(atom->fract.z, 5), HybridizationName(atom->Hybridization()), static_cast<int>(atom->charge),
                 Shown(ListedUeq(document, *atom), 5));
  }
  return text;
}

}  // namespace marvik
