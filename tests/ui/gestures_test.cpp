#include <QLabel>
#include <QMenu>
#include <QNativeGestureEvent>
#include <QPointingDevice>
#include <QTest>
#include <QTimer>
#include <QWheelEvent>
#include <cmath>

#include "app/density.h"
#include "base/numbers.h"
#include "draw/view/view_state.h"

#include "window_fixture.h"

namespace marvik {
namespace {

using test::WindowTest;

class GesturesTest : public WindowTest {
 protected:
  GesturesTest() { Load(); }

  void Wheel(int delta, QPointF at = {300, 300}, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QWheelEvent event(at, area->mapToGlobal(at), {}, {0, delta}, Qt::NoButton, modifiers, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(area, &event);
  }
  // Does something with the menu that the next press of the right button opens.
  void InPopup(const std::function<void(QMenu&)>& act) {
    QTimer::singleShot(0, window.get(), [act] {
      auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
      ASSERT_NE(menu, nullptr);
      act(*menu);
    });
  }
  void ExpectSameView(const ViewState& expected) const {
    EXPECT_EQ(bench.view.modelview, expected.modelview);
    EXPECT_EQ(bench.view.viewRadius, expected.viewRadius);
    EXPECT_EQ(bench.view.panX, expected.panX);
    EXPECT_EQ(bench.view.panY, expected.panY);
  }
};

TEST_F(GesturesTest, ClickSelectsAndDeselects) {
  Click(At("C1"));
  Click(At("O1") + QPointF(3, -3));
  EXPECT_EQ(SelectedNames(), "C1 O1");
  Click(At("C1"));
  Click({10, 10});
  EXPECT_EQ(SelectedNames(), "O1");
  Click(Between("C1", "C2"));
  EXPECT_EQ(bench.document.atoms.selectedBonds.size(), 1u);
  Click(Between("C1", "C2"));
  EXPECT_TRUE(bench.document.atoms.selectedBonds.empty());
  // A shaky one is no drag, and the picture does not flash.
  const ViewState before = bench.view;
  Drag({At("Q1"), At("Q1") + QPointF(1, 1), At("Q1") + QPointF(0, 2)}, {}, Qt::LeftButton,
       [this] { EXPECT_FALSE(area->IsDragging()); });
  EXPECT_EQ(SelectedNames(), "O1 Q1");
  ExpectSameView(before);
}

TEST_F(GesturesTest, DragTurnsADegreeForEachPixelInWireFrame) {
  ViewState expected = bench.view;
  expected.RotateView(7, {0, 1, 0}, true);
  expected.RotateView(4, {1, 0, 0}, true);
  expected.RotateView(13, {0, 1, 0}, true);
  expected.RotateView(-2, {1, 0, 0}, true);
  bench.RenditionMode = kPipes;
  area->Redraw();
  Settle();
  QImage during;
  Drag({{100, 100}, {107, 104}, {120, 102}}, {}, Qt::LeftButton, [&] {
    EXPECT_TRUE(area->IsDragging());
    EXPECT_EQ(bench.RenditionMode, kPipes);
    during = area->Frame().copy();
  });
  ExpectSameView(expected);
  EXPECT_EQ(SelectedNames(), "");
  const QImage after = area->Frame().copy();
  EXPECT_NE(during, after);
  bench.RenditionMode = kWireFrame;
  area->Redraw();
  Settle();
  EXPECT_EQ(during, area->Frame());
}

TEST_F(GesturesTest, WithInertiaAViewThatIsLetGoTurnsOnUntilItIsTouched) {
  const auto throws = [this] {
    Drag({{100, 100}, {110, 100}, {125, 100}, {140, 100}});
    const auto released = bench.view.modelview;
    return QTest::qWaitFor([&] { return bench.view.modelview != released; }, 150);
  };
  EXPECT_FALSE(throws()) << "not unless it is wanted";
  window->Run(kInertiaCommand, "on");
  EXPECT_TRUE(throws());
  Mouse(QEvent::MouseButtonPress, {300, 500}, Qt::LeftButton, Qt::LeftButton);
  const auto stopped = bench.view.modelview;
  QTest::qWait(60);
  EXPECT_EQ(bench.view.modelview, stopped);
  Mouse(QEvent::MouseButtonRelease, {300, 500}, Qt::LeftButton, Qt::NoButton);
}

TEST_F(GesturesTest, ModifiersMoveZoomAndTurnAboutTheViewingAxis) {
  const int ratio = static_cast<int>(area->devicePixelRatioF());
  ViewState expected = bench.view;
  expected.panX += 30 * ratio;
  expected.panY -= 12 * ratio;
  Drag({{100, 100}, {130, 88}}, Qt::ControlModifier);
  ExpectSameView(expected);

  ZoomByDrag(expected, 8);
  ZoomByDrag(expected, -2);
  Drag({{100, 100}, {100, 108}, {100, 106}, {103, 106}}, Qt::AltModifier);
  ExpectSameView(expected);

  expected.RotateView(25, {0, 0, 1}, true);
  Drag({{100, 100}, {125, 140}}, Qt::ControlModifier | Qt::AltModifier);
  ExpectSameView(expected);

  Drag({{100, 100}, {110, 105}}, {}, Qt::MiddleButton, [this] { EXPECT_FALSE(area->IsDragging()); });
  expected.panX += 10 * ratio;
  expected.panY += 5 * ratio;
  ExpectSameView(expected);

  window->Run(kPanCommand);  // takes the panning back
  Drag({{100, 100}, {90, 140}});
  EXPECT_EQ(bench.view.panX, -10 * ratio);
  EXPECT_EQ(bench.view.panY, 40 * ratio);
}

TEST_F(GesturesTest, RubberBandTogglesWhatLiesInside) {
  Click(At("C1"));
  const QImage plain = area->grab().toImage();
  const QPointF corner = At("C1") - QPointF(20, 20);
  const QPointF opposite = At("C2") + QPointF(20, 20);
  const QPointF low(std::min(corner.x(), opposite.x()) - 30, std::min(corner.y(), opposite.y()) - 30);
  const QPointF high(std::max(corner.x(), opposite.x()) + 30, std::max(corner.y(), opposite.y()) + 30);
  Drag({high, {300, 300}, low}, Qt::ShiftModifier, Qt::LeftButton, [&] {
    const QImage banded = area->grab().toImage();
    const QPointF side = area->ToDevice({low.x(), (low.y() + high.y()) / 2});
    const QPoint edge(static_cast<int>(side.x()), static_cast<int>(side.y()));
    EXPECT_EQ(banded.pixel(edge) ^ plain.pixel(edge), 0x00ffffffu);
    EXPECT_FALSE(area->IsDragging());
  });
  EXPECT_EQ(SelectedNames(), "C2");

  // Escape while the button is down takes it back.
  Mouse(QEvent::MouseButtonPress, {1, 1}, Qt::LeftButton, Qt::LeftButton, Qt::ShiftModifier);
  Mouse(QEvent::MouseMove, {599, 599}, Qt::NoButton, Qt::LeftButton, Qt::ShiftModifier);
  QTest::keyClick(area, Qt::Key_Escape);
  Mouse(QEvent::MouseButtonRelease, {599, 599}, Qt::LeftButton, Qt::NoButton, Qt::ShiftModifier);
  EXPECT_EQ(SelectedNames(), "C2");
  Drag({{1, 1}, {599, 599}}, Qt::ShiftModifier);
  EXPECT_EQ(SelectedNames(), "C1 O1 Q1");
}

TEST_F(GesturesTest, WheelZoomsBySharesOfAStepThatUndoEachOther) {
  const double start = bench.view.viewRadius;
  Wheel(120);
  EXPECT_NEAR(bench.view.viewRadius, start * 11 / 12, 1e-9);
  Wheel(30);
  EXPECT_NEAR(bench.view.viewRadius, start * std::pow(11.0 / 12, 1.25), 1e-9);
  Wheel(90);
  EXPECT_NEAR(bench.view.viewRadius, start * 121 / 144, 1e-9);
  Wheel(-240);
  EXPECT_NEAR(bench.view.viewRadius, start, 1e-9);
}

TEST_F(GesturesTest, WithShiftTheWheelCutsTheModelByDepth) {
  const double start = bench.view.viewRadius;
  Wheel(-120, {300, 300}, Qt::ShiftModifier);
  ASSERT_TRUE(bench.view.IsClipped());
  const double front = bench.view.clipFront;
  EXPECT_NEAR(bench.view.clipBack, -front, 1e-9);
  Wheel(120, {300, 300}, Qt::ShiftModifier | Qt::ControlModifier);
  EXPECT_NEAR(bench.view.clipFront, front + 0.25, 1e-9);
  EXPECT_NEAR(bench.view.clipBack, 0.25 - front, 1e-9);
  for (int i = 0; i < 12; ++i) Wheel(120, {300, 300}, Qt::ShiftModifier);
  EXPECT_FALSE(bench.view.IsClipped());
  EXPECT_EQ(bench.view.viewRadius, start);
}

TEST_F(GesturesTest, WithCtrlTheWheelSetsTheLevelOfDensityWhereThatIsShown) {
  std::string reflections;
  for (int h = 1; h < 9; ++h)
    for (int k = 0; k < 9; ++k)
      reflections += Printf("%4d%4d%4d%8.2f%8.2f\n", h, k, 1 + (h + k) % 5, 20.0 + 3.0 * h, 1.0);
  scratch.Put("model.hkl", reflections);
  const double start = bench.view.viewRadius;
  Wheel(120, {300, 300}, Qt::ControlModifier);
  EXPECT_LT(bench.view.viewRadius, start) << "without density it zooms";
  const double zoomed = bench.view.viewRadius;
  window->Run(kDensityCommand);
  ASSERT_TRUE(Until([&] { return bench.density->data.map != nullptr; }));
  const double level = bench.density->Threshold();
  Wheel(120, {300, 300}, Qt::ControlModifier);
  EXPECT_NEAR(bench.density->Threshold(), 1.15 * level, 1e-6);
  Wheel(-120, {300, 300}, Qt::ControlModifier);
  EXPECT_NEAR(bench.density->Threshold(), level, 1e-6);
  EXPECT_EQ(bench.view.viewRadius, zoomed);
}

TEST_F(GesturesTest, AClickOnTheEndOfAContactGrowsWhatIsThere) {
  const int grow = FindCommand("grow-contact")->id;
  const std::string path = scratch.Put(
      "bond.res",
      "TITL bond\nCELL 0.71073 2.8 10 10 90 90 90\nZERR 1 0 0 0 0 0 0\nLATT -1\nSFAC C H O\nUNIT 2 1 1\nFVAR 1.0\n"
      "C1 1 0.1 0.1 0.5 11.0 0.04\nC2 1 0.1 0.9 0.5 11.0 0.04\nO1 3 0.1 0.5 0.5 11.0 0.05\n"
      "H1 2 0.443 0.5 0.5 11.0 0.05\nHKLF 4\nEND\n");
  bench.FmolAfterChanges = false;
  ASSERT_EQ(window->Run(kReadFileCommand, path), Outcome::Done);
  const Cartesian next = bench.document.matrix * Fractional{1.1, 0.5, 0.5};
  Settle();
  Click(area->PlaceOf(next));
  EXPECT_EQ(bench.document.atoms.LiveCount(), 4u) << "nothing is there as long as no contacts are drawn";
  window->Run(kHydrogenBondsCommand, "on");
  Settle();
  Click(area->PlaceOf(next));
  EXPECT_EQ(bench.document.atoms.LiveCount(), 6u);
  EXPECT_NEAR(Distance(bench.document.atoms.tail->prev->position, next), 0.0, 1e-6);
  EXPECT_EQ(window->Run(grow, "O1 9_555"), Outcome::Failed) << "there is no such operator";
  EXPECT_EQ(window->Run(grow, "O9 1_655"), Outcome::Failed);
  EXPECT_EQ(window->Run(grow, "O1"), Outcome::Failed);
  window->Run(kUndoCommand);
  EXPECT_EQ(bench.document.atoms.LiveCount(), 4u);
}

TEST_F(GesturesTest, ZoomKeepsWhatIsUnderThePointer) {
  window->Run(kDarkLookCommand);
  Settle();
  const QPointF place = At("O1");
  const QPoint before(bench.view.panX, bench.view.panY);
  for (const int delta : {120, 240, 50}) Wheel(delta, place);
  Settle();
  EXPECT_LT((At("O1") - place).manhattanLength(), 3.0);
  Wheel(-410, place);
  EXPECT_EQ(QPoint(bench.view.panX, bench.view.panY), before);
}

TEST_F(GesturesTest, TwoFingersMoveAndAPinchZooms) {
  const int ratio = static_cast<int>(area->devicePixelRatioF());
  const QPointF at(200, 250);
  const auto fingers = [&](Qt::KeyboardModifiers modifiers) {
    QWheelEvent event(at, area->mapToGlobal(at), {12, -7}, {48, -28}, Qt::NoButton, modifiers, Qt::ScrollUpdate, false);
    QCoreApplication::sendEvent(area, &event);
  };
  const double start = bench.view.viewRadius;
  fingers({});
  EXPECT_EQ(QPoint(bench.view.panX, bench.view.panY), QPoint(12, -7) * ratio);
  EXPECT_EQ(bench.view.viewRadius, start);
  fingers(Qt::ControlModifier);
  EXPECT_GT(bench.view.viewRadius, start);
  EXPECT_EQ(bench.view.panX, 12 * ratio);
  // On a touch pad, then on a screen.
  const double before = bench.view.viewRadius;
  QNativeGestureEvent pinch(Qt::ZoomNativeGesture, QPointingDevice::primaryPointingDevice(), 2, at, at,
                            area->mapToGlobal(at), 0.25, {});
  QCoreApplication::sendEvent(area, &pinch);
  EXPECT_NEAR(bench.view.viewRadius, before / 1.25, 1e-9);
  QPointingDevice* screen = QTest::createTouchDevice();
  QTest::touchEvent(area, screen).press(0, {250, 300}).press(1, {350, 300});
  for (int step = 1; step <= 10; ++step)
    QTest::touchEvent(area, screen).move(0, {250 - 5 * step, 300}).move(1, {350 + 5 * step, 300});
  QTest::touchEvent(area, screen).release(0, {200, 300}).release(1, {400, 300});
  EXPECT_NEAR(bench.view.viewRadius, before / 1.25 / 2.0, 0.1 * before);
  EXPECT_LT(bench.view.viewRadius, before / 1.25 / 1.5);
}

TEST_F(GesturesTest, PicksWhatIsDrawnFrontFirst) {
  window->Run(kBallAndStickCommand);
  AtomRecord* c1 = Atom("C1");
  AtomRecord* o1 = Atom("O1");
  o1->position = c1->position;
  o1->position.z += 2.0;  // along the line of sight
  area->Redraw();
  Settle();
  ASSERT_LT((At("O1") - At("C1")).manhattanLength(), 3.0);
  AtomRecord* front = o1->view.z > c1->view.z ? o1 : c1;
  const QPointF place = At(front->name.c_str());
  EXPECT_EQ(area->HitAt(place).atom, front);
  EXPECT_EQ(area->HitAt(place + QPointF(3, 2)).atom, front) << "anywhere in its disc";
  EXPECT_TRUE(area->HitAt(Between("C1", "C2")).bond);
  front->Set(kHidden, true);
  area->Redraw();
  Settle();
  EXPECT_EQ(area->HitAt(place).atom, front == o1 ? c1 : o1);
  // A label is its atom.
  const auto& labels = bench.renderer.Labels();
  ASSERT_FALSE(labels.empty());
  const PlacedLabel label = labels.front();
  const QPointF middle(label.at.x + label.size.x / 2, label.at.y - label.size.y / 2);
  EXPECT_EQ(area->HitAt(area->FromDevice(middle)).atom, label.atom);
}

TEST_F(GesturesTest, LettersActOnTheAtomUnderThePointer) {
  const uint32_t serial = Atom("C1")->serial;
  Mouse(QEvent::MouseMove, At("C1"), Qt::NoButton, Qt::NoButton);
  QTest::qWait(40);
  QTest::keyClick(area, Qt::Key_O);
  Settle();
  ASSERT_TRUE(bench.document.atoms.FindSerial(serial));
  EXPECT_EQ(bench.document.atoms.FindSerial(serial)->element->Symbol(), "O");
  EXPECT_EQ(bench.document.atoms.FindSerial(serial)->name, "O2") << "O1 is there";
  QTest::keyClick(area, Qt::Key_K);
  Settle();
  EXPECT_FALSE(bench.document.atoms.FindSerial(serial));
  EXPECT_EQ(bench.history.UndoNames().size(), 2u);
  // Away from all atoms on what is selected, in one step.
  window->Run(kUndoCommand);
  window->Run(FindCommand("select")->id, "O1 O2");
  Mouse(QEvent::MouseMove, {2, 2}, Qt::NoButton, Qt::NoButton);
  QTest::qWait(40);
  QTest::keyClick(area, Qt::Key_C);
  Settle();
  EXPECT_EQ(bench.document.atoms.FindSerial(serial)->element->Symbol(), "C");
  EXPECT_FALSE(Atom("O1"));
  window->Run(kUndoCommand);
  EXPECT_TRUE(Atom("O1") && Atom("O2"));
  // With Shift on all that is bonded to it; what was selected is so still.
  Mouse(QEvent::MouseMove, At("C2"), Qt::NoButton, Qt::NoButton);
  QTest::keyClick(area, Qt::Key_K, Qt::ShiftModifier);
  Settle();
  EXPECT_TRUE(Atom("O1") && !Atom("O2") && !Atom("C2"));
  EXPECT_EQ(bench.document.atoms.selection.Size(), 1u);
}

TEST_F(GesturesTest, KeysActOnTheView) {
  // In the order of ViewKey.
  constexpr Qt::Key kKeys[] = {Qt::Key_PageUp, Qt::Key_PageDown, Qt::Key_Home, Qt::Key_End,    Qt::Key_Left,
                               Qt::Key_Right,  Qt::Key_Up,       Qt::Key_Down, Qt::Key_Insert, Qt::Key_Delete};
  for (int i = 0; i < 20; ++i) {
    ViewState expected = bench.view;
    PressViewKey(expected, static_cast<ViewKey>(i / 2), i % 2);
    QTest::keyClick(area, kKeys[i / 2], i % 2 ? Qt::ShiftModifier : Qt::NoModifier);
    ExpectSameView(expected);
  }
  QTest::keyClick(area, Qt::Key_Right, Qt::ControlModifier | Qt::ShiftModifier);
  QTest::keyClick(area, Qt::Key_Up, Qt::ControlModifier);
  EXPECT_EQ(bench.view.panX, 90);
  EXPECT_EQ(bench.view.panY, -1);

  ViewState expected = bench.view;
  ZoomByDrag(expected, 1);
  QTest::keyClick(area, Qt::Key_Plus, Qt::KeypadModifier);
  ExpectSameView(expected);
  ZoomByDrag(expected, -1);
  QTest::keyClick(area, Qt::Key_Minus, Qt::KeypadModifier);
  ExpectSameView(expected);
}

TEST_F(GesturesTest, BondWithTakesAClickedTarget) {
  const auto bonded = [this] { return bench.document.atoms.FindBond(Atom("C2"), Atom("O1")) != nullptr; };
  window->Run(237);
  ASSERT_EQ(robot.seen.size(), 1);
  EXPECT_EQ(robot.seen[0].text, "You must select at least one atom to bind to a target.");
  EXPECT_FALSE(window->Input().PickPending());

  Click(At("C2"));
  window->Run(237);
  EXPECT_EQ(area->cursor().shape(), Qt::CrossCursor);
  Click({10, 10});
  QTest::keyClick(area, Qt::Key_Enter);  // nothing named yet
  EXPECT_TRUE(window->Input().PickPending());
  Click(At("O1"));
  QTest::keyClick(area, Qt::Key_Escape);
  QTest::keyClick(area, Qt::Key_Return);
  EXPECT_FALSE(window->Input().PickPending());
  EXPECT_EQ(area->cursor().shape(), Qt::ArrowCursor);
  EXPECT_FALSE(bonded());

  window->Run(237);
  Click(At("Q1"));  // not that one
  Click(At("O1"));
  EXPECT_FALSE(bonded());
  QTest::keyClick(area, Qt::Key_Return);
  EXPECT_TRUE(bonded());
  EXPECT_EQ(bench.document.atoms.bindPairs.pairs.size(), 1u);
  EXPECT_EQ(SelectedNames(), "C2");

  // From the menu of an atom that atom is meant, and a second click confirms.
  InPopup([](QMenu& menu) {
    menu.setActiveAction(menu.actions()[2]);
    QTest::keyClick(&menu, Qt::Key_Return);
  });
  Mouse(QEvent::MouseButtonPress, At("Q1"), Qt::RightButton, Qt::RightButton);
  EXPECT_TRUE(window->Input().PickPending());
  EXPECT_EQ(bench.PickedAtom(), nullptr);
  Click(At("O1"));
  Click(At("O1"));
  EXPECT_NE(bench.document.atoms.FindBond(Atom("Q1"), Atom("O1")), nullptr);
}

TEST_F(GesturesTest, LabelsMoveByDragsAndArrowKeys) {
  const auto start = [this] {
    bench.PickAtom(Atom("O1"));
    window->Run(kPositionLabelCommand);
    bench.ClearPick();
  };
  const ViewState before = bench.view;
  start();
  ASSERT_TRUE(window->Input().LabelPending());
  const float x = Atom("O1")->labelOffsetX;
  const float y = Atom("O1")->labelOffsetY;
  EXPECT_NE(x, 0.0f);  // where the program had put it
  Drag({{100, 100}, {110, 120}});
  EXPECT_NEAR(Atom("O1")->labelOffsetX, x + 0.025, 1e-6);
  EXPECT_NEAR(Atom("O1")->labelOffsetY, y - 0.05, 1e-6);
  Drag({{10, 100}, {590, 100}});  // too far for one axis, none for the other
  EXPECT_NEAR(Atom("O1")->labelOffsetX, x + 0.025, 1e-6);
  for (const Qt::Key key : {Qt::Key_Left, Qt::Key_Right, Qt::Key_Right, Qt::Key_Up, Qt::Key_Down}) {
    QTest::keyClick(area, key);
  }
  EXPECT_NEAR(Atom("O1")->labelOffsetX, x + 0.03, 1e-6);
  EXPECT_NEAR(Atom("O1")->labelOffsetY, y - 0.055, 1e-6);
  ExpectSameView(before);
  QTest::keyClick(area, Qt::Key_Escape);
  EXPECT_EQ(Atom("O1")->labelOffsetX, 0.0f);
  EXPECT_EQ(Atom("O1")->flags2 & kLabelPlaced, 0);

  // A command that changes the structure puts it back first.
  start();
  QTest::keyClick(area, Qt::Key_Up);
  window->Run(kOpenCommand);
  EXPECT_FALSE(window->Input().LabelPending());
  EXPECT_EQ(Atom("O1")->labelOffsetX, 0.0f);

  start();
  for (int i = 0; i < 200; ++i) QTest::keyClick(area, Qt::Key_Down);
  EXPECT_EQ(Atom("O1")->labelOffsetY, -0.5f);
  QTest::keyClick(area, Qt::Key_Return);
  EXPECT_FALSE(window->Input().LabelPending());
  EXPECT_EQ(Atom("O1")->labelOffsetY, -0.5f);
  EXPECT_EQ(SelectedNames(), "");
  window->Run(kUndoCommand);
  EXPECT_EQ(Atom("O1")->labelOffsetY, 0.0f);
  EXPECT_EQ(Atom("O1")->flags2 & kLabelPlaced, 0);
}

TEST_F(GesturesTest, RightButtonOpensTheMenuOfWhatLiesThere) {
  bench.LabelsOn = false;
  bench.ShowCell = true;
  const auto opened = [this](QPointF at) {
    std::string text;
    InPopup([&](QMenu& menu) {
      // The screen of a test has room for the menu at one resolution only.
      if (bench.PickedAtom() && area->devicePixelRatioF() == 1.0) {
        EXPECT_EQ(menu.pos(), area->mapToGlobal(At(bench.PickedAtom()->name.c_str()).toPoint()));
      }
      text = menu.actions()[1]->text().toStdString();
      for (const QAction* action : menu.actions())
        text += action->isChecked() ? "*" : action->isSeparator() ? "-" : ".";
      menu.close();
    });
    Mouse(QEvent::MouseButtonPress, at, Qt::RightButton, Qt::RightButton);
    EXPECT_TRUE(!bench.PickedAtom() && !bench.PickedBond());
    return text;
  };
  EXPECT_EQ(opened(At("O1") + QPointF(2, 2)), "&Uniq.....-....-..-.-....");
  EXPECT_EQ(opened(Between("C1", "C2")), "&Info.....-.-..");
  EXPECT_EQ(opened({5, 5}), "&Ball and Stick\tCtrl+2*...-...*-......");
}

TEST_F(GesturesTest, PointerTellsWhatLiesUnderIt) {
  QString text;
  QObject::connect(&window->Input(), &InputController::StatusText, window.get(), [&](const QString& t) { text = t; });
  const auto hover = [&](QPointF at) {
    text.clear();
    Mouse(QEvent::MouseMove, at, Qt::NoButton, Qt::NoButton);
    Until([&] { return !text.isEmpty(); });
    return text.toStdString();
  };
  // Both ends of a bond name each other.
  EXPECT_TRUE(hover(At("C1")).ends_with("   – C2 1.500")) << hover(At("C1"));
  EXPECT_TRUE(hover(At("C2")).ends_with("   – C1 1.500")) << hover(At("C2"));
  EXPECT_EQ(hover(At("O1")), "O1   O   0.7000 0.4000 0.5000   Uiso 0.0500 Å²");
  EXPECT_EQ(hover(At("Q1")), "Q1   peak of 1.25 e/Å³   0.6000 0.7500 0.5000");
  EXPECT_EQ(hover(Between("C1", "C2")), "C1 – C2   1.500 Å");
  Mouse(QEvent::MouseMove, {590, 10}, Qt::NoButton, Qt::NoButton);
  EXPECT_TRUE(Until([&] { return text.isEmpty(); }));
}

}  // namespace
}  // namespace marvik
