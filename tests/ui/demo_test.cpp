#include <QAction>
#include <QMessageBox>
#include <QTest>
#include <filesystem>

#include "ui/conquest.h"
#include "ui/text.h"

#include "window_fixture.h"

namespace marvik::test {
namespace {

constexpr int kDemoCommand = 159;

class DemoWindow : public WindowTest {
 protected:
  void PutScript(const std::string& text) {
    std::filesystem::create_directories(scratch / "pkg/egs");
    scratch.Put("pkg/egs/marvik.dem", text);
  }
  QAction* Entry() const { return window->Menus().ActionOf(kDemoCommand); }
};

TEST_F(DemoWindow, DrivesTheWindowUntilItsEntryIsChosenAgain) {
  Load();
  PutScript("BALL\nROT Y 1 1000000\nTELP\n");
  const auto before = bench.view.combined;
  Entry()->trigger();
  EXPECT_EQ(bench.DemoRunning, 1);
  ASSERT_TRUE(Until([&] { return bench.RenditionMode == kBallAndStick && Entry()->isChecked(); }));
  ASSERT_TRUE(Until([&] { return bench.view.combined != before; }));
  // Not under a box of the user's: what opened it may be half done.
  robot.Next([&](QWidget& box) {
    const auto still = bench.view.combined;
    QTest::qWait(150);
    EXPECT_EQ(bench.view.combined, still);
    Accept(box);
  });
  window->Run(kAboutCommand);
  const auto then = bench.view.combined;
  ASSERT_TRUE(Until([&] { return bench.view.combined != then; }));
  Entry()->trigger();
  EXPECT_EQ(bench.DemoRunning, 0);
  Settle();
  EXPECT_FALSE(Entry()->isChecked());
  const auto stopped = bench.view.combined;
  QTest::qWait(50);
  EXPECT_EQ(bench.view.combined, stopped);
  EXPECT_EQ(bench.RenditionMode, kBallAndStick);
}

TEST_F(DemoWindow, AsksBeforeTheUsersChangesAreLost) {
  Load();
  PutScript("INSFILE model.res\nSELECT C1\nKILL\nINSFILE model.res\nTELP\nWAIT 60\n");
  scratch.Put("pkg/egs/model.res", scratch.Get("model.res"));
  bench.SetModified(true);
  robot.NextButton("Cancel");
  Entry()->trigger();
  EXPECT_EQ(bench.DemoRunning, 0);
  // Agreed to once; what the demo itself changes is no question.
  robot.NextButton("Don't Save");
  Entry()->trigger();
  ASSERT_TRUE(Until([&] { return bench.RenditionMode == kThermalEllipsoid; }));
  EXPECT_EQ(robot.seen.size(), 2);
  EXPECT_EQ(bench.document.CurrentFile, scratch / "pkg/egs/model.res");
  EXPECT_FALSE(bench.modified);
  // Changes that the user makes meanwhile are one again, and keeping them ends the demo.
  Entry()->trigger();
  PutScript("WIRE\nINSFILE model.res\n");
  Entry()->trigger();
  ASSERT_TRUE(Until([&] { return bench.RenditionMode == kWireFrame; }));
  window->Run(kSelectByNameCommand, "O1");
  window->Run(kKillSelectedCommand);
  robot.NextButton("Cancel");
  ASSERT_TRUE(Until([&] { return bench.DemoRunning == 0; }));
  EXPECT_FALSE(Atom("O1"));
  EXPECT_TRUE(bench.modified);
}

// The close comes while the demo's own command has a box open, and while it sleeps.
TEST_F(DemoWindow, ClosesWhileTheDemoWaits) {
  PutScript("ZOOM\n");
  bool closed = false;
  robot.Next([&](QWidget& box) {
    closed = window->close();
    Reject(box);
  });
  Entry()->trigger();
  ASSERT_TRUE(Until([&] { return closed; }));
  EXPECT_EQ(bench.DemoRunning, 0);
  window->show();
  PutScript("PIPE\nWAIT 600\n");
  Entry()->trigger();
  ASSERT_TRUE(Until([&] { return bench.RenditionMode == kPipes; }));
  EXPECT_TRUE(window->close());
  EXPECT_EQ(bench.DemoRunning, 0);
}

TEST_F(DemoWindow, HandsQueriesToConQuest) {
  Load();
  window->Run(203);
  const WithVariable path("PATH", "/usr/bin:/bin");
  const WithVariable homes("XDG_DATA_DIRS", scratch / "share");
  const WithVariable home("XDG_DATA_HOME", scratch / "home");
  ASSERT_EQ(window->Run(kSaveAsCommand, scratch / "none.con"), Outcome::Done);
  ASSERT_EQ(robot.seen.size(), 1);
  EXPECT_EQ(robot.seen[0].title, "Error: Couldn't Find ConQuest");
  EXPECT_TRUE(scratch.Has("none.con"));

  std::filesystem::create_directories(scratch / "bin");
  std::filesystem::create_directories(scratch / "share/applications");
  const std::string program =
      scratch.Put("bin/search", "#!/bin/sh\nprintf '%s,' \"$@\" > " + (scratch / "taken") + ".new && mv " +
                                    (scratch / "taken") + ".new " + (scratch / "taken") + "\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  scratch.Put("share/applications/vendor-conquest.desktop",
              "[Desktop Entry]\nName=ConQuest 5\nExec=\"" + program + "\" -query %f\n[Other]\nName=No\n");
  window->Run(kSaveAsCommand, scratch / "a query.con");
  ASSERT_TRUE(Until([&] { return scratch.Has("taken"); }));
  EXPECT_EQ(scratch.Get("taken"), "-query," + (scratch / "a query.con") + ",");
  // The search path goes before the desktop.
  std::filesystem::copy(program, scratch / "bin/conquest");
  const WithVariable found("PATH", scratch / "bin");
  EXPECT_EQ(ConQuestCommand("/x.con"), (QStringList{PathToText(scratch / "bin/conquest"), QStringLiteral("/x.con")}));
  EXPECT_EQ(robot.seen.size(), 1);
}

}  // namespace
}  // namespace marvik::test
