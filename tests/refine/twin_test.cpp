#include <cmath>
#include <gtest/gtest.h>

#include "run_fixture.h"

namespace marvik {
namespace {

// Five atoms of a polar crystal whose light dispersion tells the hands apart.
constexpr const char* kAtoms =
    "S1 3 0.20 10.30 0.15 11 0.03 0.025 0.04 0.002 0.004 -0.003\nO1 2 0.52 0.41 0.35 11 0.05\n"
    "C1 1 0.71 0.18 0.62 11 0.04\nC2 1 0.83 0.55 0.81 11 0.045\nC3 1 0.11 0.72 0.55 11 0.035\n";

std::string Text(const std::string& more, const char* hklf = "HKLF 4") {
  return "TITL twin\nCELL 1.54178 8.1 9.3 7.2 90 97 90\nZERR 2 0.001 0.001 0.001 0 0.01 0\nLATT -1\nSYMM -X, 0.5+Y, "
         "-Z\n"
         "SFAC C O S\nUNIT 6 2 2\nL.S. 12\nFMAP 2\nPLAN 2\n" +
         more + "WGHT 0.01\nFVAR 0.6\n" + kAtoms + hklf + "\nEND\n";
}

// Everything away from the truth by what a refinement has to mend.
std::string Perturbed(std::string ins) {
  for (const auto& [from, to] : {std::pair{"0.52 0.41", "0.527 0.406"},
                                 {"0.71 0.18", "0.704 0.183"},
                                 {"0.83 0.55", "0.836 0.546"},
                                 {"0.72 0.55 11 0.035", "0.715 0.55 11 0.05"}})
    ins = With(ins, from, to);
  return With(ins, "FVAR 0.6", "FVAR 0.75");
}

class TwinTest : public RunTest {
 protected:
  // |F(h)|² of the truth, and the intensity of one component by the formulas: Babinet's solvent, then extinction.
  double Intensity(const Miller& h) {
    Observations one;
    one.indices = {{h}};
    one.batch = {{1}};
    one.intensity = one.sigma = {1.0};
    Structure bare = truth_;
    bare.extinction = bare.solventScale = 0.0;
    bare.batchFractions.clear();
    const double f2 = CalculateAt(bare, one).fc2[0];
    const double s2 = truth_.metric.SinThetaSquared(h[0], h[1], h[2]);
    const double sine = std::sqrt(s2) * truth_.wavelength;
    const double y = f2 * (1.0 - solventG_ * std::exp(-8.0 * 9.8696044 * solventU_ * s2));
    const double sine2Theta = 2.0 * sine * std::sqrt(1.0 - sine * sine);
    return y / std::sqrt(1.0 + 0.001 * extinction_ * y * std::pow(truth_.wavelength, 3) / sine2Theta);
  }
  double Scaled(double intensity) const { return truth_.scale * truth_.scale * intensity; }
  std::vector<Miller> Sphere(double resolution) { return SimulateData(truth_, resolution).indices[0]; }

  void ExpectRefined(const std::string& ins, const std::vector<double>& fractions) {
    ASSERT_EQ(Run("a", ins), 0) << Said();
    EXPECT_LT(Last("R1 = "), 0.02) << Said();
    const Document result = ResultOf("a");
    for (const Site& site : truth_.sites) {
      const Fractional x = result.atoms.FindAtom(site.name)->fract;
      EXPECT_LT(std::sqrt(truth_.metric.DistanceSquared(x, site.x)), 0.002) << site.name;
    }
    EXPECT_NEAR(result.instructions.scaleFactor, truth_.scale, 0.003);
    std::vector<double> found;
    for (const Instruction& c : InstructionsOf(result)) {
      if (c.name == "BASF") found = c.numbers;
      if (c.name != "SWAT") continue;
      EXPECT_NEAR(c.numbers[0], solventG_, 0.03);
      EXPECT_NEAR(c.numbers[1], solventU_, 0.4);
    }
    ASSERT_EQ(found.size(), fractions.size()) << "the refined values are on the BASF line";
    for (size_t i = 0; i < found.size(); ++i) EXPECT_NEAR(found[i], fractions[i], 0.005) << i;
    EXPECT_NEAR(result.settings.Extinction, extinction_, 0.1 * extinction_);
  }

