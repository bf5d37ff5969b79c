#include "chem/neighbours.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "cryst/cell_metric.h"
#include "cryst/connectivity.h"

namespace marvik {

namespace {

constexpr double kSamePlace = 0.05;  // Å
constexpr int32_t kIdentityCode = 1555;
// Two bonds of one atom are farther apart than this; alternatives of one bond, a rotor turned by 60° included, are not.
constexpr double kAlternativeAngle = 75.0;  // degrees

std::vector<AtomRecord*> AllAtoms(const Document& document) {
  std::vector<AtomRecord*> atoms;
  for (AtomRecord* atom : Atoms(document.atoms)) atoms.push_back(atom);
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
  return {places, document.symmetry, document.cell, document.matrix, reach};
}

bool IsInRange(const AtomImage& image) {
  return std::all_of(image.t.begin(), image.t.end(), [](int32_t t) { return t >= -1 && t <= 2; });
}

}  // namespace

NeighbourSearch::NeighbourSearch(const Document& document, double tolerance)
    : atoms_(AllAtoms(document)),
      largestRadius_(LargestRadius(atoms_)),
      reach_(2.0 * largestRadius_ + tolerance),
      images_(SearchOf(document, atoms_, reach_)) {}

std::vector<NeighbourImage> NeighbourSearch::FindNeighboursAt(const Fractional& place, double bondRadius,
                                                              double tolerance) const {
  std::vector<AtomImage> images;
  images_.FindNear(place, bondRadius + largestRadius_ + tolerance, images);
  std::vector<NeighbourImage> found;
  for (const AtomImage& image : images) {
    AtomRecord* other = atoms_[image.atom];
    if (!IsInRange(image) || image.distance < kSamePlace ||
        image.distance > bondRadius + other->element->bondRadius + tolerance)
      continue;
    if (std::any_of(found.begin(), found.end(),
                    [&](const NeighbourImage& kept) { return Distance(kept.position, image.position) <= kSamePlace; }))
      continue;
    found.push_back({other, image.op, image.SymmetryCode(), image.fract, image.position, image.distance});
  }
  std::reverse(found.begin(), found.end());
  return found;
}

std::vector<NeighbourImage> NeighbourSearch::FindBonded(const AtomRecord& atom, double tolerance) const {
  std::vector<NeighbourImage> neighbours = FindNeighbours(atom, tolerance);
  KeepOneAlternative(atom, neighbours);
  return neighbours;
}

std::vector<NeighbourImage> NeighbourSearch::FindWithin(const AtomRecord& atom, double radius) const {
  std::vector<AtomImage> images;
  images_.FindNear(atom.fract, std::min(radius, reach_), images);
  const auto source = [](const AtomRecord& a) { return a.sourceSerial ? a.sourceSerial : a.serial; };
  std::vector<NeighbourImage> found;
  for (const AtomImage& image : images) {
    AtomRecord* other = atoms_[image.atom];
    if (image.distance < kSamePlace) continue;
    if (std::any_of(found.begin(), found.end(), [&](const NeighbourImage& kept) {
          return source(*kept.atom) == source(*other) && Distance(kept.position, image.position) <= kSamePlace;
        }))
      continue;
    found.push_back({other, image.op, image.SymmetryCode(), image.fract, image.position, image.distance});
  }
  return found;
}

void KeepOneAlternative(const AtomRecord& atom, std::vector<NeighbourImage>& neighbours) {
  std::erase_if(neighbours, [&](const NeighbourImage& b) {
    const bool isNegative = atom.part < 0 || b.atom->part < 0;
    return !PartsMayBond(atom.part, b.atom->part) || (isNegative && b.symmetryCode != kIdentityCode);
  });
  if (atom.part != 0) return;
  std::vector<const NeighbourImage*> byPart;
  for (const NeighbourImage& b : neighbours)
    if (b.atom->part != 0) byPart.push_back(&b);
  std::stable_sort(byPart.begin(), byPart.end(), [](const NeighbourImage* a, const NeighbourImage* b) {
    return std::abs(a->atom->part) < std::abs(b->atom->part);
  });
  std::vector<const NeighbourImage*> kept;
  std::vector<Cartesian> dropped;
  for (const NeighbourImage* b : byPart) {
    const bool isAlternative = std::any_of(kept.begin(), kept.end(), [&](const NeighbourImage* k) {
      return k->atom->part != b->atom->part && Angle(atom.position, k->position, b->position) < kAlternativeAngle;
    });
    isAlternative ? dropped.push_back(b->position) : kept.push_back(b);
  }
  std::erase_if(neighbours, [&](const NeighbourImage& b) {
    return std::find(dropped.begin(), dropped.end(), b.position) != dropped.end();
  });
}

}  // namespace marvik
