#include "chem/bonds/connectivity.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "crystal/neighbour_grid.h"
#include "model/placement.h"

namespace marvik {

namespace {

// More bonds than any structure has, and still few enough to be held.
size_t MostBonds(size_t atoms) {
  return std::max<size_t>(4'000'000, 64 * atoms);
}

Cartesian MeanOf(const std::vector<Cartesian>& positions) {
  size_t count = 0;
  Cartesian sum;
  for (const Cartesian& p : positions) {
    if (!IsFinite(p)) continue;
    sum += p;
    ++count;
  }
  if (count == 0) return {};
  const double n = static_cast<double>(count);
  if (IsFinite(sum)) return {sum.x / n, sum.y / n, sum.z / n};
  sum = {};
  for (const Cartesian& p : positions)
    if (IsFinite(p)) sum += p * (1.0 / n);
  return sum;
}

// The atoms as Connect sees them; an atom's index is in its scratch.
struct Walk {
  std::vector<AtomRecord*> atoms;
  std::vector<Cartesian> positions;
  std::vector<double> radii;  // NaN where the part is hidden, which bonds to nothing
  std::vector<int32_t> parts;

  explicit Walk(AtomList& list) {
    const size_t count = list.RecordCount();
    atoms.reserve(count);
    positions.reserve(count);
    radii.reserve(count);
    parts.reserve(count);
    for (AtomRecord* atom : Atoms(list)) {
      atom->scratch = static_cast<int32_t>(atoms.size());
      atom->Set(kHiddenPart, list.IsPartHidden(atom->part));
      atoms.push_back(atom);
      positions.push_back(atom->position);
      parts.push_back(atom->part);
      radii.push_back(atom->Has(kHiddenPart) ? std::numeric_limits<double>::quiet_NaN() : atom->element->bondRadius);
    }
  }

  bool Holds(const AtomRecord* atom) const {
    return atom && atom->scratch >= 0 && static_cast<size_t>(atom->scratch) < atoms.size() &&
           atoms[static_cast<size_t>(atom->scratch)] == atom;
  }

  // The pairs as ordered indices, each once.
  std::vector<IndexPair> Indexed(const std::vector<BondRules::Pair>& pairs) const {
    std::vector<IndexPair> indexed;
    for (const auto& [a, b] : pairs) {
      if (!Holds(a) || !Holds(b)) continue;
      const auto [low, high] = std::minmax(a->scratch, b->scratch);
      indexed.push_back({static_cast<uint32_t>(low), static_cast<uint32_t>(high)});
    }
    std::sort(indexed.begin(), indexed.end());
    indexed.erase(std::unique(indexed.begin(), indexed.end()), indexed.end());
    return indexed;
  }

  bool MayBond(uint32_t i) const { return IsFinite(atoms[i]->position) && !atoms[i]->Has(kHiddenPart); }
};

// In the order of the double loop, with positions and radii used up; nothing when there are too many to be true.
std::optional<std::vector<IndexPair>> BondedPairs(const BondRules& rules, Walk& walk) {
  auto pairs =
      ClosePairs(std::move(walk.positions), std::move(walk.radii), kBondTolerance, MostBonds(walk.atoms.size()));
  if (!pairs) return std::nullopt;
  std::erase_if(*pairs, [&](const IndexPair& pair) {
    // What is whole bonds to every part, and stands for its images, too, where it lies on a symmetry element.
    const int a = walk.parts[pair.first], b = walk.parts[pair.second];
    if (a == 0 || b == 0) return false;
    const bool isIdentity = walk.atoms[pair.first]->symmetryCode == walk.atoms[pair.second]->symmetryCode;
    return !rules.PartsBond(a, b, isIdentity);
  });
  std::vector<IndexPair> bound = walk.Indexed(rules.Bound());
  std::erase_if(bound, [&](const IndexPair& pair) { return !walk.MayBond(pair.first) || !walk.MayBond(pair.second); });
  if (!bound.empty()) {
    std::vector<IndexPair> both;
    std::set_union(pairs->begin(), pairs->end(), bound.begin(), bound.end(), std::back_inserter(both));
    pairs->swap(both);
  }
  const std::vector<IndexPair> freed = walk.Indexed(rules.Freed());
  if (!freed.empty()) {
    std::vector<IndexPair> rest;
    std::set_difference(pairs->begin(), pairs->end(), freed.begin(), freed.end(), std::back_inserter(rest));
    pairs->swap(rest);
  }
  return pairs;
}

void ReportNoMemory(UserMessages& messages) {
  messages.Show({MessageIcon::Error, "", "Not enough memory for new bond."});
  messages.RequestQuit();
}

// Whether connectivity joins the two when neither list names them.
bool BondsByItself(const BondRules& rules, const AtomRecord& a, const AtomRecord& b) {
  double distance = 0.0;
  return rules.PartsBond(a.part, b.part) && BondCriterion(a, b, distance);
}

}  // namespace

void Connect(Document& document, UserMessages& messages) {
  AtomList& list = document.atoms;
  list.RemoveAllBonds();
  document.MoleculeCentre = {};
  try {
    Walk walk(list);
    document.MoleculeCentre = MeanOf(walk.positions);
    const auto pairs = BondedPairs(BondRules(document), walk);
    if (!pairs) {
      messages.Show({MessageIcon::Warning, "Error: Atoms Too Close",
                     "More than " + std::to_string(MostBonds(walk.atoms.size())) +
                         " pairs of atoms stand within bonding distance: no bonds are drawn."});
      return;
    }
    for (const IndexPair& pair : *pairs)
      if (!list.PushBond(walk.atoms[pair.first], walk.atoms[pair.second], messages)) return;
  } catch (const std::bad_alloc&) {
    ReportNoMemory(messages);
  }
}

bool BindAtoms(Document& document, BindMode mode, AtomRecord* a, AtomRecord* b, UserMessages& messages) {
  AtomList& list = document.atoms;
  if (!b || (mode == BindMode::Pair ? !a : list.selection.Empty())) return false;
  const BondRules rules(document);
  const auto bind = [&](AtomRecord* atom) {
    if (atom == b) return;
    while (list.freePairs.Remove(atom, b)) {
    }
    if (!BondsByItself(rules, *atom, *b) && list.bindPairs.IndexOf(atom, b) < 0) list.bindPairs.Append(atom, b);
  };
  if (mode == BindMode::Pair) {
    bind(a);
  } else {
    for (AtomRecord* atom : list.selection) bind(atom);
  }
  Connect(document, messages);
  return true;
}

bool FreeAtoms(Document& document, AtomRecord* a, AtomRecord* b, UserMessages& messages) {
  if (!a || !b) return false;
  AtomList& list = document.atoms;
  while (list.bindPairs.Remove(a, b)) {
  }
  const bool added = a != b && BondsByItself(BondRules(document), *a, *b) && list.freePairs.IndexOf(a, b) < 0;
  if (added) list.freePairs.Append(a, b);
  Connect(document, messages);
  return added;
}

}  // namespace marvik
