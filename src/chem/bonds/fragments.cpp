#include "chem/bonds/fragments.h"

#include <utility>
#include <vector>

namespace marvik {

namespace {

// Disjoint sets of indices, each named by its smallest member.
class DisjointSets {
 public:
  int32_t Add() {
    above_.push_back(static_cast<int32_t>(above_.size()));
    return above_.back();
  }
  int32_t Find(int32_t i) {
    while (Above(i) != i) i = Above(i) = Above(Above(i));
    return i;
  }
  void Join(int32_t i, int32_t j) {
    i = Find(i);
    j = Find(j);
    if (i > j) std::swap(i, j);
    Above(j) = i;
  }

 private:
  int32_t& Above(int32_t i) { return above_[static_cast<size_t>(i)]; }
  std::vector<int32_t> above_;
};

}  // namespace

int NumberMolecules(Document& document) {
  DisjointSets sets;
  for (AtomRecord* atom : Atoms(document.atoms)) atom->scratch = sets.Add();
  for (AtomRecord* atom : Atoms(document.atoms))
    ForEachOwnBond(atom,
                   [&](const AtomRecord* partner, const BondRecord*) { sets.Join(atom->scratch, partner->scratch); });
  int count = 0;
  std::vector<int> numbers;
  for (AtomRecord* atom : Atoms(document.atoms)) {
    const int32_t first = sets.Find(atom->scratch);
    numbers.push_back(first == atom->scratch ? ++count : numbers[static_cast<size_t>(first)]);
    atom->moleculeNumber = numbers.back();
  }
  return count;
}

}  // namespace marvik
