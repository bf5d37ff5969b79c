#pragma once

#include <array>
#include <string>
#include <vector>

#include "crystal/cell_metric.h"
#include "edit/edit_split.h"

namespace marvik {

// Where one part of an atom stands and how it moves.
struct PartPlace {
  Fractional fract;
  std::array<double, 6> u{};
};
// Those of all parts of one atom.
using AtomParts = std::vector<PartPlace>;

// One for each atom. Empty, with a sentence, where one has no axis to be split along or would leave a special position.
// `used` gets the peaks that parts stand on.
std::vector<AtomParts> PlaceParts(const Document& document, const std::vector<AtomRecord*>& atoms,
                                  const SplitRequest& request, std::vector<AtomRecord*>& used, std::string& fault);

// The operations of the document's group that leave a place where it is, the identity among them.
std::vector<SymmetryOperator> SiteOperationsOf(const Document& document, const Metric& metric, const Fractional& x);
// A tensor in the right-handed frame, Å², in file order.
std::array<double, 6> FileTensor(const Metric& metric, const Mat3& cartesian);

}  // namespace marvik
