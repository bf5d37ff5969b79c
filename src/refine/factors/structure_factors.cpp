#include "refine/factors/structure_factors.h"

#include <cmath>
#include <cstring>
#include <numbers>

#include "refine/factors/lane_math.h"

// One version per instruction set, chosen when the program starts.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__)
#define MARVIK_CLONES __attribute__((target_clones("arch=x86-64-v4", "arch=x86-64-v3", "default")))
#else
#define MARVIK_CLONES
#endif

namespace marvik {
namespace {

constexpr double kPi = std::numbers::pi;

// The sums over operations of one site: geometric structure factor and its derivatives, ten rows each for the real and
// the imaginary part (0: the sum itself, 1 to 3: by x y z, 4 to 9: by U).
struct SiteSums {
  double* real;
  double* imaginary;  // null with a centre at the origin
};

// What a block's indices become under one operation.
struct OperatorBlock {
  alignas(64) Lanes hx;  // h·R
  alignas(64) Lanes kx;
  alignas(64) Lanes lx;
  alignas(64) Lanes shift;                     // h·t, turns
  alignas(64) std::array<Lanes, 6> quadratic;  // -2π² times the factors of U in the exponent
};

MARVIK_CLONES void FillOperator(const SymmetryOperator& op, const double* edges, const IndexBlock& block,
                                OperatorBlock& out) {
  const double f = -2.0 * kPi * kPi;
  const double t[3] = {op.Translation(0), op.Translation(1), op.Translation(2)};
  for (int i = 0; i < kBlock; ++i) {
    const auto at = static_cast<size_t>(i);
    const double h = block.h[at];
    const double k = block.k[at];
    const double l = block.l[at];
    const double u = h * op.r[0][0] + k * op.r[1][0] + l * op.r[2][0];
    const double v = h * op.r[0][1] + k * op.r[1][1] + l * op.r[2][1];
    const double w = h * op.r[0][2] + k * op.r[1][2] + l * op.r[2][2];
    out.hx[at] = u;
    out.kx[at] = v;
    out.lx[at] = w;
    out.shift[at] = h * t[0] + k * t[1] + l * t[2];
    const double a = u * edges[0];
    const double b = v * edges[1];
    const double c = w * edges[2];
    out.quadratic[0][at] = f * a * a;
    out.quadratic[1][at] = f * b * b;
    out.quadratic[2][at] = f * c * c;
    out.quadratic[3][at] = 2.0 * f * b * c;
    out.quadratic[4][at] = 2.0 * f * a * c;
    out.quadratic[5][at] = 2.0 * f * a * b;
  }
}

// T·cos and T·sin of one operation.
[[gnu::always_inline]] inline void Term(const OperatorBlock& op, const double* x, const double* u, bool anisotropic,
                                        size_t i, double& c, double& s) {
  SineCosine(op.hx[i] * x[0] + op.kx[i] * x[1] + op.lx[i] * x[2] + op.shift[i], s, c);
  if (!anisotropic) return;
  const double t = Exponential(op.quadratic[0][i] * u[0] + op.quadratic[1][i] * u[1] + op.quadratic[2][i] * u[2] +
                               op.quadratic[3][i] * u[3] + op.quadratic[4][i] * u[4] + op.quadratic[5][i] * u[5]);
  c *= t;
  s *= t;
}

MARVIK_CLONES void AddPlain(const OperatorBlock& op, const double* x, const double* u, bool anisotropic, double* re,
                            double* im) {
  if (anisotropic) {
    for (size_t i = 0; i < kBlock; ++i) {
      double c, s;
      Term(op, x, u, true, i, c, s);
      re[i] += c;
      im[i] += s;
    }
  } else {
    for (size_t i = 0; i < kBlock; ++i) {
      double c, s;
      Term(op, x, u, false, i, c, s);
      re[i] += c;
      im[i] += s;
    }
  }
}

// Real parts only: a centre at the origin makes the sine terms cancel.
MARVIK_CLONES void AddCentric(const OperatorBlock& op, const double* x, const double* u, bool anisotropic,
                              double* __restrict re) {
  for (size_t i = 0; i < kBlock; ++i) {
    double c, s;
    if (anisotropic) {
      Term(op, x, u, true, i, c, s);
    } else {
      Term(op, x, u, false, i, c, s);
    }
    re[i] += c;
    const double g = -2.0 * kPi * s;
    re[kBlock + i] += g * op.hx[i];
    re[2 * kBlock + i] += g * op.kx[i];
    re[3 * kBlock + i] += g * op.lx[i];
    if (anisotropic) {
      for (size_t j = 0; j < 6; ++j) re[(4 + j) * kBlock + i] += c * op.quadratic[j][i];
    }
  }
}

MARVIK_CLONES void AddAcentric(const OperatorBlock& op, const double* x, const double* u, bool anisotropic,
                               double* __restrict re, double* __restrict im) {
  for (size_t i = 0; i < kBlock; ++i) {
    double c, s;
    if (anisotropic) {
      Term(op, x, u, true, i, c, s);
    } else {
      Term(op, x, u, false, i, c, s);
    }
    re[i] += c;
    im[i] += s;
    const double gr = -2.0 * kPi * s;
    const double gi = 2.0 * kPi * c;
    re[kBlock + i] += gr * op.hx[i];
    re[2 * kBlock + i] += gr * op.kx[i];
    re[3 * kBlock + i] += gr * op.lx[i];
    im[kBlock + i] += gi * op.hx[i];
    im[2 * kBlock + i] += gi * op.kx[i];
    im[3 * kBlock + i] += gi * op.lx[i];
    if (anisotropic) {
      for (size_t j = 0; j < 6; ++j) {
        re[(4 + j) * kBlock + i] += c * op.quadratic[j][i];
        im[(4 + j) * kBlock + i] += s * op.quadratic[j][i];
      }
    }
  }
}

// Isotropic displacement: the same factor for every operation, so it is applied to the sums, `rows` rows of them, and
// its derivative comes from the sum itself.
MARVIK_CLONES void ApplyIsotropic(const Lanes& s2, double uiso, int rows, bool derivative, double* values) {
  const double f = -8.0 * kPi * kPi;
  for (size_t i = 0; i < kBlock; ++i) {
    const double t = Exponential(f * uiso * s2[i]);
    for (int row = 0; row < rows; ++row) values[static_cast<size_t>(row) * kBlock + i] *= t;
    if (derivative) values[4 * kBlock + i] = values[i] * f * s2[i];
  }
}

MARVIK_CLONES void FillForm(const Scatterer& s, const Lanes& s2, const Lanes& fPrime, double* form) {
  for (size_t i = 0; i < kBlock; ++i) {
    double f = s.c + fPrime[i];
    for (size_t j = 0; j < 5; ++j) f += s.a[j] * Exponential(-s.b[j] * s2[i]);
    form[i] = f;
  }
}

MARVIK_CLONES void AddToFactor(const double* form, const double* fDoublePrime, double weight, const double* re,
                               const double* im, Lanes& a, Lanes& b) {
  for (size_t i = 0; i < kBlock; ++i) {
    const double fr = weight * form[i];
    const double fi = weight * fDoublePrime[i];
    const double x = re[i];
    const double y = im ? im[i] : 0.0;
    a[i] += fr * x - fi * y;
    b[i] += fr * y + fi * x;
  }
}

// ∂|F|²/∂p = 2 Re(conj(F)·f·∂G/∂p) = 2[(A fr + B fi) Re ∂G + (B fr - A fi) Im ∂G].
MARVIK_CLONES void ContractRow(const double* p, const double* q, const double* re, const double* im, double* out) {
  if (im) {
    for (size_t i = 0; i < kBlock; ++i) out[i] = p[i] * re[i] + q[i] * im[i];
  } else {
    for (size_t i = 0; i < kBlock; ++i) out[i] = p[i] * re[i];
  }
}

class DirectWorkspace : public FactorWorkspace {
 public:
  DirectWorkspace(size_t operators, size_t scatterers, size_t sites, bool centric)
      : ops(operators),
        form(scatterers * kBlock),
        absorptive(scatterers),
        real(sites * kRows),
        imaginary(centric ? 0 : sites * kRows) {}

