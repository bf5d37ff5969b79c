#include <gtest/gtest.h>

#include "render_helpers.h"

namespace marvik::test {
namespace {

TEST(RenderWire, HalfBondsTakeTheColoursOfTheirAtoms) {
  Scene scene;
  scene.AddPair("C1", "O1");
  EXPECT_EQ(scene.Draw(),
            "clear #000000\n"
            "piece 300 299 315 299 #a9a9a9 w1\n"
            "piece 315 299 330 299 #cb4e4e w1\n");
  EXPECT_TRUE(scene.finished);
  // The frame leaves its positions behind for picking.
  const AtomRecord* oxygen = scene.document.atoms.tail;
  EXPECT_EQ(oxygen->screenX, 330);
  EXPECT_EQ(oxygen->screenY, 299);
  EXPECT_DOUBLE_EQ(oxygen->view.x, 0.1);
  // A pan moves the picture and the positions; halves of one colour are one piece.
  scene.document.atoms.tail->element = &scene.document.elements[6];
  scene.view.panX = 10;
  EXPECT_EQ(Only(scene.Draw(), "piece"), "piece 310 299 340 299 #a9a9a9 w1\n");
  EXPECT_EQ(oxygen->screenX, 340);
}

TEST(RenderWire, OutsideTheDepthSlabIsDimNotGone) {
  Scene scene;
  scene.Add("C1", 0, 0, 0);
  scene.Add("C2", -1.1, 0, -1.1);
  scene.Add("C3", -9.9, 9.9, 5);
  Connect(scene.document, scene.messages);
  // The bond runs from depth 0 to 0.1 and leaves the slab half-way.
  scene.view.depthNear = -0.05;
  scene.view.depthFar = 0.05;
  EXPECT_EQ(Only(scene.Draw(), "piece"),
            "piece 315 299 330 299 #656565 w1\n"
            "piece 566 568 572 568 #656565 w1\n"
            "piece 569 565 569 571 #656565 w1\n"
            "piece 300 299 315 299 #a9a9a9 w1\n");
}

TEST(RenderWire, MarksForWhatHasNoLine) {
  Scene scene;
  scene.Add("C1", 0, 0, 0);
  scene.Add("C2", 0, 0, 1.4);
  scene.Add("O9", 5.5, 0, 0);
  scene.Add("Q1", -5.5, 0, 0)->peakHeight = 0.8;
  scene.Add("Q2", -5.5, 3.3, 0)->peakHeight = -0.1;
  Connect(scene.document, scene.messages);
  const std::string drawn = scene.Draw();
  // A bond toward the viewer: two strokes of three pixels at its owner.
  EXPECT_NE(drawn.find("piece 299 298 301 298 #a9a9a9 w1\npiece 299 299 301 299 #a9a9a9 w1\n"), std::string::npos);
  // Water gets a cross, a peak a diamond the brighter the higher it is.
  EXPECT_NE(drawn.find("piece 147 299 153 299 #cb4e4e w1\npiece 150 296 150 302 #cb4e4e w1\n"), std::string::npos);
  EXPECT_NE(drawn.find("piece 447 299 450 296 #ffff00 w1\n"), std::string::npos);
  EXPECT_NE(drawn.find("piece 447 389 450 386 #71"), std::string::npos);
  scene.document.atoms.selection.Append(scene.document.atoms.head);
  EXPECT_NE(scene.Draw().find("piece 299 298 301 298 #ff50ff w1\n"), std::string::npos);
}

TEST(RenderWire, BondsToUnknownAtomsAreGreyOnScreenAndBlackOnPaper) {
  Scene scene;
  scene.AddPair("C1", "X1");
  EXPECT_NE(scene.Draw().find("piece 300 299 330 299 #808080 w1\n"), std::string::npos);
  scene.options.printing = true;
  const int16_t before = scene.document.atoms.tail->screenX;
  const std::string page = scene.Draw();
  // 0.1 view units are 1016 hundredths of a millimetre; the page is not cleared, and picking keeps its positions.
  EXPECT_NE(page.find("piece 9741 13716 10757 13716 #000000 w20\n"), std::string::npos);
  EXPECT_EQ(page.find("clear"), std::string::npos);
  EXPECT_EQ(scene.document.atoms.tail->screenX, before);
}

TEST(RenderWire, HiddenAtomsTakeTheirBondsWithThem) {
  Scene scene;
  scene.AddPair("C1", "C2");
  AtomRecord* second = scene.document.atoms.tail;
  const std::string alone = "piece 297 299 303 299 #a9a9a9 w1\npiece 300 296 300 302 #a9a9a9 w1\n";
  second->Set(kHidden, true);
  EXPECT_EQ(Only(scene.Draw(), "piece"), alone);
  second->Set(kHidden, false);
  second->part = 2;
  scene.document.atoms.hiddenParts = {2};
  EXPECT_EQ(Only(scene.Draw(), "piece"), alone);
  EXPECT_EQ(second->scratch, -1);
  scene.document.atoms.hiddenParts.clear();
  scene.document.atoms.displaySubset.Append(scene.document.atoms.head);
  EXPECT_EQ(Only(scene.Draw(), "piece"), alone);
}

TEST(RenderWire, OrdersStylesAndSelectedBonds) {
  Scene scene;
  BondRecord* bond = scene.AddPair("C1", "C2");
  ASSERT_NE(bond, nullptr);
  const int lines[] = {1, 2, 3, 2, 1};
  for (int order = kSingle; order <= kPi; ++order) {
    bond->SetOrder(order);
    scene.Draw();
    EXPECT_EQ(scene.canvas.Count("piece"), lines[order]) << order;
  }
  bond->SetOrder(kSingle);
  bond->SetStyle(kDashed);
  scene.document.atoms.selectedBonds.push_back(bond);
  EXPECT_EQ(Only(scene.Draw(), "piece"),
            "piece 300 299 330 299 #a9a9a9 w1 dashed\n"
            "piece 300 302 330 302 #ff50ff w1\npiece 300 296 330 296 #ff50ff w1\n");
}

// A vector figure keeps fractions of its units, to 1/25 at this size.
TEST(RenderWire, ExactPositionsForVectorFigures) {
  Scene scene;
  scene.options.exact = true;
  scene.AddPair("C1", "C2");
  EXPECT_EQ(Only(scene.Draw(), "line"), "line 300 299 329.92 299 #a9a9a9 w1\n");
}

}  // namespace
}  // namespace marvik::test
