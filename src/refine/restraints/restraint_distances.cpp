#include <algorithm>
#include <cmath>

#include "base/numbers.h"
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
    const double present = DistanceWithSlopes(structure, a_, b_, 1.0, e);
    double wanted = target_;
    const CodedParts coded = SplitCodedValue(target_);
    if (coded.variable == 1) wanted = coded.offset;
    if (coded.variable > 1 && static_cast<size_t>(coded.variable - 2) < structure.freeVariables.size()) {
      wanted = coded.factor * structure.freeVariables[static_cast<size_t>(coded.variable - 2)] + coded.offset;
      e.variables.push_back({coded.variable - 2, -coded.factor});
    }
    if (wanted < 0.0 && present >= -wanted) return;
    e.deviation = std::fabs(wanted) - present;
    e.sigma = sigma_;
    equations.push_back(std::move(e));
  }

 private:
  SiteImage a_;
  SiteImage b_;
  double target_;
  double sigma_;
};

// SADI: two distances alike, or each of several towards the mean of all. The mean moves with the distances.
class EqualDistances : public Restraint {
 public:
  EqualDistances(std::vector<std::pair<SiteImage, SiteImage>> pairs, double sigma)
      : pairs_(std::move(pairs)), sigma_(sigma) {}

  void Evaluate(const Structure& structure, std::vector<RestraintEquation>& equations) const override {
    if (pairs_.size() == 2) {
      RestraintEquation e;
      const double first = DistanceWithSlopes(structure, pairs_[0].first, pairs_[0].second, 1.0, e);
      e.deviation = DistanceWithSlopes(structure, pairs_[1].first, pairs_[1].second, -1.0, e) - first;
      e.sigma = sigma_;
      equations.push_back(std::move(e));
      return;
    }
    const double share = 1.0 / static_cast<double>(pairs_.size());
    double mean = 0.0;
    RestraintEquation unused;
    for (const auto& [a, b] : pairs_) mean += share * DistanceWithSlopes(structure, a, b, 1.0, unused);
    for (size_t i = 0; i < pairs_.size(); ++i) {
      RestraintEquation e;
      double present = 0.0;
      for (size_t j = 0; j < pairs_.size(); ++j) {
        const double factor = (i == j ? 1.0 : 0.0) - share;
        const double d = DistanceWithSlopes(structure, pairs_[j].first, pairs_[j].second, factor, e);
        if (i == j) present = d;
      }
      e.deviation = mean - present;
      e.sigma = sigma_;
      equations.push_back(std::move(e));
    }
  }

 private:
  std::vector<std::pair<SiteImage, SiteImage>> pairs_;
  double sigma_;
};

// Pairs of a list of sites that are bonded (1) or have a common neighbour (2) by bonds within the cell as listed.
int Separation(const NeighbourTable& bonds, int a, int b) {
  int best = 0;
  for (const Neighbour& n : bonds[static_cast<size_t>(a)]) {
    if (n.site == b && n.IsIdentity()) return 1;
    if (!n.IsIdentity()) continue;
    for (const Neighbour& m : bonds[static_cast<size_t>(n.site)]) {
      if (m.site == b && m.IsIdentity()) best = 2;
    }
  }
  return best;
}

}  // namespace

void MakeDfix(const RestraintInput& input, RestraintList& list) {
  const double sigma = NumberAt(input.command, 1, input.command.keyword == "DANG" ? 0.04 : 0.02);
  for (size_t i = 0; i + 1 < input.images.size(); i += 2) {
    list.push_back(std::make_unique<FixedDistance>(input.images[i], input.images[i + 1],
                                                   NumberAt(input.command, 0, 1.5), std::max(1e-4, std::fabs(sigma))));
  }
}

void MakeSadi(const RestraintInput& input, RestraintList& list) {
  std::vector<std::pair<SiteImage, SiteImage>> pairs;
  for (size_t i = 0; i + 1 < input.images.size(); i += 2) pairs.emplace_back(input.images[i], input.images[i + 1]);
  const double sigma = std::max(1e-4, std::fabs(NumberAt(input.command, 0, 0.02)));
  if (pairs.size() > 1) list.push_back(std::make_unique<EqualDistances>(pairs, sigma));
}

bool NamesAClass(const Command& command) {
  double number = 0.0;
  return !command.residue.empty() && !ParseWholeNumber(command.residue, number);
}

namespace {

// The 1,2 and 1,3 distances of two lists of atoms alike, position by position.
void MakeAlike(const RestraintInput& input, const std::vector<int>& pattern, const std::vector<int>& copy,
               RestraintList& list) {
  const double sigmas[] = {1.0, std::max(1e-4, NumberAt(input.command, 0, 0.02)),
                           std::max(1e-4, NumberAt(input.command, 1, 0.04))};
  for (size_t i = 0; i < copy.size(); ++i) {
    for (size_t j = i + 1; j < copy.size(); ++j) {
      if (pattern[i] == copy[i] && pattern[j] == copy[j]) continue;
      const int separation = Separation(input.bonds, pattern[i], pattern[j]);
      if (separation == 0) continue;
      std::vector<std::pair<SiteImage, SiteImage>> pairs{{PlainImage(pattern[i]), PlainImage(pattern[j])},
                                                         {PlainImage(copy[i]), PlainImage(copy[j])}};
      list.push_back(std::make_unique<EqualDistances>(pairs, sigmas[separation]));
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
    for (size_t r = 1; r < residues.size(); ++r) {
      if (residues[r].second.size() == residues[0].second.size())
        MakeAlike(input, residues[0].second, residues[r].second, list);
    }
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
  if (input.command.before && followers.size() == pattern.size()) MakeAlike(input, pattern, followers, list);
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
      image.operation = s.group.all[static_cast<size_t>(n.operation)];
      for (size_t i = 0; i < 3; ++i) image.operation.t[i] += n.cell[i];
      list.push_back(std::make_unique<FixedDistance>(PlainImage(static_cast<int>(a)), image, -least, sigma));
    }
  }
}

}  // namespace marvik
