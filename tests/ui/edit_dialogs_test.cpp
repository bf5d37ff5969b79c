#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QSet>
#include <QSettings>
#include <QTest>
#include <QVBoxLayout>
#include <filesystem>

#include "ui/dialogs/dialog_fit.h"
#include "ui/dialogs/refinement/refinement_control_dialog.h"
#include "ui/text.h"

#include "window_fixture.h"

namespace marvik::test {
namespace {

// A disordered chain and a peak.
constexpr char kFile[] =
    "TITL model\nCELL 0.71073 10 10 10 90 90 90\nZERR 1 0 0 0 0 0 0\nLATT -1\nSFAC C H O\nUNIT 2 1 1\nFVAR 1.0 0.6\n"
    "C1 1 0.30 0.30 0.50 11.0 0.04\nAFIX 43\nH1 2 0.21 0.30 0.50 11.0 -1.2\nAFIX 0\nC2 1 0.30 0.45 0.50 11.0 0.04\n"
    "PART 1\nO1 3 0.43 0.50 0.50 21.0 0.05\nPART 2\nO2 3 0.37 0.58 0.50 -21.0 0.05\nPART 0\n"
    "Q1 1 0.60 0.75 0.50 11.0 0.05 1.25\nHKLF 4\nEND\n";

class EditDialogsTest : public WindowTest {
 protected:
  EditDialogsTest() {
    bench.FmolAfterChanges = false;
    window->Run(kReadFileCommand, scratch.Put("edit.res", kFile));
    Settle();
  }
};

TEST_F(EditDialogsTest, ADoubleClickRenamesAnAtom) {
  bench.document.atoms.selection.Append(Atom("C2"));
  robot.Next([](QWidget& dialog) {
    ExpectKeyboardReachable(dialog);
    Type(dialog, "name", "C2");
    Press(dialog, Qt::Key_Return);
    EXPECT_TRUE(dialog.isVisible()) << "a bad name keeps the dialog";
    Type(dialog, "name", "C7");
    Press(dialog, Qt::Key_Return);
  });
  robot.Next(Reject);
  Click(At("C1"));
  Mouse(QEvent::MouseButtonDblClick, At("C1"), Qt::LeftButton, Qt::LeftButton);
  Mouse(QEvent::MouseButtonRelease, At("C1"), Qt::LeftButton, Qt::NoButton);
  Settle();
  ASSERT_EQ(robot.seen.size(), 2);
  EXPECT_EQ(robot.seen[0].title, QLatin1String("Atom Name"));
  EXPECT_EQ(robot.seen[1].text, QLatin1String("Name: another atom is called C2 already."));
  EXPECT_TRUE(Atom("C7"));
  EXPECT_EQ(SelectedNames(), "C2") << "the two clicks leave the selection";
}

TEST_F(EditDialogsTest, AtomFields) {
  window->Run(kSelectByNameCommand, "O1");
  robot.Next([](QWidget& dialog) {
    ExpectKeyboardReachable(dialog);
    EXPECT_EQ(Field(dialog, "occupancy").text(), QLatin1String("21"));
    EXPECT_FALSE(Field(dialog, "height").isEnabled());
    Type(dialog, "x", "0,5");
    Press(dialog, Qt::Key_Return);
    EXPECT_EQ(dialog.focusWidget()->objectName(), QLatin1String("x"));
    Type(dialog, "x", "0.5");
    Press(dialog, Qt::Key_Return);
  });
  robot.Next(Reject);
  EXPECT_EQ(window->Run(kEditAtomCommand), Outcome::Changed);
  EXPECT_EQ(robot.seen.back().text, QLatin1String("x: \"0,5\" is not a number; the decimal separator is a point."));
  EXPECT_EQ(Atom("O1")->fract.x, 0.5);
  EXPECT_EQ(Atom("O1")->occupancy, 21.0);
  // Several: what differs is blank, and one value goes to all.
  window->Run(kSelectByNameCommand, "C1");
  robot.Next([](QWidget& dialog) {
    EXPECT_EQ(Field(dialog, "occupancy").text(), QString());
    EXPECT_FALSE(Field(dialog, "name").isEnabled());
    Type(dialog, "u", "0.09");
    Press(dialog, Qt::Key_Return);
  });
  EXPECT_EQ(window->Run(kEditAtomCommand), Outcome::Changed);
  EXPECT_EQ(Atom("C1")->u[0], 0.09);
  EXPECT_EQ(Atom("O1")->u[0], 0.09);
  EXPECT_EQ(Atom("C1")->occupancy, 11.0);
}

TEST_F(EditDialogsTest, SelectAtomsRemembersItsText) {
  robot.Next([](QWidget& dialog) {
    ExpectKeyboardReachable(dialog);
    Type(dialog, "atoms", "X9");
    Press(dialog, Qt::Key_Return);
    Type(dialog, "atoms", "PART:1 $C");
    Press(dialog, Qt::Key_Return);
  });
  EXPECT_EQ(window->Run(kSelectAtomsCommand), Outcome::Done);
  EXPECT_EQ(robot.seen.back().text, QLatin1String("Atoms: Couldn't find X9 in the atom list."));
  EXPECT_EQ(SelectedNames(), "C1 C2 O1");
  robot.Next([](QWidget& dialog) {
    EXPECT_EQ(Field(dialog, "atoms").text(), QLatin1String("PART:1 $C"));
    Alt(dialog, Qt::Key_I);
    Type(dialog, "atoms", "");
    Press(dialog, Qt::Key_Return);
  });
  EXPECT_EQ(window->Run(kSelectAtomsCommand), Outcome::Done);
  EXPECT_EQ(SelectedNames(), "H1 O2 Q1");
  bench.modified = false;
  window->close();
  const QSettings file(ToText(scratch / "pkg/marvikui.ini"), QSettings::IniFormat);
  EXPECT_EQ(file.value(QStringLiteral("values/select")).toString(), QLatin1String("~*"));
}

TEST_F(EditDialogsTest, GroupLabelsShowWhatTheyWillBe) {
  window->Run(kSelectByNameCommand, "Q1");
  window->Run(kSelectByNameCommand, "C1");
  robot.Next([](QWidget& dialog) {
    ExpectKeyboardReachable(dialog);
    Type(dialog, "prefix", "C");
    Type(dialog, "first", "2");
    Press(dialog, Qt::Key_Return);
    Type(dialog, "first", "3");
    bool shown = false;
    for (const auto* label : dialog.findChildren<QLabel*>())
      shown |= label->text().startsWith(QLatin1String("Q1 becomes C3\nC1 becomes C4\nH1 becomes H4"));
    EXPECT_TRUE(shown);
    Press(dialog, Qt::Key_Return);
  });
  EXPECT_EQ(window->Run(kGroupLabelCommand), Outcome::Changed);
  EXPECT_TRUE(robot.seen.back().text.startsWith(QLatin1String("First number: another atom is called C2 already.")));
  EXPECT_TRUE(Atom("C3") && Atom("C4") && Atom("H4"));
}

TEST_F(EditDialogsTest, ChangePartStaysOpenAndFollows) {
  robot.Next([](QWidget&) {});
  EXPECT_EQ(window->Run(kChangePartCommand), Outcome::Cancelled);
  Settle();
  QWidget* dialog = nullptr;
  for (QWidget* top : QApplication::topLevelWidgets())
    if (top->isVisible() && top->windowTitle() == QLatin1String("Disorder Part Number")) dialog = top;
  ASSERT_TRUE(dialog);
  EXPECT_FALSE(dialog->isModal());
  ExpectKeyboardReachable(*dialog);
  auto* variable = dialog->findChild<QComboBox*>(QStringLiteral("fvar"));
  Press(*dialog, Qt::Key_Return);
  EXPECT_EQ(robot.seen.back().text, QLatin1String("You must have at least one atom selected!"));
  window->Run(kSelectByNameCommand, "O2");
  Settle();
  EXPECT_EQ(Field(*dialog, "part").text(), QLatin1String("2"));
  EXPECT_EQ(variable->currentData().toInt(), -2);
  EXPECT_EQ(Field(*dialog, "value").text(), QLatin1String("0.6"));
  Type(*dialog, "part", "one");
  Press(*dialog, Qt::Key_Return);
  EXPECT_EQ(robot.seen.back().text, QLatin1String("PART: \"one\" is not a number."));
  Type(*dialog, "part", "-3");
  variable->setCurrentIndex(variable->findData(3));
  Type(*dialog, "value", "0.25");
  Press(*dialog, Qt::Key_Return);
  Settle();
  EXPECT_EQ(Atom("O2")->part, -3);
  EXPECT_EQ(Atom("O2")->occupancy, 31.0);
  EXPECT_FLOAT_EQ(bench.document.instructions.freeVariables.at(1), 0.25f);
  EXPECT_TRUE(dialog->isVisible());
  window->Run(kUndoCommand);
  Settle();
  EXPECT_EQ(Field(*dialog, "part").text(), QLatin1String("2")) << "it follows an undo";
  Press(*dialog, Qt::Key_Escape);
  EXPECT_FALSE(dialog->isVisible());
}

TEST_F(EditDialogsTest, AFragmentIsSeenBeforeItIsPut) {
  std::filesystem::create_directory(scratch / "pkg/fragments");
  scratch.Put("pkg/fragments/ring.txt",
              "TITLE Ring\nCLASS RNG\nSOURCE test\nATOM C1 C 0 0 0\nATOM C2 C 0 1.5 0\nATOM O1 O 1.3 2 0\n"
              "ATOM C3 C 1.3 -0.5 0\n");
  window->Run(kSelectAtomsCommand, "C1 C2 O1");
  bench.view.panX = 9;
  bench.view.panY = -14;
  area->Redraw();
  Settle();
  const QPointF off = area->PlaceOf(Atom("O1")->position) - At("O1");
  EXPECT_LE(std::abs(off.x()) + std::abs(off.y()), 2.0);
  const QImage before = area->grab().toImage();
  robot.Next([&](QWidget& dialog) {
    EXPECT_EQ(area->grab().toImage(), before);
    dialog.findChild<QComboBox*>(QStringLiteral("fragment"))->setCurrentText(QStringLiteral("ring"));
    EXPECT_NE(area->grab().toImage(), before);
    QStringList said;
    for (const auto* label : dialog.findChildren<QLabel*>()) said << label->text();
    EXPECT_TRUE(said.contains(QStringLiteral("Ring: 0.000 Å from the chosen atoms"))) << said.join(u'/').toStdString();
    Type(dialog, "on", "C1 C2 C3");
    EXPECT_EQ(area->grab().toImage(), before) << "what does not fit is not drawn";
    Reject(dialog);
  });
  EXPECT_EQ(window->Run(kFragmentCommand), Outcome::Cancelled);
  EXPECT_EQ(area->grab().toImage(), before);
}

TEST_F(EditDialogsTest, ThePartsOfASplitAreSeenBeforeItIsDone) {
  window->Run(kSelectAtomsCommand, "C1");
  const QImage before = area->grab().toImage();
  QImage first;
  robot.Next([&](QWidget& dialog) {
    Type(dialog, "about", "C2");
    first = area->grab().toImage();
    EXPECT_NE(first, before);
    Type(dialog, "about", "Q1");
    EXPECT_NE(area->grab().toImage(), first);
    Type(dialog, "about", "X9");
    EXPECT_EQ(area->grab().toImage(), before);
    EXPECT_EQ(bench.history.UndoName(), "");
    Reject(dialog);
  });
  EXPECT_EQ(window->Run(kSplitCommand), Outcome::Cancelled);
  EXPECT_EQ(area->grab().toImage(), before);
}

TEST_F(EditDialogsTest, EveryDialogOfACommandHasItsOwnLetters) {
  int opened = 0;
  for (const CommandRow& row : CommandTable()) {
    const bool asks = row.NeedsArgument() && row.run && row.argument != std::string_view("ATOM");
    if (!asks || row.id == kSameCommand || row.id == kPositionLabelCommand) continue;
    window->Run(kReadFileCommand, scratch.Put("edit.res", kFile));
    window->Run(kSelectByNameCommand, "C1 C2 O1");
    const auto before = robot.seen.size();
    window->Run(row.id);
    opened += robot.seen.size() > before;
  }
  EXPECT_GT(opened, 25);
}

TEST_F(EditDialogsTest, WhatIsLargerThanTheScreenScrolls) {
  RefinementSettings settings;
  RefinementControlDialog dialog(nullptr, settings);
  const QSize needed = dialog.layout()->totalSizeHint();
  const QSize room(needed.width() - 40, needed.height() / 2);
  auto* box = dialog.findChild<QDialogButtonBox*>();
  box->button(QDialogButtonBox::Cancel)->setText(QStringLiteral("&Cancel"));
  FitDialog(dialog, room);
  FreeLetters(dialog);
  robot.Next([&](QWidget& shown) {
    Settle();
    EXPECT_LE(shown.width(), room.width());
    EXPECT_LE(shown.height(), room.height());
    EXPECT_EQ(shown.focusWidget()->objectName().toInt(), kCyclesSpin);
    const auto* buttons = shown.findChild<QDialogButtonBox*>();
    EXPECT_TRUE(shown.rect().contains(buttons->geometry()));
    // Letters that the desktop gives them are the fields'.
    EXPECT_FALSE(buttons->button(QDialogButtonBox::Cancel)->text().contains(QLatin1Char('&')));
    // Tab leads to each of them, and each comes into view.
    QSet<QWidget*> reached;
    for (int i = 0; i < 60; ++i) {
      Press(shown, Qt::Key_Tab);
      Settle();
      QWidget* part = shown.focusWidget();
      if (!part) continue;
      const QRect place(part->mapTo(&shown, QPoint()), part->size());
      EXPECT_TRUE(shown.rect().intersects(place)) << part->objectName().toStdString();
      reached.insert(part);
    }
    EXPECT_GT(reached.size(), 25);
    Reject(shown);
  });
  dialog.exec();
  // Windows that are no dialogs are cut down to the screen.
  QPlainTextEdit editor;
  editor.resize(4000, 3000);
  editor.show();
  EXPECT_TRUE(editor.screen()->availableSize().width() >= editor.width() &&
              editor.screen()->availableSize().height() > editor.height());
  // So are dialogs with a size of their own, and they come up within it.
  QDialog wide;
  wide.setLayout(new QVBoxLayout);
  auto* shown = new QPlainTextEdit;
  shown->setReadOnly(true);
  shown->setAccessibleName(QStringLiteral("Text"));
  wide.layout()->addWidget(shown);
  wide.resize(4000, 200);
  wide.show();
  EXPECT_TRUE(wide.screen()->availableGeometry().contains(wide.geometry())) << wide.x() << " " << wide.width();
  // What fits stays as it is.
  RefinementControlDialog small(nullptr, settings);
  FitDialog(small, needed + QSize(9, 9));
  EXPECT_FALSE(small.findChild<QScrollArea*>());
}

}  // namespace
}  // namespace marvik::test
