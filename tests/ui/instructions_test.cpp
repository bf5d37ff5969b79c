#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTextBlock>
#include <QTreeWidget>
#include <ctime>
#include <filesystem>

#include "app/structure_text.h"
#include "ui/notice_bar.h"
#include "ui/panels/instructions_editor.h"
#include "ui/panels/instructions_panel.h"
#include "ui/panels/panel_set.h"

#include "window_fixture.h"

namespace marvik {
namespace {

// The text that Load opens, with a line that has a repair: BIND of an atom that is not there has none, an open "=" has.
class InstructionsTest : public test::WindowTest {
 protected:
  void SetUp() override {
    Load();
    Show();
  }
  void Show() {
    window->Run(kInstructionsPanelCommand);
    Settle();
    panel = static_cast<InstructionsPanel*>(window->Panels().Find(kInstructionsPanelCommand));
    ASSERT_TRUE(panel);
    editor = &panel->Editor();
    list = panel->findChild<QTreeWidget*>();
    Wait();
  }
  void Open(const std::string& text) {
    ASSERT_EQ(window->Run(kReadFileCommand, scratch.Put("other.res", text)), Outcome::Done);
    Wait();
  }
  // Until what was typed is taken over and looked at.
  void Wait() const {
    Settle();
    EXPECT_TRUE(Until([this] { return !panel->IsBusy(); }));
    Settle();
  }
  std::string Shown() const { return editor->toPlainText().toStdString(); }
  std::string Text() const { return TextOfStructure(bench); }
  void Put(int line, int column = 0) {
    editor->setFocus();
    QTextCursor cursor(editor->document()->findBlockByNumber(line));
    cursor.movePosition(QTextCursor::Right, QTextCursor::MoveAnchor, column);
    editor->setTextCursor(cursor);
  }
  int LineOf(const char* start) const {
    for (int i = 0; i < editor->blockCount(); ++i)
      if (editor->LineText(i).startsWith(QLatin1String(start))) return i;
    return -1;
  }

