#include "draw/view/best_view.h"

#include <gtest/gtest.h>

#include "base/mat3.h"
#include "crystal/cell_metric.h"

#include "render_helpers.h"

namespace marvik::test {
namespace {

// A flat strip of atoms, 8 by 2 Å, thin in the third direction, turned anyhow.
void AddStrip(Scene& scene) {
  for (int i = 0; i < 9; ++i) {
    const Cartesian at{0.6 * i - 2.4 + (i % 2) * 0.9, 0.5 * i - 2.0 - (i % 2) * 1.1, 0.4 * i + 6.0};
    scene.Add(Numbered("C", i + 1), at.x, at.y, at.z);
  }
}

TEST(BestView, FacesThePlaneWithTheLongestAxisAcross) {
  Scene scene(kBallAndStick);
  AddStrip(scene);
  FaceBestPlane(scene.view, scene.document);
  FitFrame(scene.view, scene.document, scene.options);
  scene.Draw();
  ViewPoint low{9, 9, 9};
  ViewPoint high{-9, -9, -9};
  for (const AtomRecord* atom : Atoms(scene.document.atoms)) {
    low = {std::min(low.x, atom->view.x), std::min(low.y, atom->view.y), std::min(low.z, atom->view.z)};
    high = {std::max(high.x, atom->view.x), std::max(high.y, atom->view.y), std::max(high.z, atom->view.z)};
  }
  EXPECT_GT(high.x - low.x, 3.0 * (high.y - low.y));
  EXPECT_GT(high.y - low.y, 3.0 * (high.z - low.z));
  EXPECT_NEAR(high.x, -low.x, 1e-9) << "in the middle";
  EXPECT_GT(high.x, 0.6);
  EXPECT_LT(high.x, 1.0);
  // A proper rotation: what is left handed stays so.
  Mat3 turn;
  for (int i = 0; i < 3; ++i)
    for (size_t j = 0; j < 3; ++j) turn[i][j] = scene.view.modelview[static_cast<size_t>(i)][j];
  EXPECT_NEAR(Determinant(turn), 1.0, 1e-9);
}

TEST(BestView, TheFrameHoldsWhatIsDrawnAndTheCell) {
  for (const int mode : {kWireFrame, kBallAndStick, kThermalEllipsoid}) {
    for (const bool cell : {false, true}) {
      Scene scene(mode);
      AddStrip(scene);
      scene.document.cell = {12, 14, 9, 90, 105, 90};
      BuildOrthogonalisation(scene.document.cell, scene.document.matrix);
      scene.options.showCell = cell;
      scene.view.RotateView(33, {1, 2, 3}, true);
      FitFrame(scene.view, scene.document, scene.options);
      scene.Draw();
      for (const AtomRecord* atom : Atoms(scene.document.atoms)) {
        EXPECT_GT(atom->screenX, 5);
        EXPECT_LT(atom->screenX, 595);
        EXPECT_GT(atom->screenY, 5);
        EXPECT_LT(atom->screenY, 595);
      }
      for (int i = 0; cell && i < 8; ++i) {
        const Fractional corner{i & 1 ? 1.0 : 0.0, i & 2 ? 1.0 : 0.0, i & 4 ? 1.0 : 0.0};
        const ClipPoint p = scene.view.TransformPoint(scene.document.matrix * corner - scene.view.viewCentre);
        EXPECT_LT(std::max(std::abs(p.p.x), std::abs(p.p.y)), 0.93);
      }
    }
  }
}

TEST(BestView, OneAtomNoneAndLinesHaveAViewToo) {
  for (int count = 0; count < 4; ++count) {
    Scene scene(kBallAndStick);
    for (int i = 0; i < count; ++i) scene.Add(Numbered("O", i + 1), 1.5 * i, 1.5 * i, 0);
    FaceBestPlane(scene.view, scene.document);
    FitFrame(scene.view, scene.document, scene.options);
    EXPECT_GE(scene.view.viewRadius, 0.5);
    EXPECT_EQ(scene.Draw().find("nan"), std::string::npos);
    if (count == 3) {
      EXPECT_EQ(scene.document.atoms.head->screenY, scene.document.atoms.tail->screenY) << "across";
    }
  }
}

// Outside the classic look peaks are marks without bonds, and no hydrogen is larger than an ellipsoid.
TEST(BestView, PaperShowsPeaksAndHydrogensSmall) {
  Scene scene(kThermalEllipsoid);
  AtomRecord* carbon = scene.AddEllipsoid("C1", 0, 0, 0, {0.002, 0.002, 0.002, 0, 0, 0});
  scene.Add("H1", 0.9, 0, 0);
  scene.Add("Q1", 0, 0.9, 0);
  Connect(scene.document, scene.messages);
  EXPECT_EQ(scene.Draw().find("polyline"), std::string::npos);
  scene.options.look = Look::Paper;
  const std::string paper = scene.Draw();
  EXPECT_NE(paper.find("polyline"), std::string::npos);
  EXPECT_EQ(paper.find("polygon"), std::string::npos);
  EXPECT_NE(paper.find("clear #ffffff"), std::string::npos) << paper;
  scene.options.layout = scene.options.labels = true;
  scene.Draw();
  EXPECT_EQ(scene.renderer.Layout().bonds.size(), 1u);
  double ellipsoid = 0.0;
  double hydrogen = 1e9;
  for (const FrameLayout::Body& body : scene.renderer.Layout().bodies) {
    if (body.atom == carbon) ellipsoid = std::hypot(body.shape.p.x, body.shape.p.y);
    if (body.atom->name == "H1") hydrogen = body.shape.p.x;
  }
  EXPECT_LE(hydrogen, ellipsoid + 0.5);
}

}  // namespace
}  // namespace marvik::test