  static constexpr size_t kRows = static_cast<size_t>(kRawPerSite) * kBlock;
  std::vector<OperatorBlock> ops;
  std::vector<double> form;       // f + f'
  std::vector<Lanes> absorptive;  // f"
  std::vector<double> real;
  std::vector<double> imaginary;
  alignas(64) Lanes p{};
  alignas(64) Lanes q{};
};

class DirectSum : public StructureFactorModel {
 public:
  explicit DirectSum(const Structure& structure) : structure_(structure) {}

  std::unique_ptr<FactorWorkspace> MakeWorkspace() const override {
    return std::make_unique<DirectWorkspace>(structure_.group.primitive.size(), structure_.scatterers.size(),
                                             structure_.sites.size(), structure_.group.centric);
  }

  void Evaluate(const IndexBlock& block, bool derivatives, FactorWorkspace& workspace) const override {
    auto& w = static_cast<DirectWorkspace&>(workspace);
    const SpaceGroup& group = structure_.group;
    for (size_t n = 0; n < group.primitive.size(); ++n) {
      FillOperator(group.primitive[n], structure_.metric.reciprocalEdges.data(), block, w.ops[n]);
    }
    for (size_t n = 0; n < structure_.scatterers.size(); ++n) {
      const Scatterer& s = structure_.scatterers[n];
      Lanes fPrime;
      fPrime.fill(s.fPrime);
      FillForm(s, block.s2, block.fPrime.empty() ? fPrime : block.fPrime[n], &w.form[n * kBlock]);
      w.absorptive[n].fill(s.fDoublePrime);
      if (!block.fDoublePrime.empty()) w.absorptive[n] = block.fDoublePrime[n];
    }
    w.a.fill(0.0);
    w.b.fill(0.0);
    for (size_t n = 0; n < structure_.sites.size(); ++n) {
      double* re = &w.real[n * DirectWorkspace::kRows];
      double* im = group.centric ? nullptr : &w.imaginary[n * DirectWorkspace::kRows];
      const Site& site = structure_.sites[n];
      SumSite(site, block, derivatives, w, re, im);
      const auto scatterer = static_cast<size_t>(site.scatterer);
      AddToFactor(&w.form[scatterer * kBlock], w.absorptive[scatterer].data(), site.occupancy * Multiplicity(), re, im,
                  w.a, w.b);
    }
  }

