#include "chem/neighbours.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "cryst/cell_metric.h"

namespace marvik {

namespace {

constexpr double kSamePlace = 0.05;  // Å

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

std::vector<NeighbourImage> NeighbourSearch::FindNeighbours(const AtomRecord& atom, double tolerance) const {
  std::vector<AtomImage> images;
  images_.FindNear(atom.fract, atom.element->bondRadius + largestRadius_ + tolerance, images);
  std::vector<NeighbourImage> found;
  for (const AtomImage& image : images) {
    AtomRecord* other = atoms_[image.atom];
    if (!IsInRange(image) || image.distance < kSamePlace ||
        image.distance > atom.element->bondRadius + other->element->bondRadius + tolerance)
      continue;
    if (std::any_of(found.begin(), found.end(),
                    [&](const NeighbourImage& kept) { return Distance(kept.position, image.position) <= kSamePlace; }))
      continue;
    found.push_back({other, image.op, image.SymmetryCode(), image.fract, image.position, image.distance});
  }
  std::reverse(found.begin(), found.end());
  return found;
}

std::vector<NeighbourImage> NeighbourSearch::FindWithin(const AtomRecord& atom, double radius) const {
  std::vector<AtomImage> images;
  images_.FindNear(atom.fract, std::min(radius, reach_), images);
  std::vector<NeighbourImage> found;
  for (const AtomImage& image : images)
    if (image.distance >= kSamePlace)
      found.push_back(
          {atoms_[image.atom], image.op, image.SymmetryCode(), image.fract, image.position, image.distance});
  return found;
}

}  // namespace marvik
