#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QDropEvent>
#include <QFileDialog>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QRadioButton>
#include <QScrollBar>
#include <QSettings>
#include <QStatusBar>
#include <QTest>
#include <QUrl>

#include "ui/dialogs/argument_dialogs.h"
#include "ui/panels/panel_set.h"
#include "ui/text.h"

#include "window_fixture.h"

namespace marvik {
namespace {

class MainWindowTest : public test::WindowTest {
 protected:
  // Types a name into a file dialog and accepts it.
  void NextFile(const std::string& name, QStringList* filters = nullptr) {
    robot.Next([name, filters](QWidget& widget) {
      auto& dialog = dynamic_cast<QFileDialog&>(widget);
      if (filters) *filters = dialog.nameFilters();
      Field(dialog, "fileNameEdit").setText(QString::fromStdString(name));
      Accept(dialog);
    });
  }
  std::string PutSmall() const {
    return scratch.Put("small.res", "CELL 0.7 9 9 9 90 90 90\nSFAC C\nC1 1 0.1 0.1 0.1\nEND\n");
  }
  QString StatusTexts() const {
    QStringList texts;
    for (const QLabel* label : window->statusBar()->findChildren<QLabel*>()) {
      if (label->isVisible() && !label->text().isEmpty()) texts << label->text();
    }
    return texts.join(u'|');
  }
};

TEST_F(MainWindowTest, TitleAndStatusFollowTheFile) {
  EXPECT_EQ(window->windowTitle(), "Marvik[*]");
  Load();
  EXPECT_EQ(window->windowTitle(), "model.res[*]");
  EXPECT_EQ(StatusTexts(), "3 atoms, 1 peak, 1 bond|model.res");
  EXPECT_FALSE(window->isWindowModified());
  Click(At("O1"));
  window->Run(kKillSelectedCommand);
  Settle();
  EXPECT_TRUE(window->isWindowModified());
  EXPECT_EQ(StatusTexts(), "2 atoms, 1 peak, 1 bond|model.res");
  window->Run(kSaveCommand);
  EXPECT_FALSE(window->isWindowModified());
}

TEST_F(MainWindowTest, ANewUserSeesItLitAndWhatIsChosenIsRemembered) {
  window.reset();
  std::filesystem::remove(scratch / "pkg/marvikui.ini");
  for (const bool isNew : {true, false}) {
    Workbench session(messages);
    MainWindow again(session, messages);
    EXPECT_EQ(session.RenditionMode, isNew ? kLitRendition : kPipes);
    EXPECT_EQ(session.look, isNew ? Look::Dark : Look::Paper);
    EXPECT_EQ(session.SafeColours, !isNew);
    again.Run(kPaperLookCommand);
    again.Run(kPipesCommand);
    again.Run(565, "on");
    EXPECT_TRUE(again.Panels().IsShown(kModelPanelCommand));
    again.Run(kClassicLookCommand);
    EXPECT_FALSE(again.Panels().IsShown(kModelPanelCommand)) << "the bare picture";
    again.Run(kPaperLookCommand);
    EXPECT_TRUE(again.Panels().IsShown(kModelPanelCommand));
    again.close();
  }
}

TEST_F(MainWindowTest, PreferencesAreFoundByWordsAndComeIntoForce) {
  bench.LabelsOn = true;
  robot.Next([](QWidget& dialog) {
    auto* search = dialog.findChildren<QLineEdit*>().front();
    const auto box = [&](const char* text) {
      for (auto* found : dialog.findChildren<QCheckBox*>()) {
        if (found->text() == QLatin1String(text)) return found;
      }
      return static_cast<QCheckBox*>(nullptr);
    };
    search->setText(QStringLiteral("label hydr"));
    EXPECT_TRUE(box("Hydrogen Labels")->isVisible());
    EXPECT_FALSE(box("Labels")->isVisible());
    search->setText(QStringLiteral("threads"));
    EXPECT_FALSE(box("Hydrogen Labels")->isVisible());
    search->clear();
    ASSERT_TRUE(box("Labels"));
    box("Labels")->click();
    box("Geometry")->click();
    auto* look = dialog.findChildren<QComboBox*>()[1];
    look->setCurrentIndex(look->findText(QStringLiteral("Light")));
    ExpectKeyboardReachable(dialog);
    Accept(dialog);
  });
  window->Run(kPreferencesCommand);
  QTest::qWait(20);
  EXPECT_FALSE(bench.LabelsOn);
  EXPECT_EQ(bench.look, Look::Light);
  EXPECT_TRUE(window->Panels().IsShown(kGeometryPanelCommand));
}

TEST_F(MainWindowTest, TheLastStructureAndTenFilesComeBack) {
  robot.Next([](QWidget& dialog) {
    dialog.findChild<QCheckBox*>(QStringLiteral("session"))->click();
    Accept(dialog);
  });
  window->Run(kPreferencesCommand);
  Load();
  for (int i = 0; i < 12; ++i) {
    const std::string name = "job" + std::to_string(i) + ".res";
    window->Run(kReadFileCommand, scratch.Put(name, scratch.Get("model.res")));
  }
  window->close();
  Workbench session(messages);
  LoadRecentFiles(session.settings);
  MainWindow again(session, messages);
  again.RestoreSession();
  QTest::qWait(20);
  EXPECT_EQ(session.Title(), "job11.res");
  const auto recent = again.Menus().RecentFilesMenu()->actions();
  ASSERT_EQ(recent.size(), 10);
  EXPECT_TRUE(recent.back()->text().endsWith(QLatin1String("job2.res"))) << recent.back()->text().toStdString();
}

TEST_F(MainWindowTest, OpenAndSaveAskForNames) {
  const std::string lower = PutSmall();
  QStringList filters;
  NextFile(lower, &filters);
  window->Run(kOpenCommand);
  EXPECT_EQ(bench.document.CurrentFile, lower);
  ASSERT_EQ(filters.size(), 5);
  EXPECT_EQ(filters[0], "Results Files (*.RES) (*.res *.RES)");
  EXPECT_EQ(filters[4], "All Files (*.*) (*)");
  EXPECT_EQ(robot.seen.takeLast().title, "Open a File");

  NextFile("other", &filters);
  window->Run(kSaveAsCommand);
  EXPECT_EQ(robot.seen.takeLast().title, "Save a File");
  EXPECT_EQ(filters.size(), 10);
  EXPECT_EQ(bench.saveLayout, FileLayout::AsRead);
  EXPECT_EQ(bench.document.CurrentFile, scratch / "other.ins");
  EXPECT_TRUE(scratch.Has("other.ins"));

  // Cancelled, nothing happens.
  EXPECT_EQ(window->Run(kOpenCommand), Outcome::Cancelled);
  EXPECT_EQ(window->Run(kSaveAllCommand), Outcome::Cancelled);
  EXPECT_EQ(window->windowTitle(), "other.ins[*]");
}

TEST_F(MainWindowTest, ClosingProtectsUnsavedChanges) {
  Load();
  bench.SetModified(true);
  robot.NextButton("Cancel");
  EXPECT_FALSE(window->close());
  EXPECT_TRUE(window->isVisible());
  ASSERT_EQ(robot.seen.size(), 1);
  EXPECT_EQ(robot.seen[0].title, "Unsaved Changes");

  scratch.Put("model.res", "");
  bench.document.stamp.reset();
  robot.NextButton("Save");
  EXPECT_TRUE(window->close());
  EXPECT_NE(scratch.Get("model.res").find("C2"), std::string::npos);

  window->show();
  bench.SetModified(true);
  robot.NextButton("Don't Save");
  window->Run(kExitCommand);
  EXPECT_FALSE(window->isVisible());
  window->show();
  bench.SetModified(false);
  EXPECT_TRUE(window->close());
  EXPECT_EQ(robot.seen.size(), 3);
}

TEST_F(MainWindowTest, ADroppedFileIsOpenedAndManyAreAskedAbout) {
  const auto drop = [this](const QList<QUrl>& urls) {
    QMimeData data;
    data.setUrls(urls);
    QDragEnterEvent enter({10, 10}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window.get(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent event({10, 10}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window.get(), &event);
    QTest::qWait(20);
  };
  const std::string path = PutSmall();
  drop({QUrl::fromLocalFile(QString::fromStdString(path))});
  EXPECT_EQ(bench.document.CurrentFile, path);
  for (const auto& [count, words] : {std::pair(3, "the 3 files"), {40, "first 8 of the 40"}}) {
    QList<QUrl> urls;
    for (int i = 0; i < count; ++i)
      urls << QUrl::fromLocalFile(QString::fromStdString(scratch / ("a" + std::to_string(i) + ".res")));
    robot.NextButton("No");
    drop(urls);
    ASSERT_FALSE(robot.seen.isEmpty());
    EXPECT_TRUE(robot.seen.back().text.contains(QLatin1String(words))) << robot.seen.back().text.toStdString();
    EXPECT_EQ(bench.document.CurrentFile, path);
  }
}

TEST_F(MainWindowTest, PackParametersComeAsTheCommandTakesThem) {
  const auto ask = [this](const char* before, const std::function<void(QWidget&)>& change) {
    robot.Next([&change](QWidget& dialog) {
      change(dialog);
      Accept(dialog);
    });
    return AskPackParameters(window.get(), before).value_or("cancelled");
  };
  EXPECT_EQ(ask("", [](QWidget&) {}), "0,1,0,1,0,1");
  EXPECT_EQ(robot.seen.at(0).title, "Pack Parameters");
  EXPECT_EQ(ask("-0.5,2,0,1,0,1.25,atoms", [](QWidget&) {}), "-0.5,2,0,1,0,1.25,atoms");
  EXPECT_EQ(ask("0,1,0,1,0,1,atoms",
                [](QWidget& dialog) {
                  dialog.findChildren<QDoubleSpinBox*>()[3]->setValue(3.0);
                  dialog.findChildren<QRadioButton*>()[0]->setChecked(true);
                }),
            "0,1,0,3,0,1");
  EXPECT_EQ(AskPackParameters(window.get(), ""), std::nullopt);  // dismissed
}

TEST_F(MainWindowTest, PlaceAndDirectoryAreRemembered) {
  NextFile(PutSmall());
  window->Run(kOpenCommand);
  area->setMinimumSize(160, 160);
  area->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
  Settle();
  window->resize(444, 333);
  EXPECT_TRUE(window->close());
  EXPECT_TRUE(scratch.Has("pkg/marvikui.ini"));
  Workbench second(messages);
  MainWindow again(second, messages);
  EXPECT_EQ(again.size(), QSize(444, 333));
  // A version without panels has left the place of a window that has no room for them.
  QSettings(ToText(scratch / "pkg/marvikui.ini"), QSettings::IniFormat).remove(QStringLiteral("window/layout"));
  Workbench third(messages);
  EXPECT_GT(MainWindow(third, messages).width(), 444);
  QString directory;
  robot.Next([&](QWidget& dialog) {
    directory = dynamic_cast<QFileDialog&>(dialog).directory().path();
    Reject(dialog);
  });
  again.Run(kOpenCommand);
  EXPECT_EQ(directory.toStdString() + "/", scratch / "");
}

}  // namespace
}  // namespace marvik
