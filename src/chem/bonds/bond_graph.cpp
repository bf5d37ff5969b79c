#include "chem/bonds/bond_graph.h"

#include <algorithm>

#include "chem/bonds/crystal_fragments.h"
#include "chem/bonds/hybridization.h"
#include "chem/hydrogens/hydrogen_geometry.h"

namespace marvik {
namespace {

constexpr int kCarbon = 6, kNitrogen = 7, kOxygen = 8, kSilicon = 14, kPhosphorus = 15, kSulphur = 16;
constexpr double kLongest = 1.85;  // Å, of a bond between carbon, nitrogen and oxygen; across a small ring it is none
constexpr double kFlat = 0.2;      // Å: an atom nearer to the plane of three neighbours has no fourth
constexpr int kRing = 7;

int NumberOf(const AtomRecord& atom) {
  return ChemicalNumber(atom);
}

// Of the first two groups: what they hold to is no ligand.
bool IsIon(const AtomRecord& atom) {
  constexpr int kIons[] = {11, 19, 20, 37, 38, 55, 56};
  return std::ranges::find(kIons, NumberOf(atom)) != std::end(kIons);
}

}  // namespace

BondGraph::BondGraph(const Document& document, const StructureBonds& bonds, const Metric& metric, int part)
    : bonds_(bonds), metric_(metric), part_(part) {
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (atom->IsPeak() || IsGenerated(*atom) || !InPart(*atom)) continue;
    around_[atom->serial] = Kept(bonds.SiteOf(*atom), bonds.NeighboursOf(*atom));
    extra_[atom->serial].assign(around_[atom->serial].size(), 0);
    missing_[atom->serial] = MissingOf(*atom);
    atoms_.push_back(atom);
  }
  PlaceMultipleBonds();
}

int BondGraph::Floating(const AtomRecord& atom) const {
  return NumberOf(atom) == kCarbon ? missing_.at(atom.serial) : 0;
}

std::vector<GeometrySite> BondGraph::Kept(const GeometrySite& centre, std::vector<GeometrySite> sites) const {
  const auto isLight = [](const AtomRecord& a) { return NumberOf(a) >= kCarbon && NumberOf(a) <= kOxygen; };
  std::erase_if(sites, [&](const GeometrySite& site) {
    const bool across =
        isLight(*centre.atom) && isLight(*site.atom) && Length(PlaceOf(site) - PlaceOf(centre)) > kLongest;
    return across || site.atom->IsPeak() || IsGenerated(*site.atom) || !InPart(*site.atom) || IsIon(*site.atom) ||
           IsIon(*centre.atom);
  });
  return sites;
}

double BondGraph::Shortest(const AtomRecord& atom) const {
  double shortest = 9.0;
  for (const GeometrySite& site : around_.at(atom.serial))
    if (!site.atom->IsHydrogen()) shortest = std::min(shortest, Length(PlaceOf(site) - PlaceOf(SiteOf(atom))));
  return shortest;
}

int BondGraph::MissingOf(const AtomRecord& atom) const {
  const auto& around = around_.at(atom.serial);
  const auto count = static_cast<int>(around.size());
  const double shortest = count > 0 ? Shortest(atom) : 9.0;
  switch (NumberOf(atom)) {
    case kCarbon: {
      if (count == 3) {
        const auto at = [&](size_t i) { return PlaceOf(around[i]); };
        return std::fabs(PlaneDeviation(PlaceOf(SiteOf(atom)), at(0), at(1), at(2))) < kFlat ? 1 : 0;
      }
      if (count == 2) return shortest < 1.25 ? 2 : shortest < 1.43 ? 1 : 0;
      return count == 1 ? (shortest < 1.25 ? 2 : shortest < 1.4 ? 1 : 0) : 0;
    }
    case kNitrogen:
      return count == 2 ? (shortest < 1.37 ? 1 : 0) : count == 1 ? (shortest < 1.2 ? 2 : shortest < 1.3 ? 1 : 0) : 0;
    case kOxygen:
      return count == 1 && shortest < 1.3 ? 1 : 0;
    case kSulphur:
      return count == 1 && shortest < 1.72 ? 1 : 0;
    default:
      return 0;
  }
}

