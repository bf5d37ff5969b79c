#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QTest>
#include <QTranslator>
#include <map>
#include <set>

#include "window_fixture.h"

namespace marvik {
namespace {

class MenusTest : public test::WindowTest {
 protected:
  static QChar MnemonicOf(const QString& text) {
    const QString plain = QString(text).remove(QLatin1String("&&"));
    const qsizetype at = plain.indexOf(QLatin1Char('&'));
    return at < 0 || at + 1 >= plain.size() ? QChar() : plain[at + 1].toLower();
  }
  // Entries whose texts are ours to choose, sub-menus and commands from 500 on, that share a key with another entry.
  static QStringList Collisions(const QList<QAction*>& actions) {
    QStringList found;
    std::map<QChar, const QAction*> taken;
    const auto isOurs = [](const QAction* action) { return action->menu() || action->data().toInt() >= 500; };
    for (const QAction* action : actions) {
      if (action->isSeparator()) continue;
      const QChar key = MnemonicOf(action->text());
      const auto [other, isNew] = taken.emplace(key, action);
      if (!key.isNull() && !isNew && (isOurs(action) || isOurs(other->second))) {
        found << other->second->text() + QStringLiteral(" / ") + action->text();
      }
      if (action->menu()) found << Collisions(action->menu()->actions());
    }
    return found;
  }
  QMenu* Top(const char* text) const {
    for (QAction* action : window->menuBar()->actions()) {
      if (action->text() == QLatin1String(text)) return action->menu();
    }
    return nullptr;
  }
};

TEST_F(MenusTest, KeysLeadToOneEntryEach) {
  EXPECT_EQ(Collisions(window->menuBar()->actions()).join(u'\n').toStdString(), "");
  for (const MenuKind kind : {MenuKind::AtomPopup, MenuKind::BondPopup, MenuKind::BackgroundPopup}) {
    QMenu menu;
    window->Menus().FillPopup(menu, kind);
    EXPECT_EQ(Collisions(menu.actions()).join(u'\n').toStdString(), "");
  }
}

class Louder : public QTranslator {
 public:
  QString translate(const char* context, const char* text, const char*, int) const override {
    return qstrcmp(context, "Marvik") == 0 ? QString::fromUtf8(text).toUpper() : QString();
  }
  bool isEmpty() const override { return false; }
};

TEST_F(MenusTest, WhatComesFromBelowTheWindowCanBeTranslated) {
  Louder louder;
  QCoreApplication::installTranslator(&louder);
  QMenu menu;
  window->Menus().FillPopup(menu, MenuKind::AtomPopup);
  EXPECT_EQ(menu.actions()[1]->text(), "&UNIQ");
  Load();
  window->Run(237);
  QCoreApplication::removeTranslator(&louder);
  EXPECT_EQ(robot.seen.back().text, "YOU MUST SELECT AT LEAST ONE ATOM TO BIND TO A TARGET.");
}

TEST_F(MenusTest, EntriesFollowTheStateOfTheMoment) {
  QAction* kill = window->Menus().ActionOf(kKillSelectedCommand);
  EXPECT_FALSE(kill->isEnabled());
  EXPECT_FALSE(kill->statusTip().isEmpty());
  Load();
  Click(At("C1"));
  EXPECT_TRUE(kill->isEnabled());
  EXPECT_EQ(kill->statusTip(), "");
  window->Menus().ActionOf(kPipesCommand)->trigger();
  Settle();
  EXPECT_EQ(bench.RenditionMode, kPipes);
  EXPECT_TRUE(window->Menus().ActionOf(kPipesCommand)->isChecked());
  EXPECT_FALSE(window->Menus().ActionOf(kWireFrameCommand)->isChecked());
  // Chosen again it stays what it is.
  window->Menus().ActionOf(kPipesCommand)->trigger();
  Settle();
  EXPECT_TRUE(window->Menus().ActionOf(kPipesCommand)->isChecked());
  QAction* undo = window->Menus().ActionOf(kUndoCommand);
  EXPECT_FALSE(undo->isEnabled());
  kill->trigger();
  Settle();
  EXPECT_TRUE(undo->isEnabled());
  EXPECT_EQ(undo->text(), "&Undo Kill Selected");
  undo->trigger();
  Settle();
  EXPECT_NE(Atom("C1"), nullptr);
  EXPECT_FALSE(undo->isEnabled());
  // The fourth entry of the View menu, by position.
  EXPECT_TRUE(Top("&View")->actions()[3]->isChecked());
  for (const CommandRow& row : CommandTable()) {
    const QAction* action = window->Menus().ActionOf(row.id);
    if (!action || row.run) continue;
    EXPECT_EQ(action->statusTip(), QString::fromUtf8(row.greyed));
  }
}

TEST_F(MenusTest, ShortcutsAndMenuKeysRunCommands) {
  Load();
  window->activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
  QTest::keyClick(area, Qt::Key_2, Qt::ControlModifier);
  EXPECT_EQ(bench.RenditionMode, kBallAndStick);
  QTest::keyClick(area, Qt::Key_L, Qt::ControlModifier);
  EXPECT_FALSE(bench.LabelsOn);
  QMenu* select = Top("&Select");
  select->popup(window->mapToGlobal(QPoint(0, 0)));
  QTest::keyClick(select, Qt::Key_F);  // Find Duplicate Labels
  Settle();
  ASSERT_EQ(robot.seen.size(), 1);
  EXPECT_EQ(robot.seen[0].text, "No atom name duplications were found.");
}

TEST_F(MenusTest, RecentFilesAreInTheirPlace) {
  QMenu* recent = Top("&File")->actions()[9]->menu();
  ASSERT_EQ(recent, window->Menus().RecentFilesMenu());
  EXPECT_FALSE(recent->isEnabled());
  Load();
  const std::string second = scratch.Put("a&b.res", scratch.Get("model.res"));
  window->Run(kReadFileCommand, second);
  ASSERT_EQ(recent->actions().size(), 2);
  EXPECT_EQ(recent->actions()[0]->text(), QString::fromStdString(scratch / "a&&b.res"));
  recent->actions()[1]->trigger();
  Settle();
  EXPECT_EQ(window->windowTitle(), "model.res[*]");
  EXPECT_EQ(recent->actions()[0]->text(), QString::fromStdString(scratch / "model.res"));
}

}  // namespace
}  // namespace marvik
