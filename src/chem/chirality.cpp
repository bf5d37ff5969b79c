#include "chem/chirality.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>

#include "chem/crystal_fragments.h"
#include "chem/hybridization.h"
#include "crystal/cell_metric.h"

namespace marvik {
namespace {

constexpr int kCarbon = 6, kNitrogen = 7, kOxygen = 8, kSilicon = 14, kPhosphorus = 15, kSulphur = 16;
constexpr int kSpheres = 14;
constexpr size_t kMostNodes = 30000;
constexpr double kLongest = 1.85;  // Å, of a bond between carbon, nitrogen and oxygen; across a small ring it is none
constexpr double kFlat = 0.2;      // Å: an atom nearer to the plane of three neighbours has no fourth

int NumberOf(const AtomRecord& atom) {
  return ChemicalNumber(atom);
}

// What an atom is bonded to, within one alternative of a disorder.
class BondGraph {
 public:
  BondGraph(const Document& document, const StructureBonds& bonds, const Metric& metric, int part)
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

  bool InPart(const AtomRecord& atom) const { return atom.part == 0 || std::abs(atom.part) == part_; }
  const std::vector<const AtomRecord*>& All() const { return atoms_; }
  std::vector<GeometrySite> Around(const GeometrySite& site) const {
    return site.IsIdentity() ? around_.at(site.atom->serial) : Kept(site, bonds_.NeighboursOf(site));
  }
  // How many duplicates the k-th neighbour counts for, and those of no neighbour in particular.
  int Duplicates(const AtomRecord& atom, size_t k) const {
    const auto& extra = extra_.at(atom.serial);
    return k < extra.size() ? extra[k] : 0;
  }
  int Floating(const AtomRecord& atom) const { return NumberOf(atom) == kCarbon ? missing_.at(atom.serial) : 0; }
  Cartesian PlaceOf(const GeometrySite& site) const { return metric_.ToCartesian(site.fract); }
  GeometrySite SiteOf(const AtomRecord& atom) const { return bonds_.SiteOf(atom); }

 private:
  std::vector<GeometrySite> Kept(const GeometrySite& centre, std::vector<GeometrySite> sites) const {
    const auto isLight = [](const AtomRecord& a) { return NumberOf(a) >= kCarbon && NumberOf(a) <= kOxygen; };
    std::erase_if(sites, [&](const GeometrySite& site) {
      const bool across =
          isLight(*centre.atom) && isLight(*site.atom) && Length(PlaceOf(site) - PlaceOf(centre)) > kLongest;
      return across || site.atom->IsPeak() || !InPart(*site.atom);
    });
    return sites;
  }

  double Shortest(const AtomRecord& atom) const {
    double shortest = 9.0;
    for (const GeometrySite& site : around_.at(atom.serial))
      if (!site.atom->IsHydrogen()) shortest = std::min(shortest, Length(PlaceOf(site) - PlaceOf(SiteOf(atom))));
    return shortest;
  }

