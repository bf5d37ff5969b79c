#include "chem/geometry/structure_geometry.h"

#include <algorithm>
#include <cmath>

#include "chem/bonds/connectivity.h"
#include "chem/bonds/crowding.h"
#include "chem/bonds/crystal_fragments.h"
#include "crystal/cell_metric.h"
#include "crystal/symmetry_codes.h"

namespace marvik {
namespace {

constexpr double kSamePlace = 0.05;  // Å

// The part of an operator that turns, as the images of the axes.
std::array<Fractional, 3> TurnedAxes(const SymmetryOperator& op) {
  const Fractional origin = op.Apply({});
  return {op.Apply({1, 0, 0}) - origin, op.Apply({0, 1, 0}) - origin, op.Apply({0, 0, 1}) - origin};
}

bool AreSame(const Fractional& a, const Fractional& b) {
  return std::fabs(a.x - b.x) + std::fabs(a.y - b.y) + std::fabs(a.z - b.z) < 1e-3;
}

bool IsListed(const AtomRecord& atom) {
  return !IsGenerated(atom) && !atom.IsPeak();
}

// Measures until there are more values than make sense.
class Gatherer {
 public:
  Gatherer(const StructureBonds& bonds, const GeometryUncertainty& uncertainty, size_t most)
      : bonds_(bonds), uncertainty_(uncertainty), most_(most) {}

  bool IsFull() const { return values.size() > most_; }

  void Add(std::vector<GeometrySite> sites) {
    std::vector<Cartesian> places;
    for (const GeometrySite& site : sites) places.push_back(bonds_.PlaceOf(site));
    const auto value = GeometryOf(places);
    if (!value || IsFull()) return;
    const auto su = uncertainty_.OfGeometry(sites);
    values.push_back({std::move(sites), *value, su});
  }

  void AddAngles(const GeometrySite& centre, const std::vector<GeometrySite>& around) {
    for (size_t i = 0; i < around.size() && !IsFull(); ++i)
      for (size_t j = 0; j < i; ++j) Add({around[j], centre, around[i]});
  }

  void AddTorsions(const GeometrySite& b, const GeometrySite& c) {
    if (IsFull()) return;
    const auto isAt = [](const GeometrySite& x, const GeometrySite& y) {
      return x.atom == y.atom && AreSame(x.fract, y.fract);
    };
    const auto begins = bonds_.NeighboursOf(b);
    const auto ends = bonds_.NeighboursOf(c);
    for (const GeometrySite& end : ends)
      for (const GeometrySite& begin : begins)
        if (!IsFull() && !isAt(begin, c) && !isAt(end, b) && !isAt(begin, end)) Add({begin, b, c, end});
  }

  std::vector<GeometryValue> values;

 private:
  const StructureBonds& bonds_;
  const GeometryUncertainty& uncertainty_;
  size_t most_;
};

// Calls for each bond of the file atoms once, with the atom that stands first in the list.
template <class Take>
void ForEachBond(const Document& document, const StructureBonds& bonds, Take take) {
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (!IsListed(*atom)) continue;
    const GeometrySite centre = bonds.SiteOf(*atom);
    const auto around = bonds.NeighboursOf(*atom);
    for (const GeometrySite& b : around) {
      if (b.atom == atom) {
        // The atom is its own partner by the inverse operation too.
        const bool isSecond = std::any_of(around.begin(), around.end(), [&](const GeometrySite& other) {
          return other.atom == atom && other.symmetryCode < b.symmetryCode &&
                 AreSame(bonds.Moved(other, b).fract, atom->fract);
        });
        if (isSecond) continue;
      } else if (bonds.OrderOf(*b.atom) < bonds.OrderOf(*atom)) {
        continue;
      }
      take(centre, b);
    }
  }
}

}  // namespace

StructureBonds::StructureBonds(const Document& document) : document_(document), search_(document, kBondTolerance) {
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    listed_[atom->serial] = {atom, listed_.size(), {}};
    if (!IsGenerated(*atom)) largestRadius_ = std::max(largestRadius_, atom->element->bondRadius);
  }
  for (const AtomRecord* atom : Atoms(document.atoms))
    ForEachOwnBond(atom, [this, atom](const AtomRecord* partner, const BondRecord*) {
      listed_[atom->serial].drawn.push_back(partner);
      listed_[partner->serial].drawn.push_back(atom);
    });
}

GeometrySite StructureBonds::SiteOf(const AtomRecord& atom) const {
  if (atom.generated != 0 && atom.symmetryCode >= 1000) {
    const auto source = listed_.find(atom.sourceSerial);
    const uint32_t op = OperatorNumberOf(atom.symmetryCode);
    if (source != listed_.end() && op < document_.symmetry.size())
      return {source->second.atom, op, atom.fract, atom.symmetryCode};
  }
  return {&atom, 0, atom.fract};
}

