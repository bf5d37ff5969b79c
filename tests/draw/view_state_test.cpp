#include "draw/view/view_state.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "crystal/cell_metric.h"

#include "support/structures.h"

namespace marvik {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

void ExpectMatrix(const Matrix4& m, const Matrix4& expected) {
  for (size_t i = 0; i < 4; ++i) {
    for (size_t j = 0; j < 4; ++j) EXPECT_NEAR(m[i][j], expected[i][j], 1e-12) << i << ' ' << j;
  }
}

// Angle in degrees that a view has turned about the screen's z axis.
double TurnOf(const ViewState& view) {
  return std::atan2(view.modelview[1][0], view.modelview[0][0]) * kDegreesPerRadian;
}

TEST(ViewState, FitIsAPointReflectionWithAMargin) {
  ViewState view;
  view.drawingSize = 401.7;
  view.FitView(2.0, Cartesian{1, 2, 3});
  EXPECT_EQ(view.viewportWidth, 401);
  EXPECT_DOUBLE_EQ(view.halfExtent, 2.2);
  EXPECT_DOUBLE_EQ(view.viewRadius, 2.0);
  EXPECT_EQ(view.viewCentre, (Cartesian{1, 2, 3}));
  const ClipPoint corner = view.TransformPoint({2.2, 2.2, 2.2});
  for (const double v : {corner.p.x, corner.p.y, corner.p.z}) EXPECT_NEAR(v, -1.0, 1e-7);
  EXPECT_DOUBLE_EQ(view.depthFar, 50 * 2.0 / 401.7);
  EXPECT_DOUBLE_EQ(view.depthNear, -view.depthFar);

  for (const double radius : {0.5, 0.2, 0.0, -3.0, kNan}) {
    view.FitView(radius, std::nullopt);
    EXPECT_DOUBLE_EQ(view.viewRadius, 0.5) << radius;
  }
  view.FitView(1.0, Cartesian{kNan, 0, 0});
  EXPECT_EQ(view.viewCentre, (Cartesian{1, 2, 3}));
}

TEST(ViewState, RotationIsCutToTenthsOfADegree) {
  const struct {
    double angle;
    double turned;
  } cases[] = {{0.05, 0.0},    {-0.05, 0.0}, {-12.37, -12.3},  {12.37, 12.3}, {0.3, 0.3},        {0.7 - 0.4, 0.3},
               {-12.3, -12.3}, {16.1, 16.1}, {0.1 + 0.2, 0.3}, {4.35, 4.3},   {-0.0999999, 0.0}, {kNan, 0.0}};
  for (const auto& c : cases) {
    ViewState view;
    EXPECT_TRUE(view.RotateView(c.angle, {0, 0, 2.5}, true));
    EXPECT_NEAR(TurnOf(view), c.turned, 1e-9) << c.angle;
  }
  ViewState view;
  EXPECT_FALSE(view.RotateView(5.0, {0, 0, 0}, true));
  EXPECT_FALSE(view.RotateView(5.0, {kNan, 0, 1}, true));
  ExpectMatrix(view.combined, IdentityMatrix4());
}

TEST(ViewState, RotationIsRightHandedAndTurnsThePictureOrTheModel) {
  ViewState view;
  view.RotateView(90.0, {0, 0, 1}, true);
  view.RotateView(90.0, {1, 0, 0}, true);
  // x -> y by the first, y -> z by the second, about the screen's axes.
  const ClipPoint p = view.TransformPoint({1, 0, 0});
  EXPECT_NEAR(p.p.z, 1.0, 1e-12);
  EXPECT_NEAR(p.w, 1.0, 1e-12);
}

TEST(ViewState, PixelsRoundHalfAwayFlipAndStayWithin16Bits) {
  ViewState view;
  view.SetViewport(602.0f, 402.0f);
  view.viewportOffsetX = 3;
  view.viewportOffsetY = 5;
  view.deviceOriginX = 10;
  view.deviceOriginY = 20;
  const auto pixel = [&view](double x, double y, double w = 1.0) { return view.ToPixel({{x, y, 0}, w}); };
  EXPECT_EQ(pixel(0, 0).x, 0 + 3 + 201 + 10);
  EXPECT_EQ(pixel(0, 0).y, 602 - 1 - (5 + 301) + 20);
  EXPECT_EQ(pixel(0.5 / 200, 0).x, 1 + 214);
  EXPECT_EQ(pixel(-0.5 / 200, 0).x, -1 + 214);
  EXPECT_EQ(pixel(0.49 / 200, 0.49 / 300).x, 214);
  EXPECT_EQ(pixel(0, 1.0).y, pixel(0, 0).y - 300);
  EXPECT_EQ(pixel(2.0, 0, 2.0).x, pixel(1.0, 0).x);
  EXPECT_EQ(pixel(1e-6, 0, 0.0).x, pixel(1.0, 0).x);
  EXPECT_EQ(pixel(1e9, -1e9).x, 32767);
  EXPECT_EQ(pixel(1e9, -1e9).y, 32767);
  EXPECT_EQ(pixel(-1e300, 1e300).x, -32768);
  EXPECT_EQ(pixel(-1e300, 1e300).y, -32768);
  EXPECT_EQ(pixel(kNan, 0).x, -32768);
}

TEST(ViewState, SphereHoldsWhatIsDisplayed) {
  Document document;
  EXPECT_DOUBLE_EQ(SphereOfModel(document).radius, 0.5);
  test::AddAtomAt(document, "C1", {0, 0, 0});
  EXPECT_DOUBLE_EQ(SphereOfModel(document).radius, 0.5);
  test::AddAtomAt(document, "C2", {6, 0, 0});
  AtomRecord* far = test::AddAtomAt(document, "C3", {0, 3, 0});
  EXPECT_EQ(SphereOfModel(document).centre, (Cartesian{2, 1, 0}));
  EXPECT_DOUBLE_EQ(SphereOfModel(document).radius, std::sqrt(17.0));
  test::AddAtomAt(document, "C4", {kNan, 0, 0});
  EXPECT_DOUBLE_EQ(SphereOfModel(document).radius, std::sqrt(17.0));
  far->Set(kHidden, true);
  EXPECT_EQ(SphereOfModel(document).centre, (Cartesian{3, 0, 0}));
}

TEST(ViewState, ZoomOnTheSelectionIsAToggle) {
  Document document;
  test::AddAtomAt(document, "C1", {-20, 0, 0});
  AtomRecord* a = test::AddAtomAt(document, "C2", {4, 0, 0});
  AtomRecord* b = test::AddAtomAt(document, "C3", {4, 0, 6});
  AtomRecord* hidden = test::AddAtomAt(document, "C4", {100, 0, 0});
  hidden->Set(kHidden, true);
  ViewState view;
  ResetView(view, document);
  const double whole = view.viewRadius;
  view.panX = 11;
  view.panY = -12;
  document.atoms.selection.Append(a);
  EXPECT_FALSE(ToggleZoomOnSelection(view, document));
  EXPECT_FALSE(view.zoomedOnSelection);
  EXPECT_DOUBLE_EQ(view.viewRadius, whole);

  document.atoms.selection.Append(b);
  document.atoms.selection.Append(hidden);
  EXPECT_TRUE(ToggleZoomOnSelection(view, document));
  EXPECT_TRUE(view.zoomedOnSelection);
  EXPECT_EQ(view.viewCentre, (Cartesian{4, 0, 3}));
  EXPECT_DOUBLE_EQ(view.viewRadius, 3.0);
  view.panX = 99;
  EXPECT_TRUE(ToggleZoomOnSelection(view, document));
  EXPECT_FALSE(view.zoomedOnSelection);
  EXPECT_DOUBLE_EQ(view.viewRadius, whole);
  EXPECT_EQ(view.panX, 11);
  EXPECT_EQ(view.panY, -12);

  b->position = a->position;
  EXPECT_TRUE(ToggleZoomOnSelection(view, document));
  EXPECT_DOUBLE_EQ(view.viewRadius, 0.5);
  ToggleZoomOnSelection(view, document);
  a->Set(kHidden, true);
  b->Set(kHidden, true);
  EXPECT_FALSE(ToggleZoomOnSelection(view, document)) << "nothing displayed is selected";
}

TEST(ViewState, ZoomStepsAreNotInverse) {
  ViewState view;
  view.FitView(10.0, std::nullopt);
  ZoomByDrag(view, 0);
  EXPECT_DOUBLE_EQ(view.halfExtent, 11.0);
  ZoomByDrag(view, 3);
  EXPECT_NEAR(view.halfExtent, 11.0 * 0.9166667, 1e-5);
  ZoomByDrag(view, -1);
  EXPECT_NEAR(view.halfExtent, 11.0 * 0.9166667 * 1.2222222, 1e-5);
  for (int i = 0; i < 100; ++i) ZoomByDrag(view, 1);
  EXPECT_DOUBLE_EQ(view.viewRadius, 0.5);
  for (int i = 0; i < 2000; ++i) ZoomByDrag(view, -1);
  EXPECT_TRUE(std::isfinite(view.combined[0][0]) && view.combined[0][0] != 0.0);
}

TEST(ViewState, DragsDoWhatTheirModifiersSay) {
  const auto dragged = [](int dx, int dy, DragModifiers modifiers) {
    ViewState view;
    DragView(view, dx, dy, modifiers);
    return view;
  };
  const double sine = std::sin(10 * kRadiansPerDegree);
  EXPECT_NEAR(dragged(10, 0, {}).modelview[0][2], sine, 1e-12);
  EXPECT_NEAR(dragged(0, 10, {}).modelview[2][1], sine, 1e-12);
  EXPECT_NEAR(TurnOf(dragged(10, 55, {.control = true, .alt = true})), 10.0, 1e-9);
  ViewState view = dragged(4, -5, {.control = true});
  EXPECT_EQ(view.panX, 4);
  EXPECT_EQ(view.panY, -5);
  ExpectMatrix(view.modelview, IdentityMatrix4());
  DragView(view, 4, -5, {.alt = true});
  EXPECT_EQ(view.panX, 4);
  EXPECT_GT(view.viewRadius, 1.2);
  view.dragMode = 1;
  DragView(view, 1, 2, {});
  EXPECT_EQ(view.panX, 5);
  EXPECT_EQ(view.panY, -3);
  DragView(view, std::numeric_limits<int>::max(), std::numeric_limits<int>::min(), {});
  DragView(view, std::numeric_limits<int>::max(), std::numeric_limits<int>::min(), {});
}

TEST(ViewState, KeysAreDrags) {
  const struct {
    ViewKey key;
    bool shift;
    int panX, panY;
  } cases[] = {{ViewKey::PageUp, false, 0, -10}, {ViewKey::PageDown, true, 0, 10}, {ViewKey::Home, false, -10, 0},
               {ViewKey::End, true, 10, 0},      {ViewKey::Left, false, -1, 0},    {ViewKey::Left, true, -90, 0},
               {ViewKey::Right, false, 1, 0},    {ViewKey::Right, true, 90, 0},    {ViewKey::Up, false, 0, -1},
               {ViewKey::Up, true, 0, -90},      {ViewKey::Down, false, 0, 1},     {ViewKey::Down, true, 0, 90},
               {ViewKey::Insert, false, 0, 0},   {ViewKey::Delete, true, 0, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.key));
    ViewState pan, turned, expected;
    pan.dragMode = 1;
    PressViewKey(pan, c.key, c.shift);
    EXPECT_EQ(pan.panX, c.panX);
    EXPECT_EQ(pan.panY, c.panY);
    ExpectMatrix(pan.modelview, IdentityMatrix4());
    PressViewKey(turned, c.key, c.shift);
    DragView(expected, c.panX, c.panY, {});
    if (c.panX != 0 || c.panY != 0) ExpectMatrix(turned.modelview, expected.modelview);
  }
  ViewState view;
  PressViewKey(view, ViewKey::Insert, false);
  EXPECT_NEAR(TurnOf(view), -1.0, 1e-9);
  PressViewKey(view, ViewKey::Delete, true);
  EXPECT_NEAR(TurnOf(view), 89.0, 1e-9);
}

