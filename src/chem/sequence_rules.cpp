#include "chem/sequence_rules.h"

#include <algorithm>
#include <utility>

#include "chem/bonds/hybridization.h"

namespace marvik {
namespace {

constexpr int kSpheres = 14;
constexpr size_t kMostNodes = 30000;
constexpr size_t kMostLabelled = 6000;  // nodes of a tree in which labels are looked for
constexpr size_t kMostWork = 1000000;   // nodes that comparisons may come by
constexpr int kCarbon = 6, kNitrogen = 7;
constexpr char kLabels[] = "RSrsZE";

int Order(bool greater, bool less) {
  return greater ? 1 : less ? -1 : 0;
}

}  // namespace

SequenceTree::SequenceTree(const BondGraph& graph, const GeometrySite& centre) : graph_(graph) {
  nodes_.push_back({centre, -1, 0, ChemicalNumber(*centre.atom), false, -1, false, {}, false});
}

void SequenceTree::Add(int parent, const GeometrySite& site, int copied, bool isDuplicate, bool isDoubled) {
  nodes_[static_cast<size_t>(parent)].children.push_back(static_cast<int>(nodes_.size()));
  nodes_.push_back({site,
                    parent,
                    At(parent).depth + 1,
                    ChemicalNumber(*site.atom),
                    isDuplicate,
                    copied,
                    isDoubled,
                    {},
                    isDuplicate});
}

void SequenceTree::Grow(int at) {
  if (At(at).isGrown) return;
  nodes_[static_cast<size_t>(at)].isGrown = true;
  const GeometrySite site = At(at).site;
  const int parent = At(at).parent;
  const auto depthAbove = [&](const GeometrySite& other) {
    for (int up = at; up >= 0; up = At(up).parent)
      if (IsSamePlace(At(up).site, other)) return At(up).depth;
    return -1;
  };
  const auto around = graph_.Around(site);
  for (size_t k = 0; k < around.size(); ++k) {
    const int copies = graph_.Duplicates(*site.atom, k);
    const bool isParent = parent >= 0 && IsSamePlace(around[k], At(parent).site);
    if (isParent) nodes_[static_cast<size_t>(at)].isDoubled = copies == 1;
    const int above = isParent ? -1 : depthAbove(around[k]);
    if (!isParent) Add(at, around[k], above, above >= 0, copies == 1);
    for (int n = 0; n < copies; ++n) Add(at, around[k], -1, true, false);
  }
  // In a ring where bonds change places an atom is duplicated by carbon, which is its own element there.
  for (int n = 0; n < graph_.Floating(*site.atom); ++n) Add(at, site, -1, true, false);
}

// False when there are too many nodes below.
bool SequenceTree::GrowAll(int at) {
  Grow(at);
  const std::vector<int> children = At(at).children;
  if (nodes_.size() > kMostLabelled || At(at).depth > kSpheres) return false;
  return std::ranges::all_of(children, [this](int child) { return GrowAll(child); });
}

std::vector<int> SequenceTree::Neighbours(Branch branch) {
  Grow(branch.node);
  std::vector<int> all = At(branch.node).children;
  if (At(branch.node).parent >= 0) all.push_back(At(branch.node).parent);
  std::erase(all, branch.from);
  return all;
}

std::vector<int> SequenceTree::Ligands(Branch branch) {
  std::vector<int> ligands = Neighbours(branch);
  std::erase_if(ligands, [this](int node) { return At(node).isDuplicate && At(node).copied < 0; });
  return ligands;
}

// Sphere by sphere the sets of ligands in the order of what they hang on, each with a 0 at its end.
SequenceTree::Levels SequenceTree::Spheres(Branch branch, int depth, Rule rule, bool& whole) {
  const Node& node = At(branch.node);
  if (++work_ > kMostWork) sure_ = false;
  const bool heavy = rule == Rule::Masses && node.site.atom->element->atomicNumber != node.number;
  int value = 128 * node.number + heavy;
  if (rule == Rule::Copies && node.copied >= 0) value += 64 - node.copied;
  Levels levels{{node.isDuplicate && rule == Rule::Masses ? 0 : value}};
  if (node.isDuplicate && depth > 0) levels.push_back({0});
  if (node.isDuplicate) return levels;
  if (depth == 0) {
    whole = whole && node.number == 1;
    return levels;
  }
  std::vector<Levels> below;
  for (const int next : Neighbours(branch)) below.push_back(Spheres({next, branch.node}, depth - 1, rule, whole));
  std::ranges::sort(below, std::greater());
  levels.resize(static_cast<size_t>(depth) + 1);
  for (const Levels& one : below)
    for (size_t i = 0; i < one.size(); ++i) levels[i + 1].insert(levels[i + 1].end(), one[i].begin(), one[i].end());
  levels[1].push_back(0);
  return levels;
}

// > 0 where branch a ranks above b by rules 1 and 2.
int SequenceTree::ByConstitution(Branch a, Branch b) {
  for (const Rule rule : {Rule::Numbers, Rule::Copies, Rule::Masses}) {
    bool whole = false;
    for (int depth = 1; depth <= kSpheres && sure_ && !whole && nodes_.size() < kMostNodes; ++depth) {
      whole = true;
      const auto left = Spheres(a, depth, rule, whole), right = Spheres(b, depth, rule, whole);
      if (left != right) return left > right ? 1 : -1;
    }
    sure_ = sure_ && whole;
  }
  return 0;
}

bool SequenceTree::HoldsLabels(Branch branch) {
  ++work_;
  if (At(branch.node).isDuplicate) return false;
  return At(branch.node).label != 0 || std::ranges::any_of(Neighbours(branch), [&](int next) {
           return HoldsLabels({next, branch.node});
         });
}

// Labels of the nodes of each rank, the highest rank of the nearest sphere first.
std::vector<SequenceTree::Tally> SequenceTree::Tallies(Branch branch, Rule rule) {
  const Rule before = static_cast<Rule>(static_cast<int>(rule) - 1);
  std::vector<Tally> tallies;
  for (std::vector<std::vector<Branch>> sphere{{branch}}; !sphere.empty();) {
    std::vector<std::vector<Branch>> next;
    for (const std::vector<Branch>& rank : sphere) {
      Tally& tally = tallies.emplace_back();
      const size_t first = next.size();
      for (const Branch& member : rank) {
        ++work_;
        const char label = At(member.node).label;
        if (label != 0) ++tally[std::string_view(kLabels).find(label)];
        const Ranking order = Rank(member, before);
        size_t at = first;
        for (size_t i = 0; i < order.ligands.size(); ++i) {
          const Branch one{order.ligands[i], member.node};
          if (i > 0 && Compare({order.ligands[i - 1], member.node}, one, before) != 0) ++at;
          if (at >= next.size()) next.emplace_back();
          next[at].push_back(one);
        }
      }
    }
    if (work_ > kMostWork) break;
    sphere = std::move(next);
  }
  return tallies;
}

int SequenceTree::ByLabels(Branch a, Branch b, Rule rule) {
  const auto sequences = [&](const Branch& branch) {
    const std::vector<Tally> tallies = Tallies(branch, rule);
    std::vector<std::vector<std::pair<int, int>>> out(1);
    const auto write = [&](auto value) {
      for (const Tally& t : tallies) out.back().push_back(value(t));
    };
    if (rule == Rule::Bonds) write([](const Tally& t) { return std::pair(t[4], t[5]); });
    if (rule == Rule::Kinds) write([](const Tally& t) { return std::pair(t[0] + t[1], t[2] + t[3]); });
    if (rule == Rule::Pseudo) write([](const Tally& t) { return std::pair(t[2], t[3]); });
    if (rule == Rule::Hands) write([](const Tally& t) { return std::pair(t[0], t[1]); });
    if (rule != Rule::Pairs) return out;
    // Each is like or unlike the one of the highest rank; where both hands stand there, both are tried.
    const auto top = std::ranges::find_if(tallies, [](const Tally& t) { return t[0] + t[1] > 0; });
    if (top == tallies.end()) return out;
    const bool both = (*top)[0] == (*top)[1];
    const size_t reference = (*top)[1] > (*top)[0] ? 1 : 0;
    write([&](const Tally& t) { return std::pair(t[reference], 0); });
    if (both) {
      out.emplace_back();
      write([](const Tally& t) { return std::pair(t[1], 0); });
      std::ranges::sort(out, std::greater());
    }
    return out;
  };
  const auto left = sequences(a), right = sequences(b);
  if (work_ > kMostWork) sure_ = false;
  return sure_ ? Order(left > right, left < right) : 0;
}

int SequenceTree::Compare(Branch a, Branch b, Rule last, bool* isReflected) {
  const int constitution = ByConstitution(a, b);
  // What was not followed to its end may have none.
  if (constitution != 0 || last <= Rule::Masses || !sure_ || !(HoldsLabels(a) || HoldsLabels(b))) return constitution;
  for (const Rule rule : {Rule::Bonds, Rule::Kinds, Rule::Pairs, Rule::Pseudo, Rule::Hands}) {
    if (rule > last || work_ > kMostWork) break;
    const int order = ByLabels(a, b, rule);
    if (order == 0) continue;
    if (isReflected && rule == Rule::Hands) *isReflected = true;
    return order;
  }
  return 0;
}

SequenceTree::Ranking SequenceTree::Rank(Branch around, Rule last) {
  Ranking ranking;
  std::vector<int>& order = ranking.ligands;
  order = Ligands(around);
  const auto compare = [&](size_t i, size_t j, bool* isReflected = nullptr) {
    return Compare({order[i], around.node}, {order[j], around.node}, last, isReflected);
  };
  for (size_t i = 0; i < order.size(); ++i)
    for (size_t j = i; j > 0 && compare(j, j - 1) > 0; --j) std::swap(order[j], order[j - 1]);
  for (size_t i = 0; i + 1 < order.size(); ++i)
    ranking.isTied = compare(i, i + 1, &ranking.isReflected) == 0 || ranking.isTied;
  return ranking;
}

// Candidates for centres and the outer ends of double bonds, from below.
void SequenceTree::CollectUnits(int at, std::vector<int>& units) {
  for (const int child : At(at).children)
    if (!At(child).isDuplicate) CollectUnits(child, units);
  if (At(at).isDoubled || graph_.MayBeCentre(At(at).site)) units.push_back(at);
}

void SequenceTree::LabelCentre(int node) {
  const Ranking ranking = Rank({node, -1}, Rule::Hands);
  if (ranking.isTied) {
    // What lies towards the root may be told apart by labels that hang on this one.
    const auto& order = ranking.ligands;
    for (size_t i = 0; i + 1 < order.size(); ++i) {
      const bool inwards = order[i] == At(node).parent || order[i + 1] == At(node).parent;
      if (inwards && Compare({order[i], node}, {order[i + 1], node}, Rule::Hands) == 0) sure_ = false;
    }
    return;
  }
  std::vector<GeometrySite> sites;
  for (const int ligand : ranking.ligands) sites.push_back(SiteOf(ligand));
  if (sites.size() < 3) return;  // two in one place
  const char hand = HandOf(graph_, SiteOf(node), sites);
  nodes_[static_cast<size_t>(node)].label = ranking.isReflected ? static_cast<char>(hand | 0x20) : hand;
}

void SequenceTree::LabelDoubleBond(int node) {
  const int other = At(node).parent;
  const auto isEnd = [&](int end) { return At(end).number == kCarbon || At(end).number == kNitrogen; };
  if (other <= 0 || !isEnd(node) || !isEnd(other) || graph_.IsInSmallRing(SiteOf(node), SiteOf(other))) return;
  const Cartesian a = graph_.PlaceOf(SiteOf(other)), b = graph_.PlaceOf(SiteOf(node));
  const Cartesian axis = b - a;
  Cartesian sides[2];
  for (const bool second : {false, true}) {
    const int end = second ? node : other, from = second ? other : node;
    const Ranking order = Rank({end, from}, Rule::Masses);
    if (order.ligands.empty() || order.ligands.size() > 2 || order.isTied) return;
    const Cartesian out = graph_.PlaceOf(SiteOf(order.ligands[0])) - (second ? b : a);
    sides[second] = out - axis * (Dot(out, axis) / Dot(axis, axis));
  }
  const char label = Dot(sides[0], sides[1]) > 0.0 ? 'Z' : 'E';
  nodes_[static_cast<size_t>(node)].label = nodes_[static_cast<size_t>(other)].label = label;
}

SequenceTree::Ranking SequenceTree::RankLigands() {
  Ranking ranking = Rank({0, -1}, Rule::Masses);
  ranking.isSure = sure_;
  if (!ranking.isTied || !sure_) return ranking;
  // What is alike in constitution may hold units that have labels.
  std::vector<int> units;
  const auto& order = ranking.ligands;
  std::vector<bool> tied(order.size());
  for (size_t i = 0; i + 1 < order.size(); ++i)
    if (ByConstitution({order[i], 0}, {order[i + 1], 0}) == 0) tied[i] = tied[i + 1] = true;
  for (size_t i = 0; i < order.size(); ++i) {
    if (!tied[i]) continue;
    sure_ = GrowAll(order[i]) && sure_;
    CollectUnits(order[i], units);
  }
  if (units.empty() || !sure_) {
    ranking.isSure = sure_ || units.empty();
    return ranking;
  }
  std::ranges::stable_sort(units, std::greater(), [this](int node) { return At(node).depth; });
  for (const int unit : units)
    if (sure_ && At(unit).isDoubled) LabelDoubleBond(unit);
  for (const int unit : units)
    if (sure_ && At(unit).label == 0 && graph_.MayBeCentre(At(unit).site)) LabelCentre(unit);
  ranking = Rank({0, -1}, Rule::Hands);
  ranking.isSure = sure_;
  return ranking;
}

char HandOf(const BondGraph& graph, const GeometrySite& centre, const std::vector<GeometrySite>& ranked) {
  const Cartesian middle = graph.PlaceOf(centre);
  const Cartesian a = graph.PlaceOf(ranked[0]) - middle, b = graph.PlaceOf(ranked[1]) - middle,
                  c = graph.PlaceOf(ranked[2]) - middle;
  return Dot(a, Cross(b, c)) < 0.0 ? 'R' : 'S';
}

}  // namespace marvik
