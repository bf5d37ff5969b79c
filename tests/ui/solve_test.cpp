#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>
#include <filesystem>

#include "app/open_save.h"
#include "app/refinement/solve_flow.h"
#include "app/seven_atoms.h"
#include "ui/dialogs/refinement/found_models_dialog.h"
#include "ui/dialogs/refinement/new_job_dialog.h"
#include "ui/dialogs/refinement/run_dialog.h"

#include "window_fixture.h"

namespace marvik {
namespace {

class SolveWindow : public test::WindowTest {
 protected:
  void OpenJob() {
    scratch.Put("job.hkl", test::Reflections());
    ASSERT_TRUE(OpenFile(bench, scratch.Put("job.ins", test::kHeader)));
  }
  // Waits until a model has appeared behind the run, and for nothing else.
  void NextRun(const std::function<void(RunDialog&, QPushButton&)>& then) {
    robot.Next([=, this](QWidget& widget) {
      auto& dialog = dynamic_cast<RunDialog&>(widget);
      EXPECT_TRUE(Until([this] { return bench.document.atoms.head != nullptr; }));
      EXPECT_TRUE(bench.refining);
      then(dialog, *dialog.findChild<QPushButton*>(QString::number(kRunButton)));
    });
  }
  void ExpectUntouched() {
    EXPECT_EQ(bench.document.atoms.head, nullptr);
    EXPECT_EQ(bench.document.CurrentFile, scratch / "job.ins");
    EXPECT_EQ(scratch.Get("job.ins"), test::kHeader);
    EXPECT_FALSE(scratch.Has("job.res") || scratch.Has("job_steps"));
  }
};

TEST_F(SolveWindow, TheModelAppearsBehindTheRunAndOneIsTaken) {
  OpenJob();
  window->Run(kUsualPanelsCommand);
  NextRun([](RunDialog& dialog, QPushButton& button) {
    EXPECT_TRUE(Until([&] { return button.text() == QLatin1String("OK"); }));
    EXPECT_LT(dialog.height(), dialog.parentWidget()->height() / 2) << "the model is to be seen";
    QTest::mouseClick(&button, Qt::LeftButton);
  });
  robot.Next([this](QWidget& dialog) {
    EXPECT_EQ(CountAtoms(bench.document), 7);
    QTest::keyClick(&dialog, Qt::Key_Return);
  });
  EXPECT_EQ(window->Run(kSolveCommand), Outcome::Done);
  EXPECT_EQ(CountAtoms(bench.document), 7);
  EXPECT_EQ(bench.document.CurrentFile, scratch / "job.res");
  EXPECT_FALSE(window->isWindowModified());
  EXPECT_EQ(window->focusWidget(), area) << "Ctrl+Z takes it back";
}

TEST_F(SolveWindow, CancelAndClosingLeaveEverythingAsItWas) {
  const test::WithVariable temporary{"TMPDIR", scratch / "tmp"};
  std::filesystem::create_directory(scratch / "tmp");
  OpenJob();
  NextRun([](RunDialog& dialog, QPushButton&) { dialog.Stop(); });
  window->Run(kSolveCommand);
  ExpectUntouched();
  NextRun([this](RunDialog&, QPushButton&) { window->close(); });
  window->Run(kSolveCommand);
  ExpectUntouched();
  EXPECT_TRUE(Until([this] { return !window->isVisible(); }));
  EXPECT_TRUE(std::filesystem::is_empty(scratch / "tmp"));
}

TEST_F(SolveWindow, ModelsAreShownAndOneIsChosen) {
  const FoundModels found = ReadFoundModels(
      "file\tmodel\tspace group\tR1\tremark\n/a\tcandidate a\tP -1\t0.1\t\n/b\tcandidate b\tP 1\t0.2\tno better\n"
      "/c\tweights\t\t0.05\t\n");
  ASSERT_EQ(found.rows.size(), 3u);
  EXPECT_EQ(found.proposed, 2u) << "the end of a completion";
  std::vector<size_t> shown;
  const auto show = [&](size_t row) { shown.push_back(row); };
  robot.Next([](QWidget& dialog) {
    auto* table = dialog.findChild<QTreeWidget*>(QStringLiteral("models"));
    auto* remark = dialog.findChild<QLabel*>(QStringLiteral("remark"));
    EXPECT_EQ(remark->text(), "");
    QTest::keyClick(table, Qt::Key_Up);
    EXPECT_EQ(remark->text(), "no better");
    QTest::keyClick(&dialog, Qt::Key_Return);
  });
  EXPECT_EQ(bench.hooks.chooseModel(found, show), std::optional<size_t>(1));
  EXPECT_EQ(shown, (std::vector<size_t>{2, 1}));
  EXPECT_FALSE(bench.refining);
  robot.Next([](QWidget& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); });
  EXPECT_FALSE(bench.hooks.chooseModel(found, show));
}

TEST_F(SolveWindow, ANewJobIsFilledFromWhatLiesBeside) {
  scratch.Put("new.hkl", "");
  scratch.Put("new.p4p", "CELL 7.5 10.3 12.1 90 108 90\nCHEM C7 H13 Cl N2\n");
  robot.Next([&](QWidget& dialog) {
    ExpectKeyboardReachable(dialog);
    EXPECT_EQ(Field(dialog, "cell").text(), "7.5, 10.3, 12.1, 90, 108, 90");
    Accept(dialog);
    EXPECT_TRUE(dialog.isVisible()) << "the wavelength is missing";
    EXPECT_NE(robot.seen.back().text.indexOf(QLatin1String("wavelength")), -1);
    Type(dialog, "wavelength", "0.71073");
    Press(dialog, Qt::Key_Return);
  });
  const auto argument = AskNewJob(window.get(), scratch / "new.hkl");
  ASSERT_TRUE(argument);
  EXPECT_NE(argument->find("formula=\"C7 H13 Cl N2\""), std::string::npos) << *argument;
  EXPECT_NE(argument->find("wavelength=0.71073"), std::string::npos) << *argument;
}

}  // namespace
}  // namespace marvik
