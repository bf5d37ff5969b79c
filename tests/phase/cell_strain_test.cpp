#include "phase/cell_strain.h"

#include <gtest/gtest.h>

#include "base/numbers.h"
#include "crystal/symmetry.h"

namespace marvik::phase {
namespace {

// Rings of six carbon atoms, each with methyl and hydroxyl, in planes of these normals. Their places are right in the
// cell that is true; the structure has the edges that the file says.
Structure Molecules(const CellParameters& real, const CellParameters& said, const std::vector<std::string>& symm,
                    const std::vector<Cartesian>& normals) {
  Structure s;
  std::string unused;
  s.group = *MakeSpaceGroup(-1, ListOperators(-1, symm), unused);
  static const ElementTable table;
  for (const int row : {6, 8}) s.scatterers.push_back(TabulatedScatterer(table[row], 0.71073));
  const Metric metric = MakeMetric(real);
  Cartesian middle{2.0, 1.5, 2.5};
  for (const Cartesian& normal : normals) {
    const Cartesian z = Normalised(normal), x = Normalised(Cross(z, {0.1, 1.0, 0.3})), y = Cross(z, x);
    const auto add = [&](int scatterer, double angle, double radius) {
      const double t = angle * kRadiansPerDegree;
      Site site;
      site.scatterer = scatterer;
      site.x = metric.ToFractional(middle + radius * (std::cos(t) * x + std::sin(t) * y));
      s.sites.push_back(site);
    };
    for (int k = 0; k < 6; ++k) add(0, 60.0 * k, 1.39);
    add(0, 0.0, 2.90), add(1, 120.0, 2.75);
    middle = middle + Cartesian{0.4, 0.3, 5.5};
  }
  s.metric = MakeMetric(said);
  return s;
}

TEST(CellStrain, BondsTellWhichEdgeIsWrong) {
  const std::vector<Cartesian> three{{0.2, -0.3, 1.0}, {1.0, 0.2, -0.1}, {0.3, 1.0, 0.5}}, flat{{0, 0, 1}, {0, 0, 1}};
  const CellParameters monoclinic{14, 15, 22, 90, 104, 90}, hexagonal{19, 19, 22, 90, 90, 120};
  const std::vector<std::string> axis{"-x, y+1/2, -z"}, threefold{"-y, x-y, z", "-x+y, -x, z"};
  const struct {
    CellParameters real;
    std::array<double, 3> wrong;  // times each edge
    std::vector<std::string> symm;
    std::vector<Cartesian> normals;
    std::string said;
  } cases[] = {
      {monoclinic, {1, 1, 1}, axis, three, ""},
      {monoclinic, {1.02, 1, 0.98}, axis, three, ""},
      {monoclinic, {1.17, 1, 1}, axis, three, "long along a: check that edge of the cell"},
      {monoclinic, {1, 0.85, 1}, axis, three, "short along b: check that edge of the cell"},
      {hexagonal, {1.15, 1.15, 1}, threefold, three, "long along b: check these edges of the cell"},
      {hexagonal, {1, 1, 1.15}, threefold, three, "long along c: check that edge of the cell"},
      // Nothing has a bond along c.
      {monoclinic, {1, 1, 1.17}, axis, flat, ""},
  };
  for (const auto& c : cases) {
    CellParameters said = c.real;
    said.a *= c.wrong[0], said.b *= c.wrong[1], said.c *= c.wrong[2];
    const Structure s = Molecules(c.real, said, c.symm, c.normals);
    const CellStrain strain = FitCellStrain(s, std::vector<double>(s.sites.size(), 1.0));
    const std::string text = DescribeCellStrain(strain);
    EXPECT_EQ(text.empty(), c.said.empty()) << text;
    EXPECT_NE(text.find(c.said), std::string::npos) << text;
    for (size_t i = 0; i < 3 && !c.said.empty(); ++i) EXPECT_NEAR(strain.excess[i], c.wrong[i] - 1.0, 0.04) << c.said;
  }
  // What is there in part, and what has few bonds, says nothing.
  const Structure one = Molecules(monoclinic, {16.5, 15, 22, 90, 104, 90}, axis, {three[0]});
  EXPECT_EQ(FitCellStrain(one, std::vector<double>(one.sites.size(), 0.5)).lengths, 0u);
}

}  // namespace
}  // namespace marvik::phase