void BondGraph::PlaceMultipleBonds() {
  struct Bond {
    double length;
    const AtomRecord* atom;
    size_t neighbour;
  };
  std::vector<Bond> open;
  for (const AtomRecord* atom : atoms_)
    for (size_t k = 0; k < around_[atom->serial].size(); ++k)
      open.push_back({Length(PlaceOf(around_[atom->serial][k]) - PlaceOf(SiteOf(*atom))), atom, k});
  std::ranges::stable_sort(open, {}, &Bond::length);
  for (int round = 0; round < 2; ++round) {
    for (const Bond& bond : open) {
      const AtomRecord* other = around_[bond.atom->serial][bond.neighbour].atom;
      if (missing_[bond.atom->serial] < 1 || !missing_.contains(other->serial) || missing_[other->serial] < 1) continue;
      const auto back = BackOf(*bond.atom, *other, bond.length);
      if (!back || (other == bond.atom && *back == bond.neighbour && missing_[other->serial] < 1)) continue;
      ++extra_[bond.atom->serial][bond.neighbour];
      --missing_[bond.atom->serial];
      if (other == bond.atom) continue;
      ++extra_[other->serial][*back];
      --missing_[other->serial];
    }
  }
}

std::optional<size_t> BondGraph::BackOf(const AtomRecord& atom, const AtomRecord& other, double length) const {
  const auto& around = around_.at(other.serial);
  for (size_t k = 0; k < around.size(); ++k)
    if (around[k].atom == &atom && std::fabs(Length(PlaceOf(around[k]) - PlaceOf(SiteOf(other))) - length) < 1e-4)
      return k;
  return std::nullopt;
}

bool BondGraph::MayBeCentre(const GeometrySite& site) const {
  const AtomRecord& atom = *site.atom;
  const std::vector<GeometrySite> around = Around(site);
  const auto hydrogens =
      std::ranges::count_if(around, [](const GeometrySite& s) { return s.atom->element->atomicNumber == 1; });
  const auto count = around.size();
  const int number = NumberOf(atom);
  const auto isCarbon = [](const GeometrySite& s) { return NumberOf(*s.atom) == kCarbon; };
  // A metal that holds a neighbour as well holds a face, and one of two metals is bridged.
  const auto metal = std::ranges::find_if(around, [](const GeometrySite& s) { return IsMetal(NumberOf(*s.atom)); });
  if (metal != around.end()) {
    const auto isShared = [&](const GeometrySite& s) {
      if (&s == &*metal) return false;
      const auto behind = Around(s);
      return IsMetal(NumberOf(*s.atom)) ||
             std::ranges::any_of(behind, [&](const GeometrySite& b) { return IsSamePlace(b, *metal); });
    };
    if (std::ranges::any_of(around, isShared)) return false;
  }
  if (hydrogens > 1 || (number != kCarbon && std::ranges::none_of(around, isCarbon))) return false;
  if (count == 4)
    return number == kCarbon || number == kSilicon || number == kNitrogen || number == kPhosphorus ||
           number == kSulphur;
  // Nitrogen with a lone pair turns over.
  if (count != 3 || hydrogens > 0 || (number != kCarbon && number != kPhosphorus && number != kSulphur)) return false;
  return std::fabs(PlaneDeviation(PlaceOf(site), PlaceOf(around[0]), PlaceOf(around[1]), PlaceOf(around[2]))) >= kFlat;
}

bool BondGraph::IsInSmallRing(const GeometrySite& a, const GeometrySite& b) const {
  std::vector<GeometrySite> seen{a, b};
  size_t from = 1;
  for (int step = 2; step < kRing; ++step) {
    const size_t to = seen.size();
    for (; from < to; ++from) {
      for (const GeometrySite& next : Around(GeometrySite(seen[from]))) {
        if (from > 1 && IsSamePlace(next, a)) return true;
        const auto same = [&](const GeometrySite& s) { return IsSamePlace(s, next); };
        if (std::ranges::none_of(seen, same)) seen.push_back(next);
      }
    }
  }
  const auto closes = [&](const GeometrySite& s) {
    return std::ranges::any_of(Around(s), [&](const GeometrySite& next) { return IsSamePlace(next, a); });
  };
  return std::any_of(seen.begin() + static_cast<std::ptrdiff_t>(from), seen.end(), closes);
}

bool IsSamePlace(const GeometrySite& a, const GeometrySite& b) {
  const Fractional d = a.fract - b.fract;
  return a.atom == b.atom && std::fabs(d.x) + std::fabs(d.y) + std::fabs(d.z) < 1e-4;
}

}  // namespace marvik
