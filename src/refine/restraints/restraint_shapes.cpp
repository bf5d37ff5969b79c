#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "refine/restraints/restraint_tools.h"

namespace marvik {
namespace {

// CHIV: the volume a·(b × c) spanned by the vectors from an atom to three others, Å³; FLAT: the same to be zero.
class ChiralVolume : public Restraint {
 public:
  ChiralVolume(SiteImage centre, std::array<SiteImage, 3> others, double volume, double sigma)
      : centre_(centre), others_(others), volume_(volume), sigma_(sigma) {}

  void Evaluate(const Structure& structure, std::vector<RestraintEquation>& equations) const override {
    const Cartesian c = PlaceOf(structure, centre_);
    const Cartesian a = PlaceOf(structure, others_[0]) - c;
    const Cartesian b = PlaceOf(structure, others_[1]) - c;
    const Cartesian d = PlaceOf(structure, others_[2]) - c;
    const Cartesian ga = Cross(b, d);
    const Cartesian gb = Cross(d, a);
    const Cartesian gd = Cross(a, b);
    RestraintEquation e;
    e.target = volume_;
    e.value = Dot(a, ga);
    e.sigma = sigma_;
    e.atoms = {centre_.site, others_[0].site, others_[1].site, others_[2].site};
    AddPositionSlopes(structure, others_[0], ga, e);
    AddPositionSlopes(structure, others_[1], gb, e);
    AddPositionSlopes(structure, others_[2], gd, e);
    AddPositionSlopes(structure, centre_, -(ga + gb + gd), e);
    equations.push_back(std::move(e));
  }

 private:
  SiteImage centre_;
  std::array<SiteImage, 3> others_;
  double volume_;
  double sigma_;
};

// SUMP: a linear combination of free variables.
class VariableSum : public Restraint {
 public:
  VariableSum(double target, double sigma, std::vector<std::pair<int, double>> terms)
      : target_(target), sigma_(sigma), terms_(std::move(terms)) {}

  void Evaluate(const Structure& structure, std::vector<RestraintEquation>& equations) const override {
    RestraintEquation e;
    e.target = target_;
    e.sigma = sigma_;
    for (const auto& [variable, factor] : terms_) {
      e.value += factor * structure.freeVariables[static_cast<size_t>(variable)];
      e.variables.push_back({variable, factor});
    }
    equations.push_back(std::move(e));
  }

 private:
  double target_;
  double sigma_;
  std::vector<std::pair<int, double>> terms_;
};

}  // namespace

// n atoms lie in a plane when n - 3 tetrahedra of them have no volume.
void MakeFlat(const RestraintInput& input, RestraintList& list) {
  const double sigma = std::max(1e-4, NumberAt(input.command, 0, 0.1));
  const auto& i = input.images;
  for (size_t k = 3; k < i.size(); ++k) {
    list.push_back(std::make_unique<ChiralVolume>(i[k - 3], std::array{i[k - 2], i[k - 1], i[k]}, 0.0, sigma));
  }
}

void MakeChiv(const RestraintInput& input, RestraintList& list) {
  for (const SiteImage& centre : input.images) {
    std::vector<SiteImage> others;
    for (const Neighbour& n : input.bonds[static_cast<size_t>(centre.site)]) {
      if (input.structure.sites[static_cast<size_t>(n.site)].hydrogen || !IsAsListed(input.structure, n)) continue;
      others.push_back(PlainImage(n.site));
    }
    if (others.size() != 3) continue;
    std::sort(others.begin(), others.end(), [](const SiteImage& a, const SiteImage& b) { return a.site < b.site; });
    list.push_back(std::make_unique<ChiralVolume>(centre, std::array{others[0], others[1], others[2]},
                                                  NumberAt(input.command, 0, 0.0),
                                                  std::max(1e-4, NumberAt(input.command, 1, 0.1))));
  }
}

void MakeSump(const RestraintInput& input, RestraintList& list) {
  const auto& n = input.command.numbers;
  std::vector<std::pair<int, double>> terms;
  for (size_t i = 2; i + 1 < n.size(); i += 2) {
    const int variable = WholeNumber(n[i + 1]) - 2;
    if (variable < 0 || static_cast<size_t>(variable) >= input.structure.freeVariables.size()) return;
    terms.push_back({variable, n[i]});
  }
  if (!terms.empty()) list.push_back(std::make_unique<VariableSum>(n[0], std::max(1e-6, n[1]), terms));
}

}  // namespace marvik
