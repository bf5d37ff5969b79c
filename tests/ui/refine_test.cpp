#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTest>
#include <QTreeWidget>
#include <filesystem>

#include "app/refinement/refine_flow.h"
#include "ui/dialogs/refinement/progress_plots.h"
#include "ui/dialogs/refinement/refinement_control_dialog.h"
#include "ui/dialogs/refinement/refinement_history_dialog.h"
#include "ui/dialogs/refinement/refinement_result_dialog.h"
#include "ui/dialogs/refinement/run_dialog.h"
#include "ui/panels/panel_set.h"

#include "support/fake_refinement_path.h"
#include "window_fixture.h"

namespace marvik {
namespace {

namespace fs = std::filesystem;

template <class Widget>
Widget* Control(QWidget& dialog, int id) {
  return dialog.findChild<Widget*>(QString::number(id));
}

bool LooksEnabled(QWidget& dialog, int id) {
  return Control<QLineEdit>(dialog, id)->property("looksEnabled").toBool();
}

class RefineWindow : public test::WindowTest {
 protected:
  RefineWindow() {
    fs::create_directory(scratch / "pkg");
    scratch.Put("pkg/zqfrommarvik.bat", std::string("#!/bin/sh\nexec '") + test::kFakeRefinement + "' \"$1\"\n");
    fs::permissions(scratch / "pkg/zqfrommarvik.bat", fs::perms::owner_all);
    Load();
    window->Run(203);
    scratch.Put("model.hkl", "");
    original = scratch.Get("model.res");
  }
  // Answers the run dialog by a click on its button once that says `text`.
  void NextRun(const char* text, const std::function<void(RunDialog&)>& look = {}) {
    robot.Next([=](QWidget& widget) {
      auto& dialog = dynamic_cast<RunDialog&>(widget);
      auto* button = Control<QPushButton>(dialog, kRunButton);
      EXPECT_TRUE(Until([=] { return button->text() == QLatin1String(text); })) << text;
      if (look) look(dialog);
      QTest::mouseClick(button, Qt::LeftButton);
    });
  }
  // Whoever inherits a killed process may take its time to bury it.
  bool GrandchildIsGone() {
    const int pid = std::atoi(scratch.Get("model.pid").c_str());
    return Until([pid] { return kill(pid, 0) != 0; });
  }
  std::string original;
};

TEST_F(RefineWindow, ControlDialogMovesTheSettings) {
  RefinementSettings settings;
  settings.RefinementType = "L.S.";
  settings.ListLine = "LIST 6";
  settings.WeightCount = 2;
  settings.Weights = {0.05, 0.4, 0, 0, 0, 0};
  RefinementControlDialog dialog(nullptr, settings);
  EXPECT_TRUE(Control<QRadioButton>(dialog, kNormalRadio)->isChecked());
  EXPECT_EQ(Control<QComboBox>(dialog, kListCombo)->currentText(), "LIST 6");
  EXPECT_EQ(Control<QLineEdit>(dialog, 1056)->text(), "0.400000");
  EXPECT_TRUE(LooksEnabled(dialog, 1056) && !LooksEnabled(dialog, 1043) && !LooksEnabled(dialog, kOmitSigmasEdit));
  robot.Next([](QWidget&) {});
  dialog.show();
  Settle();
  // Checking a row's other box moves the mark; the look of the edits follows, and they can be typed in all the same.
  QTest::mouseClick(Control<QCheckBox>(dialog, 1211), Qt::LeftButton, {}, QPoint(5, 5));
  EXPECT_FALSE(Control<QCheckBox>(dialog, 1210)->isChecked());
  EXPECT_TRUE(LooksEnabled(dialog, 1043) && !LooksEnabled(dialog, 1056));
  QTest::keyClicks(Control<QLineEdit>(dialog, 1056), "7");
  EXPECT_NE(Control<QLineEdit>(dialog, 1056)->text(), "0.400000");
  QTest::mouseClick(Control<QRadioButton>(dialog, kCglsRadio), Qt::LeftButton, {}, QPoint(5, 5));
  EXPECT_EQ(settings.RefinementType, "CGLS") << "at once";
  // The refusal keeps the dialog open.
  Control<QCheckBox>(dialog, kOmitSecondBox)->click();
  dialog.accept();
  EXPECT_EQ(robot.seen.back().title, "First Omit Parameter Unchecked:");
  EXPECT_TRUE(dialog.isVisible());
  Control<QCheckBox>(dialog, kOmitBox)->click();
  for (const auto& [edit, text] :
       {std::pair(int{kOmitSigmasEdit}, "3.5"), {int{kOmitTwoThetaEdit}, "50"}, {1043, "0.25"}})
    Control<QLineEdit>(dialog, edit)->setText(QLatin1String(text));
  Control<QSpinBox>(dialog, kCyclesSpin)->setValue(1200);
  Control<QRadioButton>(dialog, kIdleRadio)->click();
  dialog.accept();
  EXPECT_FALSE(dialog.isVisible());
  EXPECT_EQ(settings.Cycles, 999);
  EXPECT_EQ(settings.OmitSigmas, 3.5);
  EXPECT_EQ(settings.Weights[1], 0.25);
  EXPECT_EQ(settings.PriorityClass, kIdlePriority);
}

TEST_F(RefineWindow, WholeFlowByKeyAndClicks) {
  std::string moved = original;
  moved.replace(moved.find("O1 2 0.70"), 9, "O1 2 0.71");
  scratch.Put("new.res", moved);
  scratch.Put("model.steps",
              "say  wR2 = 0.3 before cycle 1\npart half a li\nwait 300\nsay ne\ncopy new.res\nsay finished\n");
  robot.Next([](QWidget& dialog) {
    Control<QSpinBox>(dialog, kCyclesSpin)->setValue(12);
    Accept(dialog);
  });
  NextRun("OK", [](RunDialog& dialog) {
    EXPECT_EQ(dialog.windowTitle(), "Refine");
    EXPECT_EQ(Control<QPlainTextEdit>(dialog, kRunText)->toPlainText(),
              " wR2 = 0.3 before cycle 1\nhalf a li\nfinished");
    EXPECT_EQ(Control<QPushButton>(dialog, kRunPrintButton)->text(), "&Print");
  });
  robot.Next([](QWidget& dialog) {
    EXPECT_EQ(dialog.windowTitle(), "Refinement Result");
    const auto* atoms = dialog.findChild<QTreeWidget*>(QStringLiteral("atoms"));
    EXPECT_EQ(atoms->topLevelItem(0)->text(0), "O1");
    EXPECT_EQ(atoms->topLevelItem(0)->text(1), "0.1000");
    EXPECT_EQ(dialog.findChild<QTreeWidget*>(QStringLiteral("peaks"))->topLevelItemCount(), 1);
    Accept(dialog);
  });
  QTest::keyClick(window.get(), Qt::Key_R, Qt::ControlModifier);
  Settle();
  ASSERT_EQ(robot.seen.size(), 3);
  EXPECT_EQ(Atom("O1")->fract.x, 0.71);
  EXPECT_EQ(window->windowTitle(), "model.res[*]");
  EXPECT_FALSE(window->isWindowModified());
  EXPECT_NE(scratch.Get("model.ins").find("L.S. 12\n"), std::string::npos);
  // Nothing moves in the next cycle, so that no table comes up; the dialog closes by itself when it is told to.
  window->Run(203);
  robot.Next(Accept);
  NextRun("OK", [](RunDialog& dialog) { dialog.findChild<QCheckBox*>()->setChecked(true); });
  EXPECT_EQ(window->Run(kRefineCommand), Outcome::Done);
  window->Run(203);
  robot.Next(Accept);
  robot.Next([](QWidget&) {});  // closes alone
  EXPECT_EQ(window->Run(kRefineCommand), Outcome::Done);
  EXPECT_EQ(robot.seen.size(), 7);
  // Every step is there to be compared and to go back to.
  robot.Next([](QWidget& dialog) {
    auto* steps = dialog.findChild<QTreeWidget*>(QStringLiteral("steps"));
    steps->setCurrentItem(steps->topLevelItem(3));
    QTest::mouseClick(Button(dialog, "Compare"), Qt::LeftButton);
  });
  EXPECT_EQ(window->Run(kRefinementStepCommand), Outcome::Cancelled);
  EXPECT_TRUE(IsTold("O1 moved by 0.1000"));
  robot.Next([](QWidget& dialog) {
    auto* steps = dialog.findChild<QTreeWidget*>(QStringLiteral("steps"));
    EXPECT_EQ(steps->topLevelItemCount(), 4);
    steps->setCurrentItem(steps->topLevelItem(3));
    Accept(dialog);
  });
  EXPECT_EQ(window->Run(kRefinementStepCommand), Outcome::Changed);
  EXPECT_EQ(Atom("O1")->fract.x, 0.7);
}

TEST_F(RefineWindow, CancelLeavesTheResult) {
  scratch.Put("model.steps", "copy\nspawn\nsay running\nwait 60000\n");
  robot.Next(Accept);
  robot.Next([this](QWidget& dialog) {
    EXPECT_TRUE(Until([this] { return scratch.Has("model.pid"); }));
    robot.NextButton("No");
    QTest::keyClick(&dialog, Qt::Key_Escape);
    EXPECT_TRUE(dialog.isVisible()) << "it runs on";
    robot.NextButton("Yes");
    QTest::keyClick(&dialog, Qt::Key_Escape);
  });
  EXPECT_EQ(window->Run(kRefineCommand), Outcome::Cancelled);
  EXPECT_EQ(scratch.Get("model.res"), original);
  EXPECT_TRUE(GrandchildIsGone());
}

TEST_F(RefineWindow, ThePanelFollowsTheRunAndStopsIt) {
  window->Run(kRefinementPanelCommand, "on");
  Settle();
  QWidget* panel = window->Panels().Find(kRefinementPanelCommand);
  const auto labels = [panel] {
    QStringList texts;
    for (const QLabel* label : panel->findChildren<QLabel*>()) texts << label->text();
    return texts;
  };
  scratch.Put("model.steps",
              "say  wR2 = 0.3 R1 = 0.1111 before cycle 1\nsay shift/su: mean 0.1, largest 0.520 for x C1\n"
              "say  wR2 = 0.2 R1 = 0.0999 before cycle 2\nwait 60000\n");
  robot.Next(Accept);
  robot.Next([&](QWidget& dialog) {
    EXPECT_FALSE(dialog.isModal());
    EXPECT_TRUE(Until([&] { return labels().contains(QLatin1String("0.0999")); }));
    EXPECT_TRUE(labels().contains(QLatin1String("0.520")));
    EXPECT_TRUE(panel->findChild<QWidget*>(QStringLiteral("cycles"))->isVisible());
    for (auto* button : panel->findChildren<QPushButton*>())
      if (button->isEnabled()) return QTest::mouseClick(button, Qt::LeftButton);  // only Cancel can be pressed now
    ADD_FAILURE();
  });
  EXPECT_EQ(window->Run(kRefineCommand), Outcome::Cancelled);
  Settle();
  EXPECT_FALSE(labels().contains(QLatin1String("0.0999"))) << "what was not taken is not shown";
}

TEST_F(RefineWindow, AWindowThatClosesAsksAboutAResult) {
  scratch.Put("new.res", std::string(original).replace(original.find("O1 2 0.70"), 9, "O1 2 0.71"));
  scratch.Put("model.steps", "copy new.res\nsay finished\n");
  robot.Next(Accept);
  NextRun("OK");
  robot.Next([&](QWidget& dialog) {
    EXPECT_FALSE(dialog.isModal());
    robot.NextButton("No");
    window->close();
    EXPECT_TRUE(dialog.isVisible() && window->isVisible());
    Accept(dialog);
  });
  EXPECT_EQ(window->Run(kRefineCommand), Outcome::Done);
  EXPECT_EQ(Atom("O1")->fract.x, 0.71);
  Settle();
  EXPECT_TRUE(window->isVisible());
}

TEST_F(RefineWindow, ClosingTheWindowEndsTheRun) {
  scratch.Put("model.steps", "copy\nspawn\nwait 60000\n");
  bench.modified = false;
  robot.Next([this](QWidget& dialog) {
    bench.modified = false;
    Accept(dialog);
  });
  robot.Next([this](QWidget&) {
    EXPECT_TRUE(Until([this] { return scratch.Has("model.pid"); }));
    window->close();
  });
  EXPECT_EQ(window->Run(kRefineCommand), Outcome::Cancelled);
  bench.modified = false;
  EXPECT_TRUE(Until([this] { return !window->isVisible(); }));
  EXPECT_TRUE(GrandchildIsGone());
  EXPECT_EQ(scratch.Get("model.res"), original);
}

TEST_F(RefineWindow, LongOutputKeepsTheDialogAlive) {
  scratch.Put("model.steps", "flood 5000000 80\nflood 5000000 0\nsay \xE4\xFF\ncopy\nsay finished\n");
  robot.Next(Accept);
  NextRun("OK", [](RunDialog& dialog) {
    const auto* text = Control<QPlainTextEdit>(dialog, kRunText);
    EXPECT_LE(text->blockCount(), 20000);
    EXPECT_TRUE(text->toPlainText().endsWith(QLatin1String("finished")));
  });
  EXPECT_EQ(window->Run(kRefineCommand), Outcome::Done);
}

TEST_F(RefineWindow, PeaksAndEscapeAreAskedAbout) {
  scratch.Put("model.steps", "say  wR2 = 0.3 before cycle 1\ncopy new.res\nsay finished\n");
  std::string moved = original;
  moved.replace(moved.find("O1 2 0.70"), 9, "O1 2 0.71");
  scratch.Put("new.res", moved);
  window->Run(kUndoCommand);
  ASSERT_TRUE(Atom("Q1"));
  robot.NextButton("No");
  EXPECT_EQ(window->Run(kRefineCommand), Outcome::Cancelled);
  EXPECT_TRUE(robot.seen.back().text.endsWith(QLatin1String("Kill the peak and refine?")));
  EXPECT_TRUE(Atom("Q1"));
  const auto escape = [](QWidget& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); };
  robot.NextButton("Yes");
  robot.Next(Accept);
  NextRun("OK");
  robot.Next([&](QWidget& dialog) {
    robot.NextButton("No");
    escape(dialog);
    EXPECT_TRUE(dialog.isVisible()) << "the result is kept";
    dialog.activateWindow();
    Alt(dialog, Qt::Key_A);
  });
  EXPECT_EQ(window->Run(kRefineCommand), Outcome::Done);
  EXPECT_EQ(Atom("O1")->fract.x, 0.71);
}

TEST(ResultDialog, IsLeftOutOnlyWhenNothingHappened) {
  RefinementReport report;
  report.changes.largestShift = 0.0009;
  EXPECT_TRUE(MaySkipResult(report, {true, 0.001}));
  EXPECT_FALSE(MaySkipResult(report, {false, 0.001}));
  EXPECT_FALSE(MaySkipResult(report, {true, 0.0005}));
  report.note = "Something.";
  EXPECT_FALSE(MaySkipResult(report, {true, 0.001}));
  report.doubtful = true;
  report.changes.atoms.resize(5000, {"C1", AtomFate::Moved, 0.1, {}});
  TakeDiagnosis("another program\n\n Worst restraints: x\n DFIX 1 2 3 4 C1 C2\n", report);
  EXPECT_TRUE(report.restraints.empty());
  TakeDiagnosis(
      " marvik-refine: full-matrix\n\n How hydrogens are placed: carrier\n C1 43 H1\n\n Principal mean square "
      "displacements\n"
      " C1 0.1 0.2 0.3\n C2 0.1 0.1 0.4  may be split into 0 0 0\n\n"
      " Twin laws of the lattice: law\n TWIN -1 0 0\n\n Worst restraints: target, "
      "value\n"
      " DFIX     1.5000     1.5410   0.0200      4.20  C1 C2\n RIGU     0.0000     0.0010   0.0040      0.06  C1 C2\n\n"
      " Analysis of variance\n 1 2 3\n",
      report);
  report.findings = {{"shift", FindingLevel::B, {"C1"}, 0, {}, {}, "It has not converged.", "", {}},
                     {"void", FindingLevel::G, {}, 0, {}, {}, "There is a void.", "", {}}};
  RefinementResultDialog dialog(nullptr, report, {false, 0.25});
  EXPECT_EQ(dialog.findChild<QTreeWidget*>(QStringLiteral("findings"))->topLevelItem(0)->text(1),
            QLatin1String("It has not converged."));
  const auto* restraints = dialog.findChild<QTreeWidget*>(QStringLiteral("restraints"));
  ASSERT_TRUE(restraints);
  ASSERT_EQ(restraints->topLevelItemCount(), 2);
  EXPECT_EQ(restraints->topLevelItem(0)->text(4) + restraints->topLevelItem(0)->text(5), QLatin1String("4.20C1 C2"));
  EXPECT_EQ(
      dialog.findChild<QPlainTextEdit*>(QStringLiteral("diagnosis"))->toPlainText(),
      QLatin1String("Twin laws of the lattice: law\n TWIN -1 0 0\n\nPrincipal mean square displacements\n"
                    " C2 0.1 0.1 0.4  may be split into 0 0 0\n\nHow hydrogens are placed: carrier\n C1 43 H1\n"));
  EXPECT_EQ(dialog.Skipping().below, 0.25);
  EXPECT_EQ(dialog.findChild<QTreeWidget*>(QStringLiteral("atoms"))->topLevelItemCount(), 1001);
  for (const QPushButton* button : dialog.findChildren<QPushButton*>()) {
    EXPECT_EQ(button->isDefault(), button->text() == QLatin1String("&Discard"));
  }
}

}  // namespace
}  // namespace marvik
