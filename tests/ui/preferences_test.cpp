#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QPrinter>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

#include "ui/printing/picture_printing.h"
#include "ui/text.h"

#include "window_fixture.h"

namespace marvik::test {
namespace {

class PreferenceDialogsTest : public WindowTest {
 protected:
  PreferenceDialogsTest() {
    Load();
    bench.RenditionMode = kBallAndStick;
    bench.Repaint();
    Settle();
  }
  static QString FieldOf(QWidget& dialog, const char* key) {
    return dialog.findChild<QLineEdit*>(QString::fromUtf8(key))->text();
  }
  QRgb Pixel(const char* atom) const { return area->Frame().pixel(Atom(atom)->screenX, Atom(atom)->screenY); }
};

TEST_F(PreferenceDialogsTest, TheViewFollowsTheAtomPreferences) {
  const QRgb before = Pixel("O1");
  const auto paint = [&](QWidget& dialog) {
    ExpectKeyboardReachable(dialog);
    EXPECT_EQ(FieldOf(dialog, "element"), QLatin1String("C"));
    Type(dialog, "element", "o");
    EXPECT_EQ(FieldOf(dialog, "bond"), QLatin1String("0.66"));
    EXPECT_EQ(FieldOf(dialog, "red"), QLatin1String("180"));
    Type(dialog, "red", "0");
    Type(dialog, "green", "255");
    Type(dialog, "atom", "0.2345678901234567");
    EXPECT_EQ(FieldOf(dialog, "atom"), QLatin1String("0.2345678901234"));
    Settle();
    EXPECT_GT(qGreen(Pixel("O1")), qRed(Pixel("O1")));
  };
  robot.Next([&](QWidget& dialog) {
    paint(dialog);
    Press(dialog, Qt::Key_Escape);
  });
  EXPECT_EQ(window->Run(206), Outcome::Cancelled);
  Settle();
  EXPECT_EQ(Pixel("O1"), before);
  EXPECT_FALSE(scratch.Has("pkg/sfac.tab"));

  robot.Next([&](QWidget& dialog) {
    paint(dialog);
    dialog.findChild<QListWidget*>(QStringLiteral("texture"))->setCurrentRow(4);
    Type(dialog, "element", "C");
    Type(dialog, "blue", "7");
    Alt(dialog, Qt::Key_S);
  });
  EXPECT_EQ(window->Run(206), Outcome::Done);
  ElementTable kept;
  InitElementTable(kept, true);
  EXPECT_EQ(kept[8].colour, PackColour(0, 255, 0));
  EXPECT_EQ(kept[8].texture, 4);
  EXPECT_EQ(kept[6].colour, PackColour(169, 169, 7)) << "both elements were edited";
}

TEST_F(PreferenceDialogsTest, APictureStaysUntilTheDrawingChanges) {
  const QImage frame = area->Frame().copy();
  ASSERT_EQ(window->Run(208), Outcome::Done);
  Settle();
  const QImage picture = area->Picture();
  ASSERT_EQ(picture.size(), frame.size());
  EXPECT_EQ(area->grab().toImage().pixelColor(3, 3), picture.pixelColor(3, 3));
  EXPECT_EQ(picture.pixelColor(3, 3), QColor(140, 179, 179));
  window->Run(140);
  Settle();
  EXPECT_FALSE(area->Picture().isNull()) << "nothing of the drawing has changed";
  QTest::keyClick(area, Qt::Key_Left);
  Settle();
  EXPECT_TRUE(area->Picture().isNull());

  // A failure leaves the view that works.
  bench.GlSettings().fontPath = "/no/font";
  robot.NextButton("OK");
  EXPECT_EQ(window->Run(210), Outcome::Failed);
  Settle();
  EXPECT_TRUE(robot.seen.back().text.contains(QLatin1String("Can't open the font file /no/font")));
  EXPECT_TRUE(area->Picture().isNull());
  bench.GlSettings() = DefaultOpenGlSettings();
  window->Run(208);
  window->Run(203);
  Settle();
  EXPECT_TRUE(area->Picture().isNull()) << "a peak is gone";
}

TEST_F(PreferenceDialogsTest, ThePictureFollowsTheOpenGlPreferences) {
  const auto edit = [&](QWidget& dialog) {
    ExpectKeyboardReachable(dialog);
    EXPECT_EQ(FieldOf(dialog, "red") + FieldOf(dialog, "green") + FieldOf(dialog, "blue"), QLatin1String("140178178"));
    auto* fonts = dialog.findChild<QComboBox*>(QStringLiteral("font"));
    EXPECT_EQ(fonts->currentText(), PathToText(bench.GlSettings().fontPath));
    EXPECT_GT(fonts->count(), 0);
    Type(dialog, "red", "255");
    Type(dialog, "green", "0");
    Type(dialog, "blue", "many");
    Type(dialog, "layers", "1");
    EXPECT_TRUE(Until([&] { return !area->Picture().isNull(); }));
    EXPECT_EQ(area->Picture().pixelColor(3, 3), QColor(255, 0, 179)) << "what is no number stays";
    dialog.findChild<QCheckBox*>(QStringLiteral("cut"))->setChecked(false);
  };
  robot.Next([&](QWidget& dialog) {
    edit(dialog);
    Press(dialog, Qt::Key_Escape);
  });
  EXPECT_EQ(window->Run(216), Outcome::Cancelled);
  EXPECT_TRUE(area->Picture().isNull());
  EXPECT_EQ(bench.GlSettings(), DefaultOpenGlSettings());

  robot.Next([&](QWidget& dialog) {
    edit(dialog);
    dialog.findChild<QComboBox*>(QStringLiteral("font"))->setEditText(QStringLiteral("/fonts of mine/a.ttf"));
    Alt(dialog, Qt::Key_S);
  });
  EXPECT_EQ(window->Run(216), Outcome::Done);
  EXPECT_EQ(scratch.Get("pkg/opengl.prf"), "/fonts of mine/a.ttf 0 1 1 0 0.7\n");

  robot.Next([&](QWidget& dialog) {
    EXPECT_EQ(FieldOf(dialog, "layers"), QLatin1String("1"));
    Alt(dialog, Qt::Key_D);
    EXPECT_EQ(FieldOf(dialog, "red") + FieldOf(dialog, "green") + FieldOf(dialog, "blue"), QLatin1String("140178178"));
    Press(dialog, Qt::Key_Escape);
  });
  EXPECT_EQ(window->Run(216), Outcome::Cancelled);
  EXPECT_EQ(bench.GlSettings(), DefaultOpenGlSettings()) << "the defaults count at once";
}

TEST_F(PreferenceDialogsTest, ThePrinterPathMakesAPage) {
  bench.pictures.bitmapAntiAlias = false;
  const QString path = PathToText(scratch / "page one.pdf");
  bench.hooks.choosePrinter = [&] {
    auto printer = std::make_unique<QPrinter>(QPrinter::HighResolution);
    printer->setOutputFileName(path);
    printer->setResolution(72);
    printer->setPageSize(QPageSize(QPageSize::A5));
    printer->setPageOrientation(QPageLayout::Landscape);
    return MakePrinterPage(std::move(printer), *area);
  };
  ASSERT_EQ(window->Run(211), Outcome::Done);
  EXPECT_FALSE(area->findChild<QProgressBar*>());
  QProcess reader;
  reader.start(QStringLiteral("pdftoppm"),
               {QStringLiteral("-r"), QStringLiteral("72"), path, PathToText(scratch / "p")});
  if (!reader.waitForFinished() || reader.exitCode() != 0) GTEST_SKIP() << "no reader of PDF files is installed";
  const QImage page(PathToText(scratch / "p-1.ppm"));
  ASSERT_GT(page.width(), page.height());
  // The square is centred on the longer side: C1, C2, O1 and Q1 are where the window has them.
  const double side = page.height() - 2.0 * 12.0;
  int dark = 0;
  for (int y = 0; y < page.height(); ++y) {
    for (int x = 0; x < page.width(); ++x) {
      if (qGray(page.pixel(x, y)) > 128) continue;
      ++dark;
      EXPECT_LT(std::abs(x - page.width() / 2.0), side / 2.0 + 14.0);
    }
  }
  EXPECT_GT(dark, 100);

  // Stopped, and on a disk that takes nothing: no file, and the old one stays.
  bench.hooks.goOn = [] { return false; };
  const QByteArray before = [&] {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
  }();
  EXPECT_EQ(window->Run(211), Outcome::Cancelled);
  QFile after(path);
  ASSERT_TRUE(after.open(QIODevice::ReadOnly));
  EXPECT_EQ(after.readAll(), before);
  EXPECT_FALSE(scratch.Has(".page one.new~.pdf"));
}

}  // namespace
}  // namespace marvik::test