  InstructionsPanel* panel = nullptr;
  InstructionsEditor* editor = nullptr;
  QTreeWidget* list = nullptr;
};

TEST_F(InstructionsTest, WhatIsTypedBecomesTheStructureInOneStep) {
  EXPECT_EQ(Shown(), Text());
  const std::string before = Text();
  Put(LineOf("O1"), 1);
  QTest::keyClick(editor, Qt::Key_Delete);
  QTest::keyClicks(editor, "7");
  EXPECT_TRUE(Atom("O1")) << "not before the typing pauses";
  Wait();
  EXPECT_TRUE(Atom("O7"));
  EXPECT_EQ(bench.history.Levels(), 1u);
  EXPECT_EQ(Shown(), Text());
  window->Run(kUndoCommand);
  Settle();
  EXPECT_EQ(Text(), before);
  EXPECT_EQ(Shown(), before);
  // A command does not have to wait for the pause.
  Put(LineOf("C2"), 1);
  QTest::keyClicks(editor, "2");
  window->Run(kSaveCommand);
  EXPECT_NE(scratch.Get("model.res").find("\nC22 "), std::string::npos);
}

TEST_F(InstructionsTest, WhatIsDoneElsewhereChangesItsLinesAndNotTheCursor) {
  Put(LineOf("HKLF"), 3);
  window->Run(kRenameAtomCommand, "C1 C11");
  window->Run(kSelectAtomsCommand, "=Q1");
  window->Run(kKillSelectedCommand);
  Settle();
  EXPECT_EQ(Shown(), Text());
  EXPECT_GE(LineOf("C11"), 0);
  EXPECT_EQ(LineOf("Q1"), -1);
  EXPECT_TRUE(editor->textCursor().block().text().startsWith("HKLF"));
  EXPECT_EQ(editor->textCursor().positionInBlock(), 3);
}

TEST_F(InstructionsTest, WhatCannotBeReadIsToldAndStays) {
  const std::string before = Text();
  Put(LineOf("CELL"));
  QTest::keyClicks(editor, "X");
  Wait();
  EXPECT_EQ(Text(), before);
  EXPECT_TRUE(editor->LineText(LineOf("XCELL")).contains("0.71073"));
  EXPECT_FALSE(panel->findChild<QLabel*>()->text().isEmpty());
  EXPECT_FALSE(bench.modified);
  // Nothing goes over it without a question, and what else changes leaves it.
  EXPECT_EQ(window->Run(kSaveCommand), Outcome::Cancelled);
  ASSERT_EQ(robot.seen.size(), 1);
  robot.NextButton("Ignore");
  window->Run(kRenameAtomCommand, "O1 O2");
  Settle();
  EXPECT_GE(LineOf("XCELL"), 0);
  EXPECT_GE(LineOf("O2"), 0);
  EXPECT_TRUE(Atom("O2"));
  Put(LineOf("XCELL"));
  QTest::keyClick(editor, Qt::Key_Delete);
  Wait();
  EXPECT_EQ(Shown(), Text());
  EXPECT_NE(Text().find("\nO2 "), std::string::npos);
  EXPECT_TRUE(window->Run(kSaveCommand) == Outcome::Done);
}

TEST_F(InstructionsTest, FindingsStandAtTheirLinesAndAreRepairedByAClick) {
  Open(
      "TITL t\nCELL 0.71073 10 10 10 90 90 90\nZERR 1 0.001 0.001 0.001 0 0 0\nLATT -1\nSFAC C O\nUNIT 1 1\n"
      "WHAT is this\nDFIX 1.5 C1 C9\nFVAR 1.0\nC1 1 0.3 0.3 0.5 11.0 0.04\nO1 2 0.7 0.4 0.5 11.0 0.05\nHKLF 4\nEND\n");
  QTreeWidgetItem* unknown = nullptr;
  bool missing = false;
  for (int row = 0; row < list->topLevelItemCount(); ++row) {
    if (list->topLevelItem(row)->text(0) == "7") unknown = list->topLevelItem(row);
    missing = missing || (list->topLevelItem(row)->text(0) == "8" && list->topLevelItem(row)->text(1).contains("C9"));
  }
  EXPECT_TRUE(missing);
  ASSERT_TRUE(unknown);
  EXPECT_TRUE(list->isVisible());
  // An instruction with a fault is coloured as what is none.
  const auto colourOf = [this](int line) {
    const auto formats = editor->document()->findBlockByNumber(line - 1).layout()->formats();
    return formats.isEmpty() ? QColor() : formats.first().format.foreground().color();
  };
  EXPECT_EQ(colourOf(8), colourOf(7));
  EXPECT_NE(colourOf(8), colourOf(9));
  ASSERT_FALSE(unknown->text(2).isEmpty());
  Q_EMIT list->itemClicked(unknown, 2);
  Wait();
  EXPECT_NE(Text().find("\nREM WHAT is this\n"), std::string::npos);
  EXPECT_EQ(Shown(), Text());
  EXPECT_EQ(bench.history.Levels(), 1u);
  for (int row = 0; row < list->topLevelItemCount(); ++row) EXPECT_NE(list->topLevelItem(row)->text(0), "7");
}

TEST_F(InstructionsTest, CursorAndPictureSelectTheSameAtoms) {
  window->activateWindow();
  editor->setFocus();
  ASSERT_TRUE(Until([this] { return editor->hasFocus(); }));
  Put(LineOf("O1"), 4);
  const auto selects = [this](const char* names) { return Until([&] { return SelectedNames() == names; }); };
  EXPECT_TRUE(selects("O1"));
  Put(LineOf("C1"));
  QTest::keyClick(editor, Qt::Key_Down, Qt::ShiftModifier);
  EXPECT_TRUE(selects("C1 C2")) << SelectedNames();
  Settle();
  window->Run(kDeselectCommand);
  area->setFocus();
  Click(At("Q1"));
  ASSERT_EQ(editor->extraSelections().size(), 1);
  EXPECT_TRUE(editor->extraSelections().front().cursor.block().text().startsWith("Q1"));
  EXPECT_TRUE(editor->textCursor().block().text().startsWith("Q1"));
}

TEST_F(InstructionsTest, BytesThatAreNoTextComeBack) {
  using namespace std::string_literals;
  const std::string odd =
      "TITL t\xE9\x07\nCELL 0.7 10 10 10 90 90 90\r\nSFAC C\nUNIT 1\nREM a\0 b\x7F\rc\nFVAR 1\n"
      "C1 1 .1 .1 .1 11 0.05\nHKLF 4\nEND\nno end"s;
  Open(odd);
  ASSERT_EQ(Text(), odd);
  Put(LineOf("C1"), 2);
  QTest::keyClicks(editor, " ");
  Put(0, 6);
  editor->insertPlainText(QString(QChar(u'\xE8')));
  Wait();
  std::string wanted = odd;
  wanted.replace(wanted.find("C1 1"), 4, "C1  1");
  wanted.insert(6, "\xE8");
  EXPECT_EQ(Text(), wanted);
}

TEST_F(InstructionsTest, AFileThatChangesIsToldAndCanBeReadAgain) {
  const auto press = [&](const char* text) {
    ASSERT_TRUE(Button(window->Notices(), text)) << text;
    Button(window->Notices(), text)->click();
  };
  const auto told = [&] { return Until([&] { return window->Notices().isVisible(); }); };
  std::string text = Text();
  text.replace(text.find("O1 2"), 4, "O8 2");
  // Own saves are no news.
  window->Run(kRenameAtomCommand, "C1 C3");
  window->Run(kSaveCommand);
  QTest::qWait(600);
  EXPECT_FALSE(window->Notices().isVisible());
  std::filesystem::rename(scratch.Put("new", text), scratch / "model.res");
  ASSERT_TRUE(told());
  press("Compare");
  Settle();
  EXPECT_TRUE(IsTold("O8 is now O1"));
  EXPECT_TRUE(window->Notices().isVisible());
  press("Keep");
  Settle();
  EXPECT_FALSE(window->Notices().isVisible());
  EXPECT_TRUE(bench.modified);
  // In place, and once more behind the renamed one.
  scratch.Put("model.res", text + "REM\n");
  ASSERT_TRUE(told());
  press("Reload");
  Wait();
  EXPECT_TRUE(Atom("O8"));
  EXPECT_EQ(Shown(), text + "REM\n");
  EXPECT_TRUE(Until([&] { return !window->Notices().isVisible(); }));
  // Taken away, nothing is to be lost by closing.
  EXPECT_FALSE(bench.modified);
  std::filesystem::remove(scratch / "model.res");
  ASSERT_TRUE(told());
  EXPECT_TRUE(bench.modified);
  press("Save");
  EXPECT_TRUE(Until([&] { return !window->Notices().isVisible(); }));
  EXPECT_EQ(scratch.Get("model.res"), text + "REM\n");
  EXPECT_TRUE(robot.seen.isEmpty());
}

TEST_F(InstructionsTest, SpeedOfTwentyThousandAtoms) {
  std::string text =
      "TITL t\nCELL 0.71073 200 200 200 90 90 90\nZERR 1 0 0 0 0 0 0\nLATT -1\nSFAC C\nUNIT 20000\nFVAR 1\n";
  for (int i = 0; i < 20000; ++i) {
    const std::string name = "C" + std::to_string(i);
    text += name + " 1 " + std::to_string(0.01 * (i % 97)) + " " + std::to_string(0.013 * (i / 97 % 71)) + " " +
            std::to_string(0.02 * (i / 6887)) + " 11.0 0.01 0.02 =\n  0.03 0.001 0.002 0.003\n";
  }
  Open(text + "HKLF 4\nEND\n");
  Put(20000, 1);
  QTest::keyClicks(editor, "9");
  const auto seconds = [start = std::clock()] { return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC; };
  EXPECT_TRUE(panel->TakeOver());
  Settle();
  window->Run(kRenameAtomCommand, "C7 C70007");
  Settle();
  EXPECT_LT(seconds(), 10.0) << "of processor time to take over, draw, rename and follow";
  Wait();
}

}  // namespace
}  // namespace marvik
