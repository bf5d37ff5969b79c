#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>

#include "base/numbers.h"
#include "language/tokenizer.h"
#include "refine/restraints/restraint_tools.h"

namespace marvik {
namespace {

// DFIX and DANG: one distance towards a target, which may be tied to a free variable. A negative target only keeps the
// atoms from coming nearer.
class FixedDistance : public Restraint {
 public:
  FixedDistance(SiteImage a, SiteImage b, double target, double sigma) : a_(a), b_(b), target_(target), sigma_(sigma) {}

  void Evaluate(const Structure& structure, std::vector<RestraintEquation>& equations) const override {
    RestraintEquation e;
    e.value = DistanceWithSlopes(structure, a_, b_, 1.0, e);
    double wanted = target_;
    const CodedParts coded = SplitCodedValue(target_);
    if (coded.variable == 1) wanted = coded.offset;
    if (coded.variable > 1 && static_cast<size_t>(coded.variable - 2) < structure.freeVariables.size()) {
      wanted = coded.factor * structure.freeVariables[static_cast<size_t>(coded.variable - 2)] + coded.offset;
      e.variables.push_back({coded.variable - 2, -coded.factor});
    }
    if (wanted < 0.0 && e.value >= -wanted) return;
    e.target = std::fabs(wanted);
    e.sigma = sigma_;
    e.atoms = {a_.site, b_.site};
    equations.push_back(std::move(e));
  }

 private:
  SiteImage a_;
  SiteImage b_;
  double target_;
  double sigma_;
};

using SitePair = std::pair<SiteImage, SiteImage>;

// The same distance whichever end comes first; symmetry images by their rotation and translation.
using DistanceKey = std::array<double, 14>;
DistanceKey KeyOf(const SitePair& pair) {
  const auto end = [](const SiteImage& i, DistanceKey& key, size_t at) {
    key[at] = i.site;
    for (size_t k = 0; i.moved && k < 3; ++k) {
      key[at + 1 + k] = 16.0 * i.operation.t[k] + 2.0;
      key[at + 4 + k] = 9.0 * i.operation.r[k][0] + 3.0 * i.operation.r[k][1] + i.operation.r[k][2];
    }
  };
  DistanceKey one{};
  DistanceKey other{};
  end(pair.first, one, 0), end(pair.second, one, 7);
  end(pair.second, other, 0), end(pair.first, other, 7);
  return std::min(one, other);
}

// SADI and SAME: n distances alike, as published refinements have it: every two of them a restraint of the weight
// (2/n)/s², which is n terms towards their mean with s/√2. The restrained S counts every two in full.
class EqualDistances : public Restraint {
 public:
  EqualDistances(std::vector<SitePair> pairs, double sigma) : pairs_(std::move(pairs)), sigma_(sigma) {}

  void Evaluate(const Structure& structure, std::vector<RestraintEquation>& equations) const override {
    const auto n = static_cast<double>(pairs_.size());
    std::vector<RestraintEquation> each(pairs_.size());
    double mean = 0.0;
    for (size_t i = 0; i < pairs_.size(); ++i) {
      each[i].value = DistanceWithSlopes(structure, pairs_[i].first, pairs_[i].second, 1.0, each[i]);
      mean += each[i].value / n;
    }
    if (pairs_.size() == 2) {
      RestraintEquation& e = each[0];
      e.target = each[1].value;
      for (RestraintEquation::Slope s : each[1].slopes) s.value = -s.value, e.slopes.push_back(s);
      e.sigma = sigma_;
      e.atoms = {pairs_[0].first.site, pairs_[0].second.site, pairs_[1].first.site, pairs_[1].second.site};
      equations.push_back(std::move(e));
      return;
    }
    // The mean moves with the distances: Σ (δdᵢ - δmean)² = Σ δdᵢ² - (Σ δdᵢ)²/n, so that one more equation takes back
    // what holds the mean.
    RestraintEquation moving;
    for (size_t i = 0; i < pairs_.size(); ++i) {
      RestraintEquation& e = each[i];
      e.target = mean;
      e.sigma = sigma_ / std::sqrt(2.0);
      e.counted = 0.5 * (n - 1.0);
      e.inFull = 0.5 * n;
      e.atoms = {pairs_[i].first.site, pairs_[i].second.site};
      moving.slopes.insert(moving.slopes.end(), e.slopes.begin(), e.slopes.end());
      equations.push_back(std::move(e));
    }
    moving.sigma = sigma_ / std::sqrt(2.0);
    moving.share = -1.0 / n;
    moving.counted = 0.0;
    equations.push_back(std::move(moving));
  }

  const std::vector<SitePair>& Pairs() const { return pairs_; }
  double Sigma() const { return sigma_; }

