#include <QComboBox>
#include <QDialog>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QPrinter>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>

#include "app/picture/picture_output.h"
#include "ui/printing/page_printing.h"

#include "window_fixture.h"

namespace marvik::test {
namespace {

// Presses Ctrl+P in the window and answers the print dialog.
TEST_F(WindowTest, ThePrintDialogPrintsToAFileOrNothing) {
  Load();
  const QString page = QString::fromStdString(scratch / "page.pdf");
  const auto answer = [&](bool print) {
    return [&page, print](QWidget& dialog) {
      EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Print"));
      auto* file = dialog.findChild<QLineEdit*>(QStringLiteral("filename"));
      ASSERT_NE(file, nullptr);
      file->setText(page);
      print ? Accept(dialog) : Reject(dialog);
    };
  };
  robot.Next(answer(false));
  QTest::keyClick(area, Qt::Key_P, Qt::ControlModifier);
  Settle();
  EXPECT_FALSE(scratch.Has("page.pdf"));
  for (const int rendition : {kWireFrameCommand, kBallAndStickCommand, kThermalEllipsoidCommand, kPipesCommand}) {
    window->Run(rendition);
    robot.Next(answer(true));
    EXPECT_EQ(window->Run(154), Outcome::Done);
    EXPECT_EQ(scratch.Get("page.pdf").substr(0, 5), "%PDF-");
    std::filesystem::remove(scratch / "page.pdf");
  }
  EXPECT_EQ(robot.seen.size(), 5);
}

TEST_F(WindowTest, PrintingSaysWhatFailedAndStopsWithoutAPage) {
  Load();
  QPrinter nowhere;
  nowhere.setOutputFormat(QPrinter::PdfFormat);
  nowhere.setOutputFileName(QStringLiteral("/no/such/folder/out.pdf"));
  EXPECT_FALSE(PrintView(nowhere, bench));
  ASSERT_EQ(robot.seen.size(), 1);
  EXPECT_EQ(robot.seen[0].title, QStringLiteral("Printing Error:"));

  bench.hooks.goOn = [] { return false; };
  QPrinter printer;
  printer.setOutputFormat(QPrinter::PdfFormat);
  printer.setOutputFileName(QString::fromStdString(scratch / "out.pdf"));
  bench.RenditionMode = kBallAndStick;
  EXPECT_FALSE(PrintView(printer, bench));
  EXPECT_FALSE(scratch.Has("out.pdf"));
  EXPECT_EQ(robot.seen.size(), 1) << "who stops it needs no message";
}

// In every look and rendition, with cell and labels.
TEST_F(WindowTest, ASavedPictureIsWhatTheWindowShows) {
  Load();
  bench.ShowCell = true;
  for (const int look : {kClassicLookCommand, kDarkLookCommand, kPaperLookCommand}) {
    window->Run(look);
    for (const int rendition : {kWireFrameCommand, kBallAndStickCommand, kPipesCommand, kLitCommand}) {
      window->Run(rendition);
      window->Run(kLabelsCommand, "on");
      for (Settle(); !bench.renderer.LabelsSettled();) Settle();  // they glide to their places
      const QImage shown = area->grab().toImage().convertToFormat(QImage::Format_RGB32);
      PictureOptions options;
      options.size = shown.width();
      const auto bytes = DrawPicture(bench, options, "png");
      ASSERT_TRUE(bytes);
      const QImage saved = QImage::fromData(QByteArray::fromStdString(*bytes)).convertToFormat(QImage::Format_RGB32);
      ASSERT_EQ(saved.size(), shown.size());
      int differ = 0, drawn = 0;
      for (int y = 0; y < shown.height(); ++y)
        for (int x = 0; x < shown.width(); ++x) {
          const QRgb a = shown.pixel(x, y), b = saved.pixel(x, y);
          drawn += a != shown.pixel(0, 0);
          differ += std::abs(qGray(a) - qGray(b)) > 60;
        }
      EXPECT_GT(drawn, 400);
      EXPECT_LT(differ, drawn / 20) << look << " " << rendition << " " << differ;
    }
  }
}

TEST_F(WindowTest, ThePictureDialogRemembersWhatItWasTold) {
  Load();
  const QString path = QString::fromStdString(scratch / "figure of it.svg");
  robot.Next([&](QWidget& dialog) {
    EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Save Picture"));
    auto* file = dialog.findChild<QLineEdit*>(QStringLiteral("file"));
    EXPECT_EQ(file->text(), QString::fromStdString(scratch / "model.png"));
    file->setText(path);
    dialog.findChild<QSpinBox*>(QStringLiteral("size"))->setValue(300);
    dialog.findChild<QDoubleSpinBox*>(QStringLiteral("resolution"))->setValue(150);
    dialog.findChild<QComboBox*>(QStringLiteral("background"))->setCurrentIndex(3);
    Accept(dialog);
  });
  EXPECT_EQ(window->Run(kSavePictureCommand), Outcome::Done);
  const std::string svg = scratch.Get("figure of it.svg");
  EXPECT_NE(svg.find("width=\"144pt\""), std::string::npos) << svg.substr(0, 300);
  EXPECT_EQ(svg.find("<rect"), std::string::npos);

  // What is there is asked about; "No" goes back to the dialog.
  robot.Next([&](QWidget& dialog) {
    EXPECT_EQ(Field(dialog, "file").text(), QString::fromStdString(scratch / "model.svg"));
    EXPECT_EQ(dialog.findChild<QSpinBox*>(QStringLiteral("size"))->value(), 300);
    EXPECT_EQ(dialog.findChild<QComboBox*>(QStringLiteral("background"))->currentIndex(), 3);
    Field(dialog, "file").setText(path);
    robot.NextButton("No");
    Accept(dialog);
    Reject(dialog);
  });
  scratch.Put("figure of it.svg", "mine");
  EXPECT_EQ(window->Run(kSavePictureCommand), Outcome::Cancelled);
  EXPECT_EQ(scratch.Get("figure of it.svg"), "mine");

  // And in the next session.
  window->close();
  WindowMessages other;
  Workbench next{other};
  const MainWindow again(next, other);
  EXPECT_EQ(next.pictureFile.size, 300);
  EXPECT_EQ(next.pictureFile.background, PictureBackground::Transparent);
}

}  // namespace
}  // namespace marvik::test