  // Bonds that the neighbours leave to be multiple; an atom whose hydrogens are not in the list has long bonds.
  int MissingOf(const AtomRecord& atom) const {
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

  // The shortest first, each atom as often as it misses one.
  void PlaceMultipleBonds() {
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
        if (missing_[bond.atom->serial] < 1 || !missing_.contains(other->serial) || missing_[other->serial] < 1)
          continue;
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

  std::optional<size_t> BackOf(const AtomRecord& atom, const AtomRecord& other, double length) const {
    const auto& around = around_.at(other.serial);
    for (size_t k = 0; k < around.size(); ++k)
      if (around[k].atom == &atom && std::fabs(Length(PlaceOf(around[k]) - PlaceOf(SiteOf(other))) - length) < 1e-4)
        return k;
    return std::nullopt;
  }

  const StructureBonds& bonds_;
  const Metric& metric_;
  int part_;
  std::vector<const AtomRecord*> atoms_;
  std::map<uint32_t, std::vector<GeometrySite>> around_;
  std::map<uint32_t, std::vector<int>> extra_;
  std::map<uint32_t, int> missing_;
};

bool IsSamePlace(const GeometrySite& a, const GeometrySite& b) {
  const Fractional d = a.fract - b.fract;
  return a.atom == b.atom && std::fabs(d.x) + std::fabs(d.y) + std::fabs(d.z) < 1e-4;
}

// The digraph of a centre, grown as deep as it has to be.
class Digraph {
 public:
  Digraph(const BondGraph& graph, const GeometrySite& centre) : graph_(graph) {
    nodes_.push_back({centre, -1, NumberOf(*centre.atom), false, {}, false});
  }
  const std::vector<int>& Branches() {
    Grow(0);
    return nodes_[0].children;
  }
  const GeometrySite& SiteOf(int node) const { return nodes_[static_cast<size_t>(node)].site; }
  bool IsDuplicate(int node) const { return nodes_[static_cast<size_t>(node)].isDuplicate; }

  // > 0 where branch a ranks above b, 0 where rules 1 and 2 do not part them. `sure` is cleared where that is only
  // because it was not followed to the end.
  int Compare(int a, int b, bool& sure) {
    for (const bool byMass : {false, true}) {
      bool whole = false;
      for (int depth = 1; depth <= kSpheres && !whole && nodes_.size() < kMostNodes; ++depth) {
        whole = true;
        const auto left = Spheres(a, depth, byMass, whole), right = Spheres(b, depth, byMass, whole);
        if (left != right) return left > right ? 1 : -1;
      }
      sure = sure && whole;
    }
    return 0;
  }
  // Whether one of these atoms stands in a branch that was followed.
  bool Holds(int branch, const std::vector<const AtomRecord*>& atoms) const {
    const Node& node = nodes_[static_cast<size_t>(branch)];
    if (!node.isDuplicate && std::ranges::find(atoms, node.site.atom) != atoms.end()) return true;
    return std::ranges::any_of(node.children, [&](int child) { return Holds(child, atoms); });
  }

 private:
  struct Node {
    GeometrySite site;
    int parent;
    int number;
    bool isDuplicate;
    std::vector<int> children;
    bool isGrown;
  };
  using Levels = std::vector<std::vector<int>>;

  void Add(int parent, const GeometrySite& site, int number, bool isDuplicate) {
    nodes_[static_cast<size_t>(parent)].children.push_back(static_cast<int>(nodes_.size()));
    nodes_.push_back({site, parent, number, isDuplicate, {}, isDuplicate});
  }

  void Grow(int at) {
    if (nodes_[static_cast<size_t>(at)].isGrown) return;
    nodes_[static_cast<size_t>(at)].isGrown = true;
    const GeometrySite site = nodes_[static_cast<size_t>(at)].site;
    const int parent = nodes_[static_cast<size_t>(at)].parent;
    const auto around = graph_.Around(site);
    for (size_t k = 0; k < around.size(); ++k) {
      const int number = NumberOf(*around[k].atom);
      const bool isParent = parent >= 0 && IsSamePlace(around[k], nodes_[static_cast<size_t>(parent)].site);
      if (!isParent) Add(at, around[k], number, IsAbove(at, around[k]));
      for (int n = 0; n < graph_.Duplicates(*site.atom, k); ++n) Add(at, around[k], number, true);
    }
    for (int n = 0; n < graph_.Floating(*site.atom); ++n) Add(at, site, kCarbon, true);
  }

  bool IsAbove(int at, const GeometrySite& site) const {
    for (; at >= 0; at = nodes_[static_cast<size_t>(at)].parent)
      if (IsSamePlace(nodes_[static_cast<size_t>(at)].site, site)) return true;
    return false;
  }

  // Sphere by sphere the sets of ligands in the order of what they hang on, each with a 0 at its end.
  Levels Spheres(int at, int depth, bool byMass, bool& whole) {
    const auto& node = nodes_[static_cast<size_t>(at)];
    const bool heavy = byMass && node.site.atom->element->atomicNumber != node.number;
    Levels levels{{node.isDuplicate && byMass ? 0 : 2 * node.number + heavy}};
    if (node.isDuplicate && depth > 0) levels.push_back({0});
    if (node.isDuplicate) return levels;
    if (depth == 0) {
      whole = whole && NumberOf(*node.site.atom) == 1;
      return levels;
    }
    Grow(at);
    std::vector<Levels> below;
    const std::vector<int> children = nodes_[static_cast<size_t>(at)].children;
    for (const int child : children) below.push_back(Spheres(child, depth - 1, byMass, whole));
    std::ranges::sort(below, std::greater());
    levels.resize(static_cast<size_t>(depth) + 1);
    for (const Levels& branch : below)
      for (size_t i = 0; i < branch.size(); ++i)
        levels[i + 1].insert(levels[i + 1].end(), branch[i].begin(), branch[i].end());
    levels[1].push_back(0);
    return levels;
  }

  const BondGraph& graph_;
  std::vector<Node> nodes_;
};

struct Judged {
  StereoCentre centre;
  std::vector<std::vector<const AtomRecord*>> tied;  // atoms of branches that are alike
  bool sure = true;
};

bool MayBeCentre(const AtomRecord& atom, const std::vector<GeometrySite>& around, const BondGraph& graph) {
  const auto hydrogens =
      std::ranges::count_if(around, [](const GeometrySite& s) { return s.atom->element->atomicNumber == 1; });
  const auto count = around.size();
  const int number = NumberOf(atom);
  const auto isCarbon = [](const GeometrySite& s) { return NumberOf(*s.atom) == kCarbon; };
  if (hydrogens > 1 || (number != kCarbon && std::ranges::none_of(around, isCarbon))) return false;
  if (count == 4)
    return number == kCarbon || number == kSilicon || number == kNitrogen || number == kPhosphorus ||
           number == kSulphur;
  // Nitrogen with a lone pair turns over.
  if (count != 3 || hydrogens > 0 || (number != kCarbon && number != kPhosphorus && number != kSulphur)) return false;
  return std::fabs(PlaneDeviation(graph.PlaceOf(graph.SiteOf(atom)), graph.PlaceOf(around[0]), graph.PlaceOf(around[1]),
                                  graph.PlaceOf(around[2]))) >= kFlat;
}

// Clockwise from the first to the third, seen with the last behind, is R.
char HandOf(const BondGraph& graph, const AtomRecord& atom, const std::vector<GeometrySite>& ranked) {
  const Cartesian centre = graph.PlaceOf(graph.SiteOf(atom));
  const Cartesian a = graph.PlaceOf(ranked[0]) - centre, b = graph.PlaceOf(ranked[1]) - centre,
                  c = graph.PlaceOf(ranked[2]) - centre;
  return Dot(a, Cross(b, c)) < 0.0 ? 'R' : 'S';
}

void CollectAtoms(const Digraph& digraph, int branch, const BondGraph& graph, std::vector<const AtomRecord*>& atoms) {
  for (const AtomRecord* atom : graph.All())
    if (digraph.Holds(branch, {atom})) atoms.push_back(atom);
}

std::optional<Judged> Judge(const BondGraph& graph, const AtomRecord& atom) {
  const GeometrySite site = graph.SiteOf(atom);
  if (!MayBeCentre(atom, graph.Around(site), graph)) return std::nullopt;
  Digraph digraph(graph, site);
  std::vector<int> branches;
  for (const int branch : digraph.Branches())
    if (!digraph.IsDuplicate(branch)) branches.push_back(branch);
  Judged judged;
  judged.centre.atom = &atom;
  for (size_t i = 0; i < branches.size(); ++i)
    for (size_t j = i; j > 0 && digraph.Compare(branches[j], branches[j - 1], judged.sure) > 0; --j)
      std::swap(branches[j], branches[j - 1]);
  judged.sure = true;
  for (size_t i = 0; i + 1 < branches.size(); ++i) {
    if (digraph.Compare(branches[i], branches[i + 1], judged.sure) != 0) continue;
    CollectAtoms(digraph, branches[i], graph, judged.tied.emplace_back());
  }
  std::vector<GeometrySite> ranked;
  for (const int branch : branches) {
    ranked.push_back(digraph.SiteOf(branch));
    judged.centre.ranked.push_back(ranked.back().atom);
  }
  if (judged.tied.empty()) judged.centre.label = HandOf(graph, atom, ranked);
  return judged;
}

}  // namespace

std::vector<StereoCentre> FindStereoCentres(const Document& document) {
  std::vector<StereoCentre> found;
  if (!IsPossible(document.cell)) return found;
  const Metric metric = MakeMetric(document.cell);
  const StructureBonds bonds(document);
  std::vector<int> parts{1};
  for (const AtomRecord* atom : Atoms(document.atoms))
    if (std::ranges::find(parts, std::abs(atom->part)) == parts.end() && atom->part != 0)
      parts.push_back(std::abs(atom->part));
  for (const int part : parts) {
    const BondGraph graph(document, bonds, metric, part);
    std::vector<Judged> judged;
    std::vector<const AtomRecord*> labelled;
    for (const AtomRecord* atom : graph.All()) {
      const auto around = graph.Around(graph.SiteOf(*atom));
      const auto inPart = [&](const GeometrySite& s) { return s.atom->part != 0; };
      const bool concerned = atom->part != 0 || std::ranges::any_of(around, inPart);
      if (part != parts[0] && !concerned) continue;
      auto one = Judge(graph, *atom);
      if (!one) continue;
      one->centre.part = concerned ? part : 0;
      if (one->tied.empty()) labelled.push_back(atom);
      judged.push_back(std::move(*one));
    }
    for (Judged& one : judged) {
      // Ligands that are alike in all that was looked at make no centre, unless they hold centres of their own.
      const bool open = !one.sure || std::ranges::any_of(one.tied, [&](const auto& atoms) {
        return std::ranges::any_of(labelled, [&](const AtomRecord* a) { return std::ranges::count(atoms, a) > 0; });
      });
      if (one.tied.empty() || open) found.push_back(std::move(one.centre));
    }
  }
  return found;
}

std::string ChiralitySentence(const std::vector<StereoCentre>& centres) {
  std::string text;
  for (const char label : {'R', 'S'}) {
    std::string atoms;
    for (const StereoCentre& centre : centres)
      if (centre.label == label && centre.part <= 1) atoms += (atoms.empty() ? "" : ", ") + centre.atom->name;
    if (!atoms.empty()) text += (text.empty() ? "" : "; ") + std::string(1, label) + " at " + atoms;
  }
  return text;
}

}  // namespace marvik
