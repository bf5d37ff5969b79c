#include <cmath>
#include <numbers>

#include "refine/map/solvent_mask.h"

#include "run_fixture.h"

namespace marvik {
namespace {

// A box of carbon atoms whose walls, 10 Å apart, no solvent gets through; `corner` is where they meet. With a centre
// every atom stands twice.
std::string Box(double corner, int lattice, const std::string& inside = "") {
  std::string text =
      Printf("TITL box\nCELL 0.71073 10 10 10 90 90 90\nZERR 1 0 0 0 0 0 0\nLATT %d\nSFAC C\nUNIT 70\nL.S. 0\nFVAR 1\n",
             lattice);
  int number = 0;
  for (int i = 0; i < 125; ++i) {
    const int x = i / 25, y = i / 5 % 5, z = i % 5;
    if (x * y * z != 0) continue;
    AppendPrintf(text, "C%d 1 %.4f %.4f %.4f %s 0.03\n", ++number, corner + 0.2 * x, corner + 0.2 * y, corner + 0.2 * z,
                 lattice > 0 ? "10.5" : "11.0");
  }
  return text + inside + "HKLF 4\nEND\n";
}

using MaskTest = RunTest;

TEST_F(MaskTest, VoidsAreWhatTheAtomsLeave) {
  const Structure alone = ModelOf(
      "TITL one\nCELL 0.71073 12 12 12 90 90 90\nZERR 1 0 0 0 0 0 0\nLATT -1\nSFAC C\nUNIT 1\nFVAR 1\n"
      "C1 1 0 0 0 11 0.03\nHKLF 4\nEND\n");
  const SolventMask open = FindVoids(alone, SimulateData(alone, 1.0), {});
  ASSERT_EQ(open.voids.size(), 1u);
  EXPECT_TRUE(open.voids[0].endless);
  EXPECT_NEAR(open.volume, 1728.0 - 4.0 / 3.0 * std::numbers::pi * std::pow(1.7, 3), 3.0);
  // The same box, in the middle of the cell and across all its faces.
  double volume = 0.0;
  for (const double corner : {0.0, 0.5}) {
    const Structure box = ModelOf(Box(corner, 1));
    const Observations data = SimulateData(box, 1.0);
    const SolventMask mask = FindVoids(box, data, {});
    ASSERT_EQ(mask.voids.size(), 1u) << corner;
    const SolventVoid& one = mask.voids[0];
    EXPECT_FALSE(one.endless);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(std::remainder(one.centre[i] - corner - 0.5, 1.0), 0.0, 1e-6);
    for (const Fractional& place : one.places)
      for (int i = 0; i < 3; ++i) EXPECT_LT(std::fabs(place[i] - one.centre[i]), 0.45);
    EXPECT_GT(one.volume, std::pow(10.0 - 2.0 * 1.7, 3) * 0.9);
    EXPECT_LT(one.volume, 450.0);
    if (corner == 0.0) volume = one.volume;
    EXPECT_NEAR(one.volume, volume, 0.01 * volume);
    // A larger probe leaves its own middle less room, and what is too small is left alone.
    EXPECT_LT(FindVoids(box, data, {1.8, 1.2, 0.2, 20.0}).volume, 0.8 * volume);
    EXPECT_TRUE(FindVoids(box, data, {1.2, 1.2, 0.2, 500.0}).voids.empty());
  }
}

TEST_F(MaskTest, ElectronsAreThoseOfTheSolventThatMadeTheData) {
  for (const int lattice : {-1, 1}) {
    // Four atoms in the cell, smeared as disordered solvent is.
    std::string inside = "X1 1 0.58 0.47 0.52 11.0 0.15\nX2 1 0.46 0.56 0.41 11.0 0.20\n";
    if (lattice < 0) inside += "X3 1 0.40 0.43 0.58 11.0 0.18\nX4 1 0.55 0.62 0.60 11.0 0.25\n";
    for (size_t at = inside.find('X'); at != std::string::npos; at = inside.find('X')) inside.replace(at, 1, "C9");
    Observations data = SimulateData(ModelOf(Box(0.0, lattice, inside)), 0.9);
    Structure box = ModelOf(Box(0.0, lattice));
    box.scale *= 1.08;
    Calculated calculated;
    {
      DataPass pass(box, data, {});
      pass.Run(calculated);
    }
    const double before = MakeResiduals(calculated, 0).r1;
    SolventMask mask = FindVoids(box, data, {});
    FillVoids(box, data, {}, mask, calculated);
    EXPECT_TRUE(mask.settled) << mask.cycles;
    EXPECT_NEAR(mask.electrons, 24.0, 1.2) << lattice;
    EXPECT_LT(MakeResiduals(calculated, 0).r1, 0.5 * before) << lattice;
    // The file gives the same again.
    const std::string text = FabText(mask.factors, {"one", "two"});
    EXPECT_EQ(FabRemarks(text), (std::vector<std::string>{"one", "two"}));
    const auto added = data.added;
    EXPECT_EQ(AddFactors(ParseFabFile(text), box, 1.0, 0.0, data), 0u);
    for (size_t i = 0; i < data.Size(); ++i) EXPECT_NEAR(std::abs(data.added[0][i] - added[0][i]), 0.0, 1e-3);
  }
}

}  // namespace
}  // namespace marvik
