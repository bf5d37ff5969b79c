#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>

#include "app/ui/text.h"

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

TEST_F(PreferenceDialogsTest, WhatIsRefusedKeepsTheAtomPreferencesOpen) {
  robot.Next([&](QWidget& dialog) {
    Type(dialog, "probability", "1.5");
    robot.NextButton("OK");
    Press(dialog, Qt::Key_Return);
    EXPECT_TRUE(dialog.isVisible());
    EXPECT_EQ(dialog.focusWidget()->objectName(), QLatin1String("probability"));
    Type(dialog, "element", "Xx");
    robot.NextButton("OK");
    Press(dialog, Qt::Key_Return);
    EXPECT_TRUE(dialog.isVisible());
    Type(dialog, "element", "O");
    Type(dialog, "atom", "0.6");
    Alt(dialog, Qt::Key_I);
    EXPECT_EQ(FieldOf(dialog, "atom"), QLatin1String("0.2"));
    Type(dialog, "probability", "0.3");
    Press(dialog, Qt::Key_Return);
  });
  EXPECT_EQ(window->Run(206), Outcome::Done);
  ASSERT_EQ(robot.seen.size(), 3);
  EXPECT_EQ(robot.seen[1].title, QLatin1String("Error: Out of Range"));
  EXPECT_TRUE(robot.seen[1].text.contains(QLatin1String("0.001 <--> 1.0")));
  EXPECT_TRUE(robot.seen[2].text.contains(QLatin1String("Xx")));
  EXPECT_EQ(bench.pictures.probability, 0.3);
  EXPECT_EQ(bench.document.elements[8].drawRadius, 0.2);
}

}  // namespace
}  // namespace marvik::test
