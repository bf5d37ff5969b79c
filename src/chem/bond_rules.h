#pragma once

#include <utility>
#include <vector>

#include "model/document.h"

namespace marvik {

// What the lines BIND and FREE of a document say of its bonds, for whoever makes bonds: the drawn ones, those across
// symmetry, those of a refinement. Good for one state of the document, which must outlive it.
class BondRules {
 public:
  using Pair = std::pair<const AtomRecord*, const AtomRecord*>;

  explicit BondRules(const Document& document);

  // Whether atoms of two parts may bond: PartsMayBond, or BIND m n makes the two parts as good as one.
  bool PartsBond(int a, int b, bool isIdentity = true) const;
  // A line FREE parts the two, as they stand in the list; it has the last word.
  bool IsFreed(const AtomRecord& a, const AtomRecord& b) const;

  // Pairs of two different atoms that bond at any distance, and those that never do, in the order of the lines.
  std::vector<Pair> Bound() const;
  std::vector<Pair> Freed() const;

 private:
  const AtomList* list_;
  std::vector<std::pair<int, int>> joined_;
};

}  // namespace marvik
