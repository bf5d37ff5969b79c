#include <QMessageBox>
#include <QTest>
#include <algorithm>

#include "window_fixture.h"

namespace marvik {
namespace {

class DrawingTest : public test::WindowTest {
 protected:
  // Pixels of the model (whatever is not black) in a part of the frame.
  int Drawn(const QRect& part) const {
    int count = 0;
    for (int y = part.top(); y <= part.bottom(); ++y) {
      for (int x = part.left(); x <= part.right(); ++x) count += (area->Frame().pixel(x, y) & 0xffffff) != 0;
    }
    return count;
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
    int left = 1 << 20, right = 0, top = 1 << 20, bottom = 0;
    for (const AtomRecord* atom : Atoms(bench.document.atoms)) {
      left = std::min<int>(left, atom->screenX);
      right = std::max<int>(right, atom->screenX);
      top = std::min<int>(top, atom->screenY);
      bottom = std::max<int>(bottom, atom->screenY);
    }
    const QRect square((size.width() * ratio - static_cast<int>(bench.view.drawingSize)) / 2,
                       (size.height() * ratio - static_cast<int>(bench.view.drawingSize)) / 2,
                       static_cast<int>(bench.view.drawingSize), static_cast<int>(bench.view.drawingSize));
    EXPECT_TRUE(square.contains(QRect(QPoint(left, top), QPoint(right, bottom))));
    Click(At("O1"));
  }
  EXPECT_EQ(SelectedNames(), "");  // twice
  // Panned out of the square, into what is black beside it.
  area->setFixedSize(900, 300);
  bench.view.panX = 400 * ratio;
  area->Redraw();
  Settle();
  EXPECT_GT(Drawn({700 * ratio, 0, 200 * ratio, 300 * ratio}), 0);
}

TEST_F(DrawingTest, NothingIsDrawnFromADocumentThatIsHalfChanged) {
  Load();
  const int before = area->FramesDrawn();
  robot.Next([&](QWidget& box) {
    area->Redraw();
    Settle();
    EXPECT_EQ(area->FramesDrawn(), before);
    static_cast<QDialog&>(box).accept();
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
  area->Redraw();
  Settle();
  const QImage full = area->Frame().copy();
  area->SetSlowFrame(1e6);
  area->RedrawMoving();
  Settle();
  EXPECT_EQ(area->Frame(), full);
  area->SetSlowFrame(0.0);
  area->RedrawMoving();
  Settle();
  EXPECT_NE(area->Frame(), full);
  QTest::qWait(300);  // at rest
  EXPECT_EQ(area->Frame(), full);
}

TEST_F(DrawingTest, AnEmptyDocumentShowsWhatToDo) {
  Settle();
  const auto shown = [this] { return area->grab().toImage().convertToFormat(QImage::Format_RGB32); };
  const auto isBlank = [](const QImage& image) {
    return std::all_of(reinterpret_cast<const uint32_t*>(image.bits()),
                       reinterpret_cast<const uint32_t*>(image.bits()) + image.width() * image.height(),
                       [](uint32_t pixel) { return (pixel & 0xffffff) == 0; });
  };
  EXPECT_FALSE(isBlank(shown()));
  EXPECT_TRUE(isBlank(area->Frame()));
  const QImage empty = shown();
  Load();
  for (AtomRecord* atom : Atoms(bench.document.atoms)) atom->Set(kHidden, true);
  area->Redraw();
  Settle();
  EXPECT_FALSE(isBlank(shown()));
  EXPECT_NE(shown(), empty);
}

}  // namespace
}  // namespace marvik
