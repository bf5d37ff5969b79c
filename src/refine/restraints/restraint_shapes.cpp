#include <Eigen/Dense>
#include <cmath>

#include "base/numbers.h"
#include "refine/restraints/restraint_tools.h"

namespace marvik {
namespace {

// FLAT: distances from the least-squares plane, one equation an atom. The slopes leave out what only moves or tilts the
// whole plane, so that the group as such stays free.
class Planar : public Restraint {
 public:
  Planar(std::vector<SiteImage> images, double sigma) : images_(std::move(images)), sigma_(sigma) {}

  void Evaluate(const Structure& structure, std::vector<RestraintEquation>& equations) const override {
    const size_t n = images_.size();
    std::vector<Cartesian> places;
    Cartesian centre;
    for (const SiteImage& image : images_) {
      places.push_back(PlaceOf(structure, image));
      centre += places.back() / static_cast<double>(n);
    }
    Mat3 scatter;
    for (const Cartesian& p : places) {
      const Cartesian d = p - centre;
      for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) scatter[i][static_cast<size_t>(j)] += d[i] * d[j];
      }
    }
    const Eigen3 axes = SymmetricEigen(scatter);
    const auto normal = axes.Vector<CartesianSpace>(0);
    Eigen::MatrixXd design(static_cast<Eigen::Index>(n), 3);
    for (size_t i = 0; i < n; ++i) {
      const Cartesian d = places[i] - centre;
      design.row(static_cast<Eigen::Index>(i)) << 1.0, Dot(d, axes.Vector<CartesianSpace>(1)),
          Dot(d, axes.Vector<CartesianSpace>(2));
    }
    const Eigen::MatrixXd hat = design * (design.transpose() * design).ldlt().solve(design.transpose());
    for (size_t i = 0; i < n; ++i) {
      RestraintEquation e;
      e.deviation = -Dot(places[i] - centre, normal);
      e.sigma = sigma_;
      for (size_t j = 0; j < n; ++j) {
        const double f = (i == j ? 1.0 : 0.0) - hat(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j));
        AddPositionSlopes(structure, images_[j], normal * f, e);
      }
      equations.push_back(std::move(e));
    }
  }

 private:
  std::vector<SiteImage> images_;
  double sigma_;
};

// CHIV: the volume spanned by the bonds from an atom to three others, Å³, the others in the order of the list.
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
    e.deviation = volume_ - Dot(a, ga);
    e.sigma = sigma_;
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
    e.deviation = target_;
    e.sigma = sigma_;
    for (const auto& [variable, factor] : terms_) {
      e.deviation -= factor * structure.freeVariables[static_cast<size_t>(variable)];
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

void MakeFlat(const RestraintInput& input, RestraintList& list) {
  if (input.images.size() < 4) return;
  list.push_back(std::make_unique<Planar>(input.images, std::max(1e-4, NumberAt(input.command, 0, 0.1))));
}

void MakeChiv(const RestraintInput& input, RestraintList& list) {
  for (const SiteImage& centre : input.images) {
    std::vector<SiteImage> others;
    for (const Neighbour& n : input.bonds[static_cast<size_t>(centre.site)]) {
      if (input.structure.sites[static_cast<size_t>(n.site)].hydrogen || !n.IsIdentity()) continue;
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
