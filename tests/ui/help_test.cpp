#include <QApplication>
#include <QDialog>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QTest>
#include <QTextBrowser>
#include <QTimer>

#include "ui/texts/help_window.h"

#include "window_fixture.h"

namespace marvik {
namespace {

class HelpTest : public test::WindowTest {
 protected:
  HelpTest() {
    std::filesystem::create_directories(scratch / "pkg/Help");
    scratch.Put("pkg/Help/Marvik_Users.md",
                "# Guide\n\nSee [packing](#command-142) or [the tour](Marvik_Tutor.md#one).\n\n## The window\n\nW\n\n"
                "### Depth Cue... (107)\n\nD\n\n### Pack... (142)\n\nP\n\n### Plane, Weighted Plane (145, 146)\n\nM\n");
    scratch.Put("pkg/Help/Marvik_Tutor.md", "# Tour\n\nT\n\n## One\n\nO\n");
  }
  static QString ShownBeside(const QWidget& owner) {
    const auto* help = owner.findChild<HelpWindow*>();
    return help && help->isVisible() ? help->TopHeading() : QString();
  }
};

TEST_F(HelpTest, F1OpensThePlaceThatBelongsToWhatIsOpen) {
  QTest::keyClick(area, Qt::Key_F1);
  EXPECT_EQ(ShownBeside(*window), QStringLiteral("The window"));
  Load();
  // A dialog: the help belongs to it, so that it can be used while the dialog waits.
  QString inDialog;
  robot.Next([&](QWidget& dialog) {
    QTest::keyClick(dialog.focusWidget() ? dialog.focusWidget() : &dialog, Qt::Key_F1);
    inDialog = ShownBeside(dialog);
    Reject(dialog);
  });
  window->Run(142);
  EXPECT_EQ(inDialog, QStringLiteral("Pack... (142)"));
  // A message of a command, and a report that stays when its command is done.
  robot.Next([&](QWidget& box) {
    QTest::keyClick(&box, Qt::Key_F1);
    inDialog = ShownBeside(box);
    Accept(box);
  });
  window->Run(107, "many");
  EXPECT_EQ(inDialog, QStringLiteral("Depth Cue... (107)"));
  window->Run(146);
  QWidget* report = nullptr;
  for (QWidget* top : QApplication::topLevelWidgets()) {
    if (top->isVisible() && top->inherits("marvik::ReportWindow")) report = top;
  }
  ASSERT_TRUE(report);
  QTest::keyClick(report, Qt::Key_F1);
  EXPECT_EQ(ShownBeside(*report), QStringLiteral("Plane, Weighted Plane (145, 146)"));
}

TEST_F(HelpTest, F1OnAMenuEntryTellsOfItsCommand) {
  Load();
  QAction* pack = window->Menus().ActionOf(142);
  QMenu* menu = nullptr;
  for (QAction* top : window->menuBar()->actions()) {
    if (top->menu()->actions().contains(pack)) menu = top->menu();
  }
  ASSERT_TRUE(menu);
  menu->popup(QPoint(10, 10));
  menu->setActiveAction(pack);
  QTest::keyClick(menu, Qt::Key_F1);
  EXPECT_EQ(ShownBeside(*window), QStringLiteral("Pack... (142)"));
  EXPECT_FALSE(menu->isVisible());
}

TEST_F(HelpTest, FollowsLinksSearchesAllAndGoesBack) {
  HelpWindow help(bench, nullptr);
  help.setAttribute(Qt::WA_DeleteOnClose, false);
  ASSERT_TRUE(help.Show(QStringLiteral("Marvik_Users"), QStringLiteral("the-window")));
  auto* text = help.findChild<QTextBrowser*>();
  Q_EMIT text->anchorClicked(QUrl(QStringLiteral("#command-146")));
  EXPECT_EQ(help.TopHeading(), QStringLiteral("Plane, Weighted Plane (145, 146)"));
  help.SearchAll(QStringLiteral("o"));
  EXPECT_TRUE(text->toPlainText().contains(QLatin1String("One\n"))) << text->toPlainText().toStdString();
  EXPECT_TRUE(text->toPlainText().contains(QLatin1String("Guide See packing")));
  Q_EMIT text->anchorClicked(QUrl(QStringLiteral("Marvik_Tutor.md#one")));
  EXPECT_EQ(help.TopHeading(), QStringLiteral("One"));
  const auto buttons = help.findChildren<QPushButton*>();
  buttons[0]->click();
  EXPECT_TRUE(help.TopHeading().startsWith(QLatin1String("Found: o")));
  buttons[0]->click();
  buttons[0]->click();
  EXPECT_EQ(help.TopHeading(), QStringLiteral("The window"));
  EXPECT_FALSE(help.Show(QStringLiteral("Marvik_Over"), QString()));
  buttons[1]->click();
  buttons[1]->click();
  EXPECT_TRUE(help.TopHeading().startsWith(QLatin1String("Found: o")));
}

TEST_F(HelpTest, EntriesTellTheFirstSentenceAboutThem) {
  scratch.Put(
      "pkg/Help/Marvik_Users.md",
      "# Guide\n\n### Back, Forth (500, 501)\n\nEdit · `undo`\n\nTakes the [last](#command-3) `step`\nback. More.\n\n"
      "### Odd (106)\n\nView\n\n| a | b |\n\n### Reset View (503)\n\nView\n\nFits x < y\n");
  Q_EMIT window->menuBar()->actions().at(1)->menu()->aboutToShow();
  const auto tip = [&](int id) { return window->Menus().ActionOf(id)->toolTip().toStdString(); };
  EXPECT_EQ(tip(500), "<p>Takes the last step back.<br>There is nothing to undo.</p>");
  EXPECT_EQ(tip(501), "<p>Takes the last step back.<br>There is nothing to redo.</p>");
  EXPECT_EQ(tip(503), "<p>Fits x &lt; y.</p>");
  EXPECT_EQ(tip(106), "Labels");
}

}  // namespace
}  // namespace marvik
