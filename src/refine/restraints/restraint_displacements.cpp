#include <algorithm>
#include <cmath>
#include <set>

#include "refine/restraints/restraint_tools.h"

namespace marvik {
namespace {

Mat3 Outer(const Cartesian& a, const Cartesian& b) {
  Mat3 m;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) m[i][static_cast<size_t>(j)] = 0.5 * (a[i] * b[j] + a[j] * b[i]);
  }
  return m;
}

// Equal components of two tensors along given directions: DELU (Hirshfeld, Acta Cryst. A32 (1976) 239) takes the one
// along the bond, RIGU (Acta Cryst. A68 (2012) 448) also the two that mix it with the directions across. The
// uncertainty of RIGU grows with the distance L and the mean Ueq u of the two atoms, σ = s L (1 + 14 u)^½ in Å and Å²,
// as published refinements have it: flat ones force large displacements together against the data. Later programs hold
// the two across the bond with σ²/s.
enum class BondKind { Delu, Rigu, LaterRigu };

class AlongBond : public Restraint {
 public:
  AlongBond(int a, int b, double sigma, BondKind kind) : a_(a), b_(b), sigma_(sigma), kind_(kind) {}

  void Evaluate(const Structure& structure, std::vector<RestraintEquation>& equations) const override {
    const Cartesian bond = PlaceOf(structure, PlainImage(b_)) - PlaceOf(structure, PlainImage(a_));
    const Cartesian z = Normalised(bond);
    const double u = 0.5 * (structure.Ueq(structure.sites[static_cast<size_t>(a_)]) +
                            structure.Ueq(structure.sites[static_cast<size_t>(b_)]));
    const double growth = std::max(0.1, Length(bond)) * std::sqrt(1.0 + 14.0 * std::max(0.0, u));
    const double along = kind_ == BondKind::Delu ? sigma_ : sigma_ * growth;
    const double across = kind_ == BondKind::LaterRigu ? along * growth : along;
    const Cartesian x = Normalised(Cross(z, std::fabs(z.x) < 0.8 ? Cartesian{1, 0, 0} : Cartesian{0, 1, 0}));
    const Cartesian y = Cross(z, x);
    const Mat3 components[] = {Outer(z, z), Outer(x, z), Outer(y, z)};
    for (int i = 0; i < (kind_ == BondKind::Delu ? 1 : 3); ++i) {
      RestraintEquation e;
      e.value = TensorWithSlopes(structure, a_, components[i], 1.0, e);
      e.value -= TensorWithSlopes(structure, b_, components[i], -1.0, e);
      e.sigma = i == 0 ? along : across;
      e.atoms = {a_, b_};
      equations.push_back(std::move(e));
    }
  }

 private:
  int a_;
  int b_;
  double sigma_;
  BondKind kind_;
};

// SIMU: all components alike; two isotropic atoms give one equation.
class SimilarU : public Restraint {
 public:
  SimilarU(int a, int b, double sigma) : a_(a), b_(b), sigma_(sigma) {}

  void Evaluate(const Structure& structure, std::vector<RestraintEquation>& equations) const override {
    const bool isotropic =
        !structure.sites[static_cast<size_t>(a_)].anisotropic && !structure.sites[static_cast<size_t>(b_)].anisotropic;
    for (int k = 0; k < (isotropic ? 1 : 6); ++k) {
      Mat3 m;
      const int i = k < 3 ? k : k == 3 ? 1 : 0;
      const int j = k < 3 ? k : k == 5 ? 1 : 2;
      m[i][static_cast<size_t>(j)] = 1.0;
      RestraintEquation e;
      e.value = TensorWithSlopes(structure, a_, m, 1.0, e);
      e.value -= TensorWithSlopes(structure, b_, m, -1.0, e);
      e.sigma = sigma_;
      e.atoms = {a_, b_};
      equations.push_back(std::move(e));
    }
  }

 private:
  int a_;
  int b_;
  double sigma_;
};

// ISOR: the deviation from the mean of the diagonal and the elements beside it are zero.
class NearlyIsotropic : public Restraint {
 public:
  NearlyIsotropic(int site, double sigma) : site_(site), sigma_(sigma) {}

  void Evaluate(const Structure& structure, std::vector<RestraintEquation>& equations) const override {
    for (int k = 0; k < 6; ++k) {
      Mat3 m;
      if (k < 3) {
        m = Mat3::Diagonal(-1.0 / 3.0, -1.0 / 3.0, -1.0 / 3.0);
        m[k][static_cast<size_t>(k)] += 1.0;
      } else {
        m[k == 3 ? 1 : 0][k == 5 ? 1 : 2] = 1.0;
      }
      RestraintEquation e;
      e.value = TensorWithSlopes(structure, site_, m, 1.0, e);
      e.sigma = sigma_;
      e.atoms = {site_};
      equations.push_back(std::move(e));
    }
  }