  void Contract(int site, const Lanes& factor, FactorWorkspace& workspace, double* rows) const override {
    auto& w = static_cast<DirectWorkspace&>(workspace);
    const auto at = static_cast<size_t>(site) * DirectWorkspace::kRows;
    ContractSums(site, factor, &w.real[at], structure_.group.centric ? nullptr : &w.imaginary[at], w, rows);
  }

  void ContractAlone(int site, const IndexBlock& block, const Lanes& factor, FactorWorkspace& workspace,
                     double* rows) const override {
    auto& w = static_cast<DirectWorkspace&>(workspace);
    double* im = structure_.group.centric ? nullptr : w.imaginary.data();
    SumSite(structure_.sites[static_cast<size_t>(site)], block, true, w, w.real.data(), im);
    ContractSums(site, factor, w.real.data(), im, w, rows);
  }

 private:
  void ContractSums(int site, const Lanes& factor, const double* re, const double* im, DirectWorkspace& w,
                    double* rows) const {
    const Site& s = structure_.sites[static_cast<size_t>(site)];
    const auto scatterer = static_cast<size_t>(s.scatterer);
    FillFactors(&w.form[scatterer * kBlock], w.absorptive[scatterer].data(), factor, w);
    ContractRow(w.p.data(), w.q.data(), re, im, rows + kRawOccupancy * kBlock);
    const double occupancy = s.occupancy;
    for (size_t i = 0; i < kBlock; ++i) {
      w.p[i] *= occupancy;
      w.q[i] *= occupancy;
    }
    const int displacementRows = s.anisotropic ? 6 : 1;
    for (int row = 1; row < 4 + displacementRows; ++row) {
      const int target = row < 4 ? row - 1 : row;
      const auto at = static_cast<size_t>(row) * kBlock;
      ContractRow(w.p.data(), w.q.data(), re + at, im ? im + at : nullptr, rows + target * kBlock);
    }
  }

  double Multiplicity() const {
    return static_cast<double>(structure_.group.centring.size()) * (structure_.group.centric ? 2.0 : 1.0);
  }

  void FillFactors(const double* form, const double* fDoublePrime, const Lanes& factor, DirectWorkspace& w) const {
    const double m = 2.0 * Multiplicity();
    for (size_t i = 0; i < kBlock; ++i) {
      const double f = m * factor[i];
      w.p[i] = f * (w.a[i] * form[i] + w.b[i] * fDoublePrime[i]);
      w.q[i] = f * (w.b[i] * form[i] - w.a[i] * fDoublePrime[i]);
    }
  }

  void SumSite(const Site& site, const IndexBlock& block, bool derivatives, DirectWorkspace& w, double* re,
               double* im) const {
    const int rows = derivatives ? kRawPerSite : 1;
    std::memset(re, 0, static_cast<size_t>(rows) * kBlock * sizeof(double));
    if (im) std::memset(im, 0, static_cast<size_t>(rows) * kBlock * sizeof(double));
    const double x[3] = {site.x.x, site.x.y, site.x.z};
    for (const OperatorBlock& op : w.ops) {
      if (!derivatives) {
        AddPlain(op, x, site.u.data(), site.anisotropic, re, im ? im : w.q.data());
      } else if (im) {
        AddAcentric(op, x, site.u.data(), site.anisotropic, re, im);
      } else {
        AddCentric(op, x, site.u.data(), site.anisotropic, re);
      }
    }
    if (site.anisotropic) return;
    ApplyIsotropic(block.s2, site.u[0], derivatives ? 4 : 1, derivatives, re);
    if (im) ApplyIsotropic(block.s2, site.u[0], derivatives ? 4 : 1, derivatives, im);
  }

  const Structure& structure_;
};

}  // namespace

std::unique_ptr<StructureFactorModel> MakeDirectSum(const Structure& structure) {
  return std::make_unique<DirectSum>(structure);
}

}  // namespace marvik
