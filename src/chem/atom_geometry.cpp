#include "chem/atom_geometry.h"

#include "base/numbers.h"
#include "chem/hybridization.h"
#include "chem/report_numbers.h"
#include "model/placement.h"

namespace marvik {

std::vector<const AtomRecord*> BondedAtoms(const Document& document, const AtomRecord& atom) {
  std::vector<const AtomRecord*> found;
  ForEachOwnBond(&atom, [&found](const AtomRecord* partner, const BondRecord*) { found.push_back(partner); });
  for (const AtomRecord* other : Atoms(document.atoms))
    ForEachOwnBond(other, [&](const AtomRecord* partner, const BondRecord*) {
      if (partner == &atom) found.push_back(other);
    });
  return found;
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

AtomGeometry GeometryOf(const Document& document, const AtomRecord& atom, const GeometryUncertainty& uncertainty) {
  AtomGeometry geometry;
  const GeometrySite centre = uncertainty.SiteOf(atom);
  const auto neighbours = BondedAtoms(document, atom);
  for (size_t i = 0; i < neighbours.size(); ++i) {
    const GeometrySite b = uncertainty.SiteOf(*neighbours[i]);
    geometry.distances.push_back(
        {{&atom, neighbours[i]}, Distance(atom, *neighbours[i]), uncertainty.OfDistance(centre, b)});
    for (size_t j = 0; j < i; ++j)
      geometry.angles.push_back({{neighbours[j], &atom, neighbours[i]},
                                 Angle(atom.position, neighbours[j]->position, neighbours[i]->position),
                                 uncertainty.OfAngle(centre, uncertainty.SiteOf(*neighbours[j]), b)});
    for (const AtomRecord* end : BondedAtoms(document, *neighbours[i]))
      for (const AtomRecord* begin : neighbours) {
        if (begin == neighbours[i] || end == &atom || begin == end) continue;
        const auto torsion = TorsionAngle(begin->position, atom.position, neighbours[i]->position, end->position);
        if (!torsion) continue;
        const std::array sites{uncertainty.SiteOf(*begin), centre, b, uncertainty.SiteOf(*end)};
        geometry.torsions.push_back({{begin, &atom, neighbours[i], end}, *torsion, uncertainty.OfTorsion(sites)});
      }
  }
  return geometry;
}

double ListedUeq(const AtomRecord& atom) {
  return atom.IsAnisotropic() ? (atom.u[0] + atom.u[1] + atom.u[2]) / 3.0 : atom.u[0];
}

std::string AtomInformationText(const AtomSet& atoms) {
  std::string text = "LABEL  PEAK HEIGHT  TYPE       X          Y          Z        HYBRID   CHARGE   UEQ\r\n";
  for (const AtomRecord* atom : atoms) {
    AppendPrintf(text, "%4s\t", atom->name.c_str());
    if (atom->peakHeight != 0.0) {
      AppendPrintf(text, "  %7.2f\t", Shown(atom->peakHeight, 2));
    } else {
      text += "       --- \t";
    }
    AppendPrintf(text, "     %7s\t%#8.3f%#8.3f%#8.3f      %8.5s      %7d        %8.3f\r\n", atom->element->symbol,
                 Shown(atom->fract.x, 3), Shown(atom->fract.y, 3), Shown(atom->fract.z, 3),
                 HybridizationName(atom->Hybridization()), static_cast<int>(atom->charge), Shown(ListedUeq(*atom), 3));
  }
  return text;
}

}  // namespace marvik