  Structure truth_;
  double extinction_ = 0.0;
  double solventG_ = 0.0;
  double solventU_ = 0.0;
};

TEST_F(TwinTest, FourComponentsWithInversionSolventAndExtinction) {
  resultsAreKept_ = true;
  const std::string law = "TWIN 0 0 1 0 -1 0 1 0 0 -4\n";
  truth_ = ModelOf(Text(""));
  extinction_ = 0.02, solventG_ = 0.4, solventU_ = 3.0;
  std::string data;
  for (const Miller& h : Sphere(0.95)) {
    const Miller t{h[2], -h[1], h[0]};
    const double sum = 0.4 * Intensity(h) + 0.25 * Intensity(t) + 0.2 * Intensity({-h[0], -h[1], -h[2]}) +
                       0.15 * Intensity({-t[0], -t[1], -t[2]});
    data += DataLine(h, Scaled(sum), 0.003 * Scaled(sum) + 0.02);
  }
  Write("a.hkl", data);
  ExpectRefined(Perturbed(Text(law + "BASF 0.2 0.2 0.2\nSWAT 0.2 2.5\nEXTI 0.005\n")), {0.25, 0.2, 0.15});

  Write("b.hkl", data);
  EXPECT_NE(Run("b", Text("TWIN 0 0 1 0 -1 0 1 0 0 -3\nBASF 0.2 0.2\n")), 0) << "inversion doubles the components";
  EXPECT_EQ(Run("b", Text("BASF 0.2 0.2\nL.S. 2\n")), 0) << Said();
  EXPECT_TRUE(Says("BASF: 2 values, and the data speak of 0")) << Said();
  EXPECT_FALSE(Says("do not determine"));
}

TEST_F(TwinTest, OverlappedReflectionsByBatch) {
  resultsAreKept_ = true;
  truth_ = ModelOf(Text(""));
  const double k[] = {0.5, 0.3, 0.2};
  std::string data;
  int n = 0;
  for (const Miller& h : Sphere(1.0)) {
    // A third of the reflections meets one of the second domain, a tenth one of each; the rest belong to one domain.
    const std::vector<Miller> others{{h[0], -h[1], h[2] + 1}, {-h[0] + 1, h[1], 1 - h[2]}};
    const bool none = others[0] == Miller{} || others[1] == Miller{};
    const size_t more = none ? 0 : n % 10 == 0 ? 2 : n % 3 == 0 ? 1 : 0;
    // Where nothing overlaps, the line is of one domain alone; the absent 0 3 0 ends some groups.
    const size_t domain = more == 0 ? static_cast<size_t>(n % 5 == 0) : 0;
    double sum = k[domain] * Intensity(h);
    for (size_t i = 0; i < more; ++i) sum += k[i + 1] * Intensity(others[i]);
    const double sigma = 0.01 * Scaled(sum) + 0.05;
    const std::string absent = n % 7 == 0 ? "   1" : "";
    data += DataLine(h, Scaled(sum), sigma,
                     Printf("%4d", (more || !absent.empty() ? -1 : 1) * (static_cast<int>(domain) + 1)));
    for (size_t i = 0; i < more; ++i) {
      const bool last = i + 1 == more && absent.empty();
      data += DataLine(others[i], Scaled(sum), sigma, Printf("%4d", (last ? 1 : -1) * (static_cast<int>(i) + 2)));
    }
    if (!absent.empty()) data += DataLine({0, 3, 0}, Scaled(sum), sigma, "   1");
    ++n;
  }
  Write("a.hkl", data);
  ExpectRefined(Perturbed(Text("BASF 0.2 0.1\n", "HKLF 5")), {0.3, 0.2});
  EXPECT_TRUE(Says(Printf(" 0 absent, 0 outside limits, %d unique", n))) << Said();
  // Limits take whole groups, however few lines of one lie beyond them.
  Run("a", Text("SHEL 100 1.2\nOMIT 0 3 0\nTWIN\n", "HKLF 5"));
  EXPECT_LT(Last("R1 = "), 0.02) << Said();
  EXPECT_TRUE(Says("TWIN: HKLF 5"));
  EXPECT_TRUE(Says("BASF: 0 values where the data need 2"));
}

// Each reflection at a wavelength of its own, on both sides of an edge of sulphur.
TEST_F(TwinTest, LaueDataHaveDispersionAndExtinctionAtTheirWavelengths) {
  resultsAreKept_ = true;
  const ElementTable table;
  truth_ = ModelOf(Text(""));
  extinction_ = 0.05;
  std::string data;
  int n = 0;
  for (const Miller& h : Sphere(1.0)) {
    truth_.wavelength = 0.9 + 0.01 * (n++ % 107);
    for (Scatterer& f : truth_.scatterers) {
      const Scatterer there = TabulatedScatterer(table[f.row], truth_.wavelength);
      f.fPrime = there.fPrime, f.fDoublePrime = there.fDoublePrime;
    }
    const double intensity = Scaled(Intensity(h));
    data += DataLine(h, intensity, 0.003 * intensity + 0.02, Printf("   1%8.4f", truth_.wavelength));
  }
  Write("a.hkl", data);
  ExpectRefined(Perturbed(Text("EXTI 0.02\n", "HKLF 2")), {});
  EXPECT_TRUE(Says(Printf(" 0 outside limits, %d unique", n))) << "nothing is merged";
  EXPECT_NE(Read("a.cif").find("Laue data: wavelengths from 0.9000 to 1.9600"), std::string::npos);
  const double right = Last("R1 = ");
  EXPECT_EQ(Run("a", Perturbed(Text("EXTI 0.02\n"))), 0);
  EXPECT_GT(Last("R1 = "), 2.0 * right) << "at one wavelength they do not fit";
}

TEST_F(TwinTest, LinesOfPowderDataAreSumsByMultiplicity) {
  truth_ = ModelOf(Text(""));
  std::string data;
  const std::vector<Miller> sphere = Sphere(0.9);
  for (size_t i = 0; i + 2 < sphere.size(); i += 1 + i % 3) {
    double sum = 0.0;
    for (size_t j = 0; j <= i % 3; ++j) sum += static_cast<double>(2 + 2 * j) * Intensity(sphere[i + j]);
    for (size_t j = 0; j <= i % 3; ++j)
      data += DataLine(sphere[i + j], Scaled(sum), 0.005 * Scaled(sum) + 0.02,
                       Printf("%4d", (j == i % 3 ? 2 : -2) * static_cast<int>(1 + j)));
  }
  Write("a.hkl", data);
  ExpectRefined(Perturbed(Text("TWIN\n", "HKLF 6")), {});
  EXPECT_TRUE(Says("TWIN: HKLF 6 names what overlaps"));
}

// An isotropic model and intensities that fall off more along one axis: the tensor of the group's symmetry takes it.
TEST_F(TwinTest, AnOverallAnisotropicScaleIsFound) {
  resultsAreKept_ = true;
  truth_ = ModelOf(With(Text(""), "0.03 0.025 0.04 0.002 0.004 -0.003", "0.03"));
  const auto& edges = truth_.metric.reciprocalEdges;
  std::string data;
  for (const Miller& h : Sphere(0.9)) {
    const double x = h[0] * edges[0], y = h[1] * edges[1], z = h[2] * edges[2];
    const double q = std::exp(-4.0 * 9.8696044 * (0.012 * x * x - 0.02 * y * y + 0.008 * z * z + 2.0 * 0.006 * x * z));
    data += DataLine(h, Scaled(q * Intensity(h)), 0.005 * Scaled(q * Intensity(h)) + 0.02);
  }
  Write("a.hkl", data);
  const auto ins = [&](const char* more) {
    return With(Perturbed(Text(more)), "0.03 0.025 0.04 0.002 0.004 -0.003", "0.03");
  };
  ASSERT_EQ(Run("a", ins("")), 0) << Said();
  const double without = Last("R1 = ");
  ExpectRefined(ins("ANSR 0.01\n"), {});
  EXPECT_LT(Last("R1 = "), 0.3 * without) << Said();
  EXPECT_TRUE(Says(", 4 restraints")) << Said();
  std::vector<double> scale;
  for (const Instruction& c : InstructionsOf(ResultOf("a")))
    if (c.name == "ANSC") scale = c.numbers;
  ASSERT_EQ(scale.size(), 6u);
  EXPECT_NEAR(scale[0] - scale[1], 0.032, 0.001) << "what all have in common U takes as well";
  EXPECT_NEAR(scale[2] - scale[1], 0.028, 0.001);
  EXPECT_NEAR(scale[4], 0.006, 0.001);
  EXPECT_EQ(scale[3], 0.0);
  ASSERT_EQ(Run("a", Read("a.res")), 0);
  EXPECT_LT(Last("mean "), 0.05) << "the result is where it starts from";
}

TEST_F(TwinTest, BatchesOfOneCrystalHaveScales) {
  resultsAreKept_ = true;
  truth_ = ModelOf(Text(""));
  std::string data;
  int n = 0;
  for (const Miller& h : Sphere(0.9)) {
    const int batch = 1 + n++ % 3;
    const double scale = batch == 1 ? 1.0 : batch == 2 ? 0.7 : 1.6;
    data += DataLine(h, Scaled(scale * Intensity(h)), 0.01 * Scaled(Intensity(h)) + 0.05, Printf("%4d", batch));
    // An equivalent in another batch, which must not be averaged with it.
    data += DataLine({-h[0], h[1], -h[2]}, Scaled(0.7 * Intensity(h)), 0.01 * Scaled(Intensity(h)) + 0.05, "   2");
  }
  Write("a.hkl", data);
  ExpectRefined(Perturbed(Text("BASF 1 1\n")), {0.7, 1.6});
}

}  // namespace
}  // namespace marvik
