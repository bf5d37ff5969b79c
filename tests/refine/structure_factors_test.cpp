#include "refine/factors/structure_factors.h"

#include <cmath>
#include <gemmi/it92.hpp>
#include <gemmi/sfcalc.hpp>
#include <gemmi/small.hpp>
#include <gtest/gtest.h>
#include <numbers>
#include <numeric>

#include "crystal/symmetry.h"
#include "refine/factors/lane_math.h"

#include "models.h"

namespace marvik {
namespace {

constexpr double kPi = std::numbers::pi;

TEST(LaneMath, AgreesWithTheLibraryOverTheRangesInUse) {
  double worstSine = 0.0;
  double worstExp = 0.0;
  for (int i = -4000; i <= 4000; ++i) {
    const double turns = i * 0.01234567;
    double s, c;
    SineCosine(turns, s, c);
    worstSine =
        std::max({worstSine, std::fabs(s - std::sin(2 * kPi * turns)), std::fabs(c - std::cos(2 * kPi * turns))});
    const double x = i * 0.02;
    worstExp = std::max(worstExp, std::fabs(Exponential(x) / std::exp(x) - 1.0));
  }
  EXPECT_LT(worstSine, 1e-12);
  EXPECT_LT(worstExp, 1e-13);
  EXPECT_LT(Exponential(-5000.0), 1e-300);
}

// As printed in published structures after International Tables C, 4.2.6.8 (Mo radiation). Niobium and strontium stand
// next to their edges.
TEST(Dispersion, IsThatOfPublishedTables) {
  struct Printed {
    int row;
    double real, imaginary, allowed;
  };
  for (const Printed& p : std::initializer_list<Printed>{{6, 0.0033, 0.0016, 0.0003},
                                                         {8, 0.0106, 0.0060, 0.0003},
                                                         {9, 0.0171, 0.0103, 0.0003},
                                                         {17, 0.1484, 0.1585, 0.0007},
                                                         {27, 0.3494, 0.9721, 0.004},
                                                         {31, 0.2307, 1.6083, 0.006},
                                                         {38, -1.531, 3.250, 0.03},
                                                         {41, -2.073, 0.622, 0.03},
                                                         {48, -0.8075, 1.2024, 0.01},
                                                         {56, -0.324, 2.282, 0.01},
                                                         {67, -0.2175, 4.6783, 0.012},
                                                         {74, -0.849, 6.872, 0.015}}) {
    const std::complex<double> f = DispersionOf(p.row, 0.71073);
    EXPECT_NEAR(f.real(), p.real, p.allowed) << p.row;
    EXPECT_NEAR(f.imag(), p.imaginary, p.allowed) << p.row;
  }
}

// F of one kind of atom from the packaged library; the anomalous part follows from it, since f enters as a factor.
std::complex<double> ReferenceFactor(const Structure& s, const char* groupName, const Miller& h, bool anomalous) {
  std::complex<double> total = 0.0;
  const double s2 = s.metric.SinThetaSquared(h[0], h[1], h[2]);
  for (size_t kind = 0; kind < s.scatterers.size(); ++kind) {
    const Scatterer& f = s.scatterers[kind];
    gemmi::SmallStructure small;
    const CellParameters& c = s.metric.cell;
    small.cell.set(c.a, c.b, c.c, c.alpha, c.beta, c.gamma);
    small.cell.set_cell_images_from_spacegroup(gemmi::find_spacegroup_by_name(groupName));
    for (const Site& site : s.sites) {
      if (site.scatterer != static_cast<int>(kind)) continue;
      gemmi::SmallStructure::Site atom;
      atom.element = gemmi::Element(f.electrons);
      atom.fract = {site.x.x, site.x.y, site.x.z};
      atom.occ = site.occupancy;
      if (site.anisotropic) {
        atom.aniso = {site.u[0], site.u[1], site.u[2], site.u[5], site.u[4], site.u[3]};
      } else {
        atom.u_iso = site.u[0];
      }
      small.sites.push_back(atom);
    }
    gemmi::StructureFactorCalculator<gemmi::IT92<double>> calculator(small.cell);
    const std::complex<double> part = calculator.calculate_sf_from_small_structure(small, {{h[0], h[1], h[2]}});
    const double plain = gemmi::IT92<double>::get(gemmi::Element(f.electrons).elem).calculate_sf(s2);
    const std::complex<double> extra(f.fPrime, f.fDoublePrime);
    total += anomalous ? part * (1.0 + extra / plain) : part;
  }
  return total;
}

TEST(StructureFactors, AgreeWithThePackagedLibraryInEveryLatticeType) {
  unsigned seed = 1;
  for (const GroupCase& group : GroupCases()) {
    for (const bool anomalous : {false, true}) {
      Structure s = MakeCrystal(group, ++seed);
      if (!anomalous) {
        for (Scatterer& f : s.scatterers) f.fPrime = f.fDoublePrime = 0.0;
      }
      const Observations o = SimulateData(s, 1.6);
      const Calculated c = CalculateAt(s, o);
      double difference = 0.0;
      double size = 0.0;
      for (size_t i = 0; i < std::min<size_t>(o.Size(), 150); ++i) {
        const std::complex<double> expected = ReferenceFactor(s, group.name, o.indices[0][i], anomalous);
        difference += std::norm(expected - std::complex<double>(c.a[i], c.b[i]));
        size += std::norm(expected);
      }
      EXPECT_LT(std::sqrt(difference / size), 1e-6)
          << group.name << (anomalous ? " with" : " without") << " dispersion";
    }
  }
}

// Rows of the first block for every parameter, unweighted.
std::vector<std::vector<double>> DerivativeRows(const Structure& s, const Observations& o, const Parametrisation& p) {
  std::vector<std::vector<double>> rows(p.Size());
  WeightScheme unit;
  unit.p = {0, 0, 0, 1, 0, 1.0 / 3.0};  // with σ = 0: w = 1
  DataPass pass(s, o, unit);
  Calculated c;
  pass.Run(c, &p, [&](int, const double* block, const Lanes&) {
    for (size_t i = 0; i < p.Size(); ++i) rows[i].assign(block + i * kBlock, block + (i + 1) * kBlock);
  });
  return rows;
}

// Jᵀ·J·v from the rows of J and without them.
void ExpectProductOfRows(const Structure& s, const Observations& o, const Parametrisation& p,
                         const std::vector<std::vector<double>>& rows) {
  std::vector<double> v;
  std::vector<double> sums(o.Size());
  for (size_t i = 0; i < p.Size(); ++i) {
    v.push_back(std::sin(1.7 * static_cast<double>(i)) /
                std::sqrt(1e-9 + std::inner_product(rows[i].begin(), rows[i].end(), rows[i].begin(), 0.0)));
    for (size_t r = 0; r < o.Size(); ++r) sums[r] += v[i] * rows[i][r];
  }
  Calculated c = CalculateAt(s, o);
  c.weight.assign(o.Size(), 1.0);
  const std::vector<double> product = DataPass(s, o, WeightScheme{}).Multiply(v, c, p);
  for (size_t i = 0; i < p.Size(); ++i) {
    const double expected = std::inner_product(sums.begin(), sums.end(), rows[i].begin(), 0.0);
    EXPECT_NEAR(product[i], expected, 1e-9 * (1.0 + std::fabs(expected))) << p.parameters[i].name;
  }
}

TEST(Derivatives, AgreeWithNumericalDifferences) {
  for (const char* name : {"P 1 21/c 1", "P 21 21 21", "R -3"}) {
    Structure s = MakeCrystal(GroupNamed(name), 77);
    s.extinction = 0.3;
    s.solventScale = 0.2;
    s.hasAnisotropicScale = true;
    s.anisotropicScale = {0.01, 0.01, -0.02, 0.0, 0.0, 0.0};
    if (name[0] == 'R') s.anisotropicScale[5] = 0.005;
    s.batchFractions = {0.3, 0.2};
    s.sites[1].code[kRawOccupancy] = 21.0;
    s.sites[3].code[kRawOccupancy] = -21.0;
    s.sites[2].code[kRawOccupancy] = 0.0;
    s.freeVariables = {0.6};
    ApplyFreeVariables(s);
    Observations o = SimulateData(s, 2.2);
    for (auto* v : {&o.intensity, &o.sigma}) v->resize(100);
    o.indices[0].resize(100);
    o.batch[0].resize(100);
    // A second component with other indices makes it a twin.
    o.indices.push_back(o.indices[0]);
    o.batch.push_back(std::vector<int>(100, 2));
    for (Miller& h : o.indices[1]) h = {h[1], h[0], -h[2]};
    // A third where some reflections have one and others not; in one of the groups as batches with scales.
    o.indices.push_back(o.indices[1]);
    o.batch.push_back({});
    for (int i = 0; i < 100; ++i) o.batch[2].push_back(i % 3 ? 0 : 3);
    o.batchScales = name[0] == 'R';
    // In another the wavelengths differ.
    if (name[0] == 'P' && name[3] == '1') {
      for (int i = 0; i < 100; ++i) o.wavelength.push_back(0.6 + 0.01 * i);
      SetDispersion(s, o);
    }
    std::fill(o.sigma.begin(), o.sigma.end(), 0.0);
    ParameterOptions options;
    options.extinction = options.solvent = options.anisotropicScale = true;
    Parametrisation p;
    std::vector<RigidGroup> rigid;
    std::vector<std::string> notes;
    p.Build(s, options, {}, rigid, notes);
    const auto rows = DerivativeRows(s, o, p);
    ExpectProductOfRows(s, o, p, rows);
    for (size_t i = 0; i < p.Size(); ++i) {
      const double step = 1e-5;
      Structure up = s;
      Structure down = s;
      std::vector<double> shift(p.Size());
      shift[i] = step;
      p.Apply(shift, up);
      shift[i] = -step;
      p.Apply(shift, down);
      const Calculated cu = CalculateAt(up, o);
      const Calculated cd = CalculateAt(down, o);
      double difference = 0.0;
      double size = 1e-6;
      for (size_t r = 0; r < o.Size(); ++r) {
        // The scale belongs to the observations; its row is that of scale²·Fc², over scale².
        const double kk = i == 0 ? 1.0 / (s.scale * s.scale) : 1.0;
        const double fu = i == 0 ? up.scale * up.scale : 1.0;
        const double fd = i == 0 ? down.scale * down.scale : 1.0;
        const double numerical = kk * (fu * cu.fc2[r] - fd * cd.fc2[r]) / (2.0 * step);
        difference += std::pow(numerical - rows[i][r], 2);
        size += numerical * numerical;
      }
      EXPECT_LT(std::sqrt(difference / size), 2e-5) << name << ": " << p.parameters[i].name;
    }
  }
}

}  // namespace
}  // namespace marvik
