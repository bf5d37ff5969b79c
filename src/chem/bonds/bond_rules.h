#pragma once

#include <unordered_map>
#include <utility>
#include <vector>

#include "language/instruction.h"
#include "model/document.h"

namespace marvik {

// Added once to the sum of two bond radii, Å.
inline constexpr double kBondTolerance = 0.5;

// How far apart two atoms bond, Å.
inline double BondReach(const ElementInfo& a, const ElementInfo& b, double tolerance = kBondTolerance) {
  return a.bondRadius + b.bondRadius + tolerance;
}

// Stores the distance in Å; true when it is at most the reach.
bool BondCriterion(const AtomRecord& a, const AtomRecord& b, double& distance);

// Alternatives of a disordered group do not bond to each other: one of the two PART numbers is 0, or they are equal.
// Nothing of a negative part bonds to a symmetry image.
constexpr bool PartsMayBond(int a, int b, bool isIdentity = true) {
  return (a == 0 || b == 0 || a == b) && (isIdentity || (a >= 0 && b >= 0));
}

// The number of the free variable in an occupancy, negative for one that is 1 less the variable; 0 for any other.
int OccupancyVariable(const AtomRecord& atom);

// What a document says of who may bond, by its parts and the lines BIND, FREE and CONN, for whoever makes bonds: the
// drawn ones, those across symmetry, chemistry, those of a refinement. Good for one state of the document, which must
// outlive it.
class BondRules {
 public:
  using Pair = std::pair<const AtomRecord*, const AtomRecord*>;

  explicit BondRules(const Document& document);
  // The same with the lines of included files.
  BondRules(const Document& document, const std::vector<Instruction>& instructions);

  // Whether atoms of two parts may bond: PartsMayBond, or BIND m n makes the two parts as good as one.
  bool PartsBond(int a, int b, bool isIdentity = true) const;
  // Whether two atoms are never there together: their parts may not bond, or their occupancies are a free variable and
  // what it leaves of 1, which is how disorder is written without parts.
  bool AreAlternatives(const AtomRecord& a, const AtomRecord& b) const;
  // A line FREE parts the two, as they stand in the list; it has the last word.
  bool IsFreed(const AtomRecord& a, const AtomRecord& b) const;
  // Whether the two bond at that distance in Å when no line BIND names them: near enough, of parts that bond, and,
  // `isIdentity` (both as they stand in the list), not freed.
  bool Bonds(const AtomRecord& a, const AtomRecord& b, double distance, bool isIdentity) const;

  // Pairs of two different atoms that bond at any distance, and those that never do, in the order of the lines.
  std::vector<Pair> Bound() const;
  std::vector<Pair> Freed() const;

  // What CONN says of an atom: the radius in Å that stands for its element's, and how many of its nearest neighbours it
  // bonds to at most. For the tables and restraints of a refinement; drawn bonds and chemistry go by the element.
  struct Limit {
    double radius = 0.0;
    int most = kNoLimit;
  };
  static constexpr int kNoLimit = 1000;
  // `radius` is that of the element. Null for what is no atom of the document.
  Limit LimitOf(const AtomRecord* atom, double radius) const;

 private:
  void Heed(const Document& document, const std::vector<Instruction>& instructions);

  const AtomList* list_;
  std::vector<std::pair<int, int>> joined_;
  int most_ = kNoLimit;  // of atoms that no CONN names
  std::unordered_map<const AtomRecord*, Limit> limits_;
};

}  // namespace marvik