 private:
  int site_;
  double sigma_;
};

bool Includes(const RestraintInput& input, int site) {
  return std::any_of(input.images.begin(), input.images.end(), [&](const SiteImage& i) { return i.site == site; });
}

bool IsTerminal(const RestraintInput& input, int site) {
  int heavy = 0;
  for (const Neighbour& n : input.bonds[static_cast<size_t>(site)])
    heavy += !input.structure.sites[static_cast<size_t>(n.site)].hydrogen;
  return heavy <= 1;
}

// Pairs within the list at one and two bonds.
void ForBondedPairs(const RestraintInput& input, double sigma12, double sigma13, BondKind kind, RestraintList& list) {
  const Structure& s = input.structure;
  std::set<std::pair<int, int>> done;
  const auto add = [&](int a, int b, double sigma) {
    if (a == b || sigma <= 0.0 || s.sites[static_cast<size_t>(b)].hydrogen) return;
    const std::pair<int, int> key = std::minmax(a, b);
    if (!Includes(input, b) || done.contains(key)) return;
    if (!PartsMeet(s.sites[static_cast<size_t>(a)], s.sites[static_cast<size_t>(b)], true)) return;
    // Two isotropic atoms have nothing to compare.
    if (!s.sites[static_cast<size_t>(a)].anisotropic || !s.sites[static_cast<size_t>(b)].anisotropic) return;
    done.insert(key);
    list.push_back(std::make_unique<AlongBond>(key.first, key.second, sigma, kind));
  };
  for (const double sigma : {sigma12, -1.0}) {
    for (const SiteImage& image : input.images) {
      if (s.sites[static_cast<size_t>(image.site)].hydrogen) continue;
      for (const Neighbour& n : input.bonds[static_cast<size_t>(image.site)]) {
        if (!IsAsListed(s, n)) continue;
        if (sigma > 0.0) {
          add(image.site, n.site, sigma12);
          continue;
        }
        for (const Neighbour& m : input.bonds[static_cast<size_t>(n.site)]) {
          if (IsAsListed(s, m)) add(image.site, m.site, sigma13);
        }
      }
    }
  }
}

}  // namespace

std::unique_ptr<Restraint> AlikeDisplacements(int a, int b, double sigma) {
  return std::make_unique<SimilarU>(a, b, sigma);
}

void MakeDelu(const RestraintInput& input, RestraintList& list) {
  const double s1 = NumberAt(input.command, 0, 0.01);
  ForBondedPairs(input, s1, NumberAt(input.command, 1, s1), BondKind::Delu, list);
}

void MakeRigu(const RestraintInput& input, RestraintList& list) {
  const double s1 = NumberAt(input.command, 0, 0.004);
  ForBondedPairs(input, s1, NumberAt(input.command, 1, s1), input.laterRigu ? BondKind::LaterRigu : BondKind::Rigu,
                 list);
}

void MakeSimu(const RestraintInput& input, RestraintList& list) {
  const Structure& s = input.structure;
  const double sigma = std::max(1e-5, NumberAt(input.command, 0, 0.04));
  const double terminal = std::max(1e-5, NumberAt(input.command, 1, 2.0 * sigma));
  const double reach = NumberAt(input.command, 2, 2.0);
  for (size_t i = 0; i < input.images.size(); ++i) {
    for (size_t j = i + 1; j < input.images.size(); ++j) {
      const int a = input.images[i].site;
      const int b = input.images[j].site;
      const Site& sa = s.sites[static_cast<size_t>(a)];
      const Site& sb = s.sites[static_cast<size_t>(b)];
      if (a == b || sa.hydrogen || sb.hydrogen || s.metric.DistanceSquared(sa.x, sb.x) > reach * reach) continue;
      const bool end = IsTerminal(input, a) || IsTerminal(input, b);
      list.push_back(std::make_unique<SimilarU>(a, b, end ? terminal : sigma));
    }
  }
}

void MakeIsor(const RestraintInput& input, RestraintList& list) {
  const double sigma = std::max(1e-5, NumberAt(input.command, 0, 0.1));
  const double terminal = std::max(1e-5, NumberAt(input.command, 1, 2.0 * sigma));
  for (const SiteImage& image : input.images) {
    const Site& site = input.structure.sites[static_cast<size_t>(image.site)];
    if (site.hydrogen || !site.anisotropic) continue;
    list.push_back(std::make_unique<NearlyIsotropic>(image.site, IsTerminal(input, image.site) ? terminal : sigma));
  }
}

}  // namespace marvik
