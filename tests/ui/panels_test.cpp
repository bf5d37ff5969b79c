#include <QComboBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QTableView>
#include <QTest>
#include <QTreeWidget>

#include "ui/dialogs/refinement/progress_plots.h"
#include "ui/panels/panel_set.h"
#include "ui/panels/refinement_panel.h"

#include "window_fixture.h"

namespace marvik {
namespace {

class PanelsTest : public test::WindowTest {
 protected:
  void SetUp() override {
    window->Run(kUsualPanelsCommand);
    Load();
    view = window->Panels().Find(kModelPanelCommand)->findChild<QTableView*>();
    ASSERT_TRUE(view);
  }
  QString Cell(int row, int column) const { return view->model()->index(row, column).data().toString(); }
  QStringList Names() const {
    QStringList names;
    for (int row = 0; row < view->model()->rowCount(); ++row) names << Cell(row, 0);
    return names;
  }
  void Edit(int row, int column, const char* text) {
    view->model()->setData(view->model()->index(row, column), QString::fromUtf8(text), Qt::EditRole);
    Settle();
  }

  QTableView* view = nullptr;
};

TEST_F(PanelsTest, TheTableAndThePictureSelectTheSameAtoms) {
  EXPECT_EQ(Names(), QStringList({"C1", "C2", "O1", "Q1"}));
  Click(At("O1"));
  ASSERT_EQ(view->selectionModel()->selectedRows().size(), 1);
  EXPECT_EQ(view->selectionModel()->selectedRows().front().row(), 2);
  view->selectRow(0);
  Settle();
  EXPECT_EQ(SelectedNames(), "C1");
  view->clearSelection();
  Settle();
  EXPECT_EQ(SelectedNames(), "");
}

TEST_F(PanelsTest, TheColumnsAreSeenAndEscapeEndsTheTour) {
  window->resize(1300, 900);
  Settle();
  EXPECT_LE(view->columnViewportPosition(4) + view->columnWidth(4), view->viewport()->width());
  window->activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
  window->ShowTour(true);
  auto* tour = area->findChild<QWidget*>(QStringLiteral("tour"));
  ASSERT_TRUE(tour && tour->isVisible());
  area->setFocus();
  QTest::keyClick(area, Qt::Key_Escape);
  EXPECT_FALSE(tour->isVisible());
}

TEST_F(PanelsTest, EveryInputSaysWhatItIs) {
  for (const CommandRow& row : CommandTable())
    if (QString::fromUtf8(row.name).endsWith(QLatin1String("-panel"))) window->Run(row.id, "on");
  Settle();
  test::ExpectTips(*window);
}

TEST_F(PanelsTest, RestraintsAndPartsAreListedAndChangedThere) {
  window->Run(FindCommand("restrain")->id, "kind=distance target=1.4 C1 C2");
  window->Run(FindCommand("parts-panel")->id, "on");
  window->Run(FindCommand("restraints-panel")->id, "on");
  window->resize(1400, 1000);
  Settle();
  auto* restraints = window->Panels().Find(FindCommand("restraints-panel")->id)->findChild<QTreeWidget*>();
  ASSERT_GT(restraints->topLevelItemCount(), 0);
  EXPECT_EQ(restraints->topLevelItem(0)->text(0), QStringLiteral("DFIX 1.4 C1 C2"));
  EXPECT_EQ(restraints->topLevelItem(0)->child(0)->text(2), QStringLiteral("1.4000"));
  // In place, as a double click and Enter do it; what is refused comes back.
  const QRect cell = restraints->visualItemRect(restraints->topLevelItem(0));
  const QPoint target(restraints->header()->sectionViewportPosition(2) + 5, cell.center().y());
  QTest::mouseClick(restraints->viewport(), Qt::LeftButton, {}, target);
  QTest::mouseDClick(restraints->viewport(), Qt::LeftButton, {}, target);
  auto* editor = restraints->findChild<QLineEdit*>();
  ASSERT_TRUE(editor);
  editor->setText(QStringLiteral("1.45"));
  QTest::keyClick(editor, Qt::Key_Return);
  Settle();
  EXPECT_EQ(restraints->topLevelItem(0)->text(0), QStringLiteral("DFIX 1.45 C1 C2"));
  restraints->topLevelItem(0)->setText(2, QStringLiteral("long"));
  Settle();
  EXPECT_EQ(robot.seen.size(), 1);
  EXPECT_EQ(restraints->topLevelItem(0)->text(2), QStringLiteral("1.45"));
  const QImage before = area->grab().toImage();
  window->Run(FindCommand("draw-restraints")->id);
  Settle();
  EXPECT_NE(area->grab().toImage(), before);
}

TEST_F(PanelsTest, GeometryIsMeasuredAlongTheSelection) {
  window->Run(kGeometryPanelCommand, "on");
  auto* panel = window->Panels().Find(kGeometryPanelCommand);
  ASSERT_TRUE(panel);
  auto* measured = panel->findChild<QPlainTextEdit*>(QStringLiteral("measured"));
  EXPECT_EQ(measured->toPlainText(), "");
  for (const char* name : {"C1", "C2", "O1"}) Click(At(name));
  const QString text = measured->toPlainText();
  EXPECT_TRUE(text.contains(QStringLiteral("C1–C2 ")) && text.contains(QStringLiteral("1.5000"))) << text.toStdString();
  EXPECT_TRUE(text.contains(QStringLiteral("C1–C2–O1"))) << text.toStdString();
  auto* kind = panel->findChild<QComboBox*>();
  kind->setCurrentIndex(kind->findText(QStringLiteral("Bonds")));
  EXPECT_TRUE(
      panel->findChild<QPlainTextEdit*>(QStringLiteral("report"))->toPlainText().contains(QStringLiteral("C2")));
}

TEST_F(PanelsTest, EditsInPlaceAreCommandsThatUndoKnows) {
  Edit(0, 0, "C9");
  Edit(1, 2, "2");
  EXPECT_EQ(Cell(0, 0), "C9");
  EXPECT_EQ(Atom("C2")->part, 2);
  window->Run(kUndoCommand);
  window->Run(kUndoCommand);
  Settle();
  EXPECT_EQ(Cell(0, 0), "C1");
  EXPECT_EQ(Cell(1, 2), "");
  // What the command refuses is said, and the table shows what the document holds.
  Edit(0, 0, "C2");
  EXPECT_EQ(robot.seen.size(), 1);
  EXPECT_EQ(Cell(0, 0), "C1");
}

TEST_F(PanelsTest, FiltersAndSortsWithoutLosingTheSelection) {
  Click(At("C2"));
  auto* filter = window->Panels().Find(kModelPanelCommand)->findChild<QLineEdit*>();
  filter->setText("c");
  EXPECT_EQ(Names(), QStringList({"C1", "C2"}));
  filter->setText("peaks");
  EXPECT_EQ(Names(), QStringList({"Q1"}));
  filter->clear();
  view->sortByColumn(4, Qt::DescendingOrder);
  EXPECT_EQ(Names().front(), "O1");
  Settle();
  EXPECT_EQ(SelectedNames(), "C2");
}

TEST_F(PanelsTest, StayAsTheyWereLeft) {
  EXPECT_TRUE(bench.hooks.isPanelShown(kStructurePanelCommand));
  EXPECT_FALSE(bench.hooks.isPanelShown(kHistoryPanelCommand));
  window->Run(kStructurePanelCommand);
  window->Run(kHistoryPanelCommand);
  window->close();
  window.reset();
  window = std::make_unique<MainWindow>(bench, messages);
  window->show();
  Settle();
  EXPECT_FALSE(bench.hooks.isPanelShown(kStructurePanelCommand));
  EXPECT_TRUE(bench.hooks.isPanelShown(kHistoryPanelCommand));
  window->Run(kNoPanelsCommand);
  EXPECT_FALSE(bench.hooks.isPanelShown(kModelPanelCommand));
  window->Run(kUsualPanelsCommand);
  EXPECT_TRUE(bench.hooks.isPanelShown(kModelPanelCommand));
  EXPECT_FALSE(bench.hooks.isPanelShown(kHistoryPanelCommand));
  // With its curves, too, it leaves room for the picture on a screen that shows 512 pixels.
  auto* panel = qobject_cast<RefinementPanel*>(window->Panels().Find(kRefinementPanelCommand));
  const QSize before = panel->sizeHint();
  panel->ShowRun(std::vector<CyclePoint>(9, {0.2, 0.1, 1.0, 0.01, 0.5}));
  EXPECT_TRUE(panel->findChild<ProgressPlots*>()->isVisible());
  EXPECT_EQ(panel->sizeHint().width(), before.width());
  EXPECT_LT(panel->minimumSizeHint().width(), 200);
  EXPECT_LT(panel->minimumSizeHint().height(), 250);
}

TEST_F(PanelsTest, HistoryGoesBackAndForward) {
  window->Run(kHistoryPanelCommand);
  Edit(0, 2, "1");
  Edit(1, 2, "2");
  auto* list = window->Panels().Find(kHistoryPanelCommand)->findChild<QListWidget*>();
  Settle();
  ASSERT_EQ(list->count(), 3);
  EXPECT_EQ(list->currentRow(), 2);
  EXPECT_TRUE(list->item(1)->text().endsWith(QLatin1String(": C1 changed"))) << list->item(1)->text().toStdString();
  Q_EMIT list->itemClicked(list->item(0));
  Settle();
  EXPECT_EQ(Atom("C1")->part, 0);
  ASSERT_EQ(list->count(), 3);
  Q_EMIT list->itemClicked(list->item(1));
  EXPECT_EQ(Atom("C1")->part, 1);
  EXPECT_EQ(Atom("C2")->part, 0);
}

TEST_F(PanelsTest, ThePaletteFindsACommandAndSaysWhyNot) {
  robot.Next([](QWidget& palette) {
    auto* line = palette.findChild<QLineEdit*>();
    auto* list = palette.findChild<QTreeWidget*>();
    QTest::keyClicks(line, "kill sel");
    ASSERT_EQ(list->topLevelItem(0)->text(0), "Kill Selected");
    // Nothing is selected: Enter does nothing.
    QTest::keyClick(line, Qt::Key_Return);
    EXPECT_TRUE(palette.isVisible());
    EXPECT_FALSE(list->topLevelItem(0)->toolTip(0).isEmpty());
    line->clear();
    QTest::keyClicks(line, "protons");
    EXPECT_EQ(list->topLevelItem(0)->text(0), "Calculate Hydrogens");
    line->clear();
    QTest::keyClicks(line, "thermal");
    QTest::keyClick(line, Qt::Key_Return);
  });
  window->Run(kPaletteCommand);
  Settle();
  EXPECT_EQ(bench.RenditionMode, kThermalEllipsoid);
}

}  // namespace
}  // namespace marvik
