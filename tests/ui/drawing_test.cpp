#include <QMessageBox>
#include <QTest>
#include <algorithm>

#include "window_fixture.h"

namespace marvik {
namespace {

class DrawingTest : public test::WindowTest {
 protected:
  static bool IsBlank(const QImage& image) {
    QImage black(image.size(), QImage::Format_RGB32);
    black.fill(Qt::black);
    return image.convertToFormat(QImage::Format_RGB32) == black;
  }
  // Many long-lived atoms, so that a frame asks often enough whether to go on.
  void LoadMany(int count) {
    std::string text = "TITL many\nCELL 0.7 90 90 90 90 90 90\nLATT -1\nSFAC C\nUNIT 1\n";
    for (int i = 0; i < count; ++i) {
      text += "C" + std::to_string(i) + " 1 " + std::to_string(i % 30 / 30.0) + " " +
              std::to_string(i / 30 % 30 / 30.0) + " " + std::to_string(i / 900 / 30.0) + " 11.0 0.05\n";
    }
    ASSERT_EQ(window->Run(kReadFileCommand, scratch.Put("many.res", text + "HKLF 4\nEND\n")), Outcome::Done);
  }
};

TEST_F(DrawingTest, ManyRequestsMakeOneFrameAndAnUnchangedOneIsShownAgain) {
  Load();
  const int before = area->FramesDrawn();
  for (int i = 0; i < 5; ++i) area->Redraw();
  Settle();
  EXPECT_EQ(area->FramesDrawn(), before + 1);
  area->repaint();
  area->grab();
  EXPECT_EQ(area->FramesDrawn(), before + 1);
}

TEST_F(DrawingTest, ALitModelIsCoarseWhileItMovesAndWholeAtRest) {
  Load();
  window->Run(kLitCommand);
  bench.LabelsOn = false;
  area->Redraw();
  Settle();
  const QImage whole = area->Frame().copy();
  area->RedrawMoving();
  Settle();
  EXPECT_NE(area->Frame(), whole);
  EXPECT_TRUE(Until([&] { return area->Frame() == whole; })) << "by itself";
  // A ring comes and goes over the surface that is there; the body under it stays.
  Click(At("O1"));
  EXPECT_NE(area->Frame(), whole);
  Click(At("O1"));
  EXPECT_EQ(area->Frame(), whole);
  window->Run(kAmbientShadowCommand, "off");
  Settle();
  EXPECT_NE(area->Frame(), whole);
}

TEST_F(DrawingTest, WhatIsSelectedIsNamedWhereLabelsAreOff) {
  Load();
  window->Run(kDarkLookCommand);
  bench.LabelsOn = false;
  area->Redraw();
  Settle();
  const QImage before = area->grab().toImage();
  Click(At("O1"));
  const QImage after = area->grab().toImage();
  // Beside the ring.
  const QPointF middle = area->ToDevice(At("O1"));
  int inked = 0;
  for (int y = 0; y < after.height(); ++y)
    for (int x = static_cast<int>(middle.x() + 12 * area->devicePixelRatioF()); x < after.width(); ++x)
      inked += before.pixel(x, y) != after.pixel(x, y);
  EXPECT_GT(inked, 10);
}

TEST_F(DrawingTest, LabelsOnTheirWayArriveByThemselves) {
  Load();
  area->SetSlowFrame(1e6);
  bench.RenditionMode = kBallAndStick;
  const auto turnUntilUnderWay = [&] {
    for (int i = 0; i < 400 && (i == 0 || bench.renderer.LabelsSettled()); ++i) {
      bench.view.RotateView(1.0, {0.3, 1.0, 0.2}, true);
      area->Redraw();
      area->repaint();
    }
    return !bench.renderer.LabelsSettled();
  };
  ASSERT_TRUE(turnUntilUnderWay());
  EXPECT_TRUE(Until([&] { return bench.renderer.LabelsSettled(); }));
  const QImage arrived = area->Frame().copy();
  const int frames = area->FramesDrawn();
  QTest::qWait(60);
  EXPECT_EQ(area->FramesDrawn(), frames);
  bench.renderer = InteractiveRenderer();
  area->Redraw();
  area->repaint();
  EXPECT_EQ(area->Frame(), arrived);
  // A picture in place of the frame stays.
  ASSERT_TRUE(turnUntilUnderWay());
  area->SetPicture(QImage(area->Frame().size(), QImage::Format_RGB32));
  QTest::qWait(60);
  area->Redraw();
  area->repaint();
  EXPECT_FALSE(area->Picture().isNull());
}

TEST_F(DrawingTest, SquareFollowsTheWindowAndTheModelReachesBeyondIt) {
  Load();
  const int ratio = static_cast<int>(area->devicePixelRatioF());
  for (const QSize size : {QSize(600, 400), QSize(301, 500)}) {
    area->setFixedSize(size);
    Settle();
    EXPECT_EQ(area->Frame().size(), size * ratio);
    EXPECT_EQ(bench.view.drawingSize, std::min(size.width(), size.height()) * ratio);
    EXPECT_EQ(bench.view.fullWidth, bench.view.viewportWidth);
    EXPECT_EQ(bench.view.viewportOffsetX, 0);
    const QRect square((area->Frame().width() - bench.view.fullWidth) / 2,
                       (area->Frame().height() - bench.view.fullHeight) / 2, bench.view.fullWidth,
                       bench.view.fullHeight);
    for (const AtomRecord* atom : Atoms(bench.document.atoms)) {
      EXPECT_TRUE(square.contains(atom->screenX, atom->screenY)) << atom->name;
    }
    Click(At("O1"));
  }
  EXPECT_EQ(SelectedNames(), "");  // twice
  // Panned out of the square, into what is black beside it.
  area->setFixedSize(900, 300);
  bench.view.panX = 400 * ratio;
  area->Redraw();
  Settle();
  EXPECT_FALSE(IsBlank(area->Frame().copy(700 * ratio, 0, 200 * ratio, 300 * ratio)));
}

TEST_F(DrawingTest, NothingIsDrawnFromADocumentThatIsHalfChanged) {
  Load();
  const int before = area->FramesDrawn();
  robot.Next([&](QWidget& box) {
    area->Redraw();
    Settle();
    EXPECT_EQ(area->FramesDrawn(), before);
    Accept(box);
  });
  messages.Show({MessageIcon::Warning, "Error: Nothing", "Something\nhappened <b>here</b>"});
  Settle();
  EXPECT_EQ(area->FramesDrawn(), before + 1);
  ASSERT_EQ(robot.seen.size(), 1);
  EXPECT_EQ(robot.seen[0].title, "Error: Nothing");
  EXPECT_EQ(robot.seen[0].text, "Something\nhappened <b>here</b>");
  EXPECT_EQ(robot.seen[0].icon, QMessageBox::Warning);
}

TEST_F(DrawingTest, AKeyStopsALongFrame) {
  LoadMany(27000);
  bench.RenditionMode = kBallAndStick;
  bool down = true;
  int asked = 0;
  bool stopped = false;
  QObject::connect(area, &DrawingArea::Interrupted, area, [&] { stopped = true; });
  area->SetKeyProbe([&] {
    ++asked;
    return down;
  });
  area->SetPollTimes(0, 0);
  area->Redraw();
  Settle();
  EXPECT_TRUE(stopped);
  EXPECT_TRUE(area->WasInterrupted());
  EXPECT_EQ(asked, 1);

  // The key that asked for the frame does not stop it, until it has been up.
  stopped = false;
  QTest::keyPress(area, Qt::Key_Escape);
  Settle();
  EXPECT_FALSE(stopped);
  asked = 0;
  area->SetKeyProbe([&] { return ++asked != 2; });
  QTest::keyPress(area, Qt::Key_Escape);
  Settle();
  EXPECT_TRUE(stopped);
  EXPECT_EQ(asked, 3);

  down = false;
  area->SetKeyProbe([&] { return down; });
  area->Redraw();
  Settle();
  EXPECT_FALSE(area->WasInterrupted());
}

TEST_F(DrawingTest, WhereFramesTakeLongTheViewMovesAsAWireFrame) {
  Load();
  bench.RenditionMode = kBallAndStick;
  bench.LabelsOn = false;  // they would go to their places by small steps
  area->Redraw();
  Settle();
  ASSERT_TRUE(Until([this] { return bench.renderer.LabelsSettled(); })) << "labels under way";
  Settle();
  const QImage full = area->Frame().copy();
  const auto isFull = [&] { return area->Frame() == full; };
  area->SetSlowFrame(1e6);
  area->RedrawMoving();
  Settle();
  EXPECT_TRUE(Until(isFull));
  area->SetSlowFrame(0.0);
  area->RedrawMoving();
  Settle();
  EXPECT_NE(area->Frame(), full);
  EXPECT_TRUE(Until(isFull)) << "at rest";
}

TEST_F(DrawingTest, AnEmptyDocumentShowsWhatToDo) {
  Settle();
  const auto shown = [this] { return area->grab().toImage(); };
  EXPECT_FALSE(IsBlank(shown()));
  EXPECT_TRUE(IsBlank(area->Frame()));
  const QImage empty = shown();
  Load();
  for (AtomRecord* atom : Atoms(bench.document.atoms)) atom->Set(kHidden, true);
  area->Redraw();
  Settle();
  EXPECT_FALSE(IsBlank(shown()));
  EXPECT_NE(shown(), empty);
}

}  // namespace
}  // namespace marvik