 private:
  std::vector<SitePair> pairs_;
  double sigma_;
};

// Pairs of a list of sites that are bonded (1) or have a common neighbour (2) by bonds within the cell as listed.
int Separation(const Structure& structure, const NeighbourTable& bonds, int a, int b) {
  int best = 0;
  for (const Neighbour& n : bonds[static_cast<size_t>(a)]) {
    if (n.site == b && IsAsListed(structure, n)) return 1;
    if (!IsAsListed(structure, n)) continue;
    for (const Neighbour& m : bonds[static_cast<size_t>(n.site)]) {
      if (m.site == b && IsAsListed(structure, m)) best = 2;
    }
  }
  return best;
}

}  // namespace

void MakeDfix(const RestraintInput& input, RestraintList& list) {
  const double sigma = NumberAt(input.command, 1, input.command.name == "DANG" ? 0.04 : 0.02);
  for (size_t i = 0; i + 1 < input.images.size(); i += 2) {
    list.push_back(std::make_unique<FixedDistance>(input.images[i], input.images[i + 1],
                                                   NumberAt(input.command, 0, 1.5), std::max(1e-4, std::fabs(sigma))));
  }
}

void MakeSadi(const RestraintInput& input, RestraintList& list) {
  std::vector<SitePair> pairs;
  std::set<DistanceKey> known;
  for (size_t i = 0; i + 1 < input.images.size(); i += 2) {
    const SitePair pair{input.images[i], input.images[i + 1]};
    if (known.insert(KeyOf(pair)).second) pairs.push_back(pair);
  }
  const double sigma = std::max(1e-4, std::fabs(NumberAt(input.command, 0, 0.02)));
  if (pairs.size() > 1) list.push_back(std::make_unique<EqualDistances>(pairs, sigma));
}

bool NamesAClass(const Instruction& command) {
  double number = 0.0;
  return !command.residue.empty() && !ParseWholeNumber(command.residue, number);
}

namespace {

// The 1,2 and 1,3 distances of lists of atoms alike, position by position; the bonds are those of the first.
void MakeAlike(const RestraintInput& input, const std::vector<std::vector<int>>& lists, RestraintList& list) {
  const double sigmas[] = {1.0, std::max(1e-4, NumberAt(input.command, 0, 0.02)),
                           std::max(1e-4, NumberAt(input.command, 1, 0.04))};
  for (size_t i = 0; i < lists[0].size(); ++i) {
    for (size_t j = i + 1; j < lists[0].size(); ++j) {
      const int separation = Separation(input.structure, input.bonds, lists[0][i], lists[0][j]);
      if (separation == 0) continue;
      std::vector<SitePair> pairs;
      std::set<DistanceKey> known;
      for (const std::vector<int>& atoms : lists) {
        const SitePair pair{PlainImage(atoms[i]), PlainImage(atoms[j])};
        if (known.insert(KeyOf(pair)).second) pairs.push_back(pair);
      }
      if (pairs.size() > 1) list.push_back(std::make_unique<EqualDistances>(pairs, sigmas[separation]));
    }
  }
}

}  // namespace

// With a residue class all its residues are like the first one, wherever the instruction stands; otherwise the atoms
// that follow the instruction are like the named ones.
void MakeSame(const RestraintInput& input, RestraintList& list) {
  if (NamesAClass(input.command)) {
    std::vector<std::pair<int, std::vector<int>>> residues;
    for (const SiteImage& image : input.images) {
      const int residue = input.structure.sites[static_cast<size_t>(image.site)].residueNumber;
      if (residues.empty() || residues.back().first != residue) residues.push_back({residue, {}});
      residues.back().second.push_back(image.site);
    }
    std::vector<std::vector<int>> lists;
    for (const auto& [residue, atoms] : residues) {
      if (atoms.size() == residues[0].second.size()) lists.push_back(atoms);
    }
    if (lists.size() > 1) MakeAlike(input, lists, list);
    return;
  }
  std::vector<int> pattern;
  for (const SiteImage& image : input.images) pattern.push_back(image.site);
  std::vector<int> followers;
  bool reached = false;
  for (size_t i = 0; i < input.structure.sites.size() && followers.size() < pattern.size(); ++i) {
    const Site& site = input.structure.sites[i];
    reached = reached || site.atom == input.command.before;
    if (reached && !site.hydrogen) followers.push_back(static_cast<int>(i));
  }
  if (input.command.before && followers.size() == pattern.size()) MakeAlike(input, {pattern, followers}, list);
}

namespace {

// Three bonds away, and not by fewer; within the cell as listed, hydrogens left out.
std::set<int> ThreeBondsFrom(const RestraintInput& input, int site) {
  std::set<int> seen{site};
  std::set<int> edge{site};
  for (int bonds = 0; bonds < 3; ++bonds) {
    std::set<int> next;
    for (const int at : edge) {
      for (const Neighbour& n : input.bonds[static_cast<size_t>(at)]) {
        if (!input.structure.sites[static_cast<size_t>(n.site)].hydrogen && IsAsListed(input.structure, n) &&
            seen.insert(n.site).second)
          next.insert(n.site);
      }
    }
    edge = std::move(next);
  }
  return edge;
}

}  // namespace

// NCSY n sd su: the 1,4 distances of the atoms and of their namesakes n residues further on are alike, and so are U of
// those that are isotropic; 0 for sd or su leaves one of both out.
void MakeNcsy(const RestraintInput& input, RestraintList& list) {
  const auto& sites = input.structure.sites;
  const int step = WholeNumber(NumberAt(input.command, 0, 0.0));
  const double sd = NumberAt(input.command, 1, 0.1), su = NumberAt(input.command, 2, 0.05);
  std::map<int, int> mates;
  for (const SiteImage& image : input.images) {
    const Site& one = sites[static_cast<size_t>(image.site)];
    const auto mate = std::ranges::find_if(sites, [&](const Site& other) {
      return other.residueNumber == one.residueNumber + step && other.part == one.part &&
             UpperCase(other.name) == UpperCase(one.name);
    });
    if (step != 0 && mate != sites.end()) mates[image.site] = static_cast<int>(mate - sites.begin());
  }
  for (const auto& [site, mate] : mates) {
    const bool anisotropic =
        sites[static_cast<size_t>(site)].anisotropic || sites[static_cast<size_t>(mate)].anisotropic;
    if (su > 0.0 && !anisotropic) list.push_back(AlikeDisplacements(site, mate, su));
    for (const int end : ThreeBondsFrom(input, site)) {
      const auto other = mates.find(end);
      if (end < site || other == mates.end() || sd <= 0.0) continue;
      const std::vector<SitePair> pairs{{PlainImage(site), PlainImage(end)},
                                        {PlainImage(mate), PlainImage(other->second)}};
      list.push_back(std::make_unique<EqualDistances>(pairs, sd));
    }
  }
}

// A set of SAME whose distances SADI makes alike already, with the same uncertainty, is one set with those of SADI.
void MergeSets(RestraintList& list) {
  std::map<DistanceKey, std::set<const Restraint*>> held;  // by the SADI sets
  for (const auto& restraint : list) {
    const auto* set = dynamic_cast<const EqualDistances*>(restraint.get());
    if (!set || !restraint->text.starts_with("SADI")) continue;
    for (const SitePair& pair : set->Pairs()) held[KeyOf(pair)].insert(set);
  }
  std::erase_if(list, [&](const std::unique_ptr<Restraint>& restraint) {
    const auto* set = dynamic_cast<const EqualDistances*>(restraint.get());
    if (!set || !restraint->text.starts_with("SAME")) return false;
    std::set<const Restraint*> common = held[KeyOf(set->Pairs()[0])];
    std::erase_if(common, [&](const Restraint* sadi) {
      return static_cast<const EqualDistances*>(sadi)->Sigma() != set->Sigma();
    });
    for (const SitePair& pair : set->Pairs())
      std::erase_if(common, [&](const Restraint* sadi) { return !held[KeyOf(pair)].contains(sadi); });
    return !common.empty();
  });
}

// Atoms other than hydrogen that are not bonded, have no common neighbour and may be there at the same time are kept
// 1.1 Å farther apart than the sum of their bond radii.
void MakeBump(const RestraintInput& input, RestraintList& list) {
  const Structure& s = input.structure;
  const double sigma = std::max(1e-4, NumberAt(input.command, 0, 0.02));
  const NeighbourTable near = ImagesWithin(s, 4.5);
  for (size_t a = 0; a < near.size(); ++a) {
    for (const Neighbour& n : near[a]) {
      const Site& other = s.sites[static_cast<size_t>(n.site)];
      if (n.site < static_cast<int>(a) || s.sites[a].hydrogen || other.hydrogen) continue;
      if (!PartsMeet(s.sites[a], other, n.IsIdentity())) continue;
      const double least = s.scatterers[static_cast<size_t>(s.sites[a].scatterer)].radius +
                           s.scatterers[static_cast<size_t>(other.scatterer)].radius + 1.1;
      const bool bonded = std::any_of(input.bonds[a].begin(), input.bonds[a].end(), [&](const Neighbour& b) {
        return b.site == n.site && b.operation == n.operation && b.cell == n.cell;
      });
      if (bonded || n.distance > least + 0.5) continue;
      // A common neighbour, whatever images are involved, shows as a short distance from one of a's neighbours.
      const Fractional place = ImagePosition(s, n);
      const bool common = std::any_of(input.bonds[a].begin(), input.bonds[a].end(), [&](const Neighbour& b) {
        const double reach = s.scatterers[static_cast<size_t>(other.scatterer)].radius +
                             s.scatterers[static_cast<size_t>(s.sites[static_cast<size_t>(b.site)].scatterer)].radius +
                             0.5;
        return s.metric.DistanceSquared(ImagePosition(s, b), place) < reach * reach;
      });
      if (common) continue;
      SiteImage image = PlainImage(n.site);
      image.moved = true;
      image.operation = s.group.all[static_cast<size_t>(n.operation)].Shifted(n.cell);
      list.push_back(std::make_unique<FixedDistance>(PlainImage(static_cast<int>(a)), image, -least, sigma));
    }
  }
}

}  // namespace marvik
