#include "chem/bonds/neighbours.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>

#include "model/placement.h"

namespace marvik {

namespace {

// Some 3 Å farther than bonds, as environments and hydrogen bonds are looked for.
constexpr size_t kMostImagesWithin = 10 * kMostBondingImages;

constexpr double kSamePlace = 0.05;  // Å
constexpr int32_t kIdentityCode = 1555;
// Two bonds of one atom are farther apart than this; alternatives of one bond, a rotor turned by 60° included, are not.
constexpr double kAlternativeAngle = 75.0;  // degrees

std::vector<AtomRecord*> AllAtoms(const Document& document, unsigned without) {
  std::vector<AtomRecord*> atoms;
  for (AtomRecord* atom : Atoms(document.atoms))
    if (!(atom->flags2 & without)) atoms.push_back(atom);
  return atoms;
}

double LargestRadius(const std::vector<AtomRecord*>& atoms) {
  double largest = 0.0;
  for (const AtomRecord* atom : atoms) largest = std::max(largest, atom->element->bondRadius);
  return largest;
}

ImageSearch SearchOf(const Document& document, const std::vector<AtomRecord*>& atoms, double reach) {
  std::vector<Fractional> places(atoms.size());
  std::transform(atoms.begin(), atoms.end(), places.begin(), [](const AtomRecord* atom) { return atom->fract; });
  return {places, document.symmetry, document.cell, reach};
}

// Of two alternatives the one of the lower rank is looked at.
int RankOf(const AtomRecord& atom) {
  return atom.part != 0 ? std::abs(atom.part) : OccupancyVariable(atom) < 0 ? 1 : 0;
}

bool IsInRange(const AtomImage& image) {
  return std::all_of(image.t.begin(), image.t.end(), [](int32_t t) { return t >= -1 && t <= 2; });
}

// Of neighbours that are alternatives of each other all but those of one part go; the part of the smaller number stays.
// That they belong to one disorder is told by a free variable that both occupancies depend on, else by nearly the same
// direction: two groups may be disordered each for itself.
void KeepOneAlternative(const BondRules& rules, const Cartesian& centre, std::vector<NeighbourImage>& neighbours) {
  std::vector<const NeighbourImage*> order;
  for (const NeighbourImage& b : neighbours) order.push_back(&b);
  std::stable_sort(order.begin(), order.end(), [](const NeighbourImage* a, const NeighbourImage* b) {
    return RankOf(*a->atom) < RankOf(*b->atom);
  });
  std::vector<const NeighbourImage*> kept;
  std::vector<Cartesian> dropped;
  for (const NeighbourImage* b : order) {
    const bool isAlternative = std::any_of(kept.begin(), kept.end(), [&](const NeighbourImage* k) {
      if (!rules.AreAlternatives(*k->atom, *b->atom)) return false;
      const int one = std::abs(OccupancyVariable(*k->atom));
      const int other = std::abs(OccupancyVariable(*b->atom));
      return one != 0 && other != 0 ? one == other : Angle(centre, k->position, b->position) < kAlternativeAngle;
    });
    isAlternative ? dropped.push_back(b->position) : kept.push_back(b);
  }
  std::erase_if(neighbours, [&](const NeighbourImage& b) {
    return std::find(dropped.begin(), dropped.end(), b.position) != dropped.end();
  });
}

}  // namespace

NeighbourSearch::NeighbourSearch(const Document& document, double tolerance, unsigned without)
    : rules_(document),
      atoms_(AllAtoms(document, without)),
      largestRadius_(LargestRadius(atoms_)),
      reach_(2.0 * largestRadius_ + tolerance),
      images_(SearchOf(document, atoms_, reach_)) {}

template <class Accept>
std::vector<NeighbourImage> NeighbourSearch::Collect(const Fractional& place, double bondRadius, double tolerance,
                                                     Accept accept) const {
  std::vector<AtomImage> images;
  images_.FindNear(place, bondRadius + largestRadius_ + tolerance, images, kMostBondingImages);
  std::vector<NeighbourImage> found;
  for (const AtomImage& image : images) {
    AtomRecord* other = atoms_[image.atom];
    if (!IsInRange(image) || image.distance < kSamePlace ||
        image.distance > bondRadius + other->element->bondRadius + tolerance || !accept(*other, image.SymmetryCode()))
      continue;
    if (std::any_of(found.begin(), found.end(),
                    [&](const NeighbourImage& kept) { return Distance(kept.position, image.position) <= kSamePlace; }))
      continue;
    found.push_back({other, image.op, image.SymmetryCode(), image.fract, image.position, image.distance});
  }
  std::reverse(found.begin(), found.end());
  return found;
}

std::vector<NeighbourImage> NeighbourSearch::FindNeighboursAt(const Fractional& place, double bondRadius,
                                                              double tolerance) const {
  return Collect(place, bondRadius, tolerance, [](const AtomRecord&, int32_t) { return true; });
}

std::vector<NeighbourImage> NeighbourSearch::FindBonded(const AtomRecord& atom) const {
  // Two alternatives may share one place, so those of the atom go before places are compared.
  auto neighbours =
      Collect(atom.fract, atom.element->bondRadius, kBondTolerance, [&](const AtomRecord& other, int32_t code) {
        const bool isSame = code == kIdentityCode;
        return !rules_.AreAlternatives(atom, other) && rules_.PartsBond(atom.part, other.part, isSame) &&
               !(isSame && rules_.IsFreed(atom, other));
      });
  for (const auto& [a, b] : rules_.Bound()) {
    AtomRecord* partner = const_cast<AtomRecord*>(a == &atom ? b : b == &atom ? a : nullptr);
    const auto isThere = [&](const NeighbourImage& n) { return n.atom == partner && n.symmetryCode == kIdentityCode; };
    if (!partner || !std::ranges::count(atoms_, partner) || std::ranges::any_of(neighbours, isThere)) continue;
    neighbours.push_back({partner, 0, kIdentityCode, partner->fract, partner->position, Distance(atom, *partner)});
  }
  KeepOneAlternative(rules_, atom.position, neighbours);
  return neighbours;
}

std::vector<NeighbourImage> NeighbourSearch::FindWithin(const AtomRecord& atom, double radius) const {
  std::vector<AtomImage> images;
  images_.FindNear(atom.fract, std::min(radius, reach_), images, kMostImagesWithin);
  const auto source = [](const AtomRecord& a) { return a.sourceSerial ? a.sourceSerial : a.serial; };
  const bool hasCopies = std::any_of(images.begin(), images.end(),
                                     [&](const AtomImage& image) { return atoms_[image.atom]->sourceSerial != 0; });
  std::vector<NeighbourImage> found;
  for (const AtomImage& image : images) {
    AtomRecord* other = atoms_[image.atom];
    if (image.distance < kSamePlace) continue;
    // Those of one atom stand behind one another, but for copies of it.
    bool isKnown = false;
    for (auto kept = found.rbegin(); kept != found.rend() && !isKnown; ++kept) {
      const bool isSame = source(*kept->atom) == source(*other);
      if (!isSame && !hasCopies) break;
      isKnown = isSame && std::fabs(kept->distance - image.distance) <= kSamePlace &&
                Distance(kept->position, image.position) <= kSamePlace;
    }
    if (isKnown) continue;
    found.push_back({other, image.op, image.SymmetryCode(), image.fract, image.position, image.distance});
  }
  return found;
}

}  // namespace marvik