// The frame is mirrored in Z and the projection inverts; the picture must show neither. An amino acid of the L series:
// with the hydrogen in front, CO, R and N follow each other clockwise.
TEST(ViewState, PicturesShowTheTrueEnantiomer) {
  CellParameters cells[3];
  cells[1] = {7.1, 8.3, 11.2, 90.0, 104.0, 90.0};
  cells[2] = {6.2, 9.4, 12.1, 81.0, 97.0, 112.0};
  for (const CellParameters& cell : cells) {
    Document document;
    document.cell = cell;
    ASSERT_TRUE(BuildOrthogonalisation(cell, document.matrix));
    const auto add = [&](const char* name, const Cartesian& place) {
      return test::AddAtom(document, name, MakeMetric(cell).ToFractional(place) + Fractional{0.3, 0.2, 0.4});
    };
    const AtomRecord* n = add("N1", {0.9, 0.9, 0.9});
    const AtomRecord* co = add("C1", {0.9, -0.9, -0.9});
    const AtomRecord* r = add("C2", {-0.9, 0.9, -0.9});
    const AtomRecord* h = add("H1", {-0.9, -0.9, 0.9});
    ViewState view;
    ResetView(view, document);
    int hydrogenInFront = 0;
    for (int turn = 0; turn < 40; ++turn) {
      view.RotateView(37.0, {std::cos(turn), 1.0, std::sin(turn)}, true);
      const auto clip = [&](const AtomRecord* atom) { return view.TransformPoint(atom->position - view.viewCentre); };
      const PixelPoint p1 = view.ToPixel(clip(co));
      const PixelPoint p2 = view.ToPixel(clip(r));
      const PixelPoint p3 = view.ToPixel(clip(n));
      // With y downward a positive area is clockwise to the eye.
      const double clockwise = (p2.x - p1.x) * (p3.y - p1.y) - (p3.x - p1.x) * (p2.y - p1.y);
      const double inFront = clip(h).p.z - (clip(co).p.z + clip(r).p.z + clip(n).p.z) / 3.0;
      if (std::abs(clockwise) < 500.0 || std::abs(inFront) < 0.1) continue;
      EXPECT_EQ(clockwise > 0.0, inFront > 0.0) << turn;
      if (inFront > 0.0) ++hydrogenInFront;
    }
    EXPECT_GT(hydrogenInFront, 5);
  }
}

}  // namespace
}  // namespace marvik