GeometrySite StructureBonds::Moved(const GeometrySite& site, const GeometrySite& by) const {
  if (by.IsIdentity() || by.op >= document_.symmetry.size()) return site;
  const SymmetryOperator& op = document_.symmetry[by.op];
  const Fractional shift = by.fract - op.Apply(by.atom->fract);
  GeometrySite moved{site.atom, by.op, op.Apply(site.fract) + shift, 0};
  const Fractional origin = op.Apply({});
  auto wanted = TurnedAxes(document_.symmetry[site.op]);
  for (Fractional& axis : wanted) axis = op.Apply(axis) - origin;
  for (uint32_t k = 0; k < document_.symmetry.size(); ++k) {
    const auto axes = TurnedAxes(document_.symmetry[k]);
    if (!std::equal(axes.begin(), axes.end(), wanted.begin(), AreSame)) continue;
    const Fractional rest = moved.fract - document_.symmetry[k].Apply(site.atom->fract);
    const Fractional whole{std::round(rest.x), std::round(rest.y), std::round(rest.z)};
    if (!AreSame(rest, whole)) continue;
    moved.op = k;
    moved.symmetryCode = SymmetryCodeOf(
        k, {static_cast<int32_t>(whole.x), static_cast<int32_t>(whole.y), static_cast<int32_t>(whole.z)});
    break;
  }
  return moved;
}

std::vector<GeometrySite> StructureBonds::NeighboursOf(const AtomRecord& atom) const {
  std::vector<GeometrySite> found;
  const auto listed = listed_.find(atom.serial);
  if (listed == listed_.end()) return found;
  for (const AtomRecord* partner : listed->second.drawn)
    if (!partner->IsPeak() || atom.IsPeak()) found.push_back(SiteOf(*partner));
  if (atom.IsPeak() || atom.Has(kHiddenPart) || !IsFinite(atom.fract)) return found;
  const double reach = atom.element->bondRadius + largestRadius_ + kBondTolerance;
  for (const NeighbourImage& image : search_.FindWithin(atom, reach)) {
    const AtomRecord& other = *image.atom;
    if (image.symmetryCode == GeometrySite::kIdentityCode || IsGenerated(other) || other.IsPeak() ||
        other.Has(kHiddenPart) || !search_.Rules().Bonds(atom, other, image.distance, false) ||
        (atom.IsHydrogen() && other.IsHydrogen()))
      continue;
    const auto drawn = std::ranges::find_if(
        found, [&](const GeometrySite& site) { return Distance(PlaceOf(site), image.position) < kSamePlace; });
    const GeometrySite mate{&other, image.op, image.fract, image.symmetryCode};
    if (drawn == found.end()) {
      found.push_back(mate);
    } else if (IsGenerated(*drawn->atom)) {
      *drawn = mate;  // of one whose source the file does not tell
    }
  }
  return found;
}

std::vector<GeometrySite> StructureBonds::NeighboursOf(const GeometrySite& site) const {
  std::vector<GeometrySite> found = NeighboursOf(*site.atom);
  for (GeometrySite& neighbour : found) neighbour = Moved(neighbour, site);
  return found;
}

std::vector<GeometryValue> BondsOf(const Document& document, const StructureBonds& bonds,
                                   const GeometryUncertainty& uncertainty) {
  const bool all = document.atoms.selection.Empty();
  Gatherer gathered(bonds, uncertainty, MostGeometry(document));
  ForEachBond(document, bonds, [&](const GeometrySite& a, const GeometrySite& b) {
    if (all || a.atom->Has(kSelected) || b.atom->Has(kSelected)) gathered.Add({a, b});
  });
  return std::move(gathered.values);
}

std::vector<GeometryValue> AnglesOf(const Document& document, const StructureBonds& bonds,
                                    const GeometryUncertainty& uncertainty) {
  const bool all = document.atoms.selection.Empty();
  Gatherer gathered(bonds, uncertainty, MostGeometry(document));
  for (const AtomRecord* atom : Atoms(document.atoms))
    if (IsListed(*atom) && (all || atom->Has(kSelected)) && !gathered.IsFull())
      gathered.AddAngles(bonds.SiteOf(*atom), bonds.NeighboursOf(*atom));
  return std::move(gathered.values);
}

std::vector<GeometryValue> TorsionsOf(const Document& document, const StructureBonds& bonds,
                                      const GeometryUncertainty& uncertainty) {
  const bool all = document.atoms.selection.Empty();
  Gatherer gathered(bonds, uncertainty, MostGeometry(document));
  ForEachBond(document, bonds, [&](const GeometrySite& a, const GeometrySite& b) {
    if (all || a.atom->Has(kSelected) || b.atom->Has(kSelected)) gathered.AddTorsions(a, b);
  });
  return std::move(gathered.values);
}

AtomGeometry GeometryAt(const StructureBonds& bonds, const AtomRecord& atom, const GeometryUncertainty& uncertainty) {
  constexpr size_t kMost = 1'000'000;
  Gatherer distances(bonds, uncertainty, kMost), angles(bonds, uncertainty, kMost), torsions(bonds, uncertainty, kMost);
  const GeometrySite centre = bonds.SiteOf(atom);
  const auto around = bonds.NeighboursOf(atom);
  for (const GeometrySite& b : around) {
    distances.Add({centre, b});
    torsions.AddTorsions(centre, b);
  }
  angles.AddAngles(centre, around);
  return {std::move(distances.values), std::move(angles.values), std::move(torsions.values)};
}

}  // namespace marvik
