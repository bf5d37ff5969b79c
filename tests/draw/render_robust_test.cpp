#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "render_helpers.h"

namespace marvik::test {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Draws in every mode, on the screen, on paper and exactly; false when a number was not finite or a radius negative.
bool AllFinite(Scene& scene) {
  bool good = true;
  scene.options.labels = scene.options.showCell = true;
  for (const int mode : {-1, 0, 1, 2, 3, 4}) {
    for (int i = 0; i < 3; ++i) {
      scene.options.mode = mode;
      scene.options.printing = i == 1;
      scene.options.exact = i == 2;
      const std::string drawn = scene.Draw();
      good = good && scene.finished && drawn.find("nan") == std::string::npos && drawn.find("r -") == std::string::npos;
    }
  }
  return good;
}

TEST(RenderRobust, EmptyModel) {
  Scene scene;
  EXPECT_TRUE(AllFinite(scene));
  scene.options = {};
  scene.options.mode = 7;
  EXPECT_EQ(scene.Draw(), "clear #000000\n");
}

TEST(RenderRobust, NothingButFiniteNumbersReachesTheCanvas) {
  Scene scene;
  scene.Add("C1", 0, 0, 0);
  scene.Add("C2", 0, 0, 0);
  scene.Add("C3", 1.2, kNan, 0);
  scene.Add("O1", kInfinity, 1, 1);
  scene.Add("O2", 1e300, -1e300, 1e300);
  scene.Add("N1", 1.0, 0.5, 0.2);
  scene.Add("", 1.0, 1.5, 0.2);
  scene.Add("Q1", 1.0, -0.5, 0.2)->peakHeight = kNan;
  scene.Add("Q2", 1.0, -0.9, 0.2)->peakHeight = kInfinity;
  Connect(scene.document, scene.messages);
  // Bonds to and between atoms that cannot be drawn.
  for (AtomRecord* atom : Atoms(scene.document.atoms)) {
    if (atom != scene.document.atoms.head)
      scene.document.atoms.AddBond(scene.document.atoms.head, atom, {0, 0}, 1, 0, 0.1f, 0, scene.messages);
    atom->uCount = 6;
    atom->labelOffsetX = std::numeric_limits<float>::quiet_NaN();
    scene.document.atoms.selection.Append(atom);
    ForEachOwnBond(atom, [&](AtomRecord*, BondRecord* bond) {
      scene.document.atoms.selectedBonds.push_back(bond);
      bond->width = bond->width > 0.05f ? 1e30f : 0.1f;
    });
  }
  const std::array<double, 6> tensors[] = {{1e6, 1e6, 1e6, 0, 0, 0},
                                           {1e-30, 1, 1, 0, 0, 0},
                                           {kNan, kNan, 0, 0, 0, 1},
                                           {kInfinity, 1, 1, 1, 1, 1},
                                           {1e200, 1e-200, 1, 0, 0, 0}};
  for (const auto& u : tensors) {
    for (AtomRecord* atom : Atoms(scene.document.atoms)) atom->u = u;
    EXPECT_TRUE(AllFinite(scene)) << u[0];
  }
  EXPECT_EQ(scene.document.atoms.FindAtom("C3")->scratch, -1);
  scene.document.elements[6].drawRadius = kNan;
  scene.document.elements[7].drawRadius = 1e30;
  scene.document.cell.a = kNan;
  scene.document.matrix.m[0] = kNan;
  scene.options.probability = kNan;
  EXPECT_TRUE(AllFinite(scene));
}

TEST(RenderRobust, ViewsOutOfProportion) {
  for (const double radius : {0.5, 1e-9, 1e9, 1e29}) {
    for (const double side : {0.0, 1.0, 7.0, 30000.0}) {
      Scene scene;
      scene.view.drawingSize = side;
      scene.view.FitView(radius, Cartesian{0.3, 0, 0});
      scene.view.panX = 1'000'000;
      scene.view.panY = -1'000'000;
      scene.Add("C1", 0, 0, 0)->uCount = 6;
      scene.Add("N1", 1, 1, 0);
      scene.Add("O1", 900, 1, 0);
      Connect(scene.document, scene.messages);
      EXPECT_TRUE(AllFinite(scene)) << radius << ' ' << side;
    }
  }
  Scene broken;
  broken.Add("C1", 0, 0, 0);
  broken.view.combined[0][0] = broken.view.viewRadius = broken.view.depthNear = kNan;
  EXPECT_TRUE(AllFinite(broken));
}

}  // namespace
}  // namespace marvik::test
