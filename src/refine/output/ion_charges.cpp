#include <algorithm>
#include <optional>

#include "refine/output/cif_sections.h"

namespace marvik {
namespace {

constexpr int kHydrogen = 1, kBoron = 5, kCarbon = 6, kNitrogen = 7, kOxygen = 8, kFluorine = 9, kSilicon = 14,
              kPhosphorus = 15, kSulphur = 16, kChlorine = 17, kArsenic = 33, kSelenium = 34, kBromine = 35,
              kAntimony = 51, kIodine = 53;

// The elements around a site.
class Surroundings {
 public:
  Surroundings(const Session& s, int site) : s_(s), around_(s.bonds[static_cast<size_t>(site)]) {}

  size_t Count() const { return around_.size(); }
  size_t Count(int element) const {
    return static_cast<size_t>(
        std::ranges::count_if(around_, [&](const Neighbour& n) { return ElementAt(s_, n.site) == element; }));
  }
  // Of an element with no other neighbour, in increasing order of distance.
  std::vector<double> Ends(int element) const {
    std::vector<double> ends;
    for (const Neighbour& n : around_)
      if (ElementAt(s_, n.site) == element && s_.bonds[static_cast<size_t>(n.site)].size() == 1)
        ends.push_back(n.distance);
    std::ranges::sort(ends);
    return ends;
  }
  double Longest() const {
    double longest = 0.0;
    for (const Neighbour& n : around_) longest = std::max(longest, n.distance);
    return longest;
  }
  bool AllHave(size_t neighbours) const {
    return std::ranges::all_of(
        around_, [&](const Neighbour& n) { return s_.bonds[static_cast<size_t>(n.site)].size() == neighbours; });
  }
  bool AreAll(std::initializer_list<int> elements) const {
    size_t count = 0;
    for (const int element : elements) count += Count(element);
    return count == Count();
  }

  static int ElementAt(const Session& s, int site) {
    const Site& at = s.structure.sites[static_cast<size_t>(site)];
    const int row = s.structure.scatterers[static_cast<size_t>(at.scatterer)].row;
    return IsHydrogenRow(row) ? kHydrogen : row;
  }

 private:
  const Session& s_;
  const std::vector<Neighbour>& around_;
};

using Charge = std::optional<int>;

Charge OfCarbon(const Surroundings& a) {
  const auto oxygens = a.Ends(kOxygen);
  // A carboxylate has two bonds of 1.25 Å, an acid one of 1.21 and one of 1.31 Å, whose hydrogen is missing here.
  if (oxygens.size() == 2) return oxygens[0] > 1.22 && oxygens[1] < 1.29 ? Charge(-1) : std::nullopt;
  if (oxygens.size() == 1 && oxygens[0] > 1.29) return std::nullopt;
  const auto sulphurs = a.Ends(kSulphur);
  if (a.Count() == 2 && a.Count(kNitrogen) == 1 && sulphurs.size() == 1) return a.Ends(kNitrogen).size() == 1 ? -1 : 0;
  if (!sulphurs.empty() && sulphurs.back() > 1.70) return std::nullopt;
  // Guanidinium: the neutral molecule has a nitrogen with two neighbours.
  if (a.Count(kNitrogen) == 3) return a.AllHave(3) && a.Longest() < 1.37 ? Charge(1) : std::nullopt;
  return a.Count() >= 2 && a.Count() <= 4 ? Charge(0) : std::nullopt;
}

Charge OfNitrogen(const Surroundings& a) {
  if (a.Count() == 4) return 1;
  if (a.Ends(kOxygen).size() == 3) return -1;
  // With a hydrogen and two short bonds it may stand in a pyridinium or in a pyrrole.
  if (a.Count() == 3 && a.Count(kHydrogen) == 1 && a.Longest() < 1.36) return std::nullopt;
  if (a.Count() == 2 && a.Ends(kNitrogen).size() == 2) return -1;
  return a.Count() >= 1 && a.Count() <= 3 ? Charge(0) : std::nullopt;
}

// One oxygen of a phosphorus and two of a sulphur are bonded twice; each of the others that ends there is charged.
Charge OfOxoAcid(const Surroundings& a, size_t doubles) {
  const size_t ends = a.Ends(kOxygen).size() + a.Ends(kSulphur).size();
  return ends > doubles ? -static_cast<int>(ends - doubles) : 0;
}

Charge ChargeAt(const Session& s, int site) {
  const Surroundings a(s, site);
  const size_t n = a.Count();
  switch (Surroundings::ElementAt(s, site)) {
    case kHydrogen:
      return n == 1 ? Charge(0) : std::nullopt;
    case kBoron:
      return n == 4 ? Charge(-1) : n == 3 ? Charge(0) : std::nullopt;
    case kCarbon:
      return OfCarbon(a);
    case kNitrogen:
      return OfNitrogen(a);
    case kOxygen:
      if (n == 3 && a.Count(kHydrogen) == 3) return 1;
      if (n == 1 && a.Count(kHydrogen) == 1) return -1;
      return n == 1 || n == 2 ? Charge(0) : std::nullopt;
    case kFluorine:
    case kChlorine:
    case kBromine:
    case kIodine:
      if (n == 0) return -1;
      if (n >= 3 && a.Ends(kOxygen).size() == n) return -1;
      if (n == 2 && a.Count(kIodine) == 2) return -1;
      return n == 1 ? Charge(0) : std::nullopt;
    case kSilicon:
      return n == 4 ? Charge(0) : n == 6 && a.Count(kFluorine) == 6 ? Charge(-2) : std::nullopt;
    case kPhosphorus:
      if (n == 6) return a.Count(kFluorine) == 6 ? Charge(-1) : std::nullopt;
      if (n == 4 && a.AreAll({kCarbon, kHydrogen})) return 1;
      if (n == 4 && a.Count(kNitrogen) > 0) return std::nullopt;
      return n == 4 ? OfOxoAcid(a, 1) : n == 3 ? Charge(0) : std::nullopt;
    case kSulphur:
      if (n == 4) return OfOxoAcid(a, 2);
      if (n == 3) return a.AreAll({kCarbon}) ? 1 : 0;
      return n == 1 || n == 2 ? Charge(0) : std::nullopt;
    case kSelenium:
      return n == 2 ? Charge(0) : std::nullopt;
    case kArsenic:
    case kAntimony:
      return n == 6 && a.Count(kFluorine) == 6 ? Charge(-1) : std::nullopt;
    default:
      return std::nullopt;
  }
}

// Of an atom alone.
Charge OfLoneAtom(int element) {
  for (const int alkali : {3, 11, 19, 37, 55})
    if (element == alkali) return 1;
  for (const int earth : {12, 20, 38, 56})
    if (element == earth) return 2;
  return std::nullopt;
}

}  // namespace

Charge FormalCharge(const Session& s, int site) {
  const bool alone = s.bonds[static_cast<size_t>(site)].empty();
  const Charge lone = alone ? OfLoneAtom(Surroundings::ElementAt(s, site)) : std::nullopt;
  return lone ? lone : ChargeAt(s, site);
}

}  // namespace marvik
